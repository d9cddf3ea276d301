#include "firmware_table.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "stations_model_table.h"

namespace tavi::stations_maintenance {

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

std::string name_of_row(mura_common::IQuery const& query) {
  return query.get_text(0);
}

/// @return the count, or nothing when it could not be taken
std::optional<std::uint32_t> fetch_count_and_reset(mura_common::IQuery& query) {
  std::optional<std::uint32_t> count;
  if (query.execute() && query.has_row()) {
    count = query.get_uint32(0);
  }
  query.reset();
  return count;
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
  auto result = failure;
  if (auto const added = insert_placeholder(version)) {
    id = *added;
    auto association_failed = false;
    result = associate_models_to_firmware(id, models, association_failed);
    if (association_failed) {
      spdlog::error("[firmware_table] Force remove firmware id {} after model association failure", id);
      remove_firmware(id);
    }
  }
  insert_firmware_query->reset();
  max_id_query->reset();
  return result;
}

std::optional<unsigned int> firmware_table::insert_placeholder(std::optional<std::string> const& version) {
  if (version) {
    insert_firmware_query->bind_text(0, *version);
  } else {
    insert_firmware_query->bind_null(0);
  }
  if (!insert_firmware_query->execute()) {
    spdlog::error("[firmware_table] Fail to execute query to add firmware");
    return {};
  }
  if (!max_id_query->execute() || !max_id_query->has_row()) {
    spdlog::error("[firmware_table] Fail to execute query to get the last added firmware ID");
    return {};
  }
  // Callers take turns, so the highest id is that of the row just inserted.
  return max_id_query->get_uint32(0);
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
    auto const result = associate_model(firmware_id, model);
    insert_association_query->reset();
    if (result != success) {
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
  insert_association_query->bind_uint32(0, firmware_id);
  insert_association_query->bind_int32(1, model_id);
  if (!insert_association_query->execute()) {
    spdlog::error("[firmware_table] Failed to add association between firmware with id {} and model {}: {}",
                  firmware_id, model, insert_association_query->last_error());
    return association_error;
  }
  return success;
}

bool firmware_table::update_stored_firmware_info(unsigned int id, std::string const& version,
                                                 std::string const& path, unsigned long size,
                                                 std::string const& hash) {
  if (!update_firmware_query) {
    return false;
  }
  update_firmware_query->bind_text(0, version);
  update_firmware_query->bind_text(1, path);
  update_firmware_query->bind_uint64(2, size);
  update_firmware_query->bind_text(3, hash);
  update_firmware_query->bind_uint32(4, id);
  auto const updated = update_firmware_query->execute();
  if (!updated) {
    spdlog::error("[firmware_table] Failed to update firmware with id {}", id);
  }
  update_firmware_query->reset();
  return updated;
}

std::optional<station_firmware_info> firmware_table::get_firmware(unsigned int id) {
  std::optional<station_firmware_info> firmware;
  if (!select_by_id_query) {
    return firmware;
  }
  select_by_id_query->bind_uint32(0, id);
  if (select_by_id_query->execute() && select_by_id_query->has_row()) {
    firmware = firmware_info_from_query(*select_by_id_query);
    firmware->models = models_associated_to_firmware(id);
  } else {
    spdlog::error("[firmware_table] Failed to get firmware with id: {}", id);
  }
  select_by_id_query->reset();
  return firmware;
}

std::optional<std::vector<station_firmware_info>> firmware_table::get_all_firmwares() {
  std::optional<std::vector<station_firmware_info>> firmwares;
  if (!select_all_query) {
    return firmwares;
  }
  if (select_all_query->execute()) {
    firmwares = fetch_all(*select_all_query);
  } else {
    spdlog::error("[firmware_table] Failed to get all firmware");
  }
  select_all_query->reset();
  return firmwares;
}

std::optional<std::vector<station_firmware_info>> firmware_table::get_firmware_from_model(
    std::string const& model) {
  std::optional<std::vector<station_firmware_info>> firmwares;
  auto model_id = -1;
  if (!firmwares_of_model_query || !known_models.get_model_id(model, model_id) || model_id < 1) {
    return firmwares;
  }
  firmwares_of_model_query->bind_text(0, model);
  if (firmwares_of_model_query->execute()) {
    firmwares = fetch_all(*firmwares_of_model_query);
  } else {
    spdlog::error("[firmware_table] Failed to get associated firmwares with model : {}", model);
  }
  firmwares_of_model_query->reset();
  return firmwares;
}

std::vector<station_firmware_info> firmware_table::fetch_all(mura_common::IQuery& query) {
  auto firmwares = mura_common::fetchRows(query, firmware_info_from_query);
  for (auto& firmware : firmwares) {
    firmware.models = models_associated_to_firmware(firmware.id);
  }
  return firmwares;
}

std::vector<std::string> firmware_table::models_associated_to_firmware(unsigned int id) {
  std::vector<std::string> models;
  if (!models_of_firmware_query) {
    return models;
  }
  models_of_firmware_query->bind_uint32(0, id);
  if (models_of_firmware_query->execute() && models_of_firmware_query->has_row()) {
    models = mura_common::fetchRows(*models_of_firmware_query, name_of_row);
  } else {
    // No model at all is an error as well: a firmware without one can never be offered to a station.
    spdlog::error("[firmware_table] Failed to get associated models with firmware id : {}", id);
  }
  models_of_firmware_query->reset();
  return models;
}

std::uint32_t firmware_table::nb_stored_firmware() {
  if (!count_query) {
    return failure;
  }
  auto const count = fetch_count_and_reset(*count_query);
  if (!count) {
    spdlog::error("[firmware_table] Failed to execute query to get the number of stored software");
  }
  return count.value_or(failure);
}

std::uint32_t firmware_table::nb_stored_firmware_for_model(std::string const& model) {
  if (!count_for_model_query) {
    return failure;
  }
  count_for_model_query->bind_text(0, model);
  auto const count = fetch_count_and_reset(*count_for_model_query);
  if (!count) {
    spdlog::error("[firmware_table] Failed to execute query to get the numer of stored software");
  }
  return count.value_or(failure);
}

bool firmware_table::remove_firmware(unsigned int id) {
  if (!delete_by_id_query) {
    return false;
  }
  delete_by_id_query->bind_uint32(0, id);
  auto const removed = delete_by_id_query->execute();
  if (!removed) {
    spdlog::error("[firmware_table] Failed to delete firmware with id: {}", id);
  }
  delete_by_id_query->reset();
  return removed;
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
