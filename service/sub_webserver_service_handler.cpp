#include "sub_webserver_service_handler.h"

#include <spdlog/spdlog.h>

#include <chrono>

#include "diagnostic_manager.h"
#include "mura_common/text.h"

namespace tavi::stations_maintenance {

namespace {

std::string local_time_text() {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return mura_common::to_local_iso8601(std::chrono::duration_cast<std::chrono::seconds>(now).count());
}

}  // namespace

sub_webserver_service_handler::sub_webserver_service_handler(diagnostic_manager& diagnostics)
    : diagnostic_reports(diagnostics) {
}

void sub_webserver_service_handler::on_file_uploaded(std::string const& token, std::string const& file_name,
                                                     std::string const& file_path) {
  if (file_name.empty()) {
    spdlog::info("File uploaded on tavi without file name");
  } else {
    spdlog::info("File {} uploaded on tavi", file_name);
  }
  if (diagnostic_reports.is_my_token(token)) {
    auto const name = file_name.empty() ? "Diagnostics_" + local_time_text() : file_name;
    spdlog::info("Diagnostic {} uploaded on tavi on {}", name, file_path);
    diagnostic_reports.save_file(token, name, file_path);
  }
}

}  // namespace tavi::stations_maintenance
