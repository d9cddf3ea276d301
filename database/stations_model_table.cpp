#include "stations_model_table.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {

namespace {

constexpr char const* create_models_statement =
    "CREATE TABLE IF NOT EXISTS StationsModelsTable ("
    "[id]         INTEGER,"
    "[name]       VARCHAR(256) NOT NULL UNIQUE,"
    "PRIMARY KEY([id] AUTOINCREMENT));";

constexpr int no_id = -1;

}  // namespace

stations_model_table::stations_model_table(mura_common::IDatabase& database)
    : DatabaseTable(database, "StationsModelsTable", 1) {
}

bool stations_model_table::init() {
  auto& database = table_database();
  auto const create = database.create_query(create_models_statement);
  if (!create || !create->execute()) {
    spdlog::critical("[stations_model_table] Unable to create models table query : error = {}",
                     create ? create->last_error() : database.last_error());
    return false;
  }
  // Unchecked: without it the names can still be stored, and each look-up says that it failed.
  select_model_id_query = database.create_query("SELECT id FROM StationsModelsTable WHERE name=?;");
  return true;
}

bool stations_model_table::update(unsigned int /*from_version*/, unsigned int& /*to_version*/) {
  return true;
}

bool stations_model_table::add_stations_models(std::list<tavi::stations::station_model> const& models) {
  auto const insert =
      table_database().create_query("INSERT OR IGNORE INTO StationsModelsTable VALUES(NULL, ?);");
  if (!insert) {
    spdlog::error("[stations_model_table] Fail to create query to add stations models");
    return false;
  }
  // A site without any supported model is a mistake in its files, hence no success.
  auto added = !models.empty();
  for (auto const& model : models) {
    insert->bind_text(0, model.name);
    if (!insert->execute()) {
      spdlog::error("[stations_model_table] Fail to add model {} to database", model.name);
      added = false;
    }
    insert->reset();
  }
  return added;
}

bool stations_model_table::get_model_id(std::string const& name, int& id) {
  id = no_id;
  if (!select_model_id_query) {
    return false;
  }
  select_model_id_query->bind_text(0, name);
  auto const executed = select_model_id_query->execute();
  if (!executed) {
    spdlog::error("[stations_model_table] Failed to execute query to get model '{}'", name);
  } else if (select_model_id_query->has_row()) {
    id = select_model_id_query->get_int32(0);
  } else {
    spdlog::error("[stations_model_table] Unknown model '{}'", name);
  }
  select_model_id_query->reset();
  return executed;
}

}  // namespace tavi::stations_maintenance
