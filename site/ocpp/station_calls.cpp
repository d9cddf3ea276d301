#include "ocpp/station_calls.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <string_view>

#include "ocpp/payload_rules.h"

namespace tavi::site::ocpp {

using ocpp_wire::error_code;
using ocpp_wire::refusal;

namespace {

using std::string_view;

constexpr std::int64_t any_number = std::numeric_limits<std::int32_t>::min();
constexpr bool required = true;

constexpr field_rule text(string_view name, std::size_t most, bool is_required = false) {
  return {.name = name, .type = field_type::text, .is_required = is_required, .most = most};
}

constexpr field_rule integer(string_view name, std::int64_t least, bool is_required = false) {
  return {.name = name, .type = field_type::integer, .is_required = is_required, .least = least};
}

constexpr field_rule choice(string_view name, std::span<string_view const> choices,
                            bool is_required = false) {
  return {.name = name, .type = field_type::choice, .is_required = is_required, .choices = choices};
}

constexpr field_rule date_time(string_view name, bool is_required = false) {
  return {.name = name, .type = field_type::date_time, .is_required = is_required};
}

constexpr field_rule list(string_view name, std::span<field_rule const> fields, std::int64_t least,
                          bool is_required = false) {
  return {
      .name = name, .type = field_type::list, .is_required = is_required, .least = least, .fields = fields};
}

constexpr std::array<string_view, 16> charge_point_error_codes = {
    "ConnectorLockFailure", "EVCommunicationError", "GroundFailure",     "HighTemperature",
    "InternalError",        "LocalListConflict",    "NoError",           "OtherError",
    "OverCurrentFailure",   "OverVoltage",          "PowerMeterFailure", "PowerSwitchFailure",
    "ReaderFailure",        "ResetFailure",         "UnderVoltage",      "WeakSignal"};
constexpr std::array<string_view, 9> charge_point_statuses = {"Available",     "Preparing",   "Charging",
                                                              "SuspendedEVSE", "SuspendedEV", "Finishing",
                                                              "Reserved",      "Unavailable", "Faulted"};
constexpr std::array<string_view, 11> stop_reasons = {
    "DeAuthorized", "EmergencyStop", "EVDisconnected", "HardReset", "Local",        "Other",
    "PowerLoss",    "Reboot",        "Remote",         "SoftReset", "UnlockCommand"};
constexpr std::array<string_view, 4> diagnostics_statuses = {"Idle", "Uploaded", "UploadFailed", "Uploading"};
constexpr std::array<string_view, 7> firmware_statuses = {
    "Downloaded", "DownloadFailed", "Downloading", "Idle", "InstallationFailed", "Installing", "Installed"};

constexpr std::array boot_notification = {text("chargePointVendor", 20, required),
                                          text("chargePointModel", 20, required),
                                          text("chargePointSerialNumber", 25),
                                          text("chargeBoxSerialNumber", 25),
                                          text("firmwareVersion", 50),
                                          text("iccid", 20),
                                          text("imsi", 20),
                                          text("meterType", 25),
                                          text("meterSerialNumber", 25)};
constexpr std::array status_notification = {integer("connectorId", 0, required),
                                            choice("errorCode", charge_point_error_codes, required),
                                            choice("status", charge_point_statuses, required),
                                            text("info", 50),
                                            date_time("timestamp"),
                                            text("vendorId", 255),
                                            text("vendorErrorCode", 50)};
constexpr std::array sampled_value = {
    text("value", 0, required), text("context", 50),  text("format", 50), text("measurand", 50),
    text("phase", 50),          text("location", 50), text("unit", 50)};
constexpr std::array meter_value = {date_time("timestamp", required),
                                    list("sampledValue", sampled_value, 1, required)};
constexpr std::array authorize = {text("idTag", 20, required)};
constexpr std::array start_transaction = {integer("connectorId", 1, required), text("idTag", 20, required),
                                          integer("meterStart", any_number, required),
                                          date_time("timestamp", required),
                                          integer("reservationId", any_number)};
constexpr std::array stop_transaction = {integer("transactionId", any_number, required),
                                         integer("meterStop", any_number, required),
                                         date_time("timestamp", required),
                                         text("idTag", 20),
                                         choice("reason", stop_reasons),
                                         list("transactionData", meter_value, 0)};
constexpr std::array meter_values = {integer("connectorId", 0, required),
                                     integer("transactionId", any_number),
                                     list("meterValue", meter_value, 1, required)};
constexpr std::array data_transfer = {text("vendorId", 255, required), text("messageId", 50),
                                      text("data", 0)};
constexpr std::array diagnostics_status_notification = {choice("status", diagnostics_statuses, required)};
constexpr std::array firmware_status_notification = {choice("status", firmware_statuses, required)};
constexpr std::array get_diagnostics_answer = {text("fileName", 255)};

struct action_rule {
  string_view action;
  std::span<field_rule const> fields;
};

constexpr std::array taken_actions = {
    action_rule{"BootNotification", boot_notification},
    action_rule{"Heartbeat", {}},
    action_rule{"StatusNotification", status_notification},
    action_rule{"Authorize", authorize},
    action_rule{"StartTransaction", start_transaction},
    action_rule{"StopTransaction", stop_transaction},
    action_rule{"MeterValues", meter_values},
    action_rule{"DataTransfer", data_transfer},
    action_rule{"DiagnosticsStatusNotification", diagnostics_status_notification},
    action_rule{"FirmwareStatusNotification", firmware_status_notification}};

// The site sends some of these and offers none of them; the last four are of the security extension.
constexpr std::array<string_view, 22> other_known_actions = {"CancelReservation",
                                                             "ChangeAvailability",
                                                             "ChangeConfiguration",
                                                             "ClearCache",
                                                             "ClearChargingProfile",
                                                             "GetCompositeSchedule",
                                                             "GetConfiguration",
                                                             "GetDiagnostics",
                                                             "GetLocalListVersion",
                                                             "RemoteStartTransaction",
                                                             "RemoteStopTransaction",
                                                             "ReserveNow",
                                                             "Reset",
                                                             "SendLocalList",
                                                             "SetChargingProfile",
                                                             "TriggerMessage",
                                                             "UnlockConnector",
                                                             "UpdateFirmware",
                                                             "LogStatusNotification",
                                                             "SecurityEventNotification",
                                                             "SignCertificate",
                                                             "SignedFirmwareStatusNotification"};

}  // namespace

std::optional<refusal> check_station_call(std::string const& action, nlohmann::json const& payload) {
  auto const rule = std::find_if(taken_actions.begin(), taken_actions.end(),
                                 [&](action_rule const& taken) { return taken.action == action; });
  if (rule != taken_actions.end()) {
    return find_violation(payload, rule->fields);
  }
  if (std::find(other_known_actions.begin(), other_known_actions.end(), action) !=
      other_known_actions.end()) {
    return refusal{error_code::not_supported, "this site does not take the action from a station"};
  }
  return refusal{error_code::not_implemented, "OCPP 1.6 has no such action"};
}

tavi::stations::station_diagnostics_status to_diagnostics_status(std::string const& name) {
  using tavi::stations::station_diagnostics_status;
  if (name == "Uploaded") {
    return station_diagnostics_status::uploaded;
  }
  if (name == "UploadFailed") {
    return station_diagnostics_status::upload_failed;
  }
  return name == "Uploading" ? station_diagnostics_status::uploading : station_diagnostics_status::idle;
}

std::optional<std::string> read_diagnostics_file_name(nlohmann::json const& payload) {
  if (!payload.is_object() || find_violation(payload, get_diagnostics_answer).has_value()) {
    return std::nullopt;
  }
  auto const name = payload.find("fileName");
  return name == payload.end() || name->is_null() ? std::string() : name->get<std::string>();
}

}  // namespace tavi::site::ocpp
