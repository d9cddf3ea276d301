#pragma once

#include <functional>
#include <memory>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>

#include "http_exchange.h"
#include "uploads/finished_upload.h"
#include "uploads/spool.h"
#include "uploads/token_store.h"
#include "uploads/upload_options.h"

namespace tavi::site::uploads {

/// What every upload of a server shares.
struct upload_services {
  /// Nothing is open and no token is made yet. @param options  see `upload_options`
  explicit upload_services(upload_options const& options)
      : limits(options.upload),
        tokens(options.tokens),
        files(options.spool_folder, options.spool_budget_bytes) {}

  upload_limits limits;              ///< see there
  token_store tokens;                ///< with which one may upload
  spool files;                       ///< where uploads are received
  boost::asio::thread_pool disk{1};  ///< waits for the disk; joined before the loop ends
  bool is_closing = false;           ///< nothing more is given to `disk`
  std::function<void(finished_upload const&)> on_finished;  ///< the file stands in the spool; on the loop
};

/// Answers one request below "/upload/": checks its token, receives the file, makes it durable, reports it.
///
/// An upload that fails leaves no file, and its token can be used again.
/// @param exchange  outlives the coroutine
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> receive_upload(http::http_exchange& exchange,
                                            std::shared_ptr<upload_services> services);

}  // namespace tavi::site::uploads
