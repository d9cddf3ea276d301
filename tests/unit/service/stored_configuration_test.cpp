#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "mock_configuration.h"
#include "mura_common/config.h"
#include "service_configuration.h"

namespace tavi::stations_maintenance {
namespace {

using mura_common::config_value;
using spdlog::level::err;
using std::chrono::seconds;
using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::StrictMock;

TEST(ConfigurationValues, AreAskedForOneAfterTheOtherThoughAllAreMissing) {
  testing::NiceMock<mock_configuration> config;
  std::vector<std::pair<std::string, std::size_t>> asked;
  ON_CALL(config, read).WillByDefault([&](std::string const& key, config_value const& wanted) {
    asked.emplace_back(key, wanted.index());
    return std::optional<config_value>();
  });
  configuration_values const values(config);
  auto const number = config_value(0U).index();
  auto const time = config_value(seconds(0)).index();
  auto const text = config_value(std::string()).index();
  EXPECT_THAT(asked, ElementsAre(std::pair("diagnostic_report.max_periodic_report_per_station", number),
                                 std::pair("diagnostic_report.max_manual_report_per_station", number),
                                 std::pair("diagnostic_report.period_for_automatic_generation", time),
                                 std::pair("diagnostic_report.max_total_directory_size", number),
                                 std::pair("diagnostic_report.diagnostic_report_storage_directory", text),
                                 std::pair("diagnostic_report.zip_command", text),
                                 std::pair("diagnostic_report.zsh_command", text),
                                 std::pair("firmware_storage.max_firmware_stored", number),
                                 std::pair("firmware_storage.max_firmware_by_station", number),
                                 std::pair("firmware_storage.storage_path", text),
                                 std::pair("firmware_storage.upload_timeout", time)));
  EXPECT_FALSE(values.is_complete());
}

/// One of the two parameters that change while the service runs.
struct changeable {
  std::string name;
  std::string key;
  bool (*store)(mura_common::IConfigParameterProvider&);
  config_value stored;
  std::string refused;
  std::string not_saved;
};

void PrintTo(changeable const& row, std::ostream* out) {
  *out << row.name;
}

class StoredConfiguration : public testing::TestWithParam<changeable> {
 protected:
  StoredConfiguration() {
    EXPECT_CALL(config, read(GetParam().key, _)).WillRepeatedly(Return(GetParam().stored));
  }
  [[nodiscard]] bool store() { return GetParam().store(config); }

  log_capture log;
  StrictMock<mock_configuration> config;
};

TEST_P(StoredConfiguration, IsCheckedThenPutIntoForceThenSaved) {
  InSequence const in_order;
  EXPECT_CALL(config, accepts(GetParam().key, GetParam().stored)).WillOnce(Return(true));
  EXPECT_CALL(config, write(GetParam().key, GetParam().stored));
  EXPECT_CALL(config, save()).WillOnce(Return(true));
  EXPECT_TRUE(store());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_P(StoredConfiguration, ChangesNothingWhenTheValueIsRefused) {
  EXPECT_CALL(config, accepts(GetParam().key, GetParam().stored)).WillOnce(Return(false));
  EXPECT_FALSE(store());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, GetParam().refused}));
}

TEST_P(StoredConfiguration, StaysInForceWhenItCannotBeSaved) {
  bool const is_written_back = std::holds_alternative<unsigned int>(GetParam().stored);
  InSequence const in_order;
  EXPECT_CALL(config, accepts).WillOnce(Return(true));
  EXPECT_CALL(config, write(GetParam().key, GetParam().stored));
  EXPECT_CALL(config, save()).WillOnce(Return(false));
  EXPECT_CALL(config, accepts(GetParam().key, GetParam().stored)).WillOnce(Return(true));
  EXPECT_CALL(config, write(GetParam().key, GetParam().stored)).Times(is_written_back ? 1 : 0);
  EXPECT_FALSE(store());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, GetParam().not_saved}));
}

TEST_P(StoredConfiguration, IsNotWrittenBackWhenItIsRefusedMeanwhile) {
  EXPECT_CALL(config, accepts).WillOnce(Return(true)).WillOnce(Return(false));
  EXPECT_CALL(config, write).Times(1);
  EXPECT_CALL(config, save()).WillOnce(Return(false));
  EXPECT_FALSE(store());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, GetParam().not_saved}));
}

TEST_P(StoredConfiguration, ThrowsWhenItsKeyHasVanished) {
  EXPECT_CALL(config, read(GetParam().key, _)).WillOnce(Return(std::nullopt));
  EXPECT_THROW(static_cast<void>(store()), std::bad_optional_access);
  EXPECT_THAT(log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, StoredConfiguration,
    testing::Values(
        changeable{"period", "diagnostic_report.period_for_automatic_generation",
                   [](auto& config) { return store_generation_period(config, seconds(3600)); }, seconds(3600),
                   "[station maintenance service] Error setting the new diagnostic generation period",
                   "[station maintenance service] Error saving the new diagnostic generation period, "
                   "restoring previous one"},
        changeable{"maximum", "diagnostic_report.max_periodic_report_per_station",
                   [](auto& config) { return store_max_periodic_report(config, 7); }, 7U,
                   "[station maintenance service] Error setting the new maximum number of periodic report",
                   "[station maintenance service] Error saving the new maximum number of periodic report, "
                   "restoring the previous one"}),
    [](auto const& row) { return row.param.name; });

}  // namespace
}  // namespace tavi::stations_maintenance
