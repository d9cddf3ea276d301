#include "stations_model_table.h"

#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "faulty_database.h"
#include "log_capture.h"
#include "mura_common/database.h"
#include "tavi/stations/station_model_provider.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::critical;
using spdlog::level::err;
using tavi::stations::station_model;
using testing::ElementsAre;
using testing::IsEmpty;

std::list<station_model> models_named(std::vector<std::string> const& names) {
  std::list<station_model> models;
  for (auto const& name : names) {
    models.push_back({name, "Acme", {"model of " + name}});
  }
  return models;
}

/// A table in a real database file that can be told to fail.
class StationsModelTable : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(real.open(folder.path() / "models.db")); }

  void given_ready_table() {
    ASSERT_TRUE(table.initTable());
    log.clear();
  }

  void run(std::string const& sql) {
    auto const query = real.create_query(sql);
    ASSERT_TRUE(query && query->execute()) << sql;
  }

  std::vector<std::string> texts_from_database(std::string const& sql) {
    auto const query = real.create_query(sql);
    EXPECT_TRUE(query && query->execute()) << sql;
    return mura_common::fetchRows(*query, [](auto const& row) { return row.get_text(0); });
  }

  std::vector<std::string> stored_names() {
    return texts_from_database("SELECT name FROM StationsModelsTable ORDER BY id");
  }

  /// A model's id; -1 for an unknown one.
  int id_of(std::string const& name) {
    int id = 0;
    EXPECT_TRUE(table.get_model_id(name, id)) << name;
    return id;
  }

  temporary_folder folder;
  log_capture log;
  mura_common::sqlite_database real;
  faulty_database database{real};
  stations_model_table table{database};
};

TEST_F(StationsModelTable, CreatesItsSchemaToTheLetterAndWithoutAWord) {
  ASSERT_TRUE(table.initTable());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(
      texts_from_database("SELECT sql FROM sqlite_master WHERE name = 'StationsModelsTable'"),
      ElementsAre("CREATE TABLE StationsModelsTable ([id]         INTEGER,[name]       VARCHAR(256) NOT NULL "
                  "UNIQUE,PRIMARY KEY([id] AUTOINCREMENT))"));
}

TEST_F(StationsModelTable, NotesItsVersionUnderTheNameOfItsTable) {
  given_ready_table();
  EXPECT_THAT(
      texts_from_database("SELECT version FROM FrameworkTableVersions WHERE name = 'StationsModelsTable'"),
      ElementsAre("1"));
}

TEST_F(StationsModelTable, PreparesItsStatementsWordForWord) {
  ASSERT_TRUE(table.init());
  ASSERT_TRUE(table.add_stations_models(models_named({"A"})));
  EXPECT_THAT(database.prepared_texts,
              ElementsAre("CREATE TABLE IF NOT EXISTS StationsModelsTable ([id]         INTEGER,[name]       "
                          "VARCHAR(256) NOT NULL UNIQUE,PRIMARY KEY([id] AUTOINCREMENT));",
                          "SELECT id FROM StationsModelsTable WHERE name=?;",
                          "INSERT OR IGNORE INTO StationsModelsTable VALUES(NULL, ?);"));
}

TEST_F(StationsModelTable, MigratesNothingAndLeavesTheVersionAlone) {
  unsigned int version = 77;
  EXPECT_TRUE(table.update(0, version));
  EXPECT_EQ(version, 77U);
}

TEST_F(StationsModelTable, StoresNamesInTheirOrder) {
  given_ready_table();
  EXPECT_TRUE(table.add_stations_models(models_named({"X7-22", "A1", "M3"})));
  EXPECT_THAT(stored_names(), ElementsAre("X7-22", "A1", "M3"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, KeepsOneRowForANameHoweverOftenItIsAdded) {
  given_ready_table();
  auto const models = models_named({"A", "B", "A"});
  EXPECT_TRUE(table.add_stations_models(models));
  auto const id = id_of("B");
  EXPECT_TRUE(table.add_stations_models(models));
  EXPECT_THAT(stored_names(), ElementsAre("A", "B"));
  EXPECT_EQ(id_of("B"), id);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, KeepsIdsOverAStart) {
  given_ready_table();
  ASSERT_TRUE(table.add_stations_models(models_named({"A", "B"})));
  auto const id = id_of("B");
  stations_model_table again(real);
  ASSERT_TRUE(again.initTable());
  ASSERT_TRUE(again.add_stations_models(models_named({"C", "B"})));
  int found = 0;
  EXPECT_TRUE(again.get_model_id("B", found));
  EXPECT_EQ(found, id);
}

TEST_F(StationsModelTable, TakesAnEmptyListForAFailureAndWritesNothing) {
  given_ready_table();
  EXPECT_FALSE(table.add_stations_models({}));
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, TellsIdsFromOneUpwards) {
  given_ready_table();
  ASSERT_TRUE(table.add_stations_models(models_named({"A", "B"})));
  EXPECT_EQ(id_of("A"), 1);
  EXPECT_EQ(id_of("B"), 2);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, FindsNoIdForAnUnknownNameYetSucceeds) {
  given_ready_table();
  ASSERT_TRUE(table.add_stations_models(models_named({"A"})));
  int id = 5;
  EXPECT_TRUE(table.get_model_id("Z9", id));
  EXPECT_EQ(id, -1);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[stations_model_table] Unknown model 'Z9'"}));
  EXPECT_EQ(id_of("A"), 1);
}

TEST_F(StationsModelTable, ComparesNamesExactly) {
  given_ready_table();
  ASSERT_TRUE(table.add_stations_models(models_named({"X7-22"})));
  for (auto const* other : {"x7-22", "X7-22 ", " X7-22", "X7%", "X7-2", ""}) {
    EXPECT_EQ(id_of(other), -1) << other;
  }
  EXPECT_TRUE(table.add_stations_models(models_named({"x7-22"})));
  EXPECT_THAT(stored_names(), ElementsAre("X7-22", "x7-22"));
}

TEST_F(StationsModelTable, KeepsNamesWithEveryKindOfCharacter) {
  given_ready_table();
  std::string const name = "a'b\"c;--\n\xC3\xA9 {} DROP TABLE StationsModelsTable";
  EXPECT_TRUE(table.add_stations_models(models_named({name, ""})));
  EXPECT_THAT(stored_names(), ElementsAre(name, ""));
  EXPECT_EQ(id_of(name), 1);
  EXPECT_EQ(id_of(""), 2);
  EXPECT_EQ(id_of("{} 'unknown'"), -1);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[stations_model_table] Unknown model '{} 'unknown''"}));
}

TEST_F(StationsModelTable, IsRefusedWithoutTheStatementThatCreatesIt) {
  database.refuse_to_prepare("CREATE TABLE");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{critical,
                                   "[stations_model_table] Unable to create models table query : error = no "
                                   "statement"}));
  EXPECT_EQ(database.prepared_texts.size(), 1U);
}

TEST_F(StationsModelTable, IsRefusedWhenItCannotBeCreated) {
  database.fail_to_execute("CREATE TABLE");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               critical,
                               "[stations_model_table] Unable to create models table query : error = disk "
                               "I/O error"}));
  EXPECT_EQ(database.prepared_texts.size(), 1U);
}

TEST_F(StationsModelTable, IsReadyWithoutTheLookUpWhichThenFailsQuietly) {
  database.refuse_to_prepare("SELECT id");
  EXPECT_TRUE(table.init());
  EXPECT_TRUE(table.add_stations_models(models_named({"A"})));
  int id = 5;
  EXPECT_FALSE(table.get_model_id("A", id));
  EXPECT_EQ(id, -1);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, LosesALookUpThatALaterInitCannotPrepare) {
  given_ready_table();
  database.refuse_to_prepare("SELECT id");
  ASSERT_TRUE(table.init());
  int id = 5;
  EXPECT_FALSE(table.get_model_id("A", id));
  EXPECT_EQ(id, -1);
}

TEST_F(StationsModelTable, FindsNothingBeforeItIsReady) {
  int id = 5;
  EXPECT_FALSE(table.get_model_id("A", id));
  EXPECT_EQ(id, -1);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StationsModelTable, TellsWhenItCannotPrepareTheInsertWhateverTheList) {
  given_ready_table();
  database.refuse_to_prepare("INSERT OR IGNORE");
  log_line const line{err, "[stations_model_table] Fail to create query to add stations models"};
  EXPECT_FALSE(table.add_stations_models(models_named({"A"})));
  EXPECT_FALSE(table.add_stations_models({}));
  EXPECT_THAT(log.lines(), ElementsAre(line, line));
}

TEST_F(StationsModelTable, AddsTheOthersWhenOneNameCannotBeAdded) {
  given_ready_table();
  run("CREATE TRIGGER refusal BEFORE INSERT ON StationsModelsTable WHEN NEW.name = 'B' "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END");
  EXPECT_FALSE(table.add_stations_models(models_named({"A", "B", "C"})));
  EXPECT_THAT(stored_names(), ElementsAre("A", "C"));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[stations_model_table] Fail to add model B to database"}));
}

TEST_F(StationsModelTable, NamesEveryModelThatCannotBeAddedAndAddsThemLater) {
  given_ready_table();
  database.fail_to_execute("INSERT OR IGNORE");
  EXPECT_FALSE(table.add_stations_models(models_named({"A", "B"})));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[stations_model_table] Fail to add model A to database"},
                          log_line{err, "[stations_model_table] Fail to add model B to database"}));
  database.heal();
  EXPECT_TRUE(table.add_stations_models(models_named({"A", "B"})));
  EXPECT_THAT(stored_names(), ElementsAre("A", "B"));
}

TEST_F(StationsModelTable, TellsOfALookUpThatFailsAndFindsTheIdLater) {
  given_ready_table();
  ASSERT_TRUE(table.add_stations_models(models_named({"A"})));
  database.fail_to_execute("SELECT id");
  int id = 5;
  EXPECT_FALSE(table.get_model_id("A", id));
  EXPECT_EQ(id, -1);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[stations_model_table] Failed to execute query to get model 'A'"}));
  database.heal();
  EXPECT_EQ(id_of("A"), 1);
}

}  // namespace
}  // namespace tavi::stations_maintenance
