#pragma once

#include <memory>

#include <boost/asio/io_context.hpp>

#include "station_options.h"

namespace tavi::simulator {

/// A charging station that speaks OCPP 1.6-J over a WebSocket, uploads its diagnostics and fetches its
/// firmware over HTTP.
///
/// Connects, boots, announces its connectors, sends heartbeats, and connects again with growing pauses
/// whenever the connection is lost or cannot be made. Answers GetDiagnostics with a file name, makes the
/// archive and uploads it; while that goes on, a further GetDiagnostics is answered with the same name.
/// Answers UpdateFirmware, fetches the file when its time has come, reports each step and boots anew with the
/// version that `make_firmware_version` gives it; until the file is there, a further UpdateFirmware takes the
/// place of the first, and from then on until the end it is refused. Every other call is refused as
/// NotImplemented. It has no charging and no transactions.
class simulated_station {
 public:
  /// @param loop      outlives the station; a single thread runs it
  /// @param settings  checked by `start`
  simulated_station(boost::asio::io_context& loop, station_options settings);

  /// Stops, without waiting for the goodbye. On the loop's thread, or when nobody runs it.
  ~simulated_station();
  simulated_station(simulated_station const&) = delete;
  simulated_station& operator=(simulated_station const&) = delete;

  /// Makes the work folder and begins to connect as soon as the loop runs. Once only.
  /// @return false, with one line in the log, when URL or identity cannot be used, when the work folder or
  /// the log file in it cannot be made, or when it was started before
  [[nodiscard]] bool start();

  /// Ends the connection in an orderly way and breaks an upload or an update off; the loop runs out of work
  /// then. From any thread, before `start` or repeatedly too.
  void stop();

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::simulator
