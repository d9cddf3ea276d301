#include "uploads/spool_record.h"

#include <nlohmann/json.hpp>

namespace tavi::site {
namespace {

using nlohmann::json;

std::optional<std::string> find_text(json const& object, char const* key) {
  auto const place = object.find(key);
  if (place == object.end() || !place->is_string()) {
    return std::nullopt;
  }
  return place->get<std::string>();
}

}  // namespace

std::string write_spool_record(spool_record const& record) {
  json const object{{"token", record.token},
                    {"owner", record.owner},
                    {"name", record.name},
                    {"expires_at", record.expires_at}};
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::optional<spool_record> read_spool_record(std::string_view text) {
  auto const object = json::parse(text, nullptr, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  auto const token = find_text(object, "token");
  auto const owner = find_text(object, "owner");
  auto const name = find_text(object, "name");
  auto const expires_at = object.find("expires_at");
  if (!token || token->empty() || !owner || !name || expires_at == object.end() ||
      !expires_at->is_number_integer()) {
    return std::nullopt;
  }
  return spool_record{*token, *owner, *name, expires_at->get<std::int64_t>()};
}

}  // namespace tavi::site
