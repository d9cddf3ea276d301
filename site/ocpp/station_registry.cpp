#include "ocpp/station_registry.h"

#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/file.h"

namespace tavi::site::ocpp {

namespace {

/// Numbers are set aside in blocks, so that one transaction in so many costs a write to the disk.
constexpr std::int32_t transaction_block = 1000;

}  // namespace

station_registry::station_registry(std::filesystem::path file, std::size_t most)
    : path(std::move(file)), limit(most) {
}

bool station_registry::load() {
  std::error_code error;
  auto const type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::not_found) {
    return true;
  }
  std::ifstream stream;
  if (type == std::filesystem::file_type::regular) {
    stream.open(path, std::ios::binary);
  }
  std::string const text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad()) {
    spdlog::error("[station_registry] {} cannot be read", path.string());
    return false;
  }
  std::string defect;
  auto const content = parse_stations(text, defect);
  if (!content.has_value()) {
    spdlog::error("[station_registry] {} is refused: {}", path.string(), defect);
    return false;
  }
  next_station = content->next_station;
  next_transaction = reserved_transaction = content->next_transaction;
  for (auto const& stored : content->stations) {
    numbers[stored.identity] = stored.id;
    auto& station = stations[stored.id];
    station.id = stored.id;
    station.identity = stored.identity;
    station.vendor = stored.vendor;
    station.model = stored.model;
  }
  return true;
}

std::optional<unsigned int> station_registry::find(std::string const& identity) const {
  auto const found = numbers.find(identity);
  return found == numbers.end() ? std::nullopt : std::optional(found->second);
}

bool station_registry::has_room() const {
  return stations.size() < limit && next_station < std::numeric_limits<unsigned int>::max();
}

std::optional<unsigned int> station_registry::add(std::string const& identity) {
  if (!has_room()) {
    spdlog::error(
        "[station_registry] station {} is not taken in: the site has {} stations, at most {} are allowed",
        identity, stations.size(), limit);
    return std::nullopt;
  }
  auto const id = next_station;
  auto& station = stations[id];
  station.id = id;
  station.identity = identity;
  if (!save(id + 1, reserved_transaction)) {
    stations.erase(id);
    return std::nullopt;
  }
  numbers[identity] = id;
  next_station = id + 1;
  return id;
}

std::optional<tavi::stations::charging_station> station_registry::get(unsigned int id) const {
  auto const found = stations.find(id);
  return found == stations.end() ? std::nullopt : std::optional(found->second);
}

std::vector<tavi::stations::charging_station> station_registry::get_all() const {
  std::vector<tavi::stations::charging_station> all;
  all.reserve(stations.size());
  for (auto const& [id, station] : stations) {
    all.push_back(station);
  }
  return all;
}

void station_registry::set_model(unsigned int id, std::string const& vendor, std::string const& model) {
  auto& station = stations.at(id);
  is_changed = is_changed || station.vendor != vendor || station.model != model;
  station.vendor = vendor;
  station.model = model;
}

bool station_registry::has_changes() const {
  return is_changed;
}

bool station_registry::save_changes() {
  return !is_changed || save(next_station, reserved_transaction);
}

bool station_registry::set_diagnostics_status(unsigned int id,
                                              tavi::stations::station_diagnostics_status status) {
  return std::exchange(stations.at(id).diagnostics_status, status) != status;
}

void station_registry::set_connected(unsigned int id, bool is_connected) {
  stations.at(id).connected = is_connected;
}

std::optional<std::int32_t> station_registry::make_transaction_id() {
  if (next_transaction == reserved_transaction) {
    if (reserved_transaction > std::numeric_limits<std::int32_t>::max() - transaction_block) {
      spdlog::error("[station_registry] no transaction number is left after {}", next_transaction);
      return std::nullopt;
    }
    if (!save(next_station, reserved_transaction + transaction_block)) {
      return std::nullopt;
    }
    reserved_transaction += transaction_block;
  }
  return next_transaction++;
}

bool station_registry::save(unsigned int station, std::int32_t transaction) {
  stations_file content{station, transaction, {}};
  content.stations.reserve(stations.size());
  for (auto const& [id, known] : stations) {
    content.stations.push_back({id, known.identity, known.vendor, known.model});
  }
  std::error_code error;
  if (!mura_common::replace_file_durably(path, format_stations(content), error)) {
    spdlog::error("[station_registry] {} cannot be written: {}", path.string(), error.message());
    return false;
  }
  is_changed = false;
  return true;
}

}  // namespace tavi::site::ocpp
