#include "text/record_names.h"

#include <array>
#include <utility>

namespace tavi::ctl {

namespace {

using stations::cs_request_status;
using stations::station_diagnostics_status;
using stations_maintenance::diagnostic_report_type;
using stations_maintenance::station_firmware_status;

template <typename Value, std::size_t Count>
std::string find_name(std::array<std::pair<Value, char const*>, Count> const& names, Value value) {
  for (auto const& [named, name] : names) {
    if (named == value) {
      return name;
    }
  }
  return "unknown";
}

constexpr std::array<std::pair<diagnostic_report_type, char const*>, 2> report_types = {{
    {diagnostic_report_type::periodic, "periodic"},
    {diagnostic_report_type::manual, "manual"},
}};

constexpr std::array<std::pair<station_firmware_status, char const*>, 6> firmware_statuses = {{
    {station_firmware_status::none, "none"},
    {station_firmware_status::available, "available"},
    {station_firmware_status::pending_upload, "pending_upload"},
    {station_firmware_status::being_processed, "being_processed"},
    {station_firmware_status::without_version, "without_version"},
    {station_firmware_status::failed, "failed"},
}};

constexpr std::array<std::pair<station_diagnostics_status, char const*>, 4> diagnostics_statuses = {{
    {station_diagnostics_status::idle, "idle"},
    {station_diagnostics_status::uploaded, "uploaded"},
    {station_diagnostics_status::upload_failed, "upload_failed"},
    {station_diagnostics_status::uploading, "uploading"},
}};

constexpr std::array<std::pair<cs_request_status, char const*>, 3> request_statuses = {{
    {cs_request_status::accepted, "accepted"},
    {cs_request_status::rejected, "rejected"},
    {cs_request_status::timed_out, "timed_out"},
}};

}  // namespace

std::string name_of(diagnostic_report_type type) {
  return find_name(report_types, type);
}

std::optional<diagnostic_report_type> find_report_type(std::string_view name) {
  for (auto const& [type, known] : report_types) {
    if (name == known) {
      return type;
    }
  }
  return std::nullopt;
}

std::string name_of(station_firmware_status status) {
  return find_name(firmware_statuses, status);
}

std::string name_of(station_diagnostics_status status) {
  return find_name(diagnostics_statuses, status);
}

std::string name_of(cs_request_status status) {
  return find_name(request_statuses, status);
}

}  // namespace tavi::ctl
