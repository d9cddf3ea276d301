#include "uploads/announcer.h"

#include <algorithm>

namespace tavi::site::uploads {

std::chrono::milliseconds next_announcement(unsigned int count, announcement_intervals const& intervals) {
  if (count <= 1) {
    return intervals.first;
  }
  return count == 2 ? intervals.second : intervals.further;
}

announcer::announcer(announcement_intervals const& chosen) : intervals(chosen) {
}

void announcer::add(finished_upload const& upload, time_point now) {
  entries.push_back({upload, now, 0});
}

announcer::work announcer::take_due(time_point now,
                                    std::function<bool(finished_upload const&)> const& is_there) {
  work due;
  for (auto place = entries.begin(); place != entries.end();) {
    auto const is_over = now >= place->upload.expires_at;
    if (!is_over && now < place->due_at) {
      ++place;
    } else if (!is_there(place->upload)) {
      due.taken.push_back(place->upload);
      place = entries.erase(place);
    } else if (is_over) {
      due.expired.push_back(place->upload);
      place = entries.erase(place);
    } else {
      due.to_announce.push_back(place->upload);
      place->due_at = now + next_announcement(++place->count, intervals);
      ++place;
    }
  }
  return due;
}

std::optional<announcer::time_point> announcer::next_due() const {
  std::optional<time_point> next;
  for (auto const& waiting : entries) {
    auto const at = std::min(waiting.due_at, waiting.upload.expires_at);
    next = next ? std::min(*next, at) : at;
  }
  return next;
}

}  // namespace tavi::site::uploads
