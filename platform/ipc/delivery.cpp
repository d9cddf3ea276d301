#include "mura_common/delivery.h"

#include <map>

namespace mura_common {

std::shared_ptr<delivery_lane> delivery_lane_of(std::string const& service) {
  static std::mutex guard;
  static std::map<std::string, std::weak_ptr<delivery_lane>> lanes;
  std::lock_guard const lock(guard);
  auto& known = lanes[service];
  auto lane = known.lock();
  if (!lane) {
    lane = std::make_shared<delivery_lane>();
    known = lane;
  }
  return lane;
}

}  // namespace mura_common
