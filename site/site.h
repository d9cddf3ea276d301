#pragma once

#include <memory>
#include <string>

#include "site_options.h"

namespace tavi::site {

/// A whole site: the OCPP endpoint, the upload server and the firmware server on one port, and the
/// controller's OCPP, web-server token, network and logger services over IPC.
///
/// States: made; running between a successful `start` and `stop`; stopped for good. All of the site that
/// deals with stations, uploads and firmware runs on one thread of its own. Keeps everything in the state
/// folder: stations.json, event_log/, spool/ and site.lock. The methods are called by one thread.
class site {
 public:
  /// Only stores its argument. @param options  see `site_options`
  explicit site(site_options options);
  /// Stops a running site.
  ~site();
  site(site const&) = delete;
  site& operator=(site const&) = delete;

  /// Starts everything, in an order in which nobody meets a service that is not ready. Once.
  /// @return false, with a line in the log that says what failed, when the state folder cannot be written or
  ///         is used by another site, what is kept in it cannot be read, an IPC endpoint or the port cannot
  ///         be had, or the advertised address is none; nothing runs then
  [[nodiscard]] bool start();

  /// Says goodbye to the stations, ends every request and waits until nothing runs any more.
  void stop();

  /// Address and port that the site listens on, as in a URL; empty unless running.
  [[nodiscard]] std::string endpoint() const;

  /// The port that the site listens on; 0 unless running.
  [[nodiscard]] std::uint16_t port() const;

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site
