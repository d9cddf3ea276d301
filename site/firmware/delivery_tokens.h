#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "secret_token.h"

namespace tavi::site::firmware {

/// How long delivery tokens live and how many there are.
struct delivery_limits {
  std::chrono::milliseconds life_time = std::chrono::hours(24);  ///< in which a fetch may begin
  std::chrono::milliseconds remember_time =
      std::chrono::hours(1);      ///< for which a dead token is told from an unknown one
  std::size_t per_station = 4;    ///< live tokens of one station; a further one ends the oldest
  std::size_t remembered = 4096;  ///< dead tokens that are kept in mind, at most
};

/// What is delivered to whom.
struct delivery {
  unsigned int station = 0;    ///< number of the station that was told the location
  std::filesystem::path file;  ///< absolute, without symbolic links
};

/// What a token is good for.
enum class delivery_answer {
  granted,  ///< the file may be fetched
  unknown,  ///< never made, or dead so long that it is forgotten
  gone      ///< its life time is over, or it was withdrawn
};

/// A token, looked up.
struct delivery_finding {
  delivery_answer answer = delivery_answer::unknown;  ///< see there
  delivery what;                                      ///< counts only when granted
};

/// The tokens with which stations fetch firmware, each bound to one file and one station.
///
/// A token is live when made and can be used any number of times, because a station that lost its connection
/// resumes; it is dead after its life time or `withdraw`, and forgotten later. Tokens are found by their hash
/// and compared in constant time. Keeps them in memory only. Not synchronised: belongs to the event loop.
class delivery_tokens {
 public:
  /// A moment on the clock that is never set.
  using time_point = std::chrono::steady_clock::time_point;

  /// @param limits  see `delivery_limits`
  /// @param random  where tokens come from
  explicit delivery_tokens(delivery_limits limits, http::random_source random = http::fill_from_system);
  ~delivery_tokens();
  delivery_tokens(delivery_tokens const&) = delete;
  delivery_tokens& operator=(delivery_tokens const&) = delete;

  /// Makes a token of 43 characters out of A-Z a-z 0-9 - _.
  /// @return empty, with a line in the log, when there is no randomness; nothing has changed then
  [[nodiscard]] std::optional<std::string> make(delivery const& what, time_point now);

  /// What a token is good for. @param token  any bytes
  [[nodiscard]] delivery_finding find(std::string const& token, time_point now) const;

  /// Ends a token before its time; nothing when it is none. What is being fetched with it goes on.
  void withdraw(std::string const& token, time_point now);

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::firmware
