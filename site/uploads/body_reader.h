#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "http_exchange.h"
#include "uploads/multipart_parser.h"
#include "uploads/spool.h"
#include "uploads/upload_options.h"

namespace tavi::site::uploads {

/// How the receiving of a body ended.
enum class body_result {
  complete,     ///< everything is written
  cut,          ///< the connection ended before the body did
  malformed,    ///< broken chunks, a broken multipart body, or one without a file
  too_large,    ///< more than the limit came
  too_slow,     ///< the idle or the total time ran out
  spool_full,   ///< the budget or the disk is used up
  disk_failure  ///< the disk refused it for another reason
};

/// How a failure to write is to be answered: as `spool_full` when disk, quota or file size are at their end,
/// else as `disk_failure`.
[[nodiscard]] body_result judge_disk_error(std::error_code const& error);

/// Writes a body into the spool as it comes, and takes the file out of it when it is a multipart one.
class body_sink {
 public:
  /// @param files      the spool, and  @param target  a file of it; both outlive the sink
  /// @param max_bytes  of the whole body  @param boundary  of a multipart body; empty for a raw one
  body_sink(spool& files, partial_upload& target, std::uint64_t max_bytes,
            std::optional<std::string> const& boundary);

  /// Takes the next piece. @return `complete` when all is well so far
  [[nodiscard]] body_result take(std::string_view chunk);

  /// Says that the body has ended. @return `malformed` when a multipart body is not whole or holds no file
  [[nodiscard]] body_result finish() const;

  /// The name that a part of a multipart body gave the file.
  [[nodiscard]] std::string file_name() const { return parts ? parts->file_name() : std::string(); }

 private:
  [[nodiscard]] body_result write(std::string_view bytes);

  spool& files;
  partial_upload& target;
  std::uint64_t max_bytes;
  std::uint64_t received = 0;
  std::optional<multipart_parser> parts;
  multipart_parser::state parts_state = multipart_parser::state::reading;
  std::string file_bytes;
};

/// Reads the body of a request to its end through a buffer of fixed size.
/// @param exchange, sink, limits  outlive the coroutine
boost::asio::awaitable<body_result> read_body(http::http_exchange& exchange, body_sink& sink,
                                              upload_limits const& limits);

}  // namespace tavi::site::uploads
