#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "http_listener.h"
#include "uploads/finished_upload.h"
#include "uploads/upload_options.h"

namespace tavi::site::uploads {

/// Takes files of stations under "/upload/" and tells their owners.
///
/// An upload needs a token that was made before. Its file is announced at once and again and again until its
/// owner has taken it out of the spool, or its time is over; then it is removed. Finished files survive a
/// restart, unused tokens do not. Lives on the event loop, `make_token` apart.
class upload_server {
 public:
  /// Tells that a file stands in the spool; called on the event loop, several times for the same file.
  using announcement = std::function<void(finished_upload const& upload)>;

  /// @param loop      the site's event loop; outlives the server, and runs no more or is the current thread
  ///                  when the server is destroyed
  /// @param options   see `upload_options`
  /// @param announce  see `announcement`; throws nothing
  upload_server(boost::asio::io_context& loop, upload_options const& options, announcement announce);
  ~upload_server();
  upload_server(upload_server const&) = delete;
  upload_server& operator=(upload_server const&) = delete;

  /// Prepares the spool and announces what it still holds.
  /// @return false, with a line in the log that names the folder, when the spool cannot be used
  [[nodiscard]] bool start();

  /// Adds the route "/upload/". Uploads that are going on when the server is destroyed keep what they need.
  void add_to(http::http_listener& listener);

  /// Makes a token. May be called from any thread.
  /// @param owner  who will take the uploaded file; 1 to 256 bytes
  /// @return empty, with a line in the log, when none can be made
  [[nodiscard]] std::optional<std::string> make_token(std::string const& owner);

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::site::uploads
