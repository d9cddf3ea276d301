#include "command_line/command_table.h"
#include "command_line/record_making.h"

namespace tavi::ctl {

namespace {

command_record make_config_get() {
  auto made = make_command<config_get_options>("config", "get", "Shows it");
  made.details = {
      "Shows the most periodic reports kept for a station, whether periodic generation is allowed, and its "
      "period."};
  made.examples = {{"", "stations_maintenance_ctl config get --json"}};
  return made;
}

command_record make_config_set() {
  using options = config_set_options;
  auto made = make_command<options>("config", "set", "Changes it");
  made.details = {
      "Changes only what is given, the maximum first, and shows what is in force then. A maximum above 0 "
      "allows periodic generation, a maximum of 0 ends it and keeps the period; --enable fails where the "
      "maximum or the period would be 0; --disable sets both to 0. A value outside its range in the "
      "service's configuration file is refused. The first value that is refused is named and ends the "
      "command; what was set before it stays."};
  made.options = {
      make_option<options>("--max-periodic", value::count, &options::max_periodic,
                           "Periodic reports kept for each station; 0 switches generation off"),
      make_option<options>("--period", value::duration, &options::period,
                           "Time between two generations, as 24h, 1h30m or seconds; 0 switches it off"),
      make_flag<options>("--enable", &options::enable, "Make sure that it is on"),
      make_flag<options>("--disable", &options::disable, "Switch periodic generation off"),
  };
  made.options.back().excluded = {"--enable", "--max-periodic", "--period"};
  made.rules = {{{{"--max-periodic", "--period", "--enable", "--disable"}},
                 "nothing to set",
                 "--max-periodic, --period, --enable or --disable"}};
  made.examples = {
      {"", "stations_maintenance_ctl config set --period 24h"},
      {"", "stations_maintenance_ctl config set --enable --max-periodic 5 --period 3600"},
      {"", "stations_maintenance_ctl config set --disable"},
  };
  return made;
}

}  // namespace

std::vector<command_record> make_config_records() {
  return {make_config_get(), make_config_set()};
}

}  // namespace tavi::ctl
