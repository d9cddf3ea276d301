#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/status.hpp>

#include "http_exchange.h"

namespace tavi::http {

/// A short answer in plain text.
struct http_answer {
  boost::beast::http::status status = boost::beast::http::status::ok;  ///< the code and its reason
  std::string text;                                                    ///< for people; one line
  std::string allow;                                                   ///< methods, with 405 only
  std::chrono::seconds retry_after{0};  ///< after which another try may succeed; 0 tells none
  bool is_last = false;                 ///< the connection is closed, whatever the request allows
};

/// The head of an answer whose body, if any, is written by whoever sends it.
struct http_head {
  boost::beast::http::status status = boost::beast::http::status::ok;     ///< the code and its reason
  std::vector<std::pair<boost::beast::http::field, std::string>> fields;  ///< besides those of the connection
  std::uint64_t content_length = 0;                                       ///< of what is written after it
};

/// Writes an answer. A peer that takes it too slowly loses its connection.
///
/// When the request is read to its end, and request and answer allow it, the connection stays open. Otherwise
/// it is closed so that the peer sees the answer and no reset: sending ends, a bounded amount of what still
/// comes is read and forgotten, then the connection is closed.
/// @param exchange  outlives the coroutine  @param answer  outlives the coroutine
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> send_answer(http_exchange& exchange, http_answer const& answer);

/// Writes the head of an answer. A peer that takes it too slowly loses its connection.
/// @param exchange  outlives the coroutine  @param head  outlives the coroutine
/// @return false when the connection is broken
boost::asio::awaitable<bool> send_head(http_exchange& exchange, http_head const& head);

/// Ends an answer whose head was written with `send_head` and whose body was written whole; the connection is
/// kept or closed as after `send_answer`.
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> finish_answer(http_exchange& exchange);

/// Tells the peer to send the body it holds back until it is asked.
/// @return false when the connection is broken
boost::asio::awaitable<bool> send_continue(http_exchange& exchange);

}  // namespace tavi::http
