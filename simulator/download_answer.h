#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::simulator {

/// What of a file was fetched so far.
struct download_state {
  std::uint64_t bytes = 0;  ///< that stand in the file
  std::string tag;  ///< strong entity tag they belong to; empty when a further try cannot go on from them
  std::optional<std::uint64_t> total{};  ///< bytes that the whole file has; empty when nobody has told
};

/// What the head of an answer says.
struct download_head {
  unsigned int status = 0;              ///< of HTTP
  std::string tag;                      ///< ETag
  std::string content_type;             ///< Content-Type
  std::string content_range;            ///< Content-Range
  std::optional<std::uint64_t> length;  ///< Content-Length
  bool is_chunked = false;              ///< the body tells its own end
};

/// What to do with an answer.
enum class download_step {
  take_whole,  ///< the body is the file from its beginning
  take_rest,   ///< the body goes on where the last try ended
  give_up,     ///< nothing of use, and another try would not change that
  try_again    ///< nothing of use, and a further try begins anew
};

/// A judged answer.
struct download_decision {
  download_step step = download_step::give_up;  ///< see there
  std::string reason;                           ///< why nothing is taken; empty when something is
  std::optional<std::uint64_t> total;  ///< bytes of the whole file, when something is taken and it tells
};

/// Largest firmware in bytes that a station takes.
inline constexpr std::uint64_t largest_firmware = 1024ULL * 1024 * 1024;

/// Decides what to do with an answer. Pure.
///
/// A web page is no firmware, whatever its status; nor is an empty file. An answer whose end nobody could
/// tell from a broken connection is not taken, nor is a part that is shorter or longer than it says.
/// @param state  what was asked for begins behind its bytes
[[nodiscard]] download_decision judge_download(download_head const& head, download_state const& state);

/// Whether a file that begins so is a web page.
[[nodiscard]] bool is_web_page(std::string_view beginning);

/// Whether a tag can prove that a later answer belongs to the same file: there is one, and it is not weak.
[[nodiscard]] bool is_strong_tag(std::string_view tag);

}  // namespace tavi::simulator
