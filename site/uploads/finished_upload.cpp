#include "uploads/finished_upload.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace tavi::site::uploads {
namespace {

using nlohmann::json;
using std::chrono::seconds;

constexpr std::int64_t longest_time = seconds(std::chrono::hours(24 * 366)).count();

std::optional<std::string> find_text(json const& object, char const* key) {
  auto const place = object.find(key);
  if (place == object.end() || !place->is_string()) {
    return std::nullopt;
  }
  return place->get<std::string>();
}

seconds find_time_left(std::int64_t expires_at, std::chrono::system_clock::time_point now) {
  auto const present = std::chrono::duration_cast<seconds>(now.time_since_epoch()).count();
  return seconds(expires_at <= present ? 0 : std::min(expires_at - present, longest_time));
}

}  // namespace

std::string write_sidecar(finished_upload const& upload, clock_reading const& now) {
  auto const expires_at = now.wall + std::chrono::ceil<seconds>(upload.expires_at - now.steady);
  json const object{{"token", upload.token},
                    {"owner", upload.owner},
                    {"name", upload.file_name},
                    {"expires_at", std::chrono::system_clock::to_time_t(expires_at)}};
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::optional<finished_upload> read_sidecar(std::string_view text, clock_reading const& now) {
  auto const object = json::parse(text, nullptr, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  auto const token = find_text(object, "token");
  auto const owner = find_text(object, "owner");
  auto const file_name = find_text(object, "name");
  auto const expires_at = object.find("expires_at");
  if (!token || token->empty() || !owner || !file_name || expires_at == object.end() ||
      !expires_at->is_number_integer()) {
    return std::nullopt;
  }
  finished_upload upload;
  upload.token = *token;
  upload.owner = *owner;
  upload.file_name = *file_name;
  upload.expires_at = now.steady + find_time_left(expires_at->get<std::int64_t>(), now.wall);
  return upload;
}

}  // namespace tavi::site::uploads
