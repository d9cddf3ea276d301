#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "mock_siblings.h"
#include "stations_maintenance/stations_maintenance_service.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {

/// A complete configuration, one line for each key, in the order in which the service asks for them.
inline std::vector<std::pair<std::string, std::string>> const& complete_configuration() {
  static std::vector<std::pair<std::string, std::string>> const lines{
      {"diagnostic_report", "max_periodic_report_per_station = 10"},
      {"diagnostic_report", "max_manual_report_per_station = 10"},
      {"diagnostic_report", "period_for_automatic_generation = 0"},
      {"diagnostic_report", "max_total_directory_size = 1000000"},
      {"diagnostic_report", "diagnostic_report_storage_directory = \"reports\""},
      {"diagnostic_report", "zip_command = \"zip\""},
      {"diagnostic_report", "zsh_command = \"sh\""},
      {"firmware_storage", "max_firmware_stored = 5"},
      {"firmware_storage", "max_firmware_by_station = 5"},
      {"firmware_storage", "storage_path = \"firmware\""},
      {"firmware_storage", "upload_timeout = 60"},
  };
  return lines;
}

/// The supported model "X7-22" of vendor "Acme".
inline constexpr char supported_stations[] =
    R"({"stations": [{"name": "X7-22", "vendor": "Acme", "models": ["X7-22", "X7-22-S"]}]})";

/// A service in a folder of its own, its four clients mocked and answering that all is well.
///
/// The folder is working directory, configuration directory and run-time directory in one.
class ServiceTest : public testing::Test {
 public:
  ~ServiceTest() override {
    std::filesystem::current_path(previous_directory);
    unsetenv("TAVI_RUNTIME_DIR");
  }

 protected:
  ServiceTest() : previous_directory(std::filesystem::current_path()) {
    setenv("TAVI_RUNTIME_DIR", folder.path().c_str(), 1);
    using testing::Return;
    ON_CALL(logger, init).WillByDefault(Return(true));
    ON_CALL(ocpp, init).WillByDefault(Return(true));
    ON_CALL(tokens, init).WillByDefault(Return(true));
    ON_CALL(network, init).WillByDefault(Return(true));
    given_configuration();
    folder.write("supported_stations.json", supported_stations);
  }

  /// Writes the complete configuration, without the line whose key is given, or with another in its place.
  void given_configuration(std::string const& left_out = "", std::string const& instead = "") {
    std::string text;
    std::string table;
    for (auto const& [of_table, line] : complete_configuration()) {
      if (of_table != table) {
        table = of_table;
        text += "[" + table + "]\n";
      }
      auto const is_left_out = !left_out.empty() && line.starts_with(left_out + " ");
      text += (is_left_out ? instead : line) + "\n";
    }
    folder.write("stations_maintenance_service.toml", text);
  }

  [[nodiscard]] bool init() { return init(service); }
  [[nodiscard]] bool init(stations_maintenance_service& one) const {
    auto const directory = folder.path().string();
    char const* arguments[] = {"test", "--working-dir", directory.c_str()};
    return one.init(3, arguments);
  }

  temporary_folder folder;
  std::filesystem::path previous_directory;
  log_capture log;
  testing::NiceMock<mock_logger> logger;
  testing::NiceMock<mock_ocpp> ocpp;
  testing::NiceMock<mock_webserver_tokens> tokens;
  testing::NiceMock<mock_network> network;
  stations_maintenance_service service{logger, ocpp, tokens, network};
};

}  // namespace tavi::stations_maintenance
