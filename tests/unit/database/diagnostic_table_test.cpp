#include "diagnostic_table.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "mura_common/database.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr auto periodic = diagnostic_report_type::periodic;
constexpr auto manual = diagnostic_report_type::manual;

std::int64_t now_in_seconds() {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

/// A table in a real database file.
class DiagnosticTable : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(database.open(folder.path() / "reports.db"));
    ASSERT_TRUE(table.initTable());
    log.clear();
  }

  /// Inserts a report and tells its id.
  std::uint32_t given_report(unsigned int station, std::string const& name,
                             diagnostic_report_type type = periodic, unsigned long size = 1) {
    EXPECT_TRUE(table.insert_diagnostic_report(station, name, type, size));
    return table.get_max_diagnostic_id(station).value_or(0);
  }

  std::uint32_t given_placed_report(unsigned int station, std::string const& path,
                                    diagnostic_report_type type = periodic) {
    auto const id = given_report(station, "name", type);
    EXPECT_TRUE(table.update_full_path_query(id, path));
    return id;
  }

  std::string text_from_database(std::string const& sql) {
    auto const query = database.create_query(sql);
    EXPECT_TRUE(query && query->execute()) << sql;
    return query ? query->get_text(0) : "";
  }

  temporary_folder folder;
  log_capture log;
  mura_common::sqlite_database database;
  diagnostic_table table{database};
};

TEST_F(DiagnosticTable, CreatesItsSchemaToTheLetter) {
  EXPECT_EQ(
      text_from_database("SELECT sql FROM sqlite_master WHERE name = 'DiagnosticReports'"),
      "CREATE TABLE DiagnosticReports ([diagnostic_id]             INTEGER,[diagnostic_name]           "
      "VARCHAR(40),[station_id]                INTEGER,[timestamp_creation]        BIGINT,[type]             "
      "         INTEGER,[size]                      BIGINT,[full_path]                 "
      "VARCHAR(255),PRIMARY KEY([diagnostic_id] AUTOINCREMENT))");
}

TEST_F(DiagnosticTable, SaysThatItIsReadyAtEveryStart) {
  diagnostic_table again(database);
  EXPECT_TRUE(again.initTable());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{spdlog::level::info, "[diagnostic_table] Init database"},
                          log_line{spdlog::level::info,
                                   "[diagnostic_table] Table DiagnosticReports created successfully"}));
}

TEST_F(DiagnosticTable, KeepsItsRowsOverAStart) {
  auto const id = given_report(3, "kept.log");
  diagnostic_table again(database);
  ASSERT_TRUE(again.initTable());
  EXPECT_EQ(again.get_max_diagnostic_id(3), id);
}

TEST_F(DiagnosticTable, MigratesNothingAndLeavesTheVersionAlone) {
  unsigned int version = 77;
  EXPECT_TRUE(table.update(0, version));
  EXPECT_EQ(version, 77U);
}

TEST_F(DiagnosticTable, StoresAReportWithTimeOfReceptionAndPlaceholderPath) {
  auto const before = now_in_seconds();
  auto const id = given_report(12, "diag.tar.gz", manual, 5000);
  auto const after = now_in_seconds();

  auto const reports = table.get_all_diagnostics();
  ASSERT_EQ(reports.size(), 1U);
  auto const& report = reports.front();
  EXPECT_EQ(report.diagnostic_id, id);
  EXPECT_EQ(report.station_id, 12U);
  EXPECT_EQ(report.diagnostic_name, "diag.tar.gz");
  EXPECT_EQ(report.type, manual);
  EXPECT_EQ(report.size, 5000U);
  EXPECT_GE(report.timestamp_creation, before);
  EXPECT_LE(report.timestamp_creation, after);
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("tmp"));
}

TEST_F(DiagnosticTable, KeepsSizesBeyond32BitsButReadsTheirLowBits) {
  given_report(1, "big", periodic, 0x1'0000'0007UL);
  EXPECT_EQ(text_from_database("SELECT size FROM DiagnosticReports"), "4294967303");
  EXPECT_EQ(table.get_all_diagnostics().front().size, 7U);
}

TEST_F(DiagnosticTable, ReplacesThePlaceholderByThePath) {
  auto const first = given_report(1, "a");
  given_report(1, "b");
  EXPECT_TRUE(table.update_full_path_query(first, "/reports/a"));
  EXPECT_THAT(table.get_all_diagnostics_path(), UnorderedElementsAre("/reports/a", "tmp"));
}

TEST_F(DiagnosticTable, TakesAPathForAnUnknownIdWithoutChange) {
  given_report(1, "a");
  EXPECT_TRUE(table.update_full_path_query(999, "/reports/a"));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("tmp"));
}

TEST_F(DiagnosticTable, TellsTheHighestIdOfAStation) {
  given_report(1, "a");
  auto const second = given_report(1, "b");
  given_report(2, "c");
  EXPECT_EQ(table.get_max_diagnostic_id(1), second);
}

TEST_F(DiagnosticTable, NeverGivesAnIdTwice) {
  auto const id = given_placed_report(1, "/gone");
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/gone"));
  EXPECT_GT(given_report(1, "next"), id);
}

TEST_F(DiagnosticTable, HasZeroAsTheHighestIdOfAStationWithoutReports) {
  given_report(1, "a");
  EXPECT_EQ(table.get_max_diagnostic_id(8), std::optional<std::uint32_t>(0));
}

TEST_F(DiagnosticTable, CountsReportsOfAStationByType) {
  given_report(1, "a", periodic);
  given_report(1, "b", periodic);
  given_report(1, "c", manual);
  given_report(2, "d", periodic);
  EXPECT_EQ(table.count_stored_diagnostic_reports(1, periodic), 2U);
  EXPECT_EQ(table.count_stored_diagnostic_reports(1, manual), 1U);
  EXPECT_EQ(table.count_stored_diagnostic_reports(9, periodic), 0U);
}

TEST_F(DiagnosticTable, SaysSoWhenThereAreNoReportsAtAll) {
  log_line const none{spdlog::level::info, "[diagnostic_table] There is not any diagnostic reports"};
  EXPECT_THAT(table.get_all_diagnostics(), IsEmpty());
  EXPECT_THAT(table.get_all_diagnostics_path(), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(none, none));
}

TEST_F(DiagnosticTable, ListsTheReportsOfOneStationOnly) {
  given_report(1, "a");
  given_report(2, "b");
  given_report(1, "c", manual);
  std::vector<std::string> names;
  for (auto const& report : table.get_diagnostics_of_station(1)) {
    EXPECT_EQ(report.station_id, 1U);
    names.push_back(report.diagnostic_name);
  }
  EXPECT_THAT(names, UnorderedElementsAre("a", "c"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticTable, CallsAStationWithoutReportsAnError) {
  EXPECT_THAT(table.get_diagnostics_of_station(4), IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{spdlog::level::err,
                           "[diagnostic_table] There is not any diagnostic reports found for station 4"}));
}

TEST_F(DiagnosticTable, TakesTheLowestIdForTheOldestWhateverTheClockSaid) {
  auto const first = given_report(1, "first");
  given_report(1, "second");
  auto const query = database.create_query(
      "UPDATE DiagnosticReports SET timestamp_creation = 9999999999 WHERE "
      "diagnostic_name = 'first'");
  ASSERT_TRUE(query->execute());
  auto const oldest = table.get_oldest_diagnostic(1, periodic);
  ASSERT_TRUE(oldest);
  EXPECT_EQ(oldest->diagnostic_id, first);
  EXPECT_EQ(oldest->timestamp_creation, 9999999999);
}

TEST_F(DiagnosticTable, FindsTheOldestWithinItsRestrictions) {
  auto const of_other = given_report(2, "a", manual, 77);
  auto const of_station = given_report(1, "b", manual);
  auto const of_type = given_report(1, "c", periodic);
  EXPECT_EQ(table.get_oldest_diagnostic(std::nullopt, std::nullopt)->diagnostic_id, of_other);
  EXPECT_EQ(table.get_oldest_diagnostic(1, std::nullopt)->diagnostic_id, of_station);
  EXPECT_EQ(table.get_oldest_diagnostic(1, periodic)->diagnostic_id, of_type);
}

TEST_F(DiagnosticTable, IgnoresTheTypeOfTheOldestWithoutAStation) {
  auto const id = given_report(2, "a", manual);
  given_report(1, "b", periodic);
  EXPECT_EQ(table.get_oldest_diagnostic(std::nullopt, periodic)->diagnostic_id, id);
}

TEST_F(DiagnosticTable, LeavesTheSizeOfTheOldestUnfilled) {
  given_report(2, "a", manual, 77);
  auto const oldest = table.get_oldest_diagnostic(2, manual);
  ASSERT_TRUE(oldest);
  EXPECT_EQ(oldest->size, 0U);
  EXPECT_EQ(oldest->diagnostic_name, "a");
  EXPECT_EQ(oldest->station_id, 2U);
  EXPECT_EQ(oldest->type, manual);
}

TEST_F(DiagnosticTable, SaysForWhatThereIsNoOldest) {
  EXPECT_FALSE(table.get_oldest_diagnostic(std::nullopt, std::nullopt));
  EXPECT_FALSE(table.get_oldest_diagnostic(5, std::nullopt));
  EXPECT_FALSE(table.get_oldest_diagnostic(5, manual));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{spdlog::level::info, "[diagnostic_table] No diagnostics found"},
                  log_line{spdlog::level::info, "[diagnostic_table] No diagnostics found for station = 5"},
                  log_line{spdlog::level::info,
                           "[diagnostic_table] No diagnostics found for station = 5 and type = manual"}));
}

TEST_F(DiagnosticTable, TakesNegativeStationIdsOfTheOldestAsTheyAre) {
  given_report(4294967295U, "highest");
  EXPECT_FALSE(table.get_oldest_diagnostic(-1, std::nullopt));
  EXPECT_TRUE(log.holds(spdlog::level::info, "No diagnostics found for station = -1"));
  auto const query = database.create_query("UPDATE DiagnosticReports SET station_id = -1");
  ASSERT_TRUE(query->execute());
  EXPECT_TRUE(table.get_oldest_diagnostic(-1, std::nullopt));
}

TEST_F(DiagnosticTable, DeletesTheReportsOfOneStation) {
  given_report(1, "a");
  given_report(1, "b", manual);
  given_report(2, "c");
  EXPECT_TRUE(table.delete_diagnostic_reports_for_station(1));
  auto const left = table.get_all_diagnostics();
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left.front().station_id, 2U);
}

TEST_F(DiagnosticTable, CountsDeletingNothingAsSuccess) {
  EXPECT_TRUE(table.delete_diagnostic_reports_for_station(1));
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/none"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticTable, DeletesByExactlyTheStoredPath) {
  given_placed_report(1, "/reports/A");
  for (auto const* other : {"/reports/a", "/reports/A ", "/reports//A", "/reports/%", ""}) {
    EXPECT_TRUE(table.delete_diagnostic_report_for_path(other));
    EXPECT_EQ(table.get_all_diagnostics_path().size(), 1U) << other;
  }
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/reports/A"));
  EXPECT_THAT(table.get_all_diagnostics_path(), IsEmpty());
}

TEST_F(DiagnosticTable, DeletesEveryPlaceholderAtOnce) {
  given_report(1, "a");
  given_report(2, "b");
  given_placed_report(3, "/reports/c");
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("tmp"));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("/reports/c"));
}

TEST_F(DiagnosticTable, GivesThePathsOfChosenReportsOnceEachInItsOwnOrder) {
  auto const first = static_cast<int>(given_placed_report(1, "/one"));
  given_placed_report(1, "/two");
  auto const third = static_cast<int>(given_placed_report(2, "/three"));
  EXPECT_THAT(table.get_list_of_diagnostics_path({third, first, third, 999, -4}),
              ElementsAre("/one", "/three"));
}

TEST_F(DiagnosticTable, SaysSoWhenNoReportIsChosen) {
  EXPECT_THAT(table.get_list_of_diagnostics_path({}), IsEmpty());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{spdlog::level::info,
                                   "[diagnostic_table] There is no diagnostic report ID to look for"}));
}

TEST_F(DiagnosticTable, KeepsNamesWithEveryKindOfCharacter) {
  std::string const name = "a'b\"c;--\n\xC3\xA9 DROP TABLE DiagnosticReports";
  given_report(1, name);
  EXPECT_EQ(table.get_all_diagnostics().front().diagnostic_name, name);
}

TEST_F(DiagnosticTable, ReadsNoRecordWhereNoRowIsCurrent) {
  diagnostic_report_info record;
  record.diagnostic_name = "untouched";
  EXPECT_FALSE(table.fetch_diagnostic_reports(nullptr, record));
  auto const query = database.create_query("SELECT * FROM DiagnosticReports");
  ASSERT_TRUE(query->execute());
  EXPECT_FALSE(table.fetch_diagnostic_reports(query, record));
  EXPECT_EQ(record.diagnostic_name, "untouched");
}

TEST_F(DiagnosticTable, ReadsARecordWithoutGoingOnToTheNext) {
  auto const first = given_report(1, "a");
  given_report(1, "b");
  auto const query = database.create_query("SELECT * FROM DiagnosticReports ORDER BY diagnostic_id");
  ASSERT_TRUE(query->execute());
  diagnostic_report_info record;
  EXPECT_TRUE(table.fetch_diagnostic_reports(query, record));
  EXPECT_TRUE(table.fetch_diagnostic_reports(query, record));
  EXPECT_EQ(record.diagnostic_id, first);
}

TEST_F(DiagnosticTable, NotesItsVersionUnderItsName) {
  EXPECT_EQ(text_from_database("SELECT version FROM FrameworkTableVersions WHERE name = 'diagnostic_table'"),
            "1");
}

TEST_F(DiagnosticTable, KnowsStationsAndReportsWithEveryNumberOf32Bits) {
  constexpr unsigned int station = 3'000'000'000;
  constexpr unsigned int report = 4'000'000'000;
  text_from_database("INSERT INTO DiagnosticReports VALUES(4000000000, 'a', 3000000000, 1, 1, 1, 'tmp')");
  EXPECT_EQ(table.get_max_diagnostic_id(station), report);
  EXPECT_TRUE(table.update_full_path_query(report, "/a"));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("/a"));
  ASSERT_EQ(table.get_diagnostics_of_station(station).size(), 1U);
  EXPECT_EQ(table.get_diagnostics_of_station(station).front().diagnostic_id, report);
  EXPECT_EQ(table.count_stored_diagnostic_reports(station, manual), 1U);
  EXPECT_TRUE(table.insert_diagnostic_report(station, "b", manual, 1));
  EXPECT_EQ(text_from_database("SELECT count(*) FROM DiagnosticReports WHERE station_id = 3000000000"), "2");
  EXPECT_TRUE(table.delete_diagnostic_reports_for_station(station));
  EXPECT_THAT(table.get_all_diagnostics(), IsEmpty());
}

TEST_F(DiagnosticTable, ReadsTimesBeyond32Bits) {
  constexpr std::int64_t in_the_year_2128 = 5'000'000'000;
  text_from_database("INSERT INTO DiagnosticReports VALUES(1, 'a', 7, 5000000000, 1, 1, '/a')");
  EXPECT_EQ(table.get_all_diagnostics().front().timestamp_creation, in_the_year_2128);
  EXPECT_EQ(table.get_diagnostics_of_station(7).front().timestamp_creation, in_the_year_2128);
  ASSERT_TRUE(table.get_oldest_diagnostic(7, manual));
  EXPECT_EQ(table.get_oldest_diagnostic(7, manual)->timestamp_creation, in_the_year_2128);
}

TEST_F(DiagnosticTable, AnswersEachQuestionForTheOldestAnew) {
  given_report(1, "of 1");
  given_report(2, "of 2");
  EXPECT_EQ(table.get_oldest_diagnostic(1, {})->diagnostic_name, "of 1");
  EXPECT_EQ(table.get_oldest_diagnostic(2, {})->diagnostic_name, "of 2");
  EXPECT_EQ(table.get_oldest_diagnostic(1, periodic)->diagnostic_name, "of 1");
  EXPECT_EQ(table.get_oldest_diagnostic(2, periodic)->diagnostic_name, "of 2");
}

TEST_F(DiagnosticTable, SaysWhyChosenPathsCannotBeReadWhateverFailedBefore) {
  text_from_database("DROP TABLE DiagnosticReports");
  text_from_database(
      "CREATE VIEW DiagnosticReports AS SELECT 1 AS diagnostic_id, abs(-9223372036854775808) AS full_path");
  EXPECT_FALSE(database.create_query("SELECT uri FROM DiagnosticReports"));
  EXPECT_THAT(table.get_list_of_diagnostics_path({1}), IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{
          spdlog::level::critical,
          "[diagnostic_table] Error while executing select diagnostic reports names (integer overflow) "
          "=> query =  SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(1);"}));
}

}  // namespace
}  // namespace tavi::stations_maintenance
