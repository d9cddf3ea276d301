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
  auto const has_firmware_statements = prepare_firmware_statements();
  auto const has_relation =
      has_firmwares && has_firmware_statements && create_table("FirmwareModelsRelation", relation_columns);
  auto const has_relation_statements = prepare_relation_statements();
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
  auto const statement = text.str();
  spdlog::debug("[firmware_table] Executing query : {}", statement);
  auto& database = table_database();
  auto const create = database.create_query(statement);
  if (!create) {
    spdlog::critical("[firmware_table] Unable to init query to create table {} : error = {}", name,
                     database.last_error());
    return false;
  }
  if (!create->execute()) {
    spdlog::critical("[firmware_table] Unable to create {} table : error = {}", name, create->last_error());
    return false;
  }
  return true;
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
  if (!query || !query->execute()) {
    return true;
  }
  spdlog::error("[firmware_table] Failed to remove previous pending upload from database");
  return false;
}

void firmware_table::create_relation_index() {
  // Listing firmwares asks for the models of each, and removing one finds its associations: without the
  // index either walks all associations every time. It saves time only, so the start goes on without it.
  auto& database = table_database();
  auto const create = database.create_query(
      "CREATE INDEX IF NOT EXISTS FirmwareModelsRelationByFirmware ON FirmwareModelsRelation (firmware_id);");
  if (!create || !create->execute()) {
    spdlog::warn("[firmware_table] Unable to index FirmwareModelsRelation : error = {}",
                 create ? create->last_error() : database.last_error());
  }
}

bool firmware_table::update(unsigned int /*from_version*/, unsigned int& /*to_version*/) {
  return true;
}

}  // namespace tavi::stations_maintenance
