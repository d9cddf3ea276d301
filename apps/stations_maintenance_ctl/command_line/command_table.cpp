#include "command_line/command_table.h"

#include "command_line/record_making.h"

namespace tavi::ctl {

namespace {

command_record make_watch() {
  using options = watch_options;
  auto made = make_command<options>("", "watch", "Shows events as they come");
  made.details = {
      "Shows the events of the stations and of the upload server, and what is written to the functional "
      "log, a line each, until Ctrl-C, SIGTERM or SIGHUP (exit code 0), or until its reader goes away (1). "
      "A station's identity stands behind its number. Upload tokens are cut short.",
      std::string("Events: ") + event_names + "."};
  made.options = {
      make_option<options>("--event", value::event, &options::events,
                           "Only events of this name; may be repeated"),
      make_option<options>("--station", value::station, &options::stations,
                           "Only what this station tells; may be repeated"),
  };
  made.examples = {
      {"", "stations_maintenance_ctl watch --json"},
      {"", "stations_maintenance_ctl watch --event functional_log --event firmware_status"},
  };
  return made;
}

std::vector<command_record> make_commands() {
  auto made = make_config_records();
  for (auto const& records : {make_firmware_records(), make_report_records()}) {
    made.insert(made.end(), records.begin(), records.end());
  }
  made.push_back(make_watch());
  return made;
}

std::vector<option_record> make_common_options() {
  using options = invocation;
  return {
      make_flag<options>("--json", &options::is_json, "Write JSON, with the fields of the service's records"),
      make_flag<options>("--verbose", &options::is_verbose,
                         "Show the log of the communication on standard error"),
      make_option<options>("--runtime-dir", value::folder, &options::runtime_folder,
                           "Folder of the services' sockets"),
      make_option<options>(
          "--timeout", value::patience, &options::time_out,
          "Longest wait for each answer of the service (default 30s, 1m for a station's); before "
          "the command's name where the command has one of its own"),
      make_flag<options>("--no-pager", &options::no_pager,
                         "Do not show what is longer than the screen in a pager"),
  };
}

/// What the manual says before the commands.
std::vector<std::string> make_description() {
  return {
      "Asks the stations maintenance service of this controller: its configuration, the firmware that it "
      "keeps for the site's charging stations, and their diagnostic reports.",
      "On a terminal, results are tables with titles, rounded sizes and ages. Otherwise they are lines for "
      "other programs: no titles, a tab between the fields, sizes in bytes, periods in seconds, moments in "
      "UTC, nothing for an empty list, and - for an empty field. Fields that describe one thing come as a "
      "line each: name, tab, value.",
      "With --json results are JSON: an array for lists, otherwise an object; for watch one object on each "
      "line. Enumerations are written by their names, durations in seconds, moments in seconds since 1970, "
      "or as the field \"time\" of an event in UTC. Field names are stable; fields may be added.",
      "Control characters in names that come from stations are shown as \\x1b or \\u202e, "
      "a backslash as two.",
  };
}

program_record make_program() {
  program_record made;
  made.summary = "Looks after the firmware and the diagnostic reports of a site's charging stations";
  made.details = make_description();
  made.help_option = {"--help", "Show the options of a command, with examples"};
  made.version_option = {"--version", "Show the program's version"};
  made.options = make_common_options();
  made.groups = {{"config", "Run-time configuration of the service"},
                 {"firmware", "Firmware of the stations"},
                 {"reports", "Diagnostic reports of the stations"}};
  made.commands = make_commands();
  made.values = {
      {"DURATION", "a number of seconds, or numbers with the units w, d, h, m and s: 3600, 7d, 1h30m"},
      {"SIZE", "a number of bytes, or one with the unit k, M, G or T, powers of 1024: 10M"},
  };
  made.exit_codes = {
      {"0", "done; watch was ended by a signal"},
      {"1", "the service refused or failed, in whole or in part, or the result could not be written"},
      {"2", "the command line is wrong, or a confirmation is missing"},
      {"3", "a service does not run or cannot be reached"},
      {"4", "the time was over before it was done; the service may do it all the same"},
      {"129", "as 130, but ended because the terminal has gone (SIGHUP)"},
      {"130", "ended by Ctrl-C; nothing, or all, of the result was written"},
      {"143", "as 130, but ended by SIGTERM"},
  };
  made.environment = {
      {"TAVI_RUNTIME_DIR", "folder of the services' sockets (default /run/tavi)"},
      {"NO_COLOR", "when not empty: no colours"},
      {"PAGER", "shows on a terminal what is longer than the screen (default less); none when empty or cat"},
  };
  made.examples = {
      {"The reports of station 3 of the last two days:",
       "stations_maintenance_ctl reports list --station 3 --newer-than 2d"},
      {"A report of every station, each waited for:",
       "stations_maintenance_ctl reports generate --all --wait --timeout 10m"},
      {"Old reports go, whatever their station, from a script:",
       "stations_maintenance_ctl reports delete --older-than 90d --yes"},
      {"A new firmware for two models:",
       "stations_maintenance_ctl firmware add fw-2.1.0.bin --model X7-22 --model X9-11 --version 2.1.0"},
  };
  return made;
}

}  // namespace

program_record const& command_table() {
  static program_record const table = make_program();
  return table;
}

}  // namespace tavi::ctl
