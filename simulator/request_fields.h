#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "ocpp_message.h"

namespace tavi::simulator {

/// Reads a text that has to be there. Pure. @param payload  an object  @param key  of the text
/// @param value  receives it; unchanged when there is a fault
[[nodiscard]] std::optional<ocpp_wire::refusal> read_text(nlohmann::json const& payload, char const* key,
                                                          std::string& value);

/// Reads "retries" and "retryInterval", which may be missing: the values then stay as they are. Pure.
/// @param payload   an object
/// @param retries   receives how many further tries there may be, cut to 100
/// @param interval  receives the time between two tries, cut to one day
/// @return a fault when a number is none or negative
[[nodiscard]] std::optional<ocpp_wire::refusal> read_retries(nlohmann::json const& payload,
                                                             unsigned int& retries,
                                                             std::chrono::seconds& interval);

/// Whether another try may end differently: true for status 408, 409, 425, 429 and 500 to 599, which speak of
/// a moment; false for every other refusal, which speaks of the location.
[[nodiscard]] bool is_worth_retrying(unsigned int http_status);

}  // namespace tavi::simulator
