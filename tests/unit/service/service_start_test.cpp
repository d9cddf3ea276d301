#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mura_common/database.h"
#include "service_fixture.h"
#include "without_privileges.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::critical;
using spdlog::level::err;
using spdlog::level::warn;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Return;

/// Everything that a whole start does and that can be seen, in the order in which it is done.
std::vector<std::string> const whole_start{
    "logger client",      "ocpp client",   "token client",     "network client",
    "reports' table",     "models' table", "firmware's table", "report directory",
    "firmware directory", "check",         "models stored"};

/// A start whose steps leave traces.
class ServiceStart : public ServiceTest {
 public:
  ServiceStart() {
    EXPECT_CALL(logger, init(0)).WillRepeatedly([this] { return took("logger client", logger_answer); });
    EXPECT_CALL(ocpp, init()).WillRepeatedly([this] { return took("ocpp client", ocpp_answer); });
    EXPECT_CALL(tokens, init()).WillRepeatedly([this] { return took("token client", tokens_answer); });
    EXPECT_CALL(network, init()).WillRepeatedly([this] { return took("network client", network_answer); });
    EXPECT_CALL(ocpp, get_charging_stations()).WillRepeatedly([this] {
      note_traces();
      calls.push_back("check");
      // The file of models is looked at after the check only.
      EXPECT_FALSE(log.holds(err, "supported_stations.json"));
      if (!statement_during_check.empty()) {
        auto const query = service.database().create_query(statement_during_check);
        EXPECT_TRUE(query && query->execute());
      }
      return std::vector<tavi::stations::charging_station>();
    });
  }

  ~ServiceStart() override {
    as_somebody_else.reset();
    if (!closed.empty()) {
      std::filesystem::permissions(closed, std::filesystem::perms::owner_all);
    }
  }

  /// What the last `init` did.
  [[nodiscard]] std::vector<std::string> done() {
    note_traces();
    return calls;
  }

  /// Makes the database one whose table was changed by a later release.
  void given_table_of_the_future(std::string const& name) const {
    given_database({"CREATE TABLE FrameworkTableVersions (name TEXT PRIMARY KEY NOT NULL, version INTEGER)",
                    "INSERT INTO FrameworkTableVersions VALUES ('" + name + "', 99)"});
  }
  /// Prepares the database.
  void given_database(std::vector<std::string> const& statements) const {
    mura_common::sqlite_database database;
    ASSERT_TRUE(database.open(folder.path() / "stations_maintenance_service.db"));
    for (auto const& statement : statements) {
      auto const query = database.create_query(statement);
      ASSERT_TRUE(query && query->execute()) << statement;
    }
  }

  using ServiceTest::given_configuration;
  void given_file(std::string const& name, std::string const& content) const { folder.write(name, content); }
  /// A folder among the reports that the service may not look into, as the administrator's own.
  void given_closed_folder(std::string const& name) {
    closed = folder.path() / name;
    std::filesystem::create_directories(closed);
    std::filesystem::permissions(closed, std::filesystem::perms::none);
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    as_somebody_else.emplace();
  }
  void given_no_file(std::string const& name) const { std::filesystem::remove(folder.path() / name); }

  std::string statement_during_check;
  bool logger_answer = true;
  bool ocpp_answer = true;
  bool tokens_answer = true;
  bool network_answer = true;

 private:
  bool took(std::string const& step, bool answer) {
    EXPECT_THAT(table_names(), IsEmpty()) << step;
    calls.push_back(step);
    return answer;
  }

  /// Adds what can be seen without being called, in the order of the steps.
  void note_traces() {
    auto const tables = table_names();
    auto const note = [this](bool is_there, std::string const& step) {
      if (is_there && std::find(calls.begin(), calls.end(), step) == calls.end()) {
        calls.push_back(step);
      }
    };
    auto const has_table = [&](char const* name) {
      return std::find(tables.begin(), tables.end(), name) != tables.end();
    };
    note(has_table("DiagnosticReports"), "reports' table");
    note(has_table("StationsModelsTable"), "models' table");
    note(has_table("FirmwareTable"), "firmware's table");
    note(std::filesystem::exists(folder.path() / "reports"), "report directory");
    note(std::filesystem::exists(folder.path() / "firmware"), "firmware directory");
    note(has_table("StationsModelsTable") && has_models(), "models stored");
  }

  [[nodiscard]] std::vector<std::string> table_names() {
    std::vector<std::string> names;
    auto const query = service.database().create_query("SELECT name FROM sqlite_master WHERE type = 'table'");
    if (query && query->execute()) {
      for (; query->has_row(); query->next()) {
        names.push_back(query->get_text(0));
      }
    }
    std::erase(names, "FrameworkTableVersions");
    return names;
  }
  [[nodiscard]] bool has_models() {
    auto const query = service.database().create_query("SELECT name FROM StationsModelsTable");
    return query && query->execute() && query->has_row();
  }

  std::vector<std::string> calls;
  std::filesystem::path closed;
  std::optional<without_privileges> as_somebody_else;
};

TEST_F(ServiceStart, TakesEveryStepInOrder) {
  EXPECT_TRUE(init());
  EXPECT_THAT(done(), ElementsAreArray(whole_start));
}

TEST_F(ServiceStart, FindsTheSupportedModelsInTheConfigurationDirectory) {
  std::filesystem::create_directory(folder.path() / "config");
  for (auto const* const name : {"supported_stations.json", "stations_maintenance_service.toml"}) {
    std::filesystem::rename(folder.path() / name, folder.path() / "config" / name);
  }
  auto const working = folder.path().string();
  auto const configuration = (folder.path() / "config").string();
  char const* arguments[] = {"test", "--working-dir", working.c_str(), "--config-dir", configuration.c_str()};
  EXPECT_TRUE(service.init(5, arguments));
  EXPECT_THAT(done(), ElementsAreArray(whole_start));
}

/// A step that fails.
struct failing_step {
  std::string name;
  std::function<void(ServiceStart&)> given;
  std::size_t steps_done;             ///< of `whole_start`, the failing one included where it leaves a trace
  spdlog::level::level_enum level{};  ///< of `line`
  std::string line;                   ///< a part of what is logged; empty: the double logs nothing
  std::string absent{};               ///< a part of what a later step would have logged, as it is to fail too
};

void PrintTo(failing_step const& row, std::ostream* out) {
  *out << row.name;
}

class ServiceStartEndsAt : public ServiceStart, public testing::WithParamInterface<failing_step> {};

TEST_P(ServiceStartEndsAt, AStepThatFails) {
  GetParam().given(*this);
  EXPECT_FALSE(init());
  auto const expected = std::vector<std::string>(
      whole_start.begin(), whole_start.begin() + static_cast<long>(GetParam().steps_done));
  EXPECT_THAT(done(), ElementsAreArray(expected));
  if (!GetParam().line.empty()) {
    EXPECT_TRUE(log.holds(GetParam().level, GetParam().line)) << testing::PrintToString(log.lines());
  }
  if (!GetParam().absent.empty()) {
    EXPECT_FALSE(log.holds(err, GetParam().absent));
  }
}

/// Makes the path of every publisher's socket too long.
void given_no_subscription() {
  setenv("TAVI_RUNTIME_DIR", ("/" + std::string(200, 'x')).c_str(), 1);
}

/// A run-time folder in which one byte more would be too much for the socket of uploads. That of stations has
/// a longer name.
std::string folder_too_long_for_stations() {
  constexpr std::size_t longest_socket_path = 107;
  return "/" + std::string(longest_socket_path - std::string("//webserver_token_service.pub").size(), 'x');
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ServiceStartEndsAt,
    testing::Values(
        failing_step{"the_logger_client", [](auto& start) { start.logger_answer = false; }, 1, {}, ""},
        failing_step{"the_ocpp_client", [](auto& start) { start.ocpp_answer = false; }, 2, {}, ""},
        failing_step{"the_token_client", [](auto& start) { start.tokens_answer = false; }, 3, {}, ""},
        failing_step{"the_network_client_before_a_subscription",
                     [](auto& start) {
                       start.network_answer = false;
                       given_no_subscription();
                     },
                     4,
                     {},
                     "",
                     ".pub"},
        failing_step{"the_subscription_to_uploads_before_that_to_stations",
                     [](auto&) { given_no_subscription(); }, 4, err, "webserver_token_service.pub",
                     "charging_stations_service.pub"},
        failing_step{"the_subscription_to_stations",
                     [](auto&) { setenv("TAVI_RUNTIME_DIR", folder_too_long_for_stations().c_str(), 1); }, 4,
                     err, "charging_stations_service.pub"},
        failing_step{"the_reports_table",
                     [](auto& start) { start.given_table_of_the_future("diagnostic_table"); }, 4, err,
                     "[DatabaseTable] table diagnostic_table: cannot use its schema"},
        failing_step{"the_reports_statements",
                     [](auto& start) { start.given_database({"CREATE VIEW DiagnosticReports AS SELECT 1"}); },
                     4, critical,
                     "[diagnostic_table] Error while create queries for DiagnosticReports table"},
        failing_step{"the_models_table",
                     [](auto& start) { start.given_table_of_the_future("StationsModelsTable"); }, 5, err,
                     "[DatabaseTable] table StationsModelsTable: cannot use its schema"},
        failing_step{"the_firmwares_table_before_the_configuration",
                     [](auto& start) {
                       start.given_table_of_the_future("FirmwareTable");
                       start.given_configuration("upload_timeout");
                     },
                     6, err, "[DatabaseTable] table FirmwareTable: cannot use its schema",
                     "Failed to read service's configuration"},
        failing_step{"a_missing_key", [](auto& start) { start.given_configuration("upload_timeout"); }, 7,
                     err, "Failed to read service's configuration"},
        failing_step{"the_report_directory",
                     [](auto& start) {
                       start.given_file("in_the_way", "a file");
                       start.given_configuration(
                           "diagnostic_report_storage_directory",
                           "diagnostic_report_storage_directory = \"in_the_way/reports\"");
                     },
                     7, err, "Can't init diagnostic manager with given parameters"},
        failing_step{"the_firmware_directory",
                     [](auto& start) {
                       start.given_file("in_the_way", "a file");
                       start.given_configuration("storage_path", "storage_path = \"in_the_way/firmware\"");
                     },
                     8, warn, "[fw_storage_mgr] Fail to create destination directory: in_the_way/firmware"},
        failing_step{"reports_that_cannot_be_checked",
                     [](auto& start) { start.given_closed_folder("reports/lost+found"); }, 9, err,
                     "[service] stations_maintenance_service: do_init failed with the exception '"},
        failing_step{"supported_models_that_are_missing",
                     [](auto& start) { start.given_no_file("supported_stations.json"); }, 10, err,
                     "supported_stations.json cannot be used"},
        failing_step{"supported_models_without_any",
                     [](auto& start) { start.given_file("supported_stations.json", R"({"stations": []})"); },
                     10, err, "supported_stations.json lists no stations"},
        failing_step{"a_models_table_that_takes_none",
                     [](auto& start) {
                       start.statement_during_check =
                           "CREATE TRIGGER refusal BEFORE INSERT ON StationsModelsTable "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END";
                     },
                     10, err, "[stations_model_table] Fail to add model X7-22 to database"}),
    [](auto const& row) { return row.param.name; });

}  // namespace
}  // namespace tavi::stations_maintenance
