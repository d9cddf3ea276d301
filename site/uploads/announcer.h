#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <vector>

#include "uploads/finished_upload.h"

namespace tavi::site::uploads {

/// How long after one announcement of an upload the next one follows.
struct announcement_intervals {
  std::chrono::milliseconds first = std::chrono::seconds(1);     ///< between the first and the second
  std::chrono::milliseconds second = std::chrono::seconds(5);    ///< between the second and the third
  std::chrono::milliseconds further = std::chrono::seconds(30);  ///< between all later ones
};

/// The time from one announcement to the next.
/// @param count  announcements made so far, 1 and up
[[nodiscard]] std::chrono::milliseconds next_announcement(unsigned int count,
                                                          announcement_intervals const& intervals);

/// Decides when finished uploads are announced, and for how long.
///
/// An upload is announced at once and then over and over, because the announcement may be lost and because a
/// quick uploader may finish before the owner knows what to expect. That ends when its file has been taken
/// away or its time is over. Only decides: the caller announces and removes.
class announcer {
 public:
  /// A moment on the clock that is never set.
  using time_point = std::chrono::steady_clock::time_point;

  /// What is to be done at a moment.
  struct work {
    std::vector<finished_upload> to_announce;  ///< still waiting for their owners
    std::vector<finished_upload> taken;        ///< their files are gone; they are not followed any more
    std::vector<finished_upload> expired;      ///< nobody took them; they are not followed any more
  };

  /// Follows no upload yet. @param intervals  see `announcement_intervals`
  explicit announcer(announcement_intervals const& intervals);

  /// Follows an upload from now on; its first announcement is due at once.
  void add(finished_upload const& upload, time_point now);

  /// What is due.
  /// @param is_there  whether the file of an upload still stands where it was announced
  [[nodiscard]] work take_due(time_point now, std::function<bool(finished_upload const&)> const& is_there);

  /// When there is something to do next; empty when no upload is followed.
  [[nodiscard]] std::optional<time_point> next_due() const;

 private:
  struct entry {
    finished_upload upload;
    time_point due_at;
    unsigned int count = 0;
  };

  announcement_intervals intervals;
  std::list<entry> entries;
};

}  // namespace tavi::site::uploads
