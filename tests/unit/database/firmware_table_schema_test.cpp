#include <string>
#include <vector>

#include "firmware_table_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::critical;
using spdlog::level::debug;
using spdlog::level::err;
using spdlog::level::warn;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::string const create_firmwares =
    "CREATE TABLE IF NOT EXISTS FirmwareTable ([id]         INTEGER,[version]    VARCHAR(16),[path]       "
    "VARCHAR(256),[size]       UNSIGNED BIG INT,[hash]       VARCHAR(256),PRIMARY KEY([id] AUTOINCREMENT));";
std::string const create_relation =
    "CREATE TABLE IF NOT EXISTS FirmwareModelsRelation ([id]          INTEGER,[firmware_id] INTEGER "
    "REFERENCES FirmwareTable (id) ON DELETE CASCADE,[model_id]     INTEGER REFERENCES "
    "StationsModelsTable(id) ON DELETE CASCADE,PRIMARY KEY([id] AUTOINCREMENT));";
std::string const clean_up = "DELETE FROM FirmwareTable WHERE uri IS NULL OR uri='';";
std::string const create_index =
    "CREATE INDEX IF NOT EXISTS FirmwareModelsRelationByFirmware ON FirmwareModelsRelation (firmware_id);";

log_line const says_firmwares{debug, "[firmware_table] Executing query : " + create_firmwares};
log_line const says_relation{debug, "[firmware_table] Executing query : " + create_relation};

std::vector<std::string> const firmware_statements{
    "INSERT INTO FirmwareTable VALUES(NULL, ?, NULL, NULL, NULL);",
    "UPDATE FirmwareTable SET version=?, path=?, size=?, hash=? WHERE id=?;",
    "SELECT max(id) FROM FirmwareTable;",
    "SELECT * FROM FirmwareTable;",
    "SELECT * FROM FirmwareTable WHERE id=?;",
    "DELETE FROM FirmwareTable WHERE id=?;",
    "SELECT count() FROM FirmwareTable WHERE path IS NOT NULL;"};

std::vector<std::string> const relation_statements{
    "INSERT INTO FirmwareModelsRelation VALUES(NULL, ?, ?);",
    "SELECT name FROM StationsModelsTable INNER JOIN FirmwareModelsRelation ON StationsModelsTable.id = "
    "FirmwareModelsRelation.model_id WHERE FirmwareModelsRelation.firmware_id=? ORDER BY name;",
    "SELECT count() FROM FirmwareTable INNER JOIN FirmwareModelsRelation ON FirmwareTable.id = "
    "FirmwareModelsRelation.firmware_id INNER JOIN StationsModelsTable ON FirmwareModelsRelation.model_id = "
    "StationsModelsTable.id WHERE StationsModelsTable.name=? AND FirmwareTable.path IS NOT NULL;",
    "SELECT FirmwareTable.* FROM FirmwareTable INNER JOIN FirmwareModelsRelation ON FirmwareTable.id = "
    "FirmwareModelsRelation.firmware_id INNER JOIN StationsModelsTable ON FirmwareModelsRelation.model_id = "
    "StationsModelsTable.id WHERE StationsModelsTable.name=?;"};

/// What is prepared at a start at which `steps` are taken around the statements.
std::vector<std::string> prepared_at_start(std::vector<std::string> const& between,
                                           std::vector<std::string> const& at_the_end) {
  std::vector<std::string> texts{create_firmwares};
  for (auto const& part : {firmware_statements, between, relation_statements, at_the_end}) {
    texts.insert(texts.end(), part.begin(), part.end());
  }
  return texts;
}

class FirmwareTableSchema : public firmware_table_fixture {
 protected:
  void SetUp() override {
    firmware_table_fixture::SetUp();
    given_models();
    database.prepared_texts.clear();
  }
};

TEST_F(FirmwareTableSchema, IsCreatedToTheLetter) {
  ASSERT_TRUE(table.initTable());
  EXPECT_THAT(
      texts_from_database("SELECT sql FROM sqlite_master WHERE name = 'FirmwareTable'"),
      ElementsAre("CREATE TABLE FirmwareTable ([id]         INTEGER,[version]    VARCHAR(16),[path]       "
                  "VARCHAR(256),[size]       UNSIGNED BIG INT,[hash]       VARCHAR(256),PRIMARY KEY([id] "
                  "AUTOINCREMENT))"));
  EXPECT_THAT(texts_from_database("SELECT sql FROM sqlite_master WHERE name = 'FirmwareModelsRelation'"),
              ElementsAre("CREATE TABLE FirmwareModelsRelation ([id]          INTEGER,[firmware_id] INTEGER "
                          "REFERENCES FirmwareTable (id) ON DELETE CASCADE,[model_id]     INTEGER REFERENCES "
                          "StationsModelsTable(id) ON DELETE CASCADE,PRIMARY KEY([id] AUTOINCREMENT))"));
}

TEST_F(FirmwareTableSchema, NotesItsVersionUnderTheNameOfItsTable) {
  ASSERT_TRUE(table.initTable());
  EXPECT_THAT(texts_from_database("SELECT version FROM FrameworkTableVersions WHERE name = 'FirmwareTable'"),
              ElementsAre("1"));
}

TEST_F(FirmwareTableSchema, PreparesEverythingInItsOrderAndSaysWhatItCreates) {
  ASSERT_TRUE(table.init());
  EXPECT_EQ(database.prepared_texts, prepared_at_start({create_relation}, {clean_up, create_index}));
  EXPECT_THAT(log.lines(), ElementsAre(says_firmwares, says_relation));
}

TEST_F(FirmwareTableSchema, MigratesNothingAndLeavesTheVersionAlone) {
  unsigned int version = 77;
  EXPECT_TRUE(table.update(0, version));
  EXPECT_EQ(version, 77U);
}

TEST_F(FirmwareTableSchema, KeepsFirmwaresAndTheirModelsOverAStart) {
  ASSERT_TRUE(table.initTable());
  auto const id = given_stored({"A", "C"});
  auto const before = table.get_firmware(id);
  firmware_table again(real, models);
  ASSERT_TRUE(again.initTable());
  EXPECT_EQ(again.get_firmware(id), before);
}

TEST_F(FirmwareTableSchema, KeepsAbandonedUploadsOverAStart) {
  ASSERT_TRUE(table.initTable());
  given_placeholder({"A"});
  firmware_table again(real, models);
  ASSERT_TRUE(again.initTable());
  EXPECT_THAT(stored_ids(), SizeIs(1));
}

/// A database whose firmwares have locations beside the columns of this program.
class FirmwareTableWithLocations : public FirmwareTableSchema {
 protected:
  void SetUp() override {
    FirmwareTableSchema::SetUp();
    run("CREATE TABLE FirmwareTable (id INTEGER PRIMARY KEY AUTOINCREMENT, version, path, size, hash, "
        "uri GENERATED ALWAYS AS (path))");
    run("INSERT INTO FirmwareTable VALUES (1, '1.0', NULL, NULL, NULL), (2, '1.0', '', 0, ''), "
        "(3, '1.0', '/store/fw', 1, 'ab')");
  }
};

TEST_F(FirmwareTableWithLocations, LosesAbandonedUploadsAndIsThenRefused) {
  EXPECT_FALSE(table.init());
  EXPECT_THAT(stored_ids(), ElementsAre("3"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(says_firmwares, says_relation,
                  log_line{err, "[firmware_table] Failed to remove previous pending upload from database"}));
  EXPECT_THAT(database.prepared_texts, Not(Contains(create_index)));
}

TEST_F(FirmwareTableWithLocations, KeepsAbandonedUploadsOverARefusedStartOfTheService) {
  EXPECT_FALSE(table.initTable());
  EXPECT_THAT(stored_ids(), ElementsAre("1", "2", "3"));
}

TEST_F(FirmwareTableWithLocations, IsReadyWhenTheCleanUpFails) {
  database.fail_to_execute(clean_up);
  EXPECT_TRUE(table.init());
  EXPECT_THAT(stored_ids(), ElementsAre("1", "2", "3"));
  EXPECT_THAT(log.lines(), ElementsAre(says_firmwares, says_relation));
}

TEST_F(FirmwareTableSchema, IsRefusedWithoutTheStatementThatCreatesFirmwares) {
  database.refuse_to_prepare("EXISTS FirmwareTable");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(says_firmwares,
                  log_line{critical,
                           "[firmware_table] Unable to init query to create table FirmwareTable : error = no "
                           "statement"}));
  // The statements are tried all the same; the table of associations is not.
  EXPECT_EQ(database.prepared_texts, prepared_at_start({}, {clean_up}));
}

TEST_F(FirmwareTableSchema, IsRefusedWhenFirmwaresCannotBeCreated) {
  database.fail_to_execute("EXISTS FirmwareTable");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          says_firmwares,
          log_line{critical,
                   "[firmware_table] Unable to create FirmwareTable table : error = disk I/O error"}));
  EXPECT_EQ(database.prepared_texts, prepared_at_start({}, {clean_up}));
}

TEST_F(FirmwareTableSchema, IsRefusedWithoutTheStatementThatCreatesAssociations) {
  database.refuse_to_prepare("EXISTS FirmwareModelsRelation");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(), ElementsAre(says_firmwares, says_relation,
                                       log_line{critical,
                                                "[firmware_table] Unable to init query to create table "
                                                "FirmwareModelsRelation : error = no statement"}));
  EXPECT_EQ(database.prepared_texts, prepared_at_start({create_relation}, {clean_up}));
}

TEST_F(FirmwareTableSchema, IsRefusedWhenAssociationsCannotBeCreated) {
  database.fail_to_execute("EXISTS FirmwareModelsRelation");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(),
              ElementsAre(says_firmwares, says_relation,
                          log_line{critical,
                                   "[firmware_table] Unable to create FirmwareModelsRelation table : error = "
                                   "disk I/O error"}));
}

TEST_F(FirmwareTableSchema, IsRefusedQuietlyWhenAnyOneStatementOfFirmwaresIsMissing) {
  for (auto const& statement : firmware_statements) {
    database.heal();
    database.refuse_to_prepare(statement);
    database.prepared_texts.clear();
    log.clear();
    EXPECT_FALSE(table.init()) << statement;
    EXPECT_THAT(log.lines(), ElementsAre(says_firmwares)) << statement;
    EXPECT_EQ(database.prepared_texts, prepared_at_start({}, {clean_up})) << statement;
  }
}

TEST_F(FirmwareTableSchema, IsRefusedQuietlyWhenAnyOneStatementOfAssociationsIsMissing) {
  for (auto const& statement : relation_statements) {
    database.heal();
    database.refuse_to_prepare(statement);
    database.prepared_texts.clear();
    log.clear();
    EXPECT_FALSE(table.init()) << statement;
    EXPECT_THAT(log.lines(), ElementsAre(says_firmwares, says_relation)) << statement;
    EXPECT_EQ(database.prepared_texts, prepared_at_start({create_relation}, {clean_up})) << statement;
  }
}

/// What another program left behind, and what it keeps the table from.
struct foreign_table {
  char const* name;
  char const* sql;
  char const* cause;
};

class ForeignTable : public FirmwareTableSchema, public testing::WithParamInterface<foreign_table> {};

TEST_P(ForeignTable, IsToldAsTheCauseOfTheRefusal) {
  run(GetParam().sql);
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(
      log.lines().back(),
      (log_line{err, std::string("[DatabaseTable] table FirmwareTable: cannot init: ") + GetParam().cause}));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ForeignTable,
    testing::Values(foreign_table{"Firmwares", "CREATE TABLE FirmwareTable (id, version, path, size, digest)",
                                  "no such column: hash"},
                    foreign_table{"Associations", "CREATE TABLE FirmwareModelsRelation (id, firmware, model)",
                                  "no such column: FirmwareModelsRelation.firmware_id"}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST_F(FirmwareTableSchema, TellsTheFirstOfSeveralCauses) {
  database.fail_to_execute("CREATE TABLE IF NOT EXISTS FirmwareTable");
  EXPECT_FALSE(table.initTable());
  EXPECT_EQ(log.lines().back(),
            (log_line{err, "[DatabaseTable] table FirmwareTable: cannot init: disk I/O error"}));
}

TEST_F(FirmwareTableSchema, IsRefusedWhileTheModelsAreMissing) {
  run("DROP TABLE StationsModelsTable");
  EXPECT_FALSE(table.init());
  EXPECT_THAT(log.lines(), ElementsAre(says_firmwares, says_relation));
}

TEST_F(FirmwareTableSchema, IsReadyWithoutTheIndexThatItCannotPrepare) {
  database.refuse_to_prepare("CREATE INDEX");
  EXPECT_TRUE(table.init());
  EXPECT_THAT(log.lines(),
              Contains(log_line{
                  warn, "[firmware_table] Unable to index FirmwareModelsRelation : error = no statement"}));
  auto const id = given_placeholder({"B"});
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("B"));
}

TEST_F(FirmwareTableSchema, IsReadyWithoutTheIndexThatItCannotCreate) {
  database.fail_to_execute("CREATE INDEX");
  EXPECT_TRUE(table.init());
  EXPECT_THAT(log.lines(),
              Contains(log_line{
                  warn, "[firmware_table] Unable to index FirmwareModelsRelation : error = disk I/O error"}));
}

TEST_F(FirmwareTableSchema, CreatesATableFromANameAndItsColumns) {
  EXPECT_TRUE(table.create_table("Shelf", "[id] INTEGER,[label] TEXT"));
  EXPECT_TRUE(table.create_table("Shelf", "[id] INTEGER"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{debug,
                           "[firmware_table] Executing query : CREATE TABLE IF NOT EXISTS Shelf ([id] "
                           "INTEGER,[label] TEXT);"},
                  log_line{debug,
                           "[firmware_table] Executing query : CREATE TABLE IF NOT EXISTS Shelf ([id] "
                           "INTEGER);"}));
  EXPECT_THAT(texts_from_database("SELECT name FROM pragma_table_info('Shelf')"), ElementsAre("id", "label"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
