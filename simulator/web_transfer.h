#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// What a transfer asks of a server, and who takes what comes. Everything is called on the event loop's thread.
struct web_request {
  std::vector<std::string> fields;            ///< of the header, such as "If-Range: \"a\""
  std::optional<std::uint64_t> upload_bytes;  ///< how much is sent by PUT; empty for a GET
  /// Fills the space with the next bytes to be sent; empty answer: none can be read, which breaks it off.
  std::function<std::optional<std::size_t>(char* space, std::size_t size)> on_sending;
  /// The header of the answer has come; false breaks the transfer off. May be left out.
  std::function<bool()> on_head;
  /// A piece of the answer's body; false breaks the transfer off. May be left out, then it is dropped.
  std::function<bool(std::string_view piece)> on_body;
};

/// A station's transfers to and from web servers, one after another, each on a connection of its own.
///
/// The library does them on the event loop, beside everything else there. Used on its thread.
class web_transfer {
 public:
  /// @param loop  runs the transfers, an io_context's  @param limits  their time limits
  web_transfer(boost::asio::any_io_executor const& loop, station_pace const& limits);
  ~web_transfer();
  web_transfer(web_transfer const&) = delete;
  web_transfer& operator=(web_transfer const&) = delete;

  /// One transfer. This object has to live until its end.
  /// @param server   address; its path is the whole target
  /// @param request  outlives the coroutine
  /// @return empty when all of it was sent and came; otherwise why it ended, which is not of interest when a
  ///         function of the request has broken it off
  [[nodiscard]] boost::asio::awaitable<std::string> run(web_location server, web_request const& request);

  /// Ends the transfer that runs, and every later one.
  void cancel();

  /// Whether `cancel` was called.
  [[nodiscard]] bool is_cancelled() const;

  /// The status of the answer; 0 as long as its header has not come whole.
  [[nodiscard]] unsigned int status() const;

  /// A field of the answer's header. @param name  in any case @return empty when there is none
  [[nodiscard]] std::string field(char const* name) const;

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::simulator
