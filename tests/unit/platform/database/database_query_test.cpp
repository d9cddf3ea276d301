#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mura_common/database.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

constexpr auto largest_int64 = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest_int64 = std::numeric_limits<std::int64_t>::min();
constexpr auto largest_uint64 = std::numeric_limits<std::uint64_t>::max();

class Query : public testing::Test {
 protected:
  Query() { EXPECT_TRUE(database.open(folder.path() / "service.db")); }

  [[nodiscard]] std::unique_ptr<IQuery> prepare(std::string const& sql) {
    auto query = database.create_query(sql);
    EXPECT_NE(query, nullptr) << database.last_error();
    return query;
  }
  void run(std::string const& sql) { EXPECT_TRUE(prepare(sql)->execute()) << sql; }

  temporary_folder folder;
  sqlite_database database;
};

TEST_F(Query, GivesBackIntegersOfEveryWidth) {
  auto const query = prepare("SELECT ?, ?, ?, ?, ?, ?");
  EXPECT_TRUE(query->bind_int32(0, std::numeric_limits<std::int32_t>::min()));
  EXPECT_TRUE(query->bind_uint32(1, std::numeric_limits<std::uint32_t>::max()));
  EXPECT_TRUE(query->bind_int64(2, smallest_int64));
  EXPECT_TRUE(query->bind_int64(3, largest_int64));
  EXPECT_TRUE(query->bind_uint64(4, largest_uint64));
  EXPECT_TRUE(query->bind_uint64(5, 7));
  ASSERT_TRUE(query->execute());
  ASSERT_TRUE(query->has_row());
  EXPECT_EQ(query->get_int32(0), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(query->get_uint32(1), std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(query->get_int64(1), std::int64_t{std::numeric_limits<std::uint32_t>::max()});
  EXPECT_EQ(query->get_int64(2), smallest_int64);
  EXPECT_EQ(query->get_int64(3), largest_int64);
  EXPECT_EQ(query->get_uint64(4), largest_uint64);
  EXPECT_EQ(query->get_int64(4), -1);
  EXPECT_EQ(query->get_uint64(5), 7U);
  EXPECT_EQ(query->last_error(), "");
}

TEST_F(Query, GivesTheLowBitsOfAWiderInteger) {
  auto const query = prepare("SELECT 4294967298");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_int32(0), 2);
  EXPECT_EQ(query->get_uint32(0), 2U);
}

TEST_F(Query, GivesBackTextByteForByte) {
  std::vector<std::string> const texts{"",
                                       "plain",
                                       "it's \"quoted\"; DROP TABLE T",
                                       std::string("zero\0inside", 11),
                                       std::string("\0", 1),
                                       "\xff\xfe no UTF-8",
                                       "Zürich ✓",
                                       std::string(100000, 'x')};
  auto const query = prepare("SELECT ?");
  for (auto const& text : texts) {
    query->reset();
    EXPECT_TRUE(query->bind_text(0, text));
    ASSERT_TRUE(query->execute());
    EXPECT_FALSE(query->is_null(0));
    EXPECT_TRUE(query->get_text(0) == text) << text;
  }
}

TEST_F(Query, CopiesTheTextItIsGiven) {
  auto const query = prepare("SELECT ?");
  {
    std::string gone = "a text that is long enough to live on the heap";
    EXPECT_TRUE(query->bind_text(0, gone));
    gone.assign(gone.size(), '-');
  }
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_text(0), "a text that is long enough to live on the heap");
}

TEST_F(Query, TurnsNumbersAndTextsIntoEachOther) {
  auto const query = prepare("SELECT 42, '43', 'no number', 1.9, x'6162'");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_text(0), "42");
  EXPECT_EQ(query->get_int32(1), 43);
  EXPECT_EQ(query->get_int64(2), 0);
  EXPECT_EQ(query->get_int64(3), 1);
  EXPECT_EQ(query->get_text(4), "ab");
}

TEST_F(Query, ReadsNothingFromNull) {
  auto const query = prepare("SELECT ?, NULL, ?");
  EXPECT_TRUE(query->bind_null(0));
  ASSERT_TRUE(query->execute());
  for (int column = 0; column < 3; ++column) {
    EXPECT_TRUE(query->is_null(column));
    EXPECT_EQ(query->get_int32(column), 0);
    EXPECT_EQ(query->get_uint64(column), 0U);
    EXPECT_EQ(query->get_text(column), "");
  }
}

TEST_F(Query, ReadsNothingFromMissingColumns) {
  auto const query = prepare("SELECT 1");
  ASSERT_TRUE(query->execute());
  for (int const column : {-1, 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_TRUE(query->is_null(column));
    EXPECT_EQ(query->get_int64(column), 0);
    EXPECT_EQ(query->get_text(column), "");
  }
}

TEST_F(Query, ReadsNothingWithoutACurrentRow) {
  auto const query = prepare("SELECT 1");
  auto const expect_nothing = [&] {
    EXPECT_FALSE(query->has_row());
    EXPECT_TRUE(query->is_null(0));
    EXPECT_EQ(query->get_int32(0), 0);
    EXPECT_EQ(query->get_text(0), "");
  };
  expect_nothing();
  ASSERT_TRUE(query->execute());
  EXPECT_TRUE(query->has_row());
  EXPECT_FALSE(query->next());
  expect_nothing();
  ASSERT_TRUE(query->execute());
  query->reset();
  expect_nothing();
}

TEST_F(Query, RefusesPositionsThatItLacks) {
  auto const query = prepare("SELECT ?, ?");
  for (int const position : {-1, 2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_FALSE(query->bind_int32(position, 1));
    EXPECT_FALSE(query->bind_uint32(position, 1));
    EXPECT_FALSE(query->bind_int64(position, 1));
    EXPECT_FALSE(query->bind_uint64(position, 1));
    EXPECT_FALSE(query->bind_text(position, "1"));
    EXPECT_FALSE(query->bind_null(position));
    EXPECT_EQ(query->last_error(), "column index out of range");
  }
  EXPECT_TRUE(query->bind_int32(1, 1));
}

TEST_F(Query, RefusesValuesWhileARowIsRead) {
  auto const query = prepare("SELECT ?");
  EXPECT_TRUE(query->bind_int32(0, 1));
  ASSERT_TRUE(query->execute());
  EXPECT_FALSE(query->bind_int32(0, 2));
  EXPECT_EQ(query->last_error(), "cannot bind while a row of the statement is being read");
  EXPECT_EQ(query->get_int32(0), 1);
  EXPECT_FALSE(query->next());
  EXPECT_TRUE(query->bind_int32(0, 2));
}

TEST_F(Query, KeepsItsValuesFromOneExecutionToTheNext) {
  run("CREATE TABLE T (a, b)");
  auto const insert = prepare("INSERT INTO T VALUES (?, ?)");
  EXPECT_TRUE(insert->bind_int32(0, 1));
  EXPECT_TRUE(insert->bind_int32(1, 2));
  EXPECT_TRUE(insert->execute());
  EXPECT_TRUE(insert->bind_int32(1, 3));
  EXPECT_TRUE(insert->execute());
  auto const select = prepare("SELECT a, b FROM T ORDER BY b");
  ASSERT_TRUE(select->execute());
  EXPECT_EQ(select->get_int32(0), 1);
  EXPECT_EQ(select->get_int32(1), 2);
  ASSERT_TRUE(select->next());
  EXPECT_EQ(select->get_int32(0), 1);
  EXPECT_EQ(select->get_int32(1), 3);
}

TEST_F(Query, ForgetsItsValuesWhenItIsReset) {
  auto const query = prepare("SELECT ?");
  EXPECT_TRUE(query->bind_int32(0, 1));
  query->reset();
  ASSERT_TRUE(query->execute());
  EXPECT_TRUE(query->is_null(0));
}

TEST_F(Query, StartsFromTheFirstRowWhenItIsExecutedAgain) {
  auto const query = prepare("VALUES (1), (2), (3)");
  ASSERT_TRUE(query->execute());
  ASSERT_TRUE(query->next());
  EXPECT_EQ(query->get_int32(0), 2);
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_int32(0), 1);
}

TEST_F(Query, IsNotRunAgainByAskingForAFurtherRow) {
  run("CREATE TABLE T (a)");
  auto const insert = prepare("INSERT INTO T VALUES (1)");
  EXPECT_FALSE(insert->next());
  EXPECT_TRUE(insert->execute());
  EXPECT_FALSE(insert->has_row());
  EXPECT_FALSE(insert->next());
  auto const count = prepare("SELECT count(*) FROM T");
  ASSERT_TRUE(count->execute());
  EXPECT_EQ(count->get_int32(0), 1);
}

TEST_F(Query, SaysWhatWentWrongAndCanBeUsedAgain) {
  run("CREATE TABLE T (a INTEGER PRIMARY KEY)");
  auto const insert = prepare("INSERT INTO T VALUES (?)");
  EXPECT_TRUE(insert->bind_int32(0, 1));
  EXPECT_TRUE(insert->execute());
  EXPECT_FALSE(insert->execute());
  EXPECT_EQ(insert->last_error(), "UNIQUE constraint failed: T.a");
  EXPECT_FALSE(insert->has_row());
  EXPECT_TRUE(insert->bind_int32(0, 2));
  EXPECT_TRUE(insert->execute());
}

TEST_F(Query, SaysWhenARowInTheMiddleFails) {
  run("CREATE TABLE T (a TEXT)");
  run("INSERT INTO T VALUES ('{}'), ('no json')");
  auto const query = prepare("SELECT json_extract(a, '$.x') FROM T");
  ASSERT_TRUE(query->execute());
  EXPECT_TRUE(query->has_row());
  EXPECT_FALSE(query->next());
  EXPECT_FALSE(query->has_row());
  EXPECT_EQ(query->last_error(), "malformed JSON");
}

TEST_F(Query, FollowsAChangeOfTheSchema) {
  run("CREATE TABLE T (a)");
  auto const query = prepare("SELECT * FROM T");
  run("ALTER TABLE T ADD COLUMN b DEFAULT 5");
  run("INSERT INTO T (a) VALUES (1)");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_int32(1), 5);
  run("DROP TABLE IF EXISTS U");
  query->reset();
  run("DROP TABLE T");
  EXPECT_FALSE(query->execute());
  EXPECT_EQ(query->last_error(), "no such table: T");
}

TEST_F(Query, HoldsNoLockOnceItsRowsAreRead) {
  run("CREATE TABLE T (a)");
  auto const query = prepare("SELECT 1");
  ASSERT_TRUE(query->execute());
  EXPECT_FALSE(query->next());
  // A table that a statement still reads cannot be dropped.
  run("DROP TABLE T");
}

TEST_F(Query, GivesItsRowsToAConverterInTheirOrder) {
  auto const query = prepare("VALUES (3), (1), (2)");
  ASSERT_TRUE(query->execute());
  auto const rows = fetchRows(*query, [](IQuery const& row) { return row.get_int32(0); });
  EXPECT_EQ(rows, (std::vector<std::int32_t>{3, 1, 2}));
  EXPECT_FALSE(query->has_row());
  EXPECT_TRUE(fetchRows(*query, [](IQuery const& row) { return row.get_text(0); }).empty());
}

}  // namespace
}  // namespace mura_common
