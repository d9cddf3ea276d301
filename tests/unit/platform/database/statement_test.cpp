#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "faulty_database.h"
#include "mura_common/database.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

std::string text_of_row(IQuery const& query) {
  return query.get_text(0);
}

class Statement : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(database.open(folder.path() / "service.db"));
    ASSERT_TRUE(statement(prepared("CREATE TABLE T (a UNIQUE)")).is_done());
  }

  std::unique_ptr<IQuery> prepared(std::string const& sql) {
    auto query = database.create_query(sql);
    EXPECT_NE(query, nullptr) << sql << ": " << database.last_error();
    return query;
  }
  std::vector<std::string> stored() { return statement(prepared("SELECT a FROM T ORDER BY rowid")).texts(); }

  temporary_folder folder;
  sqlite_database database;
};

TEST_F(Statement, BindsEachValueAsItsTypeSays) {
  auto const query = prepared(
      "SELECT a || '|' || b || '|' || c || '|' || d || '|' || e || '|' || f || '|' || (g IS NULL) FROM "
      "(SELECT ? AS a, ? AS b, ? AS c, ? AS d, ? AS e, ? AS f, ? AS g)");
  statement const chosen(query, std::int32_t{-1}, std::uint32_t{4'000'000'000}, std::int64_t{-5'000'000'000},
                         std::uint64_t{5'000'000'000}, std::string("text"),
                         std::optional<std::string>("given"), std::optional<std::string>());
  EXPECT_TRUE(chosen.is_done()) << chosen.error();
  EXPECT_EQ(chosen.row(text_of_row), "-1|4000000000|-5000000000|5000000000|text|given|1");
}

TEST_F(Statement, KeepsWhatWasBoundBehindItsValues) {
  auto const query = prepared("SELECT ? || ?");
  ASSERT_TRUE(query->bind_text(1, "b"));
  EXPECT_EQ(statement(*query, std::string("a")).row(text_of_row), "ab");
  EXPECT_EQ(statement(*query, std::string("a")).row(text_of_row), "") << "the first run has reset it";
}

TEST_F(Statement, LeavesItsQueryAsItWasFound) {
  auto const query = prepared("SELECT ? UNION ALL SELECT 'b'");
  {
    statement const chosen(query, std::string("a"));
    EXPECT_TRUE(query->has_row());
  }
  EXPECT_FALSE(query->has_row());
  ASSERT_TRUE(query->execute());
  EXPECT_TRUE(query->is_null(0));
}

TEST_F(Statement, LeavesItsQueryAsItWasFoundWhateverIsThrown) {
  faulty_database faulty(database);
  auto const insert = faulty.create_query("INSERT INTO T VALUES (?)");
  faulty.before_executing("INSERT", [] { throw std::runtime_error("odd"); });
  EXPECT_THROW(statement(insert, 1), std::runtime_error);
  EXPECT_TRUE(faulty.not_reset.empty());
}

TEST_F(Statement, RunsNothingWithoutAQuery) {
  std::unique_ptr<IQuery> const none;
  statement missing(none, 1);
  EXPECT_FALSE(missing.is_done());
  EXPECT_FALSE(missing.has_failed());
  EXPECT_EQ(missing.error(), "");
  EXPECT_FALSE(missing.row(text_of_row));
  EXPECT_TRUE(missing.rows(text_of_row).empty());
}

TEST_F(Statement, SaysWhyItFailed) {
  auto const insert = prepared("INSERT INTO T VALUES (?)");
  EXPECT_TRUE(statement(insert, 1).is_done());
  statement const again(insert, 1);
  EXPECT_FALSE(again.is_done());
  EXPECT_TRUE(again.has_failed());
  EXPECT_EQ(again.error(), "UNIQUE constraint failed: T.a");
  EXPECT_FALSE(again.row(text_of_row));
}

TEST_F(Statement, IsNotExecutedWithAValueThatCannotBeBound) {
  auto const insert = prepared("INSERT INTO T VALUES (?)");
  statement const refused(insert, 1, 2);
  EXPECT_TRUE(refused.has_failed());
  EXPECT_EQ(refused.error(), "column index out of range");
  EXPECT_TRUE(stored().empty());
}

TEST_F(Statement, GivesNoRowWhereThereIsNone) {
  auto const select = prepared("SELECT a FROM T");
  statement const nothing(select);
  EXPECT_TRUE(nothing.is_done());
  EXPECT_FALSE(nothing.row(text_of_row));
}

TEST_F(Statement, ReadsTheFirstColumn) {
  auto const query = prepared("SELECT column1 FROM (VALUES (4000000000), (7))");
  EXPECT_EQ(statement(query).number(), 4'000'000'000U);
  EXPECT_EQ(statement(query).texts(), (std::vector<std::string>{"4000000000", "7"}));
  EXPECT_EQ(statement(prepared("SELECT a FROM T")).number(), std::nullopt);
}

TEST_F(Statement, HasFailedWhenARowInTheMiddleCannotBeRead) {
  auto const query = prepared("SELECT json(column1) FROM (VALUES ('1'), ('2'), ('no JSON'), ('4'))");
  statement broken(query);
  EXPECT_TRUE(broken.is_done());
  EXPECT_EQ(broken.rows(text_of_row), (std::vector<std::string>{"1", "2"}));
  EXPECT_FALSE(broken.is_done());
  EXPECT_TRUE(broken.has_failed());
  EXPECT_EQ(broken.error(), "malformed JSON");
}

}  // namespace
}  // namespace mura_common
