#include <algorithm>
#include <iostream>

#include "stations_maintenance/req_resp_stations_maintenance_service.h"

int main() {
  using namespace tavi::stations_maintenance;
  req_resp_stations_maintenance_service client;
  auto const reports = client.get_diagnostic_reports();
  if (!reports.value || !*reports.value) {
    return 3;
  }
  auto const type = diagnostic_report_type::manual;
  auto const is_wanted = [&](auto const& report) { return report.type == type; };
  std::cout << diagnostic_report_type_helper::name_of(type) << ": "
            << std::ranges::count_if(**reports.value, is_wanted) << " reports\n";
}
