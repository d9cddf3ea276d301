#include "descriptor_limit.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

namespace tavi::http {
namespace {

TEST(DescriptorLimitTest, IsRaisedAsFarAsTheSystemAllows) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  auto lowered = before;
  lowered.rlim_cur = before.rlim_max / 2;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);

  EXPECT_TRUE(raise_descriptor_limit());

  rlimit raised{};
  ::getrlimit(RLIMIT_NOFILE, &raised);
  EXPECT_EQ(raised.rlim_cur, before.rlim_max);
  EXPECT_EQ(raised.rlim_max, before.rlim_max);
  ::setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace tavi::http
