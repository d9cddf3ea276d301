#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::ctl {

/// How far an upload has come.
struct upload_state {
  std::uint64_t sent = 0;                ///< bytes
  std::uint64_t total = 0;               ///< bytes
  std::chrono::milliseconds elapsed{0};  ///< since it began
};

/// What became of an upload.
enum class upload_end {
  answered,       ///< the server answered, whatever it said
  no_file,        ///< the file cannot be read
  not_reachable,  ///< no connection to the server
  broken,         ///< the connection ended, or stood still, before there was an answer
  aborted,        ///< the caller gave it up
};

/// What became of an upload, with what belongs to it.
struct upload_outcome {
  upload_end end = upload_end::broken;
  long status = 0;     ///< HTTP code, when the server answered
  std::string reason;  ///< the server's text, or the system's; may come from a stranger
};

/// Takes a file to a web server. Given to commands so that they can be tried without one.
class i_uploader {
 public:
  virtual ~i_uploader() = default;

  /// Told every now and then how far it has come. @return false to give the upload up
  using observer = std::function<bool(upload_state const&)>;

  /// Uploads a file and waits for the answer. @param url  as `make_upload_url` builds it
  [[nodiscard]] virtual upload_outcome upload(std::filesystem::path const& file, std::string const& url,
                                              observer const& observe) = 0;
};

/// Uploads by HTTP PUT, reading the file as it goes; the body is held back until the server asks for it, and
/// no proxy of the environment is used, because the server is the controller's own.
class http_uploader : public i_uploader {
 public:
  /// @param patience  after which a connection attempt, or an upload that stands still, ends; whole seconds
  explicit http_uploader(std::chrono::seconds patience = std::chrono::seconds(30)) : still_time(patience) {}

  [[nodiscard]] upload_outcome upload(std::filesystem::path const& file, std::string const& url,
                                      observer const& observe) override;

 private:
  std::chrono::seconds still_time;
};

/// Whether a text names a server as host or host:port, an IPv6 address in brackets.
[[nodiscard]] bool is_server_address(std::string_view text);

/// The location of an upload: "http://" + address + uri + "/" + the name with whatever is no plain character
/// escaped.
/// @param uri  "/upload/" and a token
[[nodiscard]] std::string make_upload_url(std::string const& address, std::string const& uri,
                                          std::string const& file_name);

/// What an answer other than success means and what to do about it. @param status  HTTP code
[[nodiscard]] std::string explain_upload_status(long status);

/// One line that shows a bar, bytes, rate and what is left of the time. Rate and time are left out of the
/// first half second, which tells little about them.
/// @param columns  there are; the bar, at most 28 wide, takes what the figures leave of them, or is left out
[[nodiscard]] std::string progress_line(upload_state const& state, std::size_t columns);

/// Decides when an upload is shown anew, so that nothing flickers: at once, every 100 ms and at its end.
class progress_pace {
 public:
  /// Whether this state is to be shown; it counts as shown then. @param state  not before the last one
  [[nodiscard]] bool is_due(upload_state const& state);

 private:
  std::optional<std::chrono::milliseconds> shown_at;
  bool is_end_shown = false;
};

}  // namespace tavi::ctl
