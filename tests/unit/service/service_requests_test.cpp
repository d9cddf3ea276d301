#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mura_common/ipc.h"
#include "service_fixture.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using mura_common::call_failure;
using spdlog::level::err;
using tavi::logger::log_subtype;
using testing::_;

/// The configuration as an operator left it, with a maximum and a period to put in.
std::string operators_configuration(std::string const& max, std::string const& period) {
  return "# Site 12, do not touch without asking.\n"
         "[diagnostic_report]\n"
         "max_periodic_report_per_station = " +
         max +
         "   # was 30 before the new disk\n"
         "max_manual_report_per_station = 0x0B\n"
         "  period_for_automatic_generation=" +
         period +
         "# nightly\n"
         "max_total_directory_size = 1_000_000\n"
         "diagnostic_report_storage_directory = 'reports'\n"
         "zip_command = \"zip\"\n"
         "zsh_command = \"sh\"\n\n"
         "[firmware_storage]\n"
         "max_firmware_stored = 5\n"
         "max_firmware_by_station = 5\n"
         "storage_path = \"firmware\"\n"
         "upload_timeout = 60\n\n"
         "[limits.diagnostic_report]\n"
         "max_periodic_report_per_station = { min = 0, max = 100 }\n"
         "period_for_automatic_generation = { max = 86400 }\n";
}

/// A running service, asked over IPC for its configuration and to change it.
class ServiceRequests : public ServiceTest {
 protected:
  void SetUp() override {
    write_configuration("10", "7200");
    ASSERT_TRUE(init());
    ASSERT_TRUE(service.start());
    log.clear();
  }

  void write_configuration(std::string const& max, std::string const& period) const {
    folder.write("stations_maintenance_service.toml", operators_configuration(max, period));
  }
  [[nodiscard]] std::filesystem::path file() const {
    return folder.path() / "stations_maintenance_service.toml";
  }
  /// A folder where saving would put its temporary file: refused to everybody, the administrator included.
  void given_a_file_that_cannot_be_replaced() const {
    std::filesystem::create_directory(folder.path() / ".stations_maintenance_service.toml.new");
  }

  [[nodiscard]] stations_maintenance_configuration configuration() {
    auto const answer = client.get_configuration();
    EXPECT_TRUE(answer.value && *answer.value);
    return answer.value.value().value();
  }
  /// @return the service's answer, which must come
  [[nodiscard]] bool set(stations_maintenance_configuration const& to) {
    auto const answer = client.set_configuration(to);
    EXPECT_TRUE(answer.value);
    return answer.value.value_or(false);
  }
  [[nodiscard]] unsigned int maximum_in_force() {
    return service.config()
        .getParam<unsigned int>("diagnostic_report.max_periodic_report_per_station")
        .value()
        .value();
  }
  [[nodiscard]] std::chrono::seconds period_in_force() {
    return service.config()
        .getParam<std::chrono::seconds>("diagnostic_report.period_for_automatic_generation")
        .value()
        .value();
  }

  stations_maintenance_configuration const at_start{10, true, 7200s};
  req_resp_stations_maintenance_service client{{.start = 60s, .query = 60s, .station = 60s}};
};

TEST_F(ServiceRequests, TellTheConfigurationInForce) {
  EXPECT_EQ(configuration(), at_start);
}

TEST_F(ServiceRequests, ChangeTheConfigurationAndNothingElseInItsFile) {
  EXPECT_CALL(logger, send_functional_log(
                          13, log_subtype::diagnostic_periodic_generation,
                          "Changing period of generation of diagnostic. Period is now 3600s (or 1 h)"));
  EXPECT_TRUE(set({7, true, 3600s}));
  EXPECT_EQ(content_of(file()), operators_configuration("7", "3600"));
  EXPECT_EQ(configuration(), (stations_maintenance_configuration{7, true, 3600s}));
}

TEST_F(ServiceRequests, StoreZerosWhenGenerationIsSwitchedOffWhateverTheValues) {
  EXPECT_CALL(logger, send_functional_log(13, log_subtype::diagnostic_periodic_generation,
                                          "Periodic diagnostic report generation has been stopped"));
  EXPECT_TRUE(set({7, false, 3600s}));
  EXPECT_EQ(content_of(file()), operators_configuration("0", "0"));
  EXPECT_EQ(configuration(), (stations_maintenance_configuration{0, false, 0s}));
}

TEST_F(ServiceRequests, AreFoundInForceAfterARestart) {
  EXPECT_TRUE(set({7, true, 3600s}));
  ASSERT_TRUE(service.stop(0));
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  EXPECT_EQ(configuration(), (stations_maintenance_configuration{7, true, 3600s}));
}

TEST_F(ServiceRequests, ChangeNothingWithAPeriodOutsideTheLimits) {
  EXPECT_CALL(logger, send_functional_log).Times(0);
  EXPECT_FALSE(set({7, true, 86401s}));
  EXPECT_TRUE(
      log.holds(err, "[station maintenance service] Error setting the new diagnostic generation period"));
  EXPECT_EQ(content_of(file()), operators_configuration("10", "7200"));
  EXPECT_EQ(configuration(), at_start);
}

TEST_F(ServiceRequests, LeaveThePeriodStoredWhenTheMaximumIsRefused) {
  EXPECT_CALL(logger, send_functional_log).Times(0);
  EXPECT_FALSE(set({101, true, 3600s}));
  EXPECT_TRUE(log.holds(
      err, "[station maintenance service] Error setting the new maximum number of periodic report"));
  EXPECT_EQ(content_of(file()), operators_configuration("10", "3600"));
  EXPECT_EQ(configuration(), at_start);
}

TEST_F(ServiceRequests, LeaveThePeriodInForceButNotInTheFileWhenItCannotBeSaved) {
  given_a_file_that_cannot_be_replaced();
  EXPECT_FALSE(set({7, true, 3600s}));
  EXPECT_TRUE(log.holds(err,
                        "[station maintenance service] Error saving the new diagnostic generation period, "
                        "restoring previous one"));
  EXPECT_EQ(content_of(file()), operators_configuration("10", "7200"));
  EXPECT_EQ(period_in_force(), 3600s);
  EXPECT_EQ(maximum_in_force(), 10U);
  EXPECT_EQ(configuration(), at_start);
}

TEST_F(ServiceRequests, LeaveTheMaximumInForceButNotInTheFileWhenItCannotBeSaved) {
  given_a_file_that_cannot_be_replaced();
  EXPECT_FALSE(service.update_max_periodic_diagnostic(7));
  EXPECT_TRUE(log.holds(err,
                        "[station maintenance service] Error saving the new maximum number of periodic "
                        "report, restoring the previous one"));
  EXPECT_EQ(content_of(file()), operators_configuration("10", "7200"));
  EXPECT_EQ(maximum_in_force(), 7U);
}

TEST_F(ServiceRequests, SaveWhatCouldNotBeSavedWithTheNextChange) {
  given_a_file_that_cannot_be_replaced();
  EXPECT_FALSE(service.update_max_periodic_diagnostic(7));
  std::filesystem::remove(folder.path() / ".stations_maintenance_service.toml.new");
  EXPECT_TRUE(service.update_period_generation(3600s));
  EXPECT_EQ(content_of(file()), operators_configuration("7", "3600"));
}

TEST_F(ServiceRequests, FailWhenTheFileHasVanishedAndNoNewOneIsMade) {
  std::filesystem::remove(file());
  EXPECT_FALSE(set({7, true, 3600s}));
  EXPECT_TRUE(log.holds(err,
                        "[station maintenance service] Error saving the new diagnostic generation period, "
                        "restoring previous one"));
  EXPECT_FALSE(std::filesystem::exists(file()));
  EXPECT_EQ(configuration(), at_start);
}

/// A key that an operator takes out of the file while the service runs.
struct vanished_key {
  std::string name;
  std::string key;
  std::string stored_period;  ///< in the file after a request for 3600 s that fails on this key
};

void PrintTo(vanished_key const& row, std::ostream* out) {
  *out << row.name;
}

class RequestsWithoutAKey : public ServiceRequests, public testing::WithParamInterface<vanished_key> {
 protected:
  /// The configuration without the key's own line; its limits stay.
  [[nodiscard]] static std::string without_key(std::string const& period) {
    auto text = operators_configuration("10", period);
    auto const at = text.rfind('\n', text.find(GetParam().key));
    return text.erase(at, text.find('\n', at + 1) - at);
  }
};

TEST_P(RequestsWithoutAKey, GetAnErrorReplyEachTimeAndTheServiceLivesOn) {
  folder.write(file().filename(), without_key("7200"));
  for (int attempt = 0; attempt < 3; ++attempt) {
    log.clear();
    auto const answer = client.set_configuration({7, true, 3600s});
    EXPECT_EQ(answer.failure, call_failure::refused);
    EXPECT_TRUE(log.holds(err, "exception out of set_configuration"));
    EXPECT_TRUE(log.holds(err, "'diagnostic_report." + GetParam().key + "' is missing"));
    EXPECT_FALSE(log.holds(err, "[station maintenance service]"));
    EXPECT_EQ(content_of(file()), without_key(GetParam().stored_period));
    EXPECT_EQ(configuration(), at_start);
  }
}

TEST_P(RequestsWithoutAKey, SucceedAgainOnceItIsPutBack) {
  folder.write(file().filename(), without_key("7200"));
  EXPECT_EQ(client.set_configuration({7, true, 3600s}).failure, call_failure::refused);
  write_configuration("10", "7200");
  EXPECT_TRUE(set({7, true, 3600s}));
  EXPECT_EQ(content_of(file()), operators_configuration("7", "3600"));
  EXPECT_EQ(configuration(), (stations_maintenance_configuration{7, true, 3600s}));
}

INSTANTIATE_TEST_SUITE_P(Keys, RequestsWithoutAKey,
                         testing::Values(vanished_key{"period", "period_for_automatic_generation", "7200"},
                                         vanished_key{"maximum", "max_periodic_report_per_station", "3600"}),
                         [](auto const& row) { return row.param.name; });

TEST_F(ServiceRequests, ThrowWithinTheServiceForAKeyThatHasVanished) {
  folder.write(file().filename(), "[diagnostic_report]\n");
  EXPECT_THROW(service.update_period_generation(3600s), std::bad_optional_access);
  EXPECT_THROW(service.update_max_periodic_diagnostic(7), std::bad_optional_access);
  write_configuration("10", "7200");
  EXPECT_EQ(period_in_force(), 7200s);
  EXPECT_EQ(maximum_in_force(), 10U);
}

TEST_F(ServiceRequests, LeaveEverythingStoredWhenGenerationCannotBeRestarted) {
  auto text = content_of(file());
  text.replace(text.find("86400"), 5, "9223372036854775807");
  folder.write(file().filename(), text);
  ASSERT_TRUE(service.stop(0));
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  EXPECT_FALSE(set({7, true, std::chrono::seconds::max()}));
  EXPECT_THAT(content_of(file()), testing::HasSubstr("period_for_automatic_generation=9223372036854775807#"));
  EXPECT_THAT(content_of(file()), testing::HasSubstr("max_periodic_report_per_station = 7 "));
  EXPECT_EQ(configuration(), (stations_maintenance_configuration{7, true, std::chrono::seconds::max()}));
}

TEST_F(ServiceRequests, SaveAPeriodThatNoTimerCanCountWithoutLimitsAndTheNextStartNamesItAndTheRemedy) {
  auto const text = operators_configuration("10", "7200");
  folder.write(file().filename(), text.substr(0, text.find("[limits")));
  ASSERT_TRUE(service.stop(0));
  auto next = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(*next));
  ASSERT_TRUE(next->start());
  EXPECT_FALSE(set({7, true, std::chrono::seconds::max()}));
  next = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  log.clear();
  ASSERT_TRUE(init(*next));
  EXPECT_FALSE(next->start());
  EXPECT_TRUE(log.holds(
      err,
      "[station maintenance service] 'diagnostic_report.period_for_automatic_generation' is "
      "9223372036854775807, a period in seconds that no timer can count: set it to 0 for no periodic "
      "generation, or to at most 31536000 (a year), in stations_maintenance_service.toml, and start again"));

  next.reset();
  write_configuration("7", "0");
  next = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(*next));
  EXPECT_TRUE(next->start());
}

TEST_F(ServiceRequests, TellTheFolderOfTheReports) {
  EXPECT_EQ(client.get_diagnostics_folder_path().value, "reports");
}

}  // namespace
}  // namespace tavi::stations_maintenance
