#include <string>

#include <gtest/gtest.h>

#include "mura_common/database.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

class Transaction : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(database.open(folder.path() / "service.db"));
    run("CREATE TABLE T (a)");
  }

  bool run(std::string const& sql) { return statement(database.create_query(sql)).is_done(); }
  int rows() {
    return statement(database.create_query("SELECT count(*) FROM T"))
        .row([](IQuery const& query) { return query.get_int32(0); })
        .value_or(-1);
  }

  temporary_folder folder;
  sqlite_database database;
};

TEST_F(Transaction, MakesWhatWasChangedLastWhenItIsCommitted) {
  {
    transaction work(database);
    EXPECT_TRUE(work.has_begun());
    EXPECT_TRUE(run("INSERT INTO T VALUES (1)"));
    EXPECT_TRUE(work.commit());
    EXPECT_EQ(work.error(), "");
  }
  EXPECT_EQ(rows(), 1);
}

TEST_F(Transaction, UndoesWhatWasChangedWhenItIsNot) {
  {
    transaction const work(database);
    EXPECT_TRUE(run("INSERT INTO T VALUES (1)"));
    EXPECT_EQ(rows(), 1);
  }
  EXPECT_EQ(rows(), 0);
}

TEST_F(Transaction, IsOneAtATime) {
  transaction const first(database);
  {
    transaction second(database);
    EXPECT_FALSE(second.has_begun());
    EXPECT_EQ(second.error(), "cannot start a transaction within a transaction");
    EXPECT_FALSE(second.commit());
  }
  EXPECT_TRUE(first.has_begun());
  EXPECT_FALSE(run("BEGIN")) << "the second one has not ended the first";
}

TEST_F(Transaction, IsUndoneWhenItCannotBeCommitted) {
  run("CREATE TABLE Parents (id INTEGER PRIMARY KEY)");
  run("CREATE TABLE Children (parent REFERENCES Parents(id) DEFERRABLE INITIALLY DEFERRED)");
  {
    transaction work(database);
    EXPECT_TRUE(run("INSERT INTO T VALUES (1)"));
    EXPECT_TRUE(run("INSERT INTO Children VALUES (7)"));
    EXPECT_FALSE(work.commit());
    EXPECT_EQ(work.error(), "FOREIGN KEY constraint failed");
  }
  EXPECT_EQ(rows(), 0);
  EXPECT_TRUE(transaction(database).has_begun());
}

TEST_F(Transaction, SaysWhenTheDatabaseIsNotOpen) {
  sqlite_database closed;
  transaction const work(closed);
  EXPECT_FALSE(work.has_begun());
  EXPECT_EQ(work.error(), "the database is not open");
}

}  // namespace
}  // namespace mura_common
