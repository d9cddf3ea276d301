#include "reconnect_pause.h"

#include <algorithm>

namespace tavi::simulator {

std::chrono::milliseconds next_reconnect_pause(std::chrono::milliseconds last,
                                               std::chrono::milliseconds longest) {
  return std::min(last * 2, longest);
}

}  // namespace tavi::simulator
