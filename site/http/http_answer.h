#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/beast/http/status.hpp>
#include <string>

#include "http/http_exchange.h"

namespace tavi::site {

/// A short answer in plain text.
struct http_answer {
  boost::beast::http::status status = boost::beast::http::status::ok;  ///< the code and its reason
  std::string text;                                                    ///< for people; one line
  std::string allow;                                                   ///< methods, with 405 only
};

/// Writes an answer. A peer that takes it too slowly loses its connection.
///
/// When the request is read to its end and allows it, the connection stays open. Otherwise it is closed so
/// that the peer sees the answer and no reset: sending ends, a bounded amount of what still comes is read and
/// forgotten, then the connection is closed.
/// @param exchange  outlives the coroutine  @param answer  outlives the coroutine
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> send_answer(http_exchange& exchange, http_answer const& answer);

/// Tells the peer to send the body it holds back until it is asked.
/// @return false when the connection is broken
boost::asio::awaitable<bool> send_continue(http_exchange& exchange);

}  // namespace tavi::site
