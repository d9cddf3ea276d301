#include "command_line.h"

#include <CLI/CLI.hpp>

#include "help_text.h"
#include "option_values.h"
#include "program_name.h"
#include "text/plain_text.h"
#include "text/quantity_text.h"

namespace tavi::ctl {

namespace {

using option_list = std::vector<CLI::Option*>;

/// Adds an option whose text is understood by `parse`, which gives an optional value.
template <typename Parse, typename Take>
CLI::Option* add_parsed(CLI::App* command, std::string const& name, Parse parse, Take take,
                        std::string const& expected, std::string const& description,
                        std::string const& value_name = "") {
  auto const understand = [=](std::vector<std::string> const& texts) {
    for (auto const& text : texts) {
      auto const value = parse(text);
      if (!value) {
        throw CLI::ValidationError(name, '"' + text + "\" is not " + expected);
      }
      take(*value);
    }
  };
  auto* const option = command->add_option_function<std::vector<std::string>>(name, understand, description);
  return option->expected(1)->allow_extra_args(false)->type_name(value_name);
}

/// Builds the commands, each of which makes itself the one to be carried out when it is named.
class command_builder {
 public:
  command_builder(CLI::App& program, invocation& result) : app(program), parsed(result) {}

  void add_all() {
    auto* const config = add_group("config", "Run-time configuration of the service");
    add<config_get_options>(config, "get", "Shows it", help::config_get);
    add_config_set(config);
    auto* const firmware = add_group("firmware", "Firmware of the stations");
    add<firmware_list_options>(firmware, "list", "Lists stored, announced and failed firmware",
                               help::firmware_list);
    add_firmware(firmware);
    auto* const reports = add_group("reports", "Diagnostic reports of the stations");
    add_reports(reports);
    add<reports_folder_options>(reports, "folder", "Shows the folder that the service keeps them in",
                                help::reports_folder);
    add<watch_options>(&app, "watch", "Shows events as they come", help::watch);
  }

 private:
  CLI::App* add_group(char const* name, char const* description) {
    return app.add_subcommand(name, description)->require_subcommand(1);
  }

  template <typename Options>
  CLI::App* add(CLI::App* parent, char const* name, char const* description, char const* footer) {
    auto* const command = parent->add_subcommand(name, description);
    command->footer(footer);
    // Begun when its name is met, and so before its options are.
    command->preparse_callback([this](std::size_t) { parsed.command.emplace<Options>(); });
    return command;
  }

  template <typename Options>
  Options& chosen() {
    return std::get<Options>(parsed.command);
  }

  void add_config_set(CLI::App* config) {
    using options = config_set_options;
    auto* const set = add<options>(config, "set", "Changes it", help::config_set);
    auto* const most = add_parsed(
        set, "--max-periodic", parse_count, [this](auto value) { chosen<options>().max_periodic = value; },
        "a number from 0 to 4294967295", "Periodic reports kept for each station; 0 switches generation off",
        "COUNT");
    auto* const period = add_parsed(
        set, "--period", parse_time, [this](auto value) { chosen<options>().period = value; },
        "a duration like 24h or 3600",
        "Time between two generations, as 24h, 1h30m or seconds; 0 switches it off", "DURATION");
    auto* const enable = set->add_flag_callback(
        "--enable", [this] { chosen<options>().enable = true; }, "Make sure that it is on");
    auto* const disable = set->add_flag_callback(
        "--disable", [this] { chosen<options>().disable = true; }, "Switch periodic generation off");
    disable->excludes(enable)->excludes(most)->excludes(period);
    set->parse_complete_callback([this, set] {
      refuse_unexpected();
      if (set->count_all() == 1) {
        throw CLI::ValidationError("nothing to set", "give --max-periodic, --period, --enable or --disable");
      }
    });
  }

  void add_firmware(CLI::App* firmware) {
    auto* const show =
        add<firmware_show_options>(firmware, "show", "Shows one firmware", help::firmware_show);
    add_parsed(
        show, "ID", parse_id, [this](auto value) { chosen<firmware_show_options>().id = value; },
        "the id of a firmware", "Id of the firmware")
        ->required();
    add_firmware_add(firmware);
    auto* const remove =
        add<firmware_delete_options>(firmware, "delete", "Deletes firmware", help::firmware_delete);
    add_parsed(
        remove, "ID", parse_id,
        [this](auto value) { chosen<firmware_delete_options>().ids.push_back(value); },
        "the id of a firmware", "Ids of the firmware")
        ->expected(1, -1)
        ->allow_extra_args()
        ->required();
    remove->add_flag_callback(
        "--yes", [this] { chosen<firmware_delete_options>().yes = true; }, "Do not ask");
    auto* const available = add<firmware_available_options>(
        firmware, "available", "Lists what a station can be updated with", help::firmware_available);
    add_parsed(
        available, "--station", parse_count,
        [this](auto value) { chosen<firmware_available_options>().station = value; },
        "the number of a station", "Number of the station", "NUMBER")
        ->required();
  }

  void add_firmware_add(CLI::App* firmware) {
    using options = firmware_add_options;
    auto* const command = add<options>(firmware, "add", "Uploads a firmware", help::firmware_add);
    add_parsed(
        command, "FILE", parse_present, [this](auto const& value) { chosen<options>().file = value; },
        "a file", "File to upload")
        ->required();
    auto* const models = add_parsed(
        command, "--model", parse_present,
        [this](auto const& value) { chosen<options>().models.push_back(value); }, "the name of a model",
        "Station model that it fits; may be repeated", "NAME");
    models->required()->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_parsed(
        command, "--version", parse_present, [this](auto const& value) { chosen<options>().version = value; },
        "a version", "Version of the firmware", "TEXT");
    add_parsed(
        command, "--address", parse_address, [this](auto const& value) { chosen<options>().address = value; },
        "like host:port", "Web server, as HOST:PORT; otherwise the network service is asked", "HOST:PORT");
    add_time_out<options>(command, "Time for the service to take the uploaded file (default 60s)");
  }

  void add_reports(CLI::App* reports) {
    auto* const list = add<reports_list_options>(reports, "list", "Lists reports", help::reports_list);
    add_choice(list, [this]() -> report_choice& { return chosen<reports_list_options>().choice; });
    add_parsed(
        list, "--sort", parse_order, [this](auto value) { chosen<reports_list_options>().order = value; },
        "id, station, name, time, type or size", "Order: id (default), station, name, time, type or size",
        "FIELD");
    list->add_flag_callback(
        "--reverse", [this] { chosen<reports_list_options>().reverse = true; }, "Largest first");
    add_generate(reports);
    auto* const remove =
        add<reports_delete_options>(reports, "delete", "Deletes reports", help::reports_delete);
    add_target<reports_delete_options>(remove);
    remove->add_flag_callback(
        "--yes", [this] { chosen<reports_delete_options>().yes = true; }, "Do not ask");
    add_time_out<reports_delete_options>(remove, "Time for the service to answer (default 10m)");
    add_export(reports);
  }

  void add_generate(CLI::App* reports) {
    using options = reports_generate_options;
    auto* const command =
        add<options>(reports, "generate", "Asks stations for reports", help::reports_generate);
    auto* const station = add_parsed(
        command, "--station", parse_count,
        [this](auto value) { chosen<options>().stations.push_back(value); }, "the number of a station",
        "Number of the station; may be repeated", "NUMBER");
    station->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    auto* const all = command->add_flag_callback(
        "--all", [] {}, "Ask every station of the site");
    require_one_of(command, {option_list{station}, option_list{all}}, "--station or --all");
    add_parsed(
        command, "--type", parse_type, [this](auto value) { chosen<options>().type = value; },
        "manual or periodic", "Which limit the reports count against: manual (default) or periodic", "TYPE");
    command->add_flag_callback(
        "--wait", [this] { chosen<options>().wait = true; }, "Wait until the reports are filed");
    add_time_out<options>(command, "Longest time that --wait waits (default 5m)");
  }

  void add_export(CLI::App* reports) {
    using options = reports_export_options;
    auto* const command =
        add<options>(reports, "export", "Packs reports into a zip archive", help::reports_export);
    add_parsed(
        command, "DESTINATION", parse_archive,
        [this](auto const& value) { chosen<options>().destination = value; },
        "the name of an archive, in UTF-8 and with .zip at its end", "Archive, ending in .zip")
        ->required();
    add_target<options>(command);
    command->add_flag_callback(
        "--append", [this] { chosen<options>().append = true; }, "Add to the archive when it exists");
    add_time_out<options>(command, "Time for the service to answer (default 10m)");
  }

  template <typename Options>
  void add_time_out(CLI::App* command, char const* description) {
    add_parsed(
        command, "--timeout", parse_patience, [this](auto value) { chosen<Options>().time_out = value; },
        "a duration above 0 like 90s or 10m", description, "DURATION");
  }

  /// The conditions that choose reports.
  template <typename Place>
  option_list add_choice(CLI::App* command, Place choice) {
    return {
        add_parsed(
            command, "--station", parse_count, [=](auto value) { choice().stations.push_back(value); },
            "the number of a station", "Only of this station; may be repeated", "NUMBER")
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll),
        add_parsed(
            command, "--type", parse_type, [=](auto value) { choice().type = value; }, "periodic or manual",
            "Only periodic or manual ones", "TYPE"),
        add_parsed(
            command, "--older-than", parse_time, [=](auto value) { choice().older = value; },
            "a duration like 7d or 2h", "Only those received so long ago, as 7d, 2h or seconds", "DURATION"),
        add_parsed(
            command, "--newer-than", parse_time, [=](auto value) { choice().newer = value; },
            "a duration like 7d or 2h", "Only those received since, as 7d, 2h or seconds", "DURATION"),
        add_parsed(
            command, "--larger-than", parse_size, [=](auto value) { choice().larger = value; },
            "a size like 500k or 10M", "Only those of so many bytes, as 500k, 10M or bytes", "SIZE"),
    };
  }

  /// Ids, or conditions, or --all.
  template <typename Options>
  void add_target(CLI::App* command) {
    auto* const ids = add_parsed(
        command, "ID", parse_id, [this](auto value) { chosen<Options>().target.ids.push_back(value); },
        "the id of a report", "Ids of the reports");
    ids->expected(0, -1)->allow_extra_args();
    auto conditions =
        add_choice(command, [this]() -> report_choice& { return chosen<Options>().target.choice; });
    auto* const all = command->add_flag_callback(
        "--all", [this] { chosen<Options>().target.all = true; }, "All reports");
    require_one_of(command, {option_list{ids}, conditions, option_list{all}},
                   "ids, conditions like --older-than, or --all");
  }

  /// Refuses a word that nobody knows, before anything else is found to be wrong because of it.
  void refuse_unexpected() const {
    if (auto const unknown = app.remaining(true); !unknown.empty()) {
      throw CLI::ExtrasError({unknown.front()});
    }
  }

  /// Refuses a command line that names what it is about in no way, or in several.
  void require_one_of(CLI::App* command, std::vector<option_list> const& ways, std::string const& names) {
    command->parse_complete_callback([this, ways, names] {
      refuse_unexpected();
      auto const is_given = [](CLI::Option const* option) { return !option->empty(); };
      auto const count = std::count_if(ways.begin(), ways.end(), [&](auto const& options) {
        return std::any_of(options.begin(), options.end(), is_given);
      });
      if (count != 1) {
        throw CLI::ValidationError(count == 0 ? "which ones" : "too much at once", "give " + names);
      }
    });
  }

  CLI::App& app;
  invocation& parsed;
};

early_end make_refusal(std::string const& fault) {
  return {2, std::string(program_name) + ": " + escape_text(fault) + " (see --help)\n"};
}

}  // namespace

std::variant<invocation, early_end> parse_command_line(int argc, char const* const* argv) {
  invocation parsed;
  CLI::App app("Looks after the firmware and the diagnostic reports of a site's charging stations.",
               program_name);
  app.footer(help::program);
  app.fallthrough();
  app.require_subcommand(1);
  app.add_flag("--json", parsed.is_json, "Write JSON, with the fields of the service's records");
  app.add_flag("--verbose", parsed.is_verbose, "Show the log of the communication on standard error");
  app.add_option("--runtime-dir", parsed.runtime_folder, "Folder of the services' sockets")
      ->type_name("DIR")
      ->check([](std::string const& folder) {
        return folder.empty() ? std::string("the name of the folder is empty") : std::string();
      });
  app.set_version_flag("--version", std::string(program_name) + " " + STATIONS_MAINTENANCE_VERSION);
  // Lives as long as the parsing, which calls back to it.
  command_builder commands(app, parsed);
  commands.add_all();
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    return early_end{0, app.help()};
  } catch (CLI::CallForVersion const& version) {
    return early_end{0, std::string(version.what()) + '\n'};
  } catch (CLI::RequiredError const& error) {
    auto const unknown = app.remaining(true);
    return make_refusal(unknown.empty() ? error.what() : '"' + unknown.front() + "\" is not known here");
  } catch (CLI::ParseError const& error) {
    return make_refusal(error.what());
  }
  return parsed;
}

}  // namespace tavi::ctl
