#pragma once

/// The names under which the sibling services are found.
namespace tavi {

inline constexpr char const* logger_service_name = "logger_service";
inline constexpr char const* network_service_name = "network_service";
inline constexpr char const* ocpp_1_6_service_name = "ocpp_1_6_service";
inline constexpr char const* charging_stations_service_name = "charging_stations_service";
inline constexpr char const* webserver_token_service_name = "webserver_token_service";

}  // namespace tavi
