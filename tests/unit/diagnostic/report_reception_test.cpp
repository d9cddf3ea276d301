#include "report_reception.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::debug;
using spdlog::level::err;
using spdlog::level::info;
using testing::ElementsAre;
using testing::IsEmpty;

class ReportReception : public DiagnosticManagerTest {};

TEST_F(ReportReception, FilesAReportUnderItsNumberAndTellsEveryStep) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  auto const uploaded = given_uploaded("diag.log", "content");
  log.clear();

  EXPECT_TRUE(manager.save_file("token", "diag.log", uploaded));

  auto const stored = in_folder("reports/station_3/periodic_reports/1_diag.log");
  EXPECT_EQ(content_of(stored), "content");
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre(stored));
  auto const report = table.get_all_diagnostics().at(0);
  EXPECT_EQ(report.station_id, 3U);
  EXPECT_EQ(report.diagnostic_name, "diag.log");
  EXPECT_EQ(report.type, periodic);
  EXPECT_EQ(report.size, 7U);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{info, "[diagnostic_manager] Trying to save file " + uploaded + ", size=7"},
          log_line{info, "[diagnostic_manager] Creating directories for the diagnostic report of station 3"},
          log_line{debug, "[diagnostic_manager] Copy file " + uploaded + " to " + stored +
                              ", code = Success  ------ full path = " + uploaded + " to " + stored},
          log_line{info, "[diagnostic_manager] File diag.log has been uploaded on " + stored},
          log_line{info, "[diagnostic_manager] Removing file " + uploaded}));
}

TEST_F(ReportReception, TakesNoFileWithoutAPath) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  log.clear();
  EXPECT_FALSE(manager.save_file("token", "diag.log", ""));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{info, "[diagnostic_manager] Trying to save file , size=18446744073709551615"},
                  log_line{err, "[diagnostic_manager] Path of uploaded file is empty, can't save it"},
                  log_line{err, "[diagnostic_manager] Unknown token"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_TRUE(manager.is_my_token("token"));
}

TEST_F(ReportReception, DiscardsTheFileOfAnUnknownTokenAndRemembersTheToken) {
  ASSERT_TRUE(init());
  for (auto const* again : {"first", "second"}) {
    auto const uploaded = given_uploaded(again, "content");
    log.clear();
    EXPECT_TRUE(manager.save_file("never handed out", again, uploaded));
    EXPECT_FALSE(fs::exists(uploaded));
    EXPECT_THAT(log.lines(), ElementsAre(log_line{info, "[diagnostic_manager] Trying to save file " +
                                                            uploaded + ", size=7"},
                                         log_line{err, "[diagnostic_manager] Unknown token"}));
    EXPECT_TRUE(manager.is_my_token("never handed out"));
  }
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportReception, DiscardsTheSecondFileUnderOneToken) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  ASSERT_TRUE(manager.save_file("token", "a", given_uploaded("a", "first")));
  auto const second = given_uploaded("a", "second");
  EXPECT_TRUE(manager.save_file("token", "a", second));
  EXPECT_FALSE(fs::exists(second));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_TRUE(log.holds(err, "[diagnostic_manager] Unknown token"));
}

TEST_F(ReportReception, ReservesStationZeroForWhatIsNotExpected) {
  ASSERT_TRUE(init());
  given_expected("token", 0);
  auto const uploaded = given_uploaded("a", "content");
  EXPECT_TRUE(manager.save_file("token", "a", uploaded));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportReception, RefusesAnUploadWhoseFileIsMissing) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  EXPECT_FALSE(manager.save_file("token", "new", in_folder("spool/nothing")));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

/// Leaves the process exactly one free file descriptor while it lives.
class one_free_descriptor {
 public:
  one_free_descriptor() {
    getrlimit(RLIMIT_NOFILE, &previous);
    int const next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit tight = previous;
    tight.rlim_cur = static_cast<rlim_t>(next) + 1;
    setrlimit(RLIMIT_NOFILE, &tight);
  }
  ~one_free_descriptor() { setrlimit(RLIMIT_NOFILE, &previous); }
  one_free_descriptor(one_free_descriptor const&) = delete;
  one_free_descriptor& operator=(one_free_descriptor const&) = delete;

 private:
  rlimit previous{};
};

TEST_F(ReportReception, LeavesFileAndTokenWhenTheTreeCannotBeWalkedToItsEnd) {
  if (is_sanitizer_in_need_of_descriptors) {
    GTEST_SKIP() << "the sanitizer needs the descriptors that this situation lacks";
  }
  ASSERT_TRUE(init());
  given_stored(1, "a", 1);
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", "content");
  {
    one_free_descriptor const limit;
    EXPECT_THROW(manager.save_file("token", "new", uploaded), fs::filesystem_error);
  }
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_TRUE(manager.is_my_token("token"));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_TRUE(manager.save_file("token", "new", uploaded));
}

}  // namespace
}  // namespace tavi::stations_maintenance
