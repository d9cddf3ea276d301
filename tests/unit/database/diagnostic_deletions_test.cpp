#include "diagnostic_deletions.h"

#include <cstdint>
#include <optional>
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

using spdlog::level::err;
using testing::ElementsAre;
using testing::IsEmpty;

/// Reports with the paths /b, /a and /c, in a database that can be told to fail.
class DiagnosticDeletions : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(real.open(folder.path() / "reports.db"));
    ASSERT_TRUE(table.init());
    std::uint32_t id = 0;
    for (auto const* const path : {"/b", "/a", "/c"}) {
      ASSERT_TRUE(table.insert_diagnostic_report(1, "name", diagnostic_report_type::manual, 1));
      ASSERT_TRUE(table.update_full_path_query(++id, path));
    }
    log.clear();
  }

  int count(std::string const& sql) {
    auto const query = real.create_query("SELECT count(*) FROM " + sql);
    EXPECT_TRUE(query && query->execute()) << sql;
    return query ? query->get_int32(0) : -1;
  }
  int indexes() { return count("sqlite_master WHERE type = 'index' AND sql NOT NULL"); }

  temporary_folder folder;
  log_capture log;
  mura_common::sqlite_database real;
  faulty_database database{real};
  diagnostic_table table{database};
};

log_line complaint(std::string const& error) {
  return {err, "[diagnostic_table] Unable to delete many diagnostic reports at once : error = " + error};
}

TEST_F(DiagnosticDeletions, FindTheirRowsWithoutWalkingThroughTheOthers) {
  auto deletions = table.begin_deletions();
  EXPECT_TRUE(deletions.has_begun());
  auto const plan =
      real.create_query("EXPLAIN QUERY PLAN DELETE FROM DiagnosticReports WHERE full_path IS ?;");
  ASSERT_TRUE(plan && plan->execute());
  EXPECT_THAT(mura_common::fetchRows(*plan, [](auto const& row) { return row.get_text(3); }),
              ElementsAre(testing::StartsWith("SEARCH DiagnosticReports USING ")));
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/c"));
  EXPECT_TRUE(deletions.commit());
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("/b", "/a"));
  EXPECT_EQ(indexes(), 0);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticDeletions, LastAtOnce) {
  mura_common::sqlite_database other;
  ASSERT_TRUE(other.open(folder.path() / "reports.db"));
  auto const query = other.create_query("SELECT count(*) FROM DiagnosticReports");
  ASSERT_TRUE(query);
  auto const seen_by_others = [&] {
    EXPECT_TRUE(query->execute());
    auto const rows = query->get_int32(0);
    query->reset();
    return rows;
  };
  auto deletions = table.begin_deletions();
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/a"));
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/b"));
  EXPECT_EQ(seen_by_others(), 3);
  EXPECT_TRUE(deletions.commit());
  EXPECT_EQ(seen_by_others(), 1);
}

TEST_F(DiagnosticDeletions, AreUndoneUnlessTheyAreCommitted) {
  {
    auto const deletions = table.begin_deletions();
    EXPECT_TRUE(table.delete_diagnostic_report_for_path("/a"));
    EXPECT_EQ(count("DiagnosticReports"), 2);
  }
  EXPECT_EQ(count("DiagnosticReports"), 3);
  EXPECT_EQ(indexes(), 0);
}

struct failing_step {
  char const* name;
  char const* statement;
};

class FailingBegin : public DiagnosticDeletions, public testing::WithParamInterface<failing_step> {};

TEST_P(FailingBegin, LeavesEachDeletionToItself) {
  database.fail_to_execute(GetParam().statement);
  {
    auto deletions = table.begin_deletions();
    EXPECT_FALSE(deletions.has_begun());
    EXPECT_THAT(log.lines(), ElementsAre(complaint("disk I/O error")));
    EXPECT_TRUE(table.delete_diagnostic_report_for_path("/a"));
    EXPECT_TRUE(deletions.commit());
  }
  database.heal();
  EXPECT_EQ(count("DiagnosticReports"), 2);
  auto again = table.begin_deletions();
  EXPECT_TRUE(again.has_begun()) << "no transaction was left open";
  EXPECT_TRUE(again.commit());
}

INSTANTIATE_TEST_SUITE_P(Each, FailingBegin,
                         testing::Values(failing_step{"Transaction", "BEGIN IMMEDIATE"},
                                         failing_step{"Index", "CREATE INDEX"}),
                         [](auto const& tested) { return std::string(tested.param.name); });

class FailingCommit : public DiagnosticDeletions, public testing::WithParamInterface<failing_step> {};

TEST_P(FailingCommit, BringsTheRowsBack) {
  auto deletions = table.begin_deletions();
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/a"));
  database.fail_to_execute(GetParam().statement);
  EXPECT_FALSE(deletions.commit());
  EXPECT_THAT(log.lines(), ElementsAre(complaint("disk I/O error")));
  database.heal();
  EXPECT_EQ(count("DiagnosticReports"), 3);
  auto again = table.begin_deletions();
  EXPECT_TRUE(again.has_begun()) << "neither transaction nor index was left";
  EXPECT_TRUE(table.delete_diagnostic_report_for_path("/a"));
  EXPECT_TRUE(again.commit());
  EXPECT_EQ(count("DiagnosticReports"), 2);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingCommit,
                         testing::Values(failing_step{"Index", "DROP INDEX"},
                                         failing_step{"Transaction", "COMMIT"}),
                         [](auto const& tested) { return std::string(tested.param.name); });

TEST_F(DiagnosticDeletions, SayWhyTheyCannotBePrepared) {
  database.refuse_to_prepare("BEGIN");
  EXPECT_FALSE(table.begin_deletions().has_begun());
  EXPECT_THAT(log.lines(), ElementsAre(complaint("no statement")));
}

}  // namespace
}  // namespace tavi::stations_maintenance
