#pragma once

#include <memory>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>

#include "firmware/delivery_slots.h"
#include "firmware/delivery_tokens.h"
#include "firmware/firmware_options.h"
#include "http_exchange.h"

namespace tavi::site::firmware {

/// What every delivery of a server shares.
struct firmware_services {
  /// Nothing is open and no token is made yet. @param options  see `firmware_options`
  explicit firmware_services(firmware_options const& options)
      : times(options.times), tokens(options.tokens), slots(options.counts) {}

  delivery_times times;              ///< see there
  delivery_tokens tokens;            ///< with which one may fetch
  delivery_slots slots;              ///< how many may go on
  boost::asio::thread_pool disk{1};  ///< waits for the disk; joined before the loop ends
  bool is_closing = false;           ///< nothing more is given to `disk`
};

/// Answers one request below "/firmware/": checks its token and sends what it asks for of the file, piece by
/// piece. While too many deliveries are going on, 429 for those of its token and 503 for all, and the end of
/// the connection.
///
/// Sends bytes of one state of the file only: when the file changes meanwhile, or the peer takes nothing for
/// too long, the connection is reset, so that nobody takes the part for the whole.
/// @param exchange  outlives the coroutine
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> deliver_firmware(http::http_exchange& exchange,
                                              std::shared_ptr<firmware_services> services);

}  // namespace tavi::site::firmware
