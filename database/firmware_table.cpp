#include "firmware_table.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "stations_model_table.h"

namespace tavi::stations_maintenance {

using mura_common::statement;

namespace {

// The columns of a select of all columns.
constexpr int firmware_id_column = 0;
constexpr int version_column = 1;
constexpr int path_column = 2;
constexpr int file_size_column = 3;
constexpr int hash_column = 4;

std::string text_or_empty(mura_common::IQuery const& query, int column) {
  return query.is_null(column) ? std::string() : query.get_text(column);
}

}  // namespace

firmware_table::firmware_table(mura_common::IDatabase& database, stations_model_table& models)
    : DatabaseTable(database, "FirmwareTable", 1), known_models(models) {
}

std::uint32_t firmware_table::add_firmware(std::optional<std::string> const& version,
                                           std::vector<std::string> const& models, unsigned int& id) {
  if (!insert_firmware_query || !max_id_query) {
    return failure;
  }
  // Row and associations are there together or not at all, whatever ends the process in between.
  mura_common::transaction announcement(table_database());
  if (!announcement.has_begun() || !statement(insert_firmware_query, version).is_done()) {
    spdlog::error("[firmware_table] Fail to execute query to add firmware");
    return failure;
  }
  auto const result = associate_last_added(models, id);
  // A database that is full has given up the whole by itself, and why has been told.
  if (!announcement.commit() && result == success) {
    spdlog::error("[firmware_table] Fail to execute query to add firmware");
    return failure;
  }
  return result;
}

std::uint32_t firmware_table::associate_last_added(std::vector<std::string> const& models, unsigned int& id) {
  // Callers take turns, so the highest id is that of the row just inserted.
  auto const added = statement(max_id_query).number();
  if (!added) {
    spdlog::error("[firmware_table] Fail to execute query to get the last added firmware ID");
    return failure;
  }
  id = *added;
  auto association_failed = false;
  auto const result = associate_models_to_firmware(id, models, association_failed);
  if (association_failed) {
    spdlog::error("[firmware_table] Force remove firmware id {} after model association failure", id);
    remove_firmware(id);
  }
  return result;
}

std::uint32_t firmware_table::associate_models_to_firmware(unsigned int firmware_id,
                                                           std::vector<std::string> const& models,
                                                           bool& association_failed) {
  if (!insert_association_query) {
    return failure;
  }
  association_failed = true;
  if (models.empty()) {
    return unknown_model;
  }
  for (auto const& model : models) {
    if (auto const result = associate_model(firmware_id, model); result != success) {
      return result;
    }
    // Never set again: a firmware that fits one known model is worth keeping.
    association_failed = false;
  }
  return success;
}

std::uint32_t firmware_table::associate_model(unsigned int firmware_id, std::string const& model) {
  auto model_id = -1;
  if (!known_models.get_model_id(model, model_id)) {
    return association_error;
  }
  if (model_id < 1) {
    return unknown_model;
  }
  statement const association(insert_association_query, firmware_id, model_id);
  if (association.has_failed()) {
    spdlog::error("[firmware_table] Failed to add association between firmware with id {} and model {}: {}",
                  firmware_id, model, association.error());
    return association_error;
  }
  return success;
}

bool firmware_table::update_stored_firmware_info(unsigned int id, std::string const& version,
                                                 std::string const& path, unsigned long size,
                                                 std::string const& hash) {
  statement const update(update_firmware_query, version, path, std::uint64_t{size}, hash, id);
  if (update.has_failed()) {
    spdlog::error("[firmware_table] Failed to update firmware with id {}", id);
  }
  return update.is_done();
}

std::optional<station_firmware_info> firmware_table::get_firmware(unsigned int id) {
  if (!select_by_id_query) {
    return {};
  }
  statement const chosen(select_by_id_query, id);
  auto firmware = chosen.row(firmware_info_from_query);
  if (firmware) {
    firmware->models = models_associated_to_firmware(id);
  } else {
    spdlog::error("[firmware_table] Failed to get firmware with id: {}", id);
  }
  return firmware;
}

std::optional<std::vector<station_firmware_info>> firmware_table::get_all_firmwares() {
  statement all(select_all_query);
  auto firmwares = fetch_all(all);
  if (all.has_failed()) {
    spdlog::error("[firmware_table] Failed to get all firmware");
  }
  return firmwares;
}

std::optional<std::vector<station_firmware_info>> firmware_table::get_firmware_from_model(
    std::string const& model) {
  auto model_id = -1;
  if (!firmwares_of_model_query || !known_models.get_model_id(model, model_id) || model_id < 1) {
    return {};
  }
  statement of_model(firmwares_of_model_query, model);
  auto firmwares = fetch_all(of_model);
  if (of_model.has_failed()) {
    spdlog::error("[firmware_table] Failed to get associated firmwares with model : {}", model);
  }
  return firmwares;
}

std::optional<std::vector<station_firmware_info>> firmware_table::fetch_all(statement& run) {
  auto firmwares = run.rows(firmware_info_from_query);
  if (!run.is_done()) {
    // A list cut short would let a version that is stored already pass for a new one.
    return {};
  }
  for (auto& firmware : firmwares) {
    firmware.models = models_associated_to_firmware(firmware.id);
  }
  return firmwares;
}

std::vector<std::string> firmware_table::models_associated_to_firmware(unsigned int id) {
  statement of_firmware(models_of_firmware_query, id);
  auto models = of_firmware.texts();
  if (of_firmware.has_failed()) {
    models.clear();
  }
  if (models_of_firmware_query && models.empty()) {
    // No model at all is an error as well: a firmware without one can never be offered to a station.
    spdlog::error("[firmware_table] Failed to get associated models with firmware id : {}", id);
  }
  return models;
}

std::uint32_t firmware_table::nb_stored_firmware() {
  auto const count = statement(count_query).number();
  if (count_query && !count) {
    spdlog::error("[firmware_table] Failed to execute query to get the number of stored software");
  }
  return count.value_or(failure);
}

std::uint32_t firmware_table::nb_stored_firmware_for_model(std::string const& model) {
  auto const count = statement(count_for_model_query, model).number();
  if (count_for_model_query && !count) {
    spdlog::error("[firmware_table] Failed to execute query to get the numer of stored software");
  }
  return count.value_or(failure);
}

bool firmware_table::remove_firmware(unsigned int id) {
  statement const removal(delete_by_id_query, id);
  if (removal.has_failed()) {
    spdlog::error("[firmware_table] Failed to delete firmware with id: {}", id);
  }
  return removal.is_done();
}

station_firmware_info firmware_table::firmware_info_from_query(mura_common::IQuery const& query) {
  station_firmware_info firmware;
  firmware.id = query.get_uint32(firmware_id_column);
  firmware.version = text_or_empty(query, version_column);
  firmware.path = text_or_empty(query, path_column);
  firmware.size = query.get_uint32(file_size_column);
  firmware.hash = text_or_empty(query, hash_column);
  firmware.status = station_firmware_status::none;
  return firmware;
}

}  // namespace tavi::stations_maintenance
