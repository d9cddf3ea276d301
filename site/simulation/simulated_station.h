#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "simulation/station_options.h"

namespace tavi::site {

/// What a simulated station reports, on the event loop's thread; an empty function is not called.
struct station_events {
  std::function<void()> on_connected;                     ///< WebSocket open
  std::function<void()> on_booted;                        ///< accepted
  std::function<void()> on_disconnected;                  ///< WebSocket lost or closed
  std::function<void(std::string const& file)> on_asked;  ///< for diagnostics
  std::function<void(std::string const& file, std::uint64_t bytes)> on_uploaded;  ///< taken by the server
  std::function<void(std::string const& reason)> on_upload_failed;                ///< for good
};

/// How often things have happened to a simulated station since it was made.
struct station_counters {
  unsigned int connected = 0;      ///< WebSockets opened
  unsigned int booted = 0;         ///< BootNotifications accepted
  unsigned int disconnected = 0;   ///< WebSockets lost or closed
  unsigned int uploaded = 0;       ///< archives taken by a server
  unsigned int upload_failed = 0;  ///< archives given up
};

/// A charging station that speaks OCPP 1.6-J over a WebSocket and uploads its diagnostics over HTTP.
///
/// Connects, boots, announces its connectors, sends heartbeats, and connects again with growing pauses
/// whenever the connection is lost or cannot be made. Answers GetDiagnostics with a file name, makes the
/// archive and uploads it; while that goes on, a further GetDiagnostics is answered with the same name. Every
/// other call is refused as NotImplemented. It has no charging, no transactions, and it fetches no firmware.
class simulated_station {
 public:
  /// @param loop      outlives the station; a single thread runs it
  /// @param settings  checked by `start`
  /// @param events    see `station_events`
  simulated_station(boost::asio::io_context& loop, station_options settings, station_events events = {});

  /// Stops, without waiting for the goodbye; no event follows. On the loop's thread, or when nobody runs it.
  ~simulated_station();
  simulated_station(simulated_station const&) = delete;
  simulated_station& operator=(simulated_station const&) = delete;

  /// Makes the work folder and begins to connect as soon as the loop runs. Once only.
  /// @return false, with one line in the log, when URL or identity cannot be used, when the work folder or
  /// the log file in it cannot be made, or when it was started before
  [[nodiscard]] bool start();

  /// Ends the connection in an orderly way and breaks an upload off; the loop runs out of work then. From any
  /// thread, before `start` or repeatedly too.
  void stop();

  /// How often things have happened. From any thread.
  [[nodiscard]] station_counters counters() const;

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::site
