#include "stations_model_table.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {

using mura_common::statement;

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
  if (statement const creation(create); !creation.is_done()) {
    spdlog::critical("[stations_model_table] Unable to create models table query : error = {}",
                     create ? creation.error() : database.last_error());
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
    if (!statement(insert, model.name).is_done()) {
      spdlog::error("[stations_model_table] Fail to add model {} to database", model.name);
      added = false;
    }
  }
  return added;
}

bool stations_model_table::get_model_id(std::string const& name, int& id) {
  id = no_id;
  statement const look_up(select_model_id_query, name);
  auto const found = look_up.row([](mura_common::IQuery const& query) { return query.get_int32(0); });
  if (look_up.has_failed()) {
    spdlog::error("[stations_model_table] Failed to execute query to get model '{}'", name);
  } else if (look_up.is_done() && !found) {
    spdlog::error("[stations_model_table] Unknown model '{}'", name);
  }
  id = found.value_or(no_id);
  return look_up.is_done();
}

}  // namespace tavi::stations_maintenance
