#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "ocpp/station_events.h"
#include "ocpp/station_registry.h"
#include "ocpp_message.h"

namespace tavi::site::ocpp {

/// Answers what stations call, and notes and announces what they tell.
///
/// The site has no list of cards: every card is accepted. Belongs to the site's event loop.
class station_answers {
 public:
  /// Gives the time that stations set their clocks by.
  using clock = std::function<std::chrono::system_clock::time_point()>;

  /// Only stores its arguments, which outlive it.
  /// @param registry   gets what stations tell
  /// @param events     gets what others are to know
  /// @param heartbeat  interval at which a station is to send heartbeats, above 0
  /// @param now        see `clock`
  station_answers(station_registry& registry, station_events& events, std::chrono::seconds heartbeat,
                  clock now = std::chrono::system_clock::now);

  /// Answers one call.
  /// @param station_id  a known station
  /// @param request     as it came
  /// @return the frame to send: a result, or the error that `check_station_call` found
  [[nodiscard]] std::string answer(unsigned int station_id, ocpp_wire::call const& request);

 private:
  using result = std::variant<nlohmann::json, ocpp_wire::refusal>;
  using handler = result (station_answers::*)(unsigned int station_id, nlohmann::json const& payload);

  static handler handler_of(std::string const& action);
  result on_boot_notification(unsigned int station_id, nlohmann::json const& payload);
  result on_heartbeat(unsigned int station_id, nlohmann::json const& payload);
  result on_status_notification(unsigned int station_id, nlohmann::json const& payload);
  result on_authorize(unsigned int station_id, nlohmann::json const& payload);
  result on_start_transaction(unsigned int station_id, nlohmann::json const& payload);
  result on_stop_transaction(unsigned int station_id, nlohmann::json const& payload);
  result on_data_transfer(unsigned int station_id, nlohmann::json const& payload);
  result on_diagnostics_status(unsigned int station_id, nlohmann::json const& payload);
  result on_firmware_status(unsigned int station_id, nlohmann::json const& payload);
  result on_other(unsigned int station_id, nlohmann::json const& payload);
  void note_diagnostics_status(unsigned int station_id, tavi::stations::station_diagnostics_status status);

  station_registry& registry;
  station_events& events;
  std::chrono::seconds heartbeat;
  clock now;
};

}  // namespace tavi::site::ocpp
