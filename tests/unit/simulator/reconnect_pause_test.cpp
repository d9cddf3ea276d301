#include "reconnect_pause.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using tavi::simulator::next_reconnect_pause;

TEST(ReconnectPause, DoublesUpToTheLongest) {
  EXPECT_EQ(next_reconnect_pause(1s, 30s), 2s);
  EXPECT_EQ(next_reconnect_pause(15s, 30s), 30s);
  EXPECT_EQ(next_reconnect_pause(16s, 30s), 30s);
  EXPECT_EQ(next_reconnect_pause(30s, 30s), 30s);
}

}  // namespace
