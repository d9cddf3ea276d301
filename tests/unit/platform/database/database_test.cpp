#include "mura_common/database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "child_process.h"
#include "log_capture.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;

/// Runs a statement that takes no values. @return the first column of its first row
std::string run(IDatabase& database, std::string const& sql) {
  auto const query = database.create_query(sql);
  EXPECT_NE(query, nullptr) << sql << ": " << database.last_error();
  if (query == nullptr) {
    return {};
  }
  EXPECT_TRUE(query->execute()) << sql << ": " << query->last_error();
  return query->get_text(0);
}

class Database : public testing::Test {
 protected:
  /// Fills a database of many pages and closes it.
  void fill(fs::path const& name) const {
    sqlite_database filled;
    ASSERT_TRUE(filled.open(name));
    run(filled, "CREATE TABLE Numbers (id INTEGER PRIMARY KEY, text TEXT)");
    run(filled,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
        "INSERT INTO Numbers SELECT i, printf('%0100d', i) FROM n");
  }

  temporary_folder folder;
  fs::path const file = folder.path() / "service.db";
  sqlite_database database;
};

TEST_F(Database, IsMadeWhenItIsMissing) {
  EXPECT_TRUE(database.open(file));
  run(database, "CREATE TABLE T (a)");
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(database.last_error(), "");
}

mode_t permissions_of(fs::path const& name) {
  struct stat status {};
  EXPECT_EQ(::stat(name.c_str(), &status), 0) << name;
  return status.st_mode & 0777;
}

/// Sets which permissions new files of this process lack, until its end.
class file_mask {
 public:
  explicit file_mask(mode_t mask) : former(::umask(mask)) {}
  ~file_mask() { ::umask(former); }
  file_mask(file_mask const&) = delete;
  file_mask& operator=(file_mask const&) = delete;

 private:
  mode_t former;
};

TEST_F(Database, IsMadeForItsOwnerAndGroupAlone) {
  file_mask const none(0);
  ASSERT_TRUE(database.open(file));
  run(database, "CREATE TABLE T (a)");
  for (auto const* const ending : {"", "-wal", "-shm"}) {
    EXPECT_EQ(permissions_of(file.string() + ending), 0640U) << ending;
  }
}

TEST_F(Database, IsMadeWithNoMoreThanTheProcessGrants) {
  file_mask const strict(0077);
  ASSERT_TRUE(database.open(file));
  EXPECT_EQ(permissions_of(file), 0600U);
}

TEST_F(Database, KeepsThePermissionsThatItWasGiven) {
  folder.write("service.db", "");
  fs::permissions(file, static_cast<fs::perms>(0664));
  file_mask const none(0);
  ASSERT_TRUE(database.open(file));
  run(database, "CREATE TABLE T (a)");
  EXPECT_EQ(permissions_of(file), 0664U);
  EXPECT_EQ(permissions_of(file.string() + "-wal"), 0664U);
}

TEST_F(Database, TakesAnEmptyFileAsANewOne) {
  folder.write("service.db", "");
  EXPECT_TRUE(database.open(file));
  EXPECT_EQ(run(database, "SELECT count(*) FROM sqlite_master"), "0");
}

TEST_F(Database, KeepsItsRowsFromOneOpeningToTheNext) {
  fill(file);
  ASSERT_TRUE(database.open(file));
  EXPECT_EQ(run(database, "SELECT count(*) FROM Numbers"), "2000");
}

TEST_F(Database, IsSetUpForDurabilityAndForeignKeys) {
  ASSERT_TRUE(database.open(file));
  EXPECT_EQ(run(database, "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(run(database, "PRAGMA synchronous"), "2");
  EXPECT_EQ(run(database, "PRAGMA foreign_keys"), "1");
  EXPECT_EQ(run(database, "PRAGMA busy_timeout"), "5000");
}

TEST_F(Database, EnforcesForeignKeys) {
  ASSERT_TRUE(database.open(file));
  run(database, "CREATE TABLE Parents (id INTEGER PRIMARY KEY)");
  run(database, "CREATE TABLE Children (parent INTEGER REFERENCES Parents(id))");
  auto const orphan = database.create_query("INSERT INTO Children VALUES (7)");
  ASSERT_NE(orphan, nullptr);
  EXPECT_FALSE(orphan->execute());
  EXPECT_EQ(orphan->last_error(), "FOREIGN KEY constraint failed");
}

TEST_F(Database, TakesANameThatSqliteWouldReadAsAnAddress) {
  auto const odd = folder.path() / "file:x?mode=memory";
  EXPECT_TRUE(database.open(odd));
  run(database, "CREATE TABLE T (a)");
  EXPECT_TRUE(fs::exists(odd));
}

TEST_F(Database, KeepsWhatWasAcknowledgedWhenItsProcessIsKilled) {
  child_process child([&] {
    // Never destroyed: the process ends without closing, as a killed one would.
    auto& own = *new sqlite_database;
    auto const is_open = own.open(file);
    auto const create = is_open ? own.create_query("CREATE TABLE T (a)") : nullptr;
    if (create == nullptr || !create->execute()) {
      return 1;
    }
    auto const insert = own.create_query("INSERT INTO T VALUES ('kept')");
    bool const inserted = insert != nullptr && insert->execute();
    return inserted ? 0 : 2;
  });
  ASSERT_EQ(child.wait(), 0);
  ASSERT_TRUE(database.open(file));
  EXPECT_EQ(run(database, "SELECT a FROM T"), "kept");
}

TEST_F(Database, CreatesNoQueryBeforeItIsOpen) {
  EXPECT_EQ(database.create_query("SELECT 1"), nullptr);
  EXPECT_EQ(database.last_error(), "the database is not open");
}

TEST_F(Database, CreatesNoQueryAfterItIsClosed) {
  ASSERT_TRUE(database.open(file));
  database.close();
  database.close();
  EXPECT_EQ(database.create_query("SELECT 1"), nullptr);
  EXPECT_EQ(database.last_error(), "the database is not open");
}

TEST_F(Database, CanBeOpenedAgain) {
  ASSERT_TRUE(database.open(file));
  run(database, "CREATE TABLE T (a)");
  auto const other = folder.path() / "other.db";
  ASSERT_TRUE(database.open(other));
  EXPECT_EQ(run(database, "SELECT count(*) FROM sqlite_master"), "0");
  database.close();
  ASSERT_TRUE(database.open(file));
  EXPECT_EQ(run(database, "SELECT count(*) FROM sqlite_master"), "1");
}

TEST_F(Database, IsClosedAfterAFailedOpening) {
  log_capture const log;
  ASSERT_TRUE(database.open(file));
  EXPECT_FALSE(database.open(folder.path()));
  EXPECT_EQ(database.create_query("SELECT 1"), nullptr);
}

struct statement_row {
  char const* name;
  std::string sql;
  std::string reason;
};

class RefusedStatement : public testing::TestWithParam<statement_row> {};

TEST_P(RefusedStatement, SaysWhy) {
  temporary_folder const folder;
  sqlite_database database;
  ASSERT_TRUE(database.open(folder.path() / "service.db"));
  run(database, "CREATE TABLE T (a)");
  EXPECT_EQ(database.create_query(GetParam().sql), nullptr);
  EXPECT_EQ(database.last_error(), GetParam().reason);
  EXPECT_EQ(run(database, "SELECT count(*) FROM T"), "0");
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedStatement,
    testing::Values(
        statement_row{"NoSql", "hello", "near \"hello\": syntax error"},
        statement_row{"MissingTable", "SELECT * FROM U", "no such table: U"},
        statement_row{"Empty", "", "expected exactly one statement in: "},
        statement_row{"OnlyAComment", "-- nothing", "expected exactly one statement in: -- nothing"},
        statement_row{
            "Two", "INSERT INTO T VALUES (1); INSERT INTO T VALUES (2)",
            "expected exactly one statement in: INSERT INTO T VALUES (1); INSERT INTO T VALUES (2)"},
        statement_row{"TwoWithEmptyOneBetween", "SELECT 1; ; SELECT 2",
                      "expected exactly one statement in: SELECT 1; ; SELECT 2"},
        statement_row{"GarbageBehind", "SELECT 1; garbage",
                      "expected exactly one statement in: SELECT 1; garbage"},
        statement_row{"ZeroByte", std::string("SELECT 1\0; DROP TABLE T", 23),
                      "the statement's text holds a zero byte"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(Database, TellsWhatWentWrongLastWhereverItDid) {
  ASSERT_TRUE(database.open(file));
  run(database, "CREATE TABLE T (a UNIQUE)");
  auto const insert = database.create_query("INSERT INTO T VALUES (?)");
  ASSERT_NE(insert, nullptr);
  EXPECT_EQ(database.create_query("SELECT b FROM T"), nullptr);
  EXPECT_EQ(database.last_error(), "no such column: b");
  ASSERT_TRUE(insert->bind_int32(0, 1));
  ASSERT_TRUE(insert->execute());
  EXPECT_EQ(database.last_error(), "no such column: b") << "what succeeds says nothing";
  EXPECT_FALSE(insert->execute());
  EXPECT_EQ(database.last_error(), "UNIQUE constraint failed: T.a");
  EXPECT_FALSE(insert->bind_int32(1, 1));
  EXPECT_EQ(database.last_error(), "column index out of range");
  auto const broken = database.create_query("SELECT json(column1) FROM (VALUES ('1'), ('no JSON'))");
  ASSERT_TRUE(broken != nullptr && broken->execute());
  EXPECT_FALSE(broken->next());
  EXPECT_EQ(database.last_error(), "malformed JSON");
}

TEST_F(Database, TakesBlanksCommentsAndSemicolonsBehindAStatement) {
  ASSERT_TRUE(database.open(file));
  for (auto const* const sql : {"SELECT 1;", "SELECT 1 ; \n", "SELECT 1; -- one", "SELECT 1;; /* one */ ;"}) {
    EXPECT_EQ(run(database, sql), "1") << sql;
  }
}

struct damage_row {
  char const* name;
  void (*damage)(fs::path const& file);
  char const* reason;
};

class DamagedDatabase : public testing::TestWithParam<damage_row> {};

void overwrite(fs::path const& file, std::streamoff place, std::string const& bytes) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(place);
  stream << bytes;
}

TEST_P(DamagedDatabase, IsRefusedAndKeepsEveryByte) {
  temporary_folder const folder;
  auto const file = folder.path() / "service.db";
  {
    sqlite_database filled;
    ASSERT_TRUE(filled.open(file));
    run(filled, "CREATE TABLE Numbers (id INTEGER PRIMARY KEY, text TEXT)");
    run(filled,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
        "INSERT INTO Numbers SELECT i, printf('%0100d', i) FROM n");
  }
  GetParam().damage(file);
  auto const before = content_of(file);
  ASSERT_FALSE(before.empty());
  log_capture const log;
  sqlite_database database;
  EXPECT_FALSE(database.open(file));
  EXPECT_TRUE(content_of(file) == before);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].level, spdlog::level::err);
  auto const expected =
      "[sqlite_database] cannot use " + file.string() + " as database: " + GetParam().reason;
  EXPECT_EQ(log.lines()[0].text.substr(0, expected.size()), expected);
  EXPECT_EQ(database.create_query("SELECT 1"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    All, DamagedDatabase,
    testing::Values(
        damage_row{"Text", [](fs::path const& file) { std::ofstream(file) << "name = \"value\"\n"; },
                   "file is not a database"},
        damage_row{"LongText", [](fs::path const& file) { std::ofstream(file) << std::string(100000, 'x'); },
                   "file is not a database"},
        damage_row{"CutOff", [](fs::path const& file) { fs::resize_file(file, 40960); }, ""},
        damage_row{"CutWithinAPage", [](fs::path const& file) { fs::resize_file(file, 30000); }, ""},
        damage_row{"PageOfZeros",
                   [](fs::path const& file) { overwrite(file, 8 * 4096, std::string(4096, '\0')); },
                   "quick_check found: "},
        damage_row{"PageOfGarbage",
                   [](fs::path const& file) { overwrite(file, 9 * 4096, std::string(4096, '\xee')); },
                   "quick_check found: "},
        damage_row{"Header",
                   [](fs::path const& file) {
                     overwrite(file, 0, "SQLite");
                     overwrite(file, 16, "\x7f");
                   },
                   "file is not a database"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(Database, KeepsTheLogOfADamagedOneToo) {
  fill(file);
  child_process child([&] {
    auto& own = *new sqlite_database;
    auto const insert =
        own.open(file) ? own.create_query("INSERT INTO Numbers VALUES (5000, 'in the log')") : nullptr;
    bool const inserted = insert != nullptr && insert->execute();
    return inserted ? 0 : 2;
  });
  ASSERT_EQ(child.wait(), 0);
  overwrite(file, 9 * 4096, std::string(4096, '\xee'));
  auto log_file = file;
  log_file += "-wal";
  auto const before = content_of(file);
  auto const log_before = content_of(log_file);
  ASSERT_FALSE(log_before.empty());
  log_capture const log;
  EXPECT_FALSE(database.open(file));
  EXPECT_TRUE(content_of(file) == before);
  EXPECT_TRUE(content_of(log_file) == log_before);
}

TEST_F(Database, IsRefusedWhereNoFileCanBe) {
  ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  for (auto const& name : {folder.path(), folder.path() / "pipe", folder.path() / "missing/service.db"}) {
    log_capture const log;
    EXPECT_FALSE(database.open(name)) << name;
    EXPECT_TRUE(log.holds(spdlog::level::err, name.string())) << name;
    EXPECT_NE(database.last_error(), "");
  }
  log_capture const log;
  EXPECT_FALSE(database.open(""));
  EXPECT_TRUE(log.holds(spdlog::level::err, "[sqlite_database] cannot use"));
}

TEST_F(Database, LetsAReaderReadWhileAnotherConnectionWrites) {
  fill(file);
  sqlite_database other;
  ASSERT_TRUE(database.open(file));
  ASSERT_TRUE(other.open(file));
  run(database, "BEGIN IMMEDIATE");
  run(database, "DELETE FROM Numbers");
  EXPECT_EQ(run(other, "SELECT count(*) FROM Numbers"), "2000");
  run(database, "COMMIT");
  EXPECT_EQ(run(other, "SELECT count(*) FROM Numbers"), "0");
}

TEST_F(Database, WaitsForAnotherConnectionThatWrites) {
  fill(file);
  sqlite_database other;
  ASSERT_TRUE(database.open(file));
  ASSERT_TRUE(other.open(file));
  run(database, "BEGIN IMMEDIATE");
  std::jthread const writer([&] { run(other, "INSERT INTO Numbers VALUES (5000, 'second')"); });
  run(database, "INSERT INTO Numbers VALUES (4000, 'first')");
  run(database, "COMMIT");
}

TEST_F(Database, SaysThatItIsLockedWhenTheWaitIsOver) {
  fill(file);
  sqlite_database other;
  ASSERT_TRUE(database.open(file));
  ASSERT_TRUE(other.open(file));
  run(other, "PRAGMA busy_timeout=20");
  run(database, "BEGIN IMMEDIATE");
  auto const insert = other.create_query("INSERT INTO Numbers VALUES (5000, 'late')");
  ASSERT_NE(insert, nullptr);
  EXPECT_FALSE(insert->execute());
  EXPECT_EQ(insert->last_error(), "database is locked");
  run(database, "COMMIT");
  EXPECT_TRUE(insert->execute());
  EXPECT_EQ(run(database, "SELECT count(*) FROM Numbers"), "2001");
}

}  // namespace
}  // namespace mura_common
