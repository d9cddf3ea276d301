#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>

#include "mura_common/ipc_interface.h"

namespace tavi::stations_maintenance {

/// Why a report was made. The values are stored in the database and exchanged over IPC.
enum class diagnostic_report_type : std::int32_t {
  periodic = 0,  ///< asked for by the periodic generation
  manual = 1,    ///< asked for on request
};

/// Gives each type of report a name for log messages.
///
/// Defined here, so that whoever has the records can name them, whichever of the libraries he links.
class diagnostic_report_type_helper {
 public:
  /// "periodic" or "manual"; "unknown" for any other value.
  [[nodiscard]] static std::string const& name_of(diagnostic_report_type type) {
    static std::unordered_map<diagnostic_report_type, std::string> const names{
        {diagnostic_report_type::periodic, "periodic"},
        {diagnostic_report_type::manual, "manual"},
    };
    static std::string const unknown = "unknown";
    auto const found = names.find(type);
    return found == names.end() ? unknown : found->second;
  }
};

/// One stored report. Its path is not part of it: that follows from the other fields and the configuration.
struct diagnostic_report_info {
  std::uint32_t diagnostic_id = 0;      ///< number of the report, ascending in the order of reception
  std::uint32_t station_id = 0;         ///< the station that uploaded it
  std::string diagnostic_name;          ///< file name under which the station uploaded it
  std::int64_t timestamp_creation = 0;  ///< when it was received, in seconds since 1970-01-01T00:00:00Z
  diagnostic_report_type type = static_cast<diagnostic_report_type>(-1);  ///< -1 until filled
  std::uint32_t size = 0;                                                 ///< bytes; 0 when not filled

  bool operator==(diagnostic_report_info const&) const = default;
};

}  // namespace tavi::stations_maintenance

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations_maintenance::diagnostic_report_info> {
  using record = tavi::stations_maintenance::diagnostic_report_info;
  static constexpr std::tuple list{record_field{"diagnostic_id", &record::diagnostic_id},
                                   record_field{"station_id", &record::station_id},
                                   record_field{"diagnostic_name", &record::diagnostic_name},
                                   record_field{"timestamp_creation", &record::timestamp_creation},
                                   record_field{"type", &record::type},
                                   record_field{"size", &record::size}};
};
