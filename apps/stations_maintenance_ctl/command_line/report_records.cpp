#include "command_line/command_table.h"
#include "command_line/record_making.h"

namespace tavi::ctl {

namespace {

std::vector<std::string> const condition_names = {"--station", "--type", "--older-than", "--newer-than",
                                                  "--larger-than"};

/// Adds the conditions that choose reports. @param choice  gives the choice that they belong to
template <typename Options, typename Choice>
void add_conditions(command_record& command, Choice choice) {
  auto const add = [&command](option_record option) { command.options.push_back(std::move(option)); };
  add(make_option<Options>(
      "--station", value::station, [choice](Options& all) -> auto& { return choice(all).stations; },
      "Only of this station; may be repeated"));
  add(make_option<Options>(
      "--type", value::type, [choice](Options& all) -> auto& { return choice(all).type; },
      "Only periodic or manual ones"));
  add(make_option<Options>(
      "--older-than", value::duration, [choice](Options& all) -> auto& { return choice(all).older; },
      "Only those received so long ago, as 7d, 2h or seconds"));
  add(make_option<Options>(
      "--newer-than", value::duration, [choice](Options& all) -> auto& { return choice(all).newer; },
      "Only those received since, as 7d, 2h or seconds"));
  add(make_option<Options>(
      "--larger-than", value::size, [choice](Options& all) -> auto& { return choice(all).larger; },
      "Only those of so many bytes, as 500k, 10M or bytes"));
}

/// Adds the ways to say which reports a command is about: ids, conditions, or all.
template <typename Options>
void add_target(command_record& command) {
  command.options.push_back(make_option<Options>(
      "ID", value::report_id, [](Options& all) -> auto& { return all.target.ids; }, "Ids of the reports"));
  add_conditions<Options>(command, [](Options& all) -> auto& { return all.target.choice; });
  command.options.push_back(make_flag<Options>(
      "--all", [](Options& all) -> auto& { return all.target.all; }, "All reports"));
  command.rules.push_back(
      {{{"ID"}, condition_names, {"--all"}}, "which ones", "ids, conditions like --older-than, or --all"});
}

command_record make_reports_list() {
  using options = reports_list_options;
  auto made = make_command<options>("reports", "list", "Lists reports");
  made.details = {
      "Lists the reports that fulfil every condition given. With one --station the site has to know it."};
  add_conditions<options>(made, [](options& all) -> auto& { return all.choice; });
  made.options.push_back(make_option<options>("--sort", value::order, &options::order,
                                              "Order: id (default), station, name, time, type or size"));
  made.options.push_back(make_flag<options>("--reverse", &options::reverse, "Largest first"));
  made.options.push_back(
      make_option<options>("--limit", value::limit, &options::limit, "List the first of this order only"));
  made.options.push_back(
      make_option<options>("--time", value::time, &options::time,
                           "How moments are told: age (default on a terminal), local or utc"));
  made.examples = {
      {"", "stations_maintenance_ctl reports list --station 3 --type manual"},
      {"", "stations_maintenance_ctl reports list --older-than 7d --sort size --reverse"},
      {"Ids of the largest reports:",
       "stations_maintenance_ctl reports list --sort size --reverse --limit 3 --json | jq '.[].diagnostic_id'"},
  };
  return made;
}

command_record make_reports_generate() {
  using options = reports_generate_options;
  auto made = make_command<options>("reports", "generate", "Asks stations for reports");
  made.details = {
      "Asks the stations one after the other. With --wait it ends when every station that accepted has its "
      "report filed, with exit code 4 when --timeout is over before. A station that tells of a failed "
      "upload is named at once, and waited for like the others, because it may try again. Ctrl-C ends the "
      "asking and the waiting, and shows how far it has come.",
      "The outcome of each station is accepted, unknown_station, not_connected, failed, filed, not_filed or "
      "upload_failed. A request without an answer counts as failed and ends the asking."};
  made.options = {
      make_option<options>("--station", value::station, &options::stations,
                           "Number of the station; may be repeated"),
      make_flag<options>("--all", &options::all, "Ask every station of the site"),
      make_option<options>("--type", value::type, &options::type,
                           "Which limit the reports count against: manual (default) or periodic"),
      make_flag<options>("--wait", &options::wait, "Wait until the reports are filed"),
      make_option<options>("--timeout", value::patience, &options::time_out,
                           "Longest time that --wait waits (default 5m)"),
  };
  made.options.back().needed = {"--wait"};
  made.rules = {{{{"--station"}, {"--all"}}, "which ones", "--station or --all"}};
  made.examples = {
      {"", "stations_maintenance_ctl reports generate --station 3 --wait"},
      {"", "stations_maintenance_ctl reports generate --all --wait --timeout 10m"},
  };
  return made;
}

command_record make_reports_delete() {
  using options = reports_delete_options;
  auto made = make_command<options>("reports", "delete", "Deletes reports");
  made.details = {
      "Takes ids, or the conditions of \"reports list\", or --all. Asks first on a terminal, unless --yes is "
      "given; without a terminal, conditions and --all need --yes.",
      "Many are deleted a hundred at a time. Ctrl-C ends after those under way, and the result tells how "
      "many are gone; a second one ends at once."};
  add_target<options>(made);
  made.options.push_back(make_flag<options>("--yes", &options::yes, "Do not ask"));
  made.options.push_back(make_option<options>("--timeout", value::patience, &options::time_out,
                                              "Time for the service to answer (default 10m)"));
  made.examples = {
      {"", "stations_maintenance_ctl reports delete 12 15"},
      {"", "stations_maintenance_ctl reports delete --older-than 90d --yes"},
  };
  return made;
}

command_record make_reports_export() {
  using options = reports_export_options;
  auto made = make_command<options>("reports", "export", "Packs reports into a zip archive");
  made.details = {
      "Takes ids, or the conditions of \"reports list\", or --all. The service writes the archive, so it "
      "needs to be allowed to write there. An archive that exists is left alone, unless --append lets it "
      "gain the reports; so is one that cannot be looked at.",
      "The files in the archive are counted: when it does not hold every report, because a stored file is "
      "missing or could not be packed, the command says so and fails. Where the count does not tell, because "
      "this user may not read the archive or it may have held some of the reports before, the result says "
      "\"up to\", and the service's log names the reports that it could not pack. With --json the reports "
      "asked for are \"chosen\" and the number in the archive is \"packed\", null where it is not known.",
      "Many are exported fifty at a time, so that the archive is whole at any moment. Ctrl-C ends after "
      "those under way and leaves the archive with what it holds then; a second one ends at once, and the "
      "service still packs what it was asked for."};
  made.options = {make_required<options>("DESTINATION", value::archive, &options::destination,
                                         "Archive, ending in .zip")};
  add_target<options>(made);
  made.options.push_back(
      make_flag<options>("--append", &options::append, "Add to the archive when it exists"));
  made.options.push_back(make_option<options>("--timeout", value::patience, &options::time_out,
                                              "Time for the service to answer (default 10m)"));
  made.examples = {
      {"", "stations_maintenance_ctl reports export /tmp/reports.zip 12 15"},
      {"", "stations_maintenance_ctl reports export station_3.zip --station 3 --newer-than 1w"},
  };
  return made;
}

command_record make_reports_show() {
  using options = reports_show_options;
  auto made = make_command<options>("reports", "show", "Shows one report and what is in it");
  made.details = {
      "Lists the files in a report that is a zip or tar archive, with their sizes, and shows the first "
      "lines of one that is text. Nothing is unpacked. The report is read where the service keeps it, so "
      "this user needs to be allowed to read it.",
      "With --json these are \"files\" and \"first_lines\", null where there are none. For other programs "
      "each file is a line beginning with file and each line of a text one beginning with line."};
  made.options = {make_required<options>("ID", value::report_id, &options::id, "Id of the report")};
  made.examples = {{"", "stations_maintenance_ctl reports show 12"}};
  return made;
}

command_record make_reports_get() {
  using options = reports_get_options;
  auto made = make_command<options>("reports", "get", "Copies a report out");
  made.details = {
      "Copies the report to a file or into a folder; into the current folder under its own name where none "
      "is given. A file that exists is left alone, unless --force has it replaced. The copy stands there "
      "whole or not at all, with mode 0640. This user needs to be allowed to read the report."};
  made.options = {
      make_required<options>("ID", value::report_id, &options::id, "Id of the report"),
      make_option<options>("FILE", value::file, &options::file, "File to be made, or a folder for it"),
      make_flag<options>("--force", &options::force, "Replace the file when it exists"),
  };
  made.examples = {
      {"", "stations_maintenance_ctl reports get 12"},
      {"", "stations_maintenance_ctl reports get 12 /tmp/station_3.tar.gz --force"},
  };
  return made;
}

command_record make_reports_folder() {
  auto made = make_command<reports_folder_options>("reports", "folder",
                                                   "Shows the folder that the service keeps them in");
  made.details = {
      "The path can be opened by whoever may read there: a folder that was configured with a relative "
      "path is shown below the service's working directory."};
  made.examples = {{"", "stations_maintenance_ctl reports folder"}};
  return made;
}

}  // namespace

std::vector<command_record> make_report_records() {
  return {make_reports_list(),   make_reports_show(),   make_reports_get(),   make_reports_generate(),
          make_reports_delete(), make_reports_export(), make_reports_folder()};
}

}  // namespace tavi::ctl
