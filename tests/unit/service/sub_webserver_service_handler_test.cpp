#include "sub_webserver_service_handler.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "awaited_upload.h"
#include "diagnostic_fixture.h"
#include "manager_run.h"
#include "mura_common/text.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::info;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

/// Seconds since the epoch, now.
std::int64_t now() {
  auto const since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

/// The names that a file without one may have got between two moments.
std::vector<std::string> names_between(std::string const& kind, std::int64_t first, std::int64_t last) {
  std::vector<std::string> names;
  for (auto second = first; second <= last; ++second) {
    names.push_back(kind + "_" + mura_common::to_local_iso8601(second));
  }
  return names;
}

class UploadEvents : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    ASSERT_TRUE(firmware.init());
    log.clear();
  }

  /// Announces a firmware. @return its token
  [[nodiscard]] std::string given_announced() {
    auto const one = firmware.announce("2.1");
    EXPECT_EQ(one.code, store_firmware_result::announced);
    log.clear();
    return manager_run::token_of(one);
  }
  /// The name under which the only firmware is stored, without its number; empty when it is not.
  [[nodiscard]] std::string stored_firmware_name() {
    auto const info = firmware.manager.get_firmware_from_id(1);
    auto const file = std::filesystem::path(info ? info->path : "").filename().string();
    return file.starts_with("1_") ? file.substr(2) : "";
  }

  manager_run firmware{folder.path()};
  sub_webserver_service_handler handler{manager, firmware.manager};
};

TEST_F(UploadEvents, FileADiagnosticReportUnderItsName) {
  given_expected("token", 3);
  log.clear();
  auto const uploaded = given_uploaded("x", "content");
  handler.on_file_uploaded("token", "diag.tar.gz", uploaded);
  EXPECT_THAT(recorded_names(), ElementsAre("diag.tar.gz"));
  ASSERT_GE(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0], (log_line{info, "File diag.tar.gz uploaded on tavi"}));
  EXPECT_EQ(log.lines()[1], (log_line{info, "Diagnostic diag.tar.gz uploaded on tavi on " + uploaded}));
}

TEST_F(UploadEvents, NameAReportWithoutANameAfterTheLocalTime) {
  given_expected("token", 3);
  log.clear();
  auto const uploaded = given_uploaded("x", "content");
  auto const begin = now();
  handler.on_file_uploaded("token", "", uploaded);
  EXPECT_THAT(recorded_names(), ElementsAre(MatchesRegex("Diagnostics_[0-9]{8}T[0-9]{6}[+-][0-9]{4}")));
  EXPECT_THAT(names_between("Diagnostics", begin, now()), Contains(recorded_names().at(0)));
  EXPECT_THAT(log.lines(), Contains(log_line{info, "File uploaded on tavi without file name"}));
  EXPECT_THAT(log.lines(), Contains(log_line{info, "Diagnostic " + recorded_names().at(0) +
                                                       " uploaded on tavi on " + uploaded}));
}

TEST_F(UploadEvents, FileAFirmwareUnderItsName) {
  auto const token = given_announced();
  auto const uploaded = given_uploaded("x", "image");
  handler.on_file_uploaded(token, "fw.bin", uploaded);
  EXPECT_EQ(stored_firmware_name(), "fw.bin");
  EXPECT_THAT(recorded_names(), IsEmpty());
  ASSERT_GE(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0], (log_line{info, "File fw.bin uploaded on tavi"}));
  EXPECT_EQ(log.lines()[1], (log_line{info, "Firmware fw.bin uploaded on tavi on " + uploaded}));
}

TEST_F(UploadEvents, NameAFirmwareWithoutANameAfterTheLocalTime) {
  auto const token = given_announced();
  auto const uploaded = given_uploaded("x", "image");
  auto const begin = now();
  handler.on_file_uploaded(token, "", uploaded);
  auto const name = stored_firmware_name();
  EXPECT_THAT(names_between("Firmware", begin, now()), Contains(name));
  EXPECT_THAT(name, MatchesRegex("Firmware_[0-9]{8}T[0-9]{6}[+-][0-9]{4}"));
  ASSERT_GE(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0], (log_line{info, "File uploaded on tavi without file name"}));
  EXPECT_EQ(log.lines()[1], (log_line{info, "Firmware " + name + " uploaded on tavi on " + uploaded}));
}

TEST_F(UploadEvents, LeaveAFirmwareThatComesTooLateWhereItIsThoughItIsKnown) {
  ASSERT_TRUE(firmware.init({.timeout = std::chrono::seconds(0)}));
  auto const token = manager_run::token_of(firmware.announce("2.1"));
  ASSERT_TRUE(wait_for_timeout(firmware.manager, log, token));
  auto const uploaded = given_uploaded("x", "image");
  log.clear();
  handler.on_file_uploaded(token, "fw.bin", uploaded);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{info, "File fw.bin uploaded on tavi"},
                                       log_line{info, "Firmware fw.bin uploaded on tavi on " + uploaded}));
  EXPECT_EQ(content_of(uploaded), "image");
  EXPECT_EQ(stored_firmware_name(), "");
  EXPECT_THAT(firmware.listed(), ElementsAre(testing::Pair(1U, status::failed)));
}

TEST_F(UploadEvents, TellFirmwareByItsTokenWhateverItsName) {
  auto const token = given_announced();
  handler.on_file_uploaded(token, "Diagnostics_of_station_3", given_uploaded("x", "image"));
  EXPECT_EQ(stored_firmware_name(), "Diagnostics_of_station_3");
}

TEST_F(UploadEvents, OfferATokenThatBothExpectToTheReportsOnly) {
  auto const token = given_announced();
  given_expected(token, 3);
  log.clear();
  handler.on_file_uploaded(token, "file", given_uploaded("x", "content"));
  EXPECT_THAT(recorded_names(), ElementsAre("file"));
  EXPECT_EQ(stored_firmware_name(), "");
  EXPECT_TRUE(firmware.manager.is_my_token(token));
  EXPECT_FALSE(log.holds(info, "Firmware "));
}

TEST_F(UploadEvents, LeaveTheUploadOfAnUnknownTokenAlone) {
  auto const uploaded = given_uploaded("x", "content");
  handler.on_file_uploaded("somebody else's", "", uploaded);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{info, "File uploaded on tavi without file name"}));
  EXPECT_TRUE(std::filesystem::exists(uploaded));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(UploadEvents, FileAnUploadOnceHoweverOftenItIsAnnounced) {
  given_expected("token", 3);
  auto const uploaded = given_uploaded("x", "content");
  handler.on_file_uploaded("token", "diag", uploaded);
  handler.on_file_uploaded("token", "diag", uploaded);
  EXPECT_THAT(recorded_names(), ElementsAre("diag"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
