#include <sstream>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "firmware_table.h"

namespace tavi::stations_maintenance {

namespace {

constexpr char const* firmware_columns =
    "[id]         INTEGER,"
    "[version]    VARCHAR(16),"
    "[path]       VARCHAR(256),"
    "[size]       UNSIGNED BIG INT,"
    "[hash]       VARCHAR(256),"
    "PRIMARY KEY([id] AUTOINCREMENT)";

constexpr char const* relation_columns =
    "[id]          INTEGER,"
    "[firmware_id] INTEGER REFERENCES FirmwareTable (id) ON DELETE CASCADE,"
    "[model_id]     INTEGER REFERENCES StationsModelsTable(id) ON DELETE CASCADE,"
    "PRIMARY KEY([id] AUTOINCREMENT)";

}  // namespace

bool firmware_table::init() {
  auto const has_firmwares = create_table("FirmwareTable", firmware_columns);
  auto const has_firmware_statements = prepare_firmware_statements() || note_database_error();
  auto const has_relation =
      has_firmwares && has_firmware_statements && create_table("FirmwareModelsRelation", relation_columns);
  auto const has_relation_statements = prepare_relation_statements() || note_database_error();
  auto const is_clean = remove_abandoned_uploads();
  auto const is_ready = has_relation && has_relation_statements && is_clean;
  if (is_ready) {
    create_relation_index();
  }
  return is_ready;
}

bool firmware_table::create_table(char const* name, std::string const& columns) {
  std::ostringstream text;
  text << "CREATE TABLE IF NOT EXISTS " << name << " (" << columns << ");";
  spdlog::debug("[firmware_table] Executing query : {}", text.str());
  auto& database = table_database();
  auto const create = database.create_query(text.str());
  if (!create) {
    spdlog::critical("[firmware_table] Unable to init query to create table {} : error = {}", name,
                     database.last_error());
    return note_database_error();
  }
  if (mura_common::statement const creation(create); creation.has_failed()) {
    spdlog::critical("[firmware_table] Unable to create {} table : error = {}", name, creation.error());
    return note_database_error();
  }
  return true;
}

bool firmware_table::note_database_error() {
  // At once, because the clean-up at the end of `init` leaves an error of its own at every start.
  return note_failure(table_database().last_error());
}

bool firmware_table::prepare_firmware_statements() {
  auto& database = table_database();
  insert_firmware_query =
      database.create_query("INSERT INTO FirmwareTable VALUES(NULL, ?, NULL, NULL, NULL);");
  update_firmware_query =
      database.create_query("UPDATE FirmwareTable SET version=?, path=?, size=?, hash=? WHERE id=?;");
  max_id_query = database.create_query("SELECT max(id) FROM FirmwareTable;");
  select_all_query = database.create_query("SELECT * FROM FirmwareTable;");
  select_by_id_query = database.create_query("SELECT * FROM FirmwareTable WHERE id=?;");
  delete_by_id_query = database.create_query("DELETE FROM FirmwareTable WHERE id=?;");
  count_query = database.create_query("SELECT count() FROM FirmwareTable WHERE path IS NOT NULL;");
  return insert_firmware_query && update_firmware_query && max_id_query && select_all_query &&
         select_by_id_query && delete_by_id_query && count_query;
}

bool firmware_table::prepare_relation_statements() {
  auto& database = table_database();
  insert_association_query = database.create_query("INSERT INTO FirmwareModelsRelation VALUES(NULL, ?, ?);");
  models_of_firmware_query = database.create_query(
      "SELECT name FROM StationsModelsTable "
      "INNER JOIN FirmwareModelsRelation ON StationsModelsTable.id = FirmwareModelsRelation.model_id "
      "WHERE FirmwareModelsRelation.firmware_id=? ORDER BY name;");
  count_for_model_query = database.create_query(
      "SELECT count() FROM FirmwareTable "
      "INNER JOIN FirmwareModelsRelation ON FirmwareTable.id = FirmwareModelsRelation.firmware_id "
      "INNER JOIN StationsModelsTable ON FirmwareModelsRelation.model_id = StationsModelsTable.id "
      "WHERE StationsModelsTable.name=? AND FirmwareTable.path IS NOT NULL;");
  firmwares_of_model_query = database.create_query(
      "SELECT FirmwareTable.* FROM FirmwareTable "
      "INNER JOIN FirmwareModelsRelation ON FirmwareTable.id = FirmwareModelsRelation.firmware_id "
      "INNER JOIN StationsModelsTable ON FirmwareModelsRelation.model_id = StationsModelsTable.id "
      "WHERE StationsModelsTable.name=?;");
  return insert_association_query && models_of_firmware_query && count_for_model_query &&
         firmwares_of_model_query;
}

bool firmware_table::remove_abandoned_uploads() {
  // FirmwareTable has no column uri, so nothing can be prepared here, and abandoned uploads wait for the
  // clean-up of the store; in a database that has one, a start that removed them counts as failed.
  auto const query = table_database().create_query("DELETE FROM FirmwareTable WHERE uri IS NULL OR uri='';");
  if (!mura_common::statement(query).is_done()) {
    return true;
  }
  spdlog::error("[firmware_table] Failed to remove previous pending upload from database");
  return note_failure("previous pending uploads were in the database");
}

void firmware_table::create_relation_index() {
  // Listing firmwares asks for the models of each, and removing one finds its associations: without the
  // index either walks all associations every time. It saves time only, so the start goes on without it.
  auto& database = table_database();
  auto const create = database.create_query(
      "CREATE INDEX IF NOT EXISTS FirmwareModelsRelationByFirmware ON FirmwareModelsRelation (firmware_id);");
  if (!mura_common::statement(create).is_done()) {
    spdlog::warn("[firmware_table] Unable to index FirmwareModelsRelation : error = {}",
                 database.last_error());
  }
}

bool firmware_table::update(unsigned int /*from_version*/, unsigned int& /*to_version*/) {
  return true;
}

}  // namespace tavi::stations_maintenance
