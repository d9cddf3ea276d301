#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "announced_uploads.h"
#include "stations_maintenance/result_codes.h"

namespace tavi::webserver_token {
class i_req_resp_webserver_token_service;
}

namespace tavi::stations_maintenance {

class firmware_table;

/// Decides whether a firmware may be announced, and announces it. Made for one request.
class firmware_announcement {
 public:
  /// Stored firmwares at which no further one can be announced.
  struct limits {
    unsigned int stored;      ///< on the site
    unsigned int by_station;  ///< for one station model
  };
  firmware_announcement(firmware_table& firmwares, announced_uploads::view awaited, limits allowed);

  /// See `fw_storage_mgr::check_not_already_exists_and_max_not_reached`.
  [[nodiscard]] store_firmware_result check(std::optional<std::string> const& version,
                                            std::vector<std::string> const& models) const;
  /// See `fw_storage_mgr::get_max_number_reached`.
  [[nodiscard]] bool get_max_number_reached(std::vector<std::string> const& models, bool& reached) const;
  /// See `fw_storage_mgr::on_request_add_firmware`.
  /// @param tokens   makes the upload's token
  /// @param timeout  from now to the arrival of the file
  store_firmware_result announce(tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                                 std::chrono::milliseconds timeout, std::optional<std::string> const& version,
                                 std::vector<std::string> const& models, std::string& uri,
                                 unsigned int& firmware_id);

 private:
  void take_back(unsigned int firmware_id);

  firmware_table& firmware_db;
  announced_uploads::view uploads;
  limits most;
};

}  // namespace tavi::stations_maintenance
