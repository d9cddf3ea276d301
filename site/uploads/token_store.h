#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "secret_token.h"

namespace tavi::site::uploads {

/// How long tokens live and how many there are.
struct token_limits {
  std::chrono::milliseconds life_time =
      std::chrono::hours(1);  ///< from making a token to the last moment it is good
  std::chrono::milliseconds remember_time =
      std::chrono::hours(1);      ///< for which a dead token is told from an unknown one
  std::size_t live = 4096;        ///< tokens that can still be used, at most
  std::size_t remembered = 4096;  ///< dead tokens that are kept in mind, at most
};

/// What became of the attempt to use a token.
enum class token_answer {
  granted,  ///< it is in use by the caller from now on
  unknown,  ///< never made, or dead so long that it is forgotten
  in_use,   ///< an upload with it is going on
  gone      ///< spent by a completed upload, or its life time is over
};

/// A granted token.
struct token_grant {
  token_answer answer = token_answer::unknown;         ///< the other members count only when granted
  std::string owner;                                   ///< for whom it was made
  std::chrono::steady_clock::time_point expires_at{};  ///< end of its life time
};

/// The tokens with which files can be uploaded.
///
/// A token is unused when made, in use between `acquire` and `release` or `spend`, unused again after
/// `release`, and dead after `spend` or the end of its life time; dead ones are forgotten later. An upload
/// that began within the life time may be completed after it. Tokens are found by their hash and compared in
/// constant time, so that the time of an answer says nothing about them. Keeps them in memory only. May be
/// called from any thread.
class token_store {
 public:
  /// A moment on the clock that is never set.
  using time_point = std::chrono::steady_clock::time_point;

  /// @param limits  see `token_limits`
  /// @param random  empty for the system's own source
  explicit token_store(token_limits limits, http::random_source random = {});
  ~token_store();
  token_store(token_store const&) = delete;
  token_store& operator=(token_store const&) = delete;

  /// Makes a token of 43 characters out of A-Z a-z 0-9 - _.
  /// @param owner  who will take the uploaded file; 1 to 256 bytes
  /// @return empty, with a line in the log, when the owner is none, the limit of live tokens is reached, or
  ///         there is no randomness
  [[nodiscard]] std::optional<std::string> make(std::string const& owner, time_point now);

  /// Takes a token into use. @param token  any bytes
  [[nodiscard]] token_grant acquire(std::string const& token, time_point now);

  /// Gives a token in use back after an upload that failed; it can be used again within its life time.
  void release(std::string const& token);

  /// Ends a token in use after a completed upload.
  void spend(std::string const& token, time_point now);

  /// Remembers a token that was spent before the process started.
  void restore_spent(std::string const& token, time_point now);

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::uploads
