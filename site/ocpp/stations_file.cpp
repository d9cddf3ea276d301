#include "ocpp/stations_file.h"

#include <limits>
#include <set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ocpp/handshake.h"

namespace tavi::site::ocpp {

namespace {

using nlohmann::json;

/// The number under a key, when it is there and lies between 1 and `largest`.
template <typename T>
bool read_number(json const& object, char const* key, T& value) {
  auto const found = object.find(key);
  if (found == object.end() || !found->is_number_unsigned()) {
    return false;
  }
  auto const number = found->get<std::uint64_t>();
  if (number < 1 || number > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
    return false;
  }
  value = static_cast<T>(number);
  return true;
}

bool read_text(json const& object, char const* key, std::string& value) {
  auto const found = object.find(key);
  if (found == object.end() || !found->is_string()) {
    return false;
  }
  value = found->get<std::string>();
  return true;
}

bool read_station(json const& entry, stored_station& station) {
  return entry.is_object() && read_number(entry, "id", station.id) &&
         read_text(entry, "identity", station.identity) && is_identity(station.identity) &&
         read_text(entry, "vendor", station.vendor) && read_text(entry, "model", station.model);
}

std::string to_text(json const& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::optional<stations_file> parse_stations(std::string_view text, std::string& error) {
  auto const content = json::parse(text, nullptr, false);
  stations_file read;
  if (content.is_discarded() || !content.is_object() || !content.contains("stations") ||
      !content["stations"].is_array()) {
    error = "it is no JSON object with a list \"stations\"";
    return std::nullopt;
  }
  if (!read_number(content, "next_station", read.next_station) ||
      !read_number(content, "next_transaction", read.next_transaction)) {
    error = "\"next_station\" or \"next_transaction\" is no number from 1";
    return std::nullopt;
  }
  std::set<std::string> identities;
  for (auto const& entry : content["stations"]) {
    stored_station station;
    if (!read_station(entry, station)) {
      error = fmt::format("station entry {} lacks a part or holds a wrong one", read.stations.size() + 1);
      return std::nullopt;
    }
    bool const is_ascending = read.stations.empty() || station.id > read.stations.back().id;
    if (!is_ascending || station.id >= read.next_station || !identities.insert(station.identity).second) {
      error = fmt::format("station {} is out of order or named twice", station.id);
      return std::nullopt;
    }
    read.stations.push_back(std::move(station));
  }
  return read;
}

std::string format_stations(stations_file const& content) {
  auto text = fmt::format("{{\"next_station\": {}, \"next_transaction\": {}, \"stations\": [",
                          content.next_station, content.next_transaction);
  for (auto const& station : content.stations) {
    text += &station == &content.stations.front() ? "\n" : ",\n";
    text += to_text({{"id", station.id},
                     {"identity", station.identity},
                     {"vendor", station.vendor},
                     {"model", station.model}});
  }
  return text + "\n]}\n";
}

}  // namespace tavi::site::ocpp
