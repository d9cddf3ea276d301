#include "sub_webserver_service_handler.h"

#include <chrono>

#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"
#include "fw_storage_mgr.h"
#include "mura_common/text.h"

namespace tavi::stations_maintenance {

namespace {

/// The name as the uploader gave it, or else one made of the kind of file and the local time.
std::string name_or(std::string const& file_name, char const* kind) {
  if (!file_name.empty()) {
    return file_name;
  }
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
  return kind + ("_" + mura_common::to_local_iso8601(seconds));
}

}  // namespace

sub_webserver_service_handler::sub_webserver_service_handler(diagnostic_manager& diagnostics,
                                                             fw_storage_mgr& firmware)
    : diagnostic_reports(diagnostics), firmware_store(firmware) {
}

void sub_webserver_service_handler::on_file_uploaded(std::string const& token, std::string const& file_name,
                                                     std::string const& file_path) {
  if (file_name.empty()) {
    spdlog::info("File uploaded on tavi without file name");
  } else {
    spdlog::info("File {} uploaded on tavi", file_name);
  }
  if (diagnostic_reports.is_my_token(token)) {
    auto const name = name_or(file_name, "Diagnostics");
    spdlog::info("Diagnostic {} uploaded on tavi on {}", name, file_path);
    diagnostic_reports.save_file(token, name, file_path);
  } else if (firmware_store.is_my_token(token)) {
    auto const name = name_or(file_name, "Firmware");
    spdlog::info("Firmware {} uploaded on tavi on {}", name, file_path);
    firmware_store.on_file_uploaded(token, name, file_path);
  }
}

}  // namespace tavi::stations_maintenance
