#pragma once

#include <atomic>

#include "mura_common/program_signals.h"
#include "stations_maintenance/stations_maintenance_service.h"
#include "tavi/logger/req_resp_logger_service.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

/// The service with the clients that it works with, run until a signal ends it.
class host {
 public:
  /// The exit code of a command line that is not understood.
  static constexpr int wrong_usage = 2;

  /// Runs the service until SIGINT or SIGTERM; a second one of these ends the process at once. SIGHUP asks to
  /// read again what may be read again, which is nothing yet: it has a line in the log.
  ///
  /// A signal that comes before the service is ready ends the process at once too, which is safe because
  /// every file is written so that a crash cannot harm it.
  /// @param argc, argv  options of the service, see `mura_common::service::service::init`
  /// @return the exit code: 0 after a clean stop, `wrong_usage`, or 1 after any other failure; the step that
  ///         failed has been logged in one line
  [[nodiscard]] int run(int argc, char const** argv);

 private:
  [[nodiscard]] bool start(int argc, char const** argv);
  void on_end_signal(int number);

  std::atomic<bool> is_ready = false;
  bool is_stopping = false;  ///< belongs to the thread of the signals
  // Before whatever starts a thread.
  mura_common::program_signals signals{mura_common::hangup_meaning::go_on,
                                       [this](int number) { on_end_signal(number); }};
  tavi::logger::req_resp_logger_service logger;
  tavi::ocpp1_6::req_resp_ocpp_1_6_service ocpp;
  tavi::webserver_token::req_resp_webserver_token_service tokens;
  tavi::network::req_resp_network_service network;
  stations_maintenance_service service{logger, ocpp, tokens, network};
};

}  // namespace tavi::stations_maintenance
