#include <unordered_map>

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {

std::string const& diagnostic_report_type_helper::name_of(diagnostic_report_type type) {
  static std::unordered_map<diagnostic_report_type, std::string> const names{
      {diagnostic_report_type::periodic, "periodic"},
      {diagnostic_report_type::manual, "manual"},
  };
  static std::string const unknown = "unknown";
  auto const found = names.find(type);
  return found == names.end() ? unknown : found->second;
}

}  // namespace tavi::stations_maintenance
