#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "mura_common/database.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

/// A table that notes what is asked of it, and answers as the test wants.
class recording_table : public DatabaseTable {
 public:
  recording_table(IDatabase& database, unsigned int version) : DatabaseTable(database, "records", version) {}

  bool init_result = true;
  bool update_result = true;
  std::optional<unsigned int> reached;
  std::string init_sql = "CREATE TABLE IF NOT EXISTS Records (a)";
  std::string update_sql = "ALTER TABLE Records ADD COLUMN b";
  std::vector<std::string> causes;
  int inits = 0;
  std::vector<std::pair<unsigned int, unsigned int>> updates;

 protected:
  bool init() override {
    ++inits;
    for (auto const& cause : causes) {
      EXPECT_FALSE(note_failure(cause));
    }
    return run(init_sql) && init_result;
  }
  bool update(unsigned int from_version, unsigned int& to_version) override {
    updates.emplace_back(from_version, to_version);
    bool const ran = run(update_sql);
    to_version = reached.value_or(to_version);
    return ran && update_result;
  }

 private:
  bool run(std::string const& sql) {
    auto const query = table_database().create_query(sql);
    return query != nullptr && query->execute();
  }
};

using version_pairs = std::vector<std::pair<unsigned int, unsigned int>>;

class Table : public testing::Test {
 protected:
  Table() { EXPECT_TRUE(database.open(folder.path() / "service.db")); }

  /// The first value that a statement gives.
  std::string read(std::string const& sql) {
    auto const query = database.create_query(sql);
    return query != nullptr && query->execute() ? query->get_text(0) : "failed";
  }
  std::string noted() { return read("SELECT version FROM FrameworkTableVersions WHERE name = 'records'"); }
  std::string columns() { return read("SELECT count(*) FROM pragma_table_info('Records')"); }
  bool is_in_transaction() { return read("BEGIN") == "failed"; }

  temporary_folder folder;
  sqlite_database database;
  log_capture log;
};

TEST_F(Table, NotesItsVersionInANewDatabaseWithoutAnUpdate) {
  recording_table table(database, 3);
  EXPECT_TRUE(table.initTable());
  EXPECT_EQ(table.inits, 1);
  EXPECT_TRUE(table.updates.empty());
  EXPECT_EQ(noted(), "3");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(is_in_transaction());
}

TEST_F(Table, IsInitialisedAtEveryStart) {
  for (int start = 0; start < 3; ++start) {
    recording_table table(database, 3);
    EXPECT_TRUE(table.initTable());
    EXPECT_EQ(table.inits, 1);
    EXPECT_TRUE(table.updates.empty());
  }
}

TEST_F(Table, IsUpdatedWhenTheNotedVersionIsOlder) {
  ASSERT_TRUE(recording_table(database, 1).initTable());
  recording_table newer(database, 4);
  EXPECT_TRUE(newer.initTable());
  EXPECT_EQ(newer.inits, 1);
  EXPECT_EQ(newer.updates, (version_pairs{{1, 4}}));
  EXPECT_EQ(noted(), "4");
  EXPECT_EQ(columns(), "2");
  recording_table again(database, 4);
  EXPECT_TRUE(again.initTable());
  EXPECT_TRUE(again.updates.empty());
}

TEST_F(Table, NotesTheVersionThatTheUpdateReached) {
  ASSERT_TRUE(recording_table(database, 1).initTable());
  recording_table newer(database, 4);
  newer.reached = 2;
  EXPECT_TRUE(newer.initTable());
  EXPECT_EQ(noted(), "2");
}

TEST_F(Table, IsLeftAsItWasWhenTheUpdateFails) {
  ASSERT_TRUE(recording_table(database, 1).initTable());
  recording_table newer(database, 2);
  newer.update_result = false;
  EXPECT_FALSE(newer.initTable());
  EXPECT_EQ(noted(), "1");
  EXPECT_EQ(columns(), "1");
  EXPECT_TRUE(log.holds(spdlog::level::err, "table records: cannot update from version 1 to 2"));
  EXPECT_FALSE(is_in_transaction());
}

TEST_F(Table, IsUpdatedAtTheNextStartAfterAFailedUpdate) {
  ASSERT_TRUE(recording_table(database, 1).initTable());
  recording_table failing(database, 2);
  failing.update_sql = "no SQL";
  EXPECT_FALSE(failing.initTable());
  recording_table newer(database, 2);
  EXPECT_TRUE(newer.initTable());
  EXPECT_EQ(newer.updates, (version_pairs{{1, 2}}));
  EXPECT_EQ(noted(), "2");
}

TEST_F(Table, RefusesADatabaseOfANewerVersionUntouched) {
  ASSERT_TRUE(recording_table(database, 5).initTable());
  recording_table older(database, 4);
  EXPECT_FALSE(older.initTable());
  EXPECT_EQ(older.inits, 0);
  EXPECT_TRUE(older.updates.empty());
  EXPECT_EQ(noted(), "5");
  EXPECT_TRUE(log.holds(spdlog::level::err, "version 5 is noted, expected at most 4"));
  EXPECT_FALSE(is_in_transaction());
}

TEST_F(Table, NotesNothingWhenInitFails) {
  recording_table table(database, 1);
  table.init_result = false;
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(read("SELECT count(*) FROM sqlite_master"), "0");
  EXPECT_TRUE(log.holds(spdlog::level::err, "table records: cannot init"));
  table.init_result = true;
  EXPECT_TRUE(table.initTable());
  EXPECT_EQ(noted(), "1");
}

TEST_F(Table, TellsTheFirstCauseThatItNotedWhateverFailsAfterIt) {
  recording_table table(database, 1);
  table.causes = {"the cause", "its consequence"};
  table.init_result = false;
  table.init_sql = "SELECT missing";
  EXPECT_FALSE(table.initTable());
  EXPECT_TRUE(log.holds(spdlog::level::err, "table records: cannot init: the cause"));
  log.clear();
  table.causes.clear();
  EXPECT_FALSE(table.initTable());
  EXPECT_TRUE(log.holds(spdlog::level::err, "table records: cannot init: no such column: missing"))
      << "what was noted at one start says nothing at the next";
}

TEST_F(Table, IsNotUpdatedWhenInitFails) {
  ASSERT_TRUE(recording_table(database, 1).initTable());
  recording_table newer(database, 2);
  newer.init_result = false;
  EXPECT_FALSE(newer.initTable());
  EXPECT_TRUE(newer.updates.empty());
  EXPECT_EQ(noted(), "1");
}

TEST_F(Table, KeepsTheNotesOfTablesApart) {
  class named_table : public DatabaseTable {
   public:
    explicit named_table(IDatabase& owner) : DatabaseTable(owner, "other", 9) {}

   protected:
    bool init() override { return true; }
    bool update(unsigned int /*from_version*/, unsigned int& /*to_version*/) override { return false; }
  };
  EXPECT_TRUE(recording_table(database, 1).initTable());
  EXPECT_TRUE(named_table(database).initTable());
  EXPECT_EQ(noted(), "1");
  EXPECT_EQ(read("SELECT version FROM FrameworkTableVersions WHERE name = 'other'"), "9");
}

TEST_F(Table, CannotBeUsedBeforeItsDatabaseIsOpen) {
  sqlite_database closed;
  recording_table table(closed, 1);
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(table.inits, 0);
  EXPECT_TRUE(log.holds(spdlog::level::err, "the database is not open"));
  ASSERT_TRUE(closed.open(folder.path() / "later.db"));
  EXPECT_TRUE(table.initTable());
}

TEST_F(Table, CannotBeUsedWhileAnotherConnectionKeepsTheDatabase) {
  sqlite_database other;
  ASSERT_TRUE(other.open(folder.path() / "service.db"));
  EXPECT_EQ(read("PRAGMA busy_timeout=20"), "20");
  auto const lock = other.create_query("BEGIN IMMEDIATE");
  ASSERT_TRUE(lock != nullptr && lock->execute());
  recording_table table(database, 1);
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(table.inits, 0);
  EXPECT_TRUE(log.holds(spdlog::level::err, "database is locked"));
}

TEST_F(Table, CannotBeUsedWhenTheNotesAreNotReadable) {
  EXPECT_NE(read("CREATE TABLE FrameworkTableVersions (something)"), "failed");
  recording_table table(database, 1);
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(table.inits, 0);
  EXPECT_TRUE(log.holds(spdlog::level::err, "cannot read its version"));
}

}  // namespace
}  // namespace mura_common
