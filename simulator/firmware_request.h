#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "date_time.h"
#include "request_fields.h"

namespace tavi::simulator {

/// What an UpdateFirmware call asks for.
struct firmware_request {
  std::string location;                     ///< where to fetch from, not checked yet
  ocpp_wire::date_time retrieve_at;         ///< not to be fetched before
  unsigned int retries = 3;                 ///< further tries after a failed first one, 0 to 100
  std::chrono::seconds retry_interval{10};  ///< between two tries, 0 to one day
};

/// Reads the payload of UpdateFirmware. Pure.
/// @param payload  an object
/// @return the request, with retries and interval cut to their ranges; a fault when `location` or
/// `retrieveDate` is missing or no text, when the date is none, or when a number is none or negative
[[nodiscard]] std::variant<firmware_request, ocpp_wire::refusal> parse_firmware_request(
    nlohmann::json const& payload);

/// The version that a station calls its new firmware, which the file itself does not tell.
///
/// Pure. Of the file name that the path ends with, with its extensions (".bin", ".tar.gz") taken off and
/// split at "_", "-" and blanks, the last part that looks like "2.1.0" or "v2.1.0" counts. Without such a
/// part it is the whole name without its extensions; for a name without extension, which may be a token as
/// well, it is "fw-" with the first 8 digits of the hash.
/// @param path  of the location  @param hash  of the file, in hexadecimal
/// @return 1 to 50 printable ASCII characters
[[nodiscard]] std::string make_firmware_version(std::string_view path, std::string_view hash);

}  // namespace tavi::simulator
