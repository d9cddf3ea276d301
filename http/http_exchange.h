#pragma once

#include <functional>
#include <string>
#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>

namespace tavi::http {

/// A request without its body.
using request_header = boost::beast::http::request_header<>;

/// A connection on which the header of a request has been read, and nothing of its body.
///
/// Lives on the site's event loop: one thread runs every coroutine of the site, so none of them takes a lock.
/// The stream has no expiry set when a route receives it, and the parser has no body limit.
struct http_exchange {
  /// @param connected  the connection  @param read_ahead  bytes of it that are read already
  /// @param peer_name  address and port, for logs
  http_exchange(boost::beast::tcp_stream connected, boost::beast::flat_buffer read_ahead,
                std::string peer_name)
      : stream(std::move(connected)), buffer(std::move(read_ahead)), peer(std::move(peer_name)) {}

  boost::beast::tcp_stream stream;   ///< the connection
  boost::beast::flat_buffer buffer;  ///< bytes read but not parsed yet
  boost::beast::http::request_parser<boost::beast::http::buffer_body>
      parser;        ///< header complete, body not begun
  std::string peer;  ///< address and port, for logs
};

/// Takes an exchange over, answers it and decides about the connection: when the route returns true the
/// listener reads the next request from it, when false it is closed (or was moved away, as a WebSocket is).
/// A route that returns true has read the body of the request to its end.
using http_route = std::function<boost::asio::awaitable<bool>(http_exchange& exchange)>;

}  // namespace tavi::http
