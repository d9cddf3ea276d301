#pragma once

#include <string>

#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {

class diagnostic_manager;
class fw_storage_mgr;

/// Hands an uploaded file to whoever expects it, which its token tells; other uploads are left alone.
///
/// A token that is expected as a report is never offered to the firmware store.
class sub_webserver_service_handler : public tavi::webserver_token::i_sub_webserver_token_service_handler {
 public:
  /// Only stores the references.
  /// @param diagnostics, firmware  must outlive the handler's use, not its construction
  sub_webserver_service_handler(diagnostic_manager& diagnostics, fw_storage_mgr& firmware);

  /// A name that the uploader left out is made of the kind of file and the local time.
  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& file_path) override;

 private:
  diagnostic_manager& diagnostic_reports;
  fw_storage_mgr& firmware_store;
};

}  // namespace tavi::stations_maintenance
