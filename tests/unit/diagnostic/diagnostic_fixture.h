#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_manager.h"
#include "diagnostic_table.h"
#include "faulty_database.h"
#include "log_capture.h"
#include "mock_siblings.h"
#include "mura_common/database.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {

inline constexpr auto periodic = diagnostic_report_type::periodic;
inline constexpr auto manual = diagnostic_report_type::manual;

/// What `init` is given, with values that stand in nobody's way.
struct diagnostic_limits {
  unsigned int max_periodic = 10;
  unsigned int max_manual = 10;
  std::chrono::seconds period{0};
  std::uint64_t max_total_size = 1'000'000;
};

/// A manager over a real database and a real folder, its four clients mocked.
///
/// The working directory is a folder of the test's own, and the current directory of the process meanwhile.
class DiagnosticManagerTest : public testing::Test {
 public:
  ~DiagnosticManagerTest() override { std::filesystem::current_path(previous_directory); }

 protected:
  DiagnosticManagerTest() : previous_directory(std::filesystem::current_path()) {
    std::filesystem::current_path(folder.path());
  }

  void SetUp() override {
    ASSERT_TRUE(database.open(folder.path() / "reports.db"));
    ASSERT_TRUE(table.initTable());
    log.clear();
  }

  [[nodiscard]] bool init(diagnostic_limits const& limits = {}, std::string const& storage = "reports") {
    return manager.init(limits.max_periodic, limits.max_manual, limits.period, limits.max_total_size, storage,
                        "zip", "sh", folder.path().string());
  }

  /// Has the manager expect an upload with this token, as after a request that the station accepted.
  void given_expected(std::string const& token, unsigned int station,
                      diagnostic_report_type type = periodic) {
    EXPECT_CALL(tokens, get_upload_token("diagnostic_manager")).WillOnce(testing::Return(token));
    EXPECT_CALL(ocpp, request_diagnostics_upload(station, testing::_, testing::_))
        .WillOnce(testing::Return(0));
    unsigned int request = 0;
    EXPECT_EQ(manager.generate_diagnostic(station, type, "controller", request), generation_result::accepted);
  }

  /// Files a report of so many bytes through its whole way. @return the path of the stored file
  std::string given_stored(unsigned int station, std::string const& name, std::size_t size,
                           diagnostic_report_type type = periodic) {
    auto const token = "token of " + name;
    given_expected(token, station, type);
    EXPECT_TRUE(manager.save_file(token, name, given_uploaded(name, std::string(size, 'x'))));
    auto const id = table.get_max_diagnostic_id(station).value_or(0);
    return manager.get_full_path(station, type, static_cast<int>(id), name);
  }

  /// Puts a file where the web server would. @return its path
  [[nodiscard]] std::string given_uploaded(std::string const& name, std::string const& content) const {
    return folder.write("spool/" + name, content).string();
  }

  [[nodiscard]] std::string in_folder(std::string const& name) const {
    return (folder.path() / name).string();
  }

  /// The names of the reports that the table knows, oldest first.
  [[nodiscard]] std::vector<std::string> recorded_names() {
    std::vector<std::string> names;
    for (auto const& report : table.get_all_diagnostics()) {
      names.push_back(report.diagnostic_name);
    }
    return names;
  }

  temporary_folder folder;
  std::filesystem::path previous_directory;
  log_capture log;
  mura_common::sqlite_database database;
  faulty_database faults{database};
  diagnostic_table table{faults};
  testing::NiceMock<mock_webserver_tokens> tokens;
  testing::NiceMock<mock_ocpp> ocpp;
  testing::NiceMock<mock_network> network;
  testing::NiceMock<mock_logger> logger;
  diagnostic_manager manager{table, tokens, ocpp, network, logger};
};

}  // namespace tavi::stations_maintenance
