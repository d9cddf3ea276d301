#include "sub_webserver_service_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::info;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class UploadEvents : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    log.clear();
  }

  sub_webserver_service_handler handler{manager};
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
  handler.on_file_uploaded("token", "", given_uploaded("x", "content"));
  EXPECT_THAT(recorded_names(), ElementsAre(MatchesRegex("Diagnostics_[0-9]{8}T[0-9]{6}[+-][0-9]{4}")));
  EXPECT_THAT(log.lines(), Contains(log_line{info, "File uploaded on tavi without file name"}));
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
