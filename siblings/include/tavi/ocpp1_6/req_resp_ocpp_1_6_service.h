#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"

namespace tavi::ocpp1_6 {

/// Client of the OCPP 1.6 service over IPC.
class TAVI_SIBLINGS_EXPORT req_resp_ocpp_1_6_service : public i_req_resp_ocpp_1_6_service {
 public:
  /// Connects to nothing yet.
  /// @param patience  how long `init` waits for the service at most; the default is longer than a request to
  ///                  a station can keep the service from answering
  explicit req_resp_ocpp_1_6_service(std::chrono::milliseconds patience = std::chrono::seconds(25));
  ~req_resp_ocpp_1_6_service() override;

  [[nodiscard]] bool init() override;
  [[nodiscard]] std::optional<tavi::stations::charging_station> get_charging_station(
      unsigned int station_id) override;
  [[nodiscard]] std::vector<tavi::stations::charging_station> get_charging_stations() override;
  int request_diagnostics_upload(unsigned int station_id, std::string const& location,
                                 unsigned int& request) override;
  int request_firmware_update(unsigned int station_id, std::string const& path,
                              unsigned int& request) override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// What the OCPP 1.6 service itself implements.
class TAVI_SIBLINGS_EXPORT i_req_resp_ocpp_1_6_service_handler {
 public:
  virtual ~i_req_resp_ocpp_1_6_service_handler() = default;

  /// One station. @return empty when it is not known
  virtual std::optional<tavi::stations::charging_station> on_get_charging_station(
      unsigned int const& station_id) = 0;
  /// All stations, online or not.
  virtual std::vector<tavi::stations::charging_station> on_get_charging_stations() = 0;
  /// See `i_req_resp_ocpp_1_6_service::request_diagnostics_upload`.
  virtual int on_request_diagnostics_upload(unsigned int const& station_id, std::string const& location,
                                            unsigned int& request) = 0;
  /// See `i_req_resp_ocpp_1_6_service::request_firmware_update`.
  virtual int on_request_firmware_update(unsigned int const& station_id, std::string const& path,
                                         unsigned int& request) = 0;
};

/// IPC server of the OCPP 1.6 service.
class TAVI_SIBLINGS_EXPORT req_resp_ocpp_1_6_service_handler : public mura_common::request_server {
 public:
  /// @param handler  answers the requests, on the server's thread; must outlive the server
  explicit req_resp_ocpp_1_6_service_handler(i_req_resp_ocpp_1_6_service_handler& handler);
};

}  // namespace tavi::ocpp1_6

/// The names by which the operations travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::ocpp1_6::i_req_resp_ocpp_1_6_service_handler> {
  using handler = tavi::ocpp1_6::i_req_resp_ocpp_1_6_service_handler;
  static constexpr char const* service = "ocpp_1_6_service";
  static constexpr std::tuple operations{
      ipc_operation<&handler::on_get_charging_station>{"get_charging_station"},
      ipc_operation<&handler::on_get_charging_stations>{"get_charging_stations"},
      ipc_operation<&handler::on_request_diagnostics_upload>{"request_diagnostics_upload"},
      ipc_operation<&handler::on_request_firmware_update>{"request_firmware_update"}};
};
