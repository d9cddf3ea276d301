#include "report_export.h"

#include <map>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive_entries.h"
#include "diagnostic_fixture.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::warn;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class ReportExport : public DiagnosticManagerTest {
 protected:
  /// Initialises with an archiver that notes how many files each call is given, then does as `then` says.
  void given_archiver(std::string const& then = "exec zip -q \"$@\"",
                      std::string const& storage = "reports") {
    // Beside the files it gets "-nw", "-g", the archive and "--".
    auto const program = folder.write(
        "archiver", "#!/bin/sh\necho $(($# - 4)) >>'" + in_folder("calls") + "'\n" + then + "\n");
    fs::permissions(program, fs::perms{0755});
    ASSERT_TRUE(manager.init(1000, 1000, std::chrono::seconds(0), 1'000'000, storage, program.string(), "sh",
                             folder.path().string()));
  }

  /// Stores so many reports. @return their contents by the names that they are to have in an archive
  std::map<std::string, std::string> given_reports(int count, std::string const& storage = "reports") {
    std::map<std::string, std::string> contents;
    for (int number = 1; number <= count; ++number) {
      auto const station = static_cast<unsigned int>(number % 3 + 1);
      auto const type = number % 2 == 0 ? periodic : manual;
      auto const content = "content of report " + std::to_string(number);
      EXPECT_TRUE(table.insert_diagnostic_report(station, "diag.log", type, content.size()));
      auto const path = manager.get_full_path(station, type, number, "diag.log");
      EXPECT_TRUE(table.update_full_path_query(static_cast<unsigned int>(number), path));
      auto const name = path.substr(folder.path().string().size() + 1);
      EXPECT_TRUE(name.starts_with(storage + "/station_")) << name;
      folder.write(name, content);
      contents[name] = content;
    }
    log.clear();
    return contents;
  }

  static diagnostic_report_filter first(int count) {
    diagnostic_report_filter filter;
    filter.diagnostic_ids.resize(static_cast<std::size_t>(count));
    std::iota(filter.diagnostic_ids.begin(), filter.diagnostic_ids.end(), 1);
    return filter;
  }

  /// How many files each call of the archiver was given, one line each.
  [[nodiscard]] std::string calls() const { return content_of(folder.path() / "calls"); }

  [[nodiscard]] std::map<std::string, std::string> exported() const {
    auto const entries = archive_entries(archive);
    std::map<std::string, std::string> contents(entries.begin(), entries.end());
    EXPECT_EQ(contents.size(), entries.size()) << "a name stands in the archive twice";
    return contents;
  }

  std::string const archive = in_folder("export.zip");
};

TEST_F(ReportExport, PacksAHundredAndTwentyReportsWithThreeCalls) {
  given_archiver();
  auto const stored = given_reports(120);
  EXPECT_TRUE(manager.export_diagnostic_reports(first(120), archive));
  EXPECT_EQ(calls(), "50\n50\n20\n");
  EXPECT_EQ(exported().size(), 120U);
  EXPECT_TRUE(exported() == stored);
  EXPECT_THAT(log.lines(), IsEmpty());
}

struct batch_case {
  char const* situation;
  int reports;
  char const* calls;
};

class ExportBatches : public ReportExport, public testing::WithParamInterface<batch_case> {};

TEST_P(ExportBatches, HoldFiftyReportsAtMost) {
  given_archiver();
  auto const stored = given_reports(GetParam().reports);
  EXPECT_TRUE(manager.export_diagnostic_reports(first(GetParam().reports), archive));
  EXPECT_EQ(calls(), GetParam().calls);
  EXPECT_TRUE(exported() == stored);
}

INSTANTIATE_TEST_SUITE_P(Each, ExportBatches,
                         testing::Values(batch_case{"One", 1, "1\n"}, batch_case{"AlmostFull", 49, "49\n"},
                                         batch_case{"ExactlyFull", 50, "50\n"},
                                         batch_case{"OneMore", 51, "50\n1\n"},
                                         batch_case{"TwoFull", 100, "50\n50\n"}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(ReportExport, PacksTheChosenReportsOnceInTheOrderOfTheirReception) {
  given_archiver();
  given_reports(4);
  EXPECT_TRUE(manager.export_diagnostic_reports({{4, 2, 99, 4, -1}}, archive));
  EXPECT_EQ(calls(), "2\n");
  EXPECT_THAT(archive_entries(archive),
              ElementsAre(Pair("reports/station_3/periodic_reports/2_diag.log", "content of report 2"),
                          Pair("reports/station_2/periodic_reports/4_diag.log", "content of report 4")));
}

TEST_F(ReportExport, SaysOnceThatThereIsNothingToExport) {
  given_archiver();
  given_reports(1);
  EXPECT_FALSE(manager.export_diagnostic_reports({}, archive));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[diagnostic_table] There is no diagnostic report ID to look for"},
                          log_line{warn, "[diagnostic_manager] No diagnostic report to export"}));
  log.clear();
  EXPECT_FALSE(manager.export_diagnostic_reports({{7, 8}}, archive));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn, "[diagnostic_manager] No diagnostic report to export"}));
  EXPECT_FALSE(fs::exists(archive));
  EXPECT_EQ(calls(), "");
}

TEST_F(ReportExport, ExportsNothingWhenTheReportsCannotBeLookedUp) {
  given_archiver();
  given_reports(1);
  faults.fail_to_execute(" SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(");
  EXPECT_FALSE(manager.export_diagnostic_reports(first(1), archive));
  EXPECT_TRUE(log.holds(warn, "[diagnostic_manager] No diagnostic report to export"));
  EXPECT_EQ(calls(), "");
}

struct failing_batches {
  char const* situation;
  char const* failing;  ///< which calls fail, as a pattern for their numbers
  bool result;
  std::size_t exported;
};

class FailingBatches : public ReportExport, public testing::WithParamInterface<failing_batches> {};

TEST_P(FailingBatches, StopNoOtherAndOneThatSucceedsMakesAnExport) {
  auto const& one = GetParam();
  given_archiver("call=$(wc -l <'" + in_folder("calls") + "')\ncase $call in " + one.failing +
                 ") echo broken >&2; exit 9;; esac\nexec zip -q \"$@\"");
  given_reports(120);
  EXPECT_EQ(manager.export_diagnostic_reports(first(120), archive), one.result);
  EXPECT_EQ(calls(), "50\n50\n20\n");
  EXPECT_EQ(fs::exists(archive) ? exported().size() : 0U, one.exported);
  EXPECT_TRUE(log.holds(err, "files into " + archive + ": sh ended with 9: broken"));
}

INSTANTIATE_TEST_SUITE_P(Each, FailingBatches,
                         testing::Values(failing_batches{"First", "1", true, 70},
                                         failing_batches{"Second", "2", true, 70},
                                         failing_batches{"Last", "3", true, 100},
                                         failing_batches{"AllButTheLast", "1|2", true, 20},
                                         failing_batches{"All", "*", false, 0}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(ReportExport, AddsToAnArchiveThatExists) {
  given_archiver();
  auto const stored = given_reports(3);
  EXPECT_TRUE(manager.export_diagnostic_reports({{1, 2}}, archive));
  EXPECT_TRUE(manager.export_diagnostic_reports({{2, 3}}, archive));
  EXPECT_TRUE(exported() == stored);
}

TEST_F(ReportExport, LeavesAFileAloneThatIsNoArchive) {
  given_archiver();
  given_reports(1);
  folder.write("export.zip", "something else");
  EXPECT_FALSE(manager.export_diagnostic_reports(first(1), archive));
  EXPECT_EQ(content_of(archive), "something else");
}

TEST_F(ReportExport, LeavesOutReportsWhoseFilesAreMissing) {
  given_archiver();
  auto stored = given_reports(3);
  auto const missing = stored.begin()->first;
  fs::remove(folder.path() / missing);
  stored.erase(missing);
  EXPECT_TRUE(manager.export_diagnostic_reports(first(3), archive));
  EXPECT_TRUE(exported() == stored);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{warn, "[zipper] file " + in_folder(missing) +
                                                          " does not exist and is left out"}));
}

TEST_F(ReportExport, LeavesOutReportsThatWereNeverPlaced) {
  given_archiver();
  given_reports(1);
  ASSERT_TRUE(table.insert_diagnostic_report(1, "never placed", periodic, 1));
  EXPECT_TRUE(manager.export_diagnostic_reports(first(2), archive));
  EXPECT_EQ(exported().size(), 1U);
  EXPECT_FALSE(manager.export_diagnostic_reports({{2}}, in_folder("other.zip")));
  EXPECT_FALSE(fs::exists(in_folder("other.zip")));
}

TEST_F(ReportExport, BeginsARelativeDestinationAtTheWorkingDirectory) {
  given_archiver();
  auto const stored = given_reports(2);
  temporary_folder elsewhere;
  fs::current_path(elsewhere.path());
  EXPECT_TRUE(manager.export_diagnostic_reports(first(2), "export.zip"));
  EXPECT_TRUE(exported() == stored);
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

TEST_F(ReportExport, NamesReportsStoredElsewhereByTheirWholePath) {
  temporary_folder elsewhere;
  given_archiver("exec zip -q \"$@\"", elsewhere.path().string());
  ASSERT_TRUE(table.insert_diagnostic_report(1, "a", periodic, 1));
  auto const path = manager.get_full_path(1, periodic, 1, "a");
  ASSERT_TRUE(table.update_full_path_query(1, path));
  elsewhere.write("station_1/periodic_reports/1_a", "content");
  EXPECT_TRUE(manager.export_diagnostic_reports(first(1), archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair(path.substr(1), "content")));
}

TEST_F(ReportExport, KeepsEveryNameThatAStationCanChoose) {
  ASSERT_TRUE(init());
  std::vector<std::string> const names{"-rf",
                                       "$(touch RUN)",
                                       "`touch RUN`",
                                       "'; touch RUN; '",
                                       "a \"b\"",
                                       "[a]*?",
                                       "back\\slash",
                                       "Pr\xc3\xbc"
                                       "fung",
                                       "\xff",
                                       "@"};
  for (auto const& name : names) {
    given_stored(1, name, 3);
  }
  EXPECT_TRUE(manager.export_diagnostic_reports(first(static_cast<int>(names.size())), archive));
  std::map<std::string, std::string> expected;
  for (std::size_t index = 0; index < names.size(); ++index) {
    expected["reports/station_1/periodic_reports/" + std::to_string(index + 1) + "_" + names[index]] = "xxx";
  }
  EXPECT_EQ(exported(), expected);
  EXPECT_FALSE(fs::exists(in_folder("RUN")));
}

TEST_F(ReportExport, LeavesReportsAndRowsAsTheyWere) {
  given_archiver();
  auto const stored = given_reports(2);
  ASSERT_TRUE(manager.export_diagnostic_reports(first(2), archive));
  for (auto const& [name, content] : stored) {
    EXPECT_EQ(content_of(folder.path() / name), content);
  }
  EXPECT_EQ(recorded_names().size(), 2U);
}

}  // namespace
}  // namespace tavi::stations_maintenance
