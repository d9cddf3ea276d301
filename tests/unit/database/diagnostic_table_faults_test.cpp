#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_table.h"
#include "faulty_database.h"
#include "log_capture.h"
#include "mura_common/database.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::critical;
using spdlog::level::err;
using spdlog::level::info;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// A table whose database can be told to fail.
class FaultyDiagnosticTable : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(real.open(folder.path() / "reports.db")); }

  temporary_folder folder;
  log_capture log;
  mura_common::sqlite_database real;
  faulty_database database{real};
  diagnostic_table table{database};
};

TEST_F(FaultyDiagnosticTable, IsRefusedWithoutTheStatementThatCreatesIt) {
  database.refuse_to_prepare("CREATE TABLE");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{info, "[diagnostic_table] Init database"},
                  log_line{err,
                           "[diagnostic_table] Unable to create diagnostic report table query : error = "
                           "no statement"}));
}

TEST_F(FaultyDiagnosticTable, IsRefusedWhenItCannotBeCreated) {
  database.fail_to_execute("CREATE TABLE");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(),
              Contains(log_line{err,
                                "[diagnostic_table] Unable to create diagnostic table : error = disk "
                                "I/O error"}));
}

TEST_F(FaultyDiagnosticTable, IsRefusedWhenAnyOneOfItsStatementsIsMissing) {
  std::vector<std::string> const statements{
      "INSERT INTO DiagnosticReports VALUES(NULL,?, ?, ?, ?, ?,'tmp');",
      "UPDATE DiagnosticReports SET full_path = ? WHERE diagnostic_id = ?;",
      "SELECT max(diagnostic_id) FROM DiagnosticReports WHERE station_id=?;",
      "DELETE FROM DiagnosticReports WHERE full_path IS ?;",
      "DELETE FROM DiagnosticReports WHERE station_id IS ?;",
      "SELECT * FROM DiagnosticReports WHERE station_id IS ?;",
      "SELECT * FROM DiagnosticReports ;",
      "SELECT full_path FROM DiagnosticReports;",
      "SELECT COUNT(diagnostic_id) FROM DiagnosticReports WHERE station_id=? AND type=?;",
      "SELECT * FROM DiagnosticReports WHERE station_id IS ? and type IS ? ORDER BY (diagnostic_id) ASC "
      "LIMIT 1;",
      "SELECT * FROM DiagnosticReports WHERE station_id IS ? ORDER BY (diagnostic_id) ASC LIMIT 1;",
      "SELECT * FROM DiagnosticReports ORDER BY (diagnostic_id) ASC LIMIT 1;"};
  for (auto const& statement : statements) {
    database.heal();
    database.refuse_to_prepare(statement);
    database.prepared_texts.clear();
    log.clear();
    EXPECT_FALSE(table.init()) << statement;
    EXPECT_EQ(
        log.lines().back(),
        (log_line{critical,
                  "[diagnostic_table] Error while create queries for DiagnosticReports table, error = no "
                  "statement"}));
    // A failed preparation is not the end: the others follow, in the order in which they always come.
    ASSERT_EQ(database.prepared_texts.size(), 13U);
    EXPECT_EQ(std::vector<std::string>(database.prepared_texts.begin() + 1, database.prepared_texts.end()),
              statements);
  }
}

TEST_F(FaultyDiagnosticTable, FailsQuietlyBeforeItIsReady) {
  EXPECT_FALSE(table.insert_diagnostic_report(1, "a", diagnostic_report_type::manual, 1));
  EXPECT_THAT(table.get_all_diagnostics(), IsEmpty());
  EXPECT_THAT(table.get_all_diagnostics_path(), IsEmpty());
  EXPECT_THAT(table.get_diagnostics_of_station(1), IsEmpty());
  EXPECT_FALSE(table.delete_diagnostic_report_for_path("/a"));
  EXPECT_FALSE(table.delete_diagnostic_reports_for_station(1));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FaultyDiagnosticTable, TellsOfAPathItCannotStoreBeforeItIsReady) {
  EXPECT_FALSE(table.update_full_path_query(6, "/a"));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               err, "[diagnostic_table] Unable to update diagnostic path for station 6"}));
}

TEST_F(FaultyDiagnosticTable, ChecksTheSelectOfAStationBeforeItInserts) {
  database.refuse_to_prepare("SELECT * FROM DiagnosticReports WHERE station_id IS ?;");
  EXPECT_FALSE(table.init());
  log.clear();
  EXPECT_FALSE(table.insert_diagnostic_report(1, "a", diagnostic_report_type::manual, 1));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_TRUE(table.get_all_diagnostics().empty());
}

/// One operation whose statement fails: what it answers is checked by `call`, what it logs by the lines.
struct failing_operation {
  char const* name;
  char const* statement;
  std::function<bool(diagnostic_table&)> answers_failure;
  log_line line;
  std::vector<log_line> further_lines = {};
};

void PrintTo(failing_operation const& operation, std::ostream* out) {
  *out << operation.name;
}

class FailingOperation : public FaultyDiagnosticTable,
                         public testing::WithParamInterface<failing_operation> {};

TEST_P(FailingOperation, LogsItsLinesAnswersFailureAndWorksAgainLater) {
  ASSERT_TRUE(table.init());
  ASSERT_TRUE(table.insert_diagnostic_report(7, "a", diagnostic_report_type::manual, 1));
  ASSERT_TRUE(table.update_full_path_query(1, "/path"));
  log.clear();
  database.fail_to_execute(GetParam().statement);
  EXPECT_TRUE(GetParam().answers_failure(table));
  auto expected = GetParam().further_lines;
  expected.insert(expected.begin(), GetParam().line);
  EXPECT_EQ(log.lines(), expected);

  database.heal();
  log.clear();
  EXPECT_FALSE(GetParam().answers_failure(table));
}

std::vector<failing_operation> failing_operations() {
  return {
      {"Insert",
       "INSERT INTO",
       [](auto& t) { return !t.insert_diagnostic_report(7, "b", diagnostic_report_type::manual, 1); },
       {err, "[diagnostic_table] Unable to store new diagnostic report : error = disk I/O error"}},
      {"MaxId",
       "SELECT max(",
       [](auto& t) { return !t.get_max_diagnostic_id(7); },
       {err, "[diagnostic_table] Unable to get max diagnostic report i: error = disk I/O error"}},
      {"UpdatePath",
       "UPDATE",
       [](auto& t) { return !t.update_full_path_query(7, "/x"); },
       {err, "[diagnostic_table] Unable to update diagnostic path for station 7"}},
  };
}

std::vector<failing_operation> failing_lists_and_deletions() {
  return {
      {"AllPaths",
       "SELECT full_path",
       [](auto& t) { return t.get_all_diagnostics_path().empty(); },
       {err, "[diagnostic_table] Can't get any diagnostic path : error = disk I/O error"},
       {{info, "[diagnostic_table] There is not any diagnostic reports"}}},
      {"All",
       "SELECT * FROM DiagnosticReports ;",
       [](auto& t) { return t.get_all_diagnostics().empty(); },
       {err, "[diagnostic_table] Can't get any diagnostic : error = disk I/O error"},
       {{info, "[diagnostic_table] There is not any diagnostic reports"}}},
      {"OfStation",
       "WHERE station_id IS ?;",
       [](auto& t) { return t.get_diagnostics_of_station(7).empty(); },
       {err, "[diagnostic_table] Can't get diagnostics of stations 7 : error = disk I/O error"},
       {{err, "[diagnostic_table] There is not any diagnostic reports found for station 7"}}},
      {"Oldest",
       "SELECT * FROM DiagnosticReports ORDER",
       [](auto& t) { return !t.get_oldest_diagnostic(std::nullopt, std::nullopt); },
       {err, "[diagnostic_table] Can't get oldest diagnostic"}},
      {"OldestOfStation",
       "WHERE station_id IS ? ORDER",
       [](auto& t) { return !t.get_oldest_diagnostic(7, std::nullopt); },
       {err, "[diagnostic_table] Can't get oldest diagnostic for station 7"}},
      {"OldestOfType",
       "and type IS ? ORDER",
       [](auto& t) { return !t.get_oldest_diagnostic(7, diagnostic_report_type::manual); },
       {err, "[diagnostic_table] Can't get oldest diagnostic for station 7 and type manual"}},
      {"Count",
       "SELECT COUNT",
       [](auto& t) { return t.count_stored_diagnostic_reports(7, diagnostic_report_type::manual) == 0; },
       {err, "[diagnostic_table] Unable to count diagnostic of station7 : error = disk I/O error"}},
      {"DeleteOfStation",
       "DELETE FROM DiagnosticReports WHERE station_id",
       [](auto& t) { return !t.delete_diagnostic_reports_for_station(7); },
       {err, "[diagnostic_table] Can't delete diagnostic reports of station 7, error = disk I/O error"}},
      {"DeleteByPath",
       "DELETE FROM DiagnosticReports WHERE full_path",
       [](auto& t) { return !t.delete_diagnostic_report_for_path("/x"); },
       {err, "[diagnostic_table] Can't delete diagnostic report for path /x, error = disk I/O error"}},
      {"ListOfPaths",
       "IN(",
       [](auto& t) { return t.get_list_of_diagnostics_path({1}).empty(); },
       {critical,
        "[diagnostic_table] Error while executing select diagnostic reports names (disk I/O error) => "
        "query =  SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(1);"}},
  };
}

INSTANTIATE_TEST_SUITE_P(Each, FailingOperation, testing::ValuesIn(failing_operations()),
                         [](auto const& tested) { return std::string(tested.param.name); });
INSTANTIATE_TEST_SUITE_P(EachListAndDeletion, FailingOperation,
                         testing::ValuesIn(failing_lists_and_deletions()),
                         [](auto const& tested) { return std::string(tested.param.name); });

TEST_F(FaultyDiagnosticTable, WritesChosenIdsIntoTheStatementUnchanged) {
  ASSERT_TRUE(table.init());
  table.get_list_of_diagnostics_path({7});
  EXPECT_EQ(database.prepared_texts.back(),
            " SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(7);");
  table.get_list_of_diagnostics_path({3, 3, 9});
  EXPECT_EQ(database.prepared_texts.back(),
            " SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(3,3,9);");
}

TEST_F(FaultyDiagnosticTable, TellsTheStatementForChosenIdsThatItCannotPrepare) {
  ASSERT_TRUE(table.init());
  log.clear();
  database.refuse_to_prepare("IN(");
  EXPECT_THAT(table.get_list_of_diagnostics_path({3, -1}), IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{critical,
                           "[diagnostic_table] Error while creating select diagnostic reports names  query "
                           "(no statement) => query =  SELECT full_path FROM DiagnosticReports WHERE "
                           "diagnostic_id IN(3,-1);"}));
}

TEST_F(FaultyDiagnosticTable, TellsWhereAListBreaksOff) {
  ASSERT_TRUE(table.init());
  ASSERT_TRUE(table.insert_diagnostic_report(7, "a", diagnostic_report_type::manual, 1));
  ASSERT_TRUE(table.insert_diagnostic_report(7, "b", diagnostic_report_type::manual, 1));
  log.clear();
  database.break_after_first_row_of("SELECT");
  bool is_whole = true;
  EXPECT_THAT(table.get_all_diagnostics_path(is_whole), ElementsAre("tmp"));
  EXPECT_FALSE(is_whole);
  EXPECT_EQ(table.get_all_diagnostics().size(), 1U);
  EXPECT_EQ(table.get_diagnostics_of_station(7).size(), 1U);
  EXPECT_EQ(table.get_list_of_diagnostics_path({1, 2}).size(), 1U);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[diagnostic_table] Can't get any diagnostic path : error = disk I/O error"},
          log_line{err, "[diagnostic_table] Can't get any diagnostic : error = disk I/O error"},
          log_line{err, "[diagnostic_table] Can't get diagnostics of stations 7 : error = disk I/O error"},
          log_line{
              critical,
              "[diagnostic_table] Error while executing select diagnostic reports names (disk I/O "
              "error) => query =  SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(1,2);"}));
  database.heal();
  EXPECT_EQ(table.get_all_diagnostics_path(is_whole).size(), 2U);
  EXPECT_TRUE(is_whole);
}

}  // namespace
}  // namespace tavi::stations_maintenance
