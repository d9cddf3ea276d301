#include "simulator_command_line.h"

#include <CLI/CLI.hpp>

#include "mura_common/text.h"
#include "station_fleet.h"
#include "web_location.h"

namespace tavi::simulator {
namespace {

constexpr unsigned int most_stations = 1000;

constexpr auto notes =
    "Firmware: a station that is asked to update its firmware keeps it in the folder \"firmware\" of its own\n"
    "folder, logs its SHA-256 and boots anew. What it then calls its version is taken from the file name that\n"
    "the location ends with: of its parts between \"_\", \"-\" and blanks, extensions left out, the last one like\n"
    "2.1.0 or v2.1.0; without one, the name without extensions; without an extension, \"fw-\" and the first 8\n"
    "digits of the SHA-256. A restart of the simulator brings the old version back.\n"
    "\n"
    "Example:\n"
    "  charging_station_simulator --url ws://127.0.0.1:8080/ocpp --identity CS-001 --count 3 --work-dir stations\n"
    "runs CS-001, CS-002 and CS-003, each with a folder of its own below \"stations\".";

/// What is wrong with a text that OCPP limits to `most` characters; empty when nothing is.
std::string find_length_fault(std::string const& name, std::string const& value, std::size_t most) {
  if (!value.empty() && value.size() <= most) {
    return {};
  }
  return name + " \"" + value + "\" has to have 1 to " + std::to_string(most) + " characters";
}

std::string find_fault(simulator_settings const& settings, std::string const& first) {
  auto const& station = settings.station;
  if (!parse_web_location(station.url, "ws")) {
    return "--url \"" + station.url + "\" has to be like ws://host:port/path";
  }
  if (!is_station_identity(first)) {
    return "--identity \"" + first + "\" has to have 1 to 48 of the characters A-Z a-z 0-9 *-_=:+|@.";
  }
  if (settings.identities.empty()) {
    return "--identity \"" + first + "\" has to end with a number to count on from, 9 digits at most";
  }
  if (!is_station_identity(settings.identities.back())) {
    return "--identity \"" + first + "\" grows past 48 characters when counted on";
  }
  auto fault = find_length_fault("--vendor", station.vendor, 20);
  fault = fault.empty() ? find_length_fault("--model", station.model, 20) : fault;
  return fault.empty() ? find_length_fault("--firmware-version", station.firmware_version, 50) : fault;
}

/// A line about the first option that nobody knows. @return empty when all are known
std::string explain_unknown(CLI::App const& app) {
  auto const unknown = app.remaining();
  if (unknown.empty()) {
    return {};
  }
  std::vector<std::string> known;
  for (auto const* const option : app.get_options()) {
    known.push_back("--" + option->get_lnames().front());
  }
  return mura_common::explain_unknown_word(unknown.front(), known);
}

simulator_exit make_refusal(std::string const& fault) {
  return {2, "charging_station_simulator: " + fault + " (see --help)"};
}

}  // namespace

std::variant<simulator_settings, simulator_exit> parse_simulator_command_line(int argc,
                                                                              char const* const* argv) {
  simulator_settings settings;
  auto& station = settings.station;
  std::string first;
  std::string work_dir;
  unsigned int count = 1;
  CLI::App app("Charging stations that speak OCPP 1.6-J, upload diagnostics and fetch firmware",
               "charging_station_simulator");
  app.footer(notes);
  app.set_version_flag("--version", "charging_station_simulator " STATIONS_MAINTENANCE_VERSION,
                       "Show the program's version");
  app.add_option("--url", station.url, "Central system, as ws://host:port/path")->required();
  app.add_option("--identity", first, "Identity of the station, or of the first one")->required();
  app.add_option("--vendor", station.vendor, "Vendor, 20 characters at most")->capture_default_str();
  app.add_option("--model", station.model, "Model, 20 characters at most")->capture_default_str();
  app.add_option("--firmware-version", station.firmware_version, "50 characters at most")
      ->capture_default_str();
  app.add_option("--break-download-after", station.break_download_after,
                 "Lose the connection once, after so many bytes of the first firmware")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--refuse-install", station.is_refusing_installation, "Fail to install every firmware");
  app.add_option("--work-dir", work_dir, "Gets one folder for each station")->required();
  app.add_option("--count", count, "Number of stations")
      ->check(CLI::Range(1U, most_stations))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    return simulator_exit{0, app.help()};
  } catch (CLI::CallForVersion const&) {
    return simulator_exit{0, app.version()};
  } catch (CLI::ParseError const& error) {
    // Said first: an option that was mistyped is missing as well.
    auto const unknown = explain_unknown(app);
    return make_refusal(unknown.empty() ? error.what() : unknown);
  }
  station.work_folder = work_dir;
  settings.identities = count_identities(first, count);
  if (auto const fault = find_fault(settings, first); !fault.empty()) {
    return make_refusal(fault);
  }
  return settings;
}

}  // namespace tavi::simulator
