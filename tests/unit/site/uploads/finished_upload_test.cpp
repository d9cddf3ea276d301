#include "uploads/finished_upload.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site::uploads {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

clock_reading const time_of_writing{std::chrono::steady_clock::time_point(std::chrono::hours(1000)),
                                    std::chrono::system_clock::time_point(std::chrono::hours(500000))};

finished_upload upload_named(std::string const& name) {
  finished_upload upload;
  upload.token = "token";
  upload.owner = "owner";
  upload.file_name = name;
  upload.expires_at = time_of_writing.steady + seconds(60);
  return upload;
}

TEST(Sidecar, ReadsWhatItWrote) {
  auto const upload = upload_named("a \"name\"\n.zip");

  auto const read = read_sidecar(write_sidecar(upload, time_of_writing), time_of_writing);

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->token, upload.token);
  EXPECT_EQ(read->owner, upload.owner);
  EXPECT_EQ(read->file_name, upload.file_name);
  EXPECT_EQ(read->expires_at, upload.expires_at);
}

TEST(Sidecar, KeepsTheEndOfTheTimeOverARestartToTheNextSecond) {
  auto upload = upload_named("a");
  upload.expires_at = time_of_writing.steady + milliseconds(59'001);
  clock_reading const later{std::chrono::steady_clock::time_point(seconds(5)),
                            time_of_writing.wall + seconds(20)};

  auto const read = read_sidecar(write_sidecar(upload, time_of_writing), later);

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->expires_at, later.steady + seconds(40));
}

TEST(Sidecar, BytesThatAreNoTextAreReplaced) {
  auto const read = read_sidecar(write_sidecar(upload_named("a\xff"), time_of_writing), time_of_writing);

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->file_name, "a\xef\xbf\xbd");
}

class BadSidecar : public testing::TestWithParam<char const*> {};

TEST_P(BadSidecar, IsRefused) {
  EXPECT_FALSE(read_sidecar(GetParam(), time_of_writing).has_value());
}

INSTANTIATE_TEST_SUITE_P(Situations, BadSidecar,
                         testing::Values("", "{", "[]", "null", "{}",
                                         R"({"token":"t","owner":"o","name":"n"})",
                                         R"({"token":"","owner":"o","name":"n","expires_at":1})",
                                         R"({"token":1,"owner":"o","name":"n","expires_at":1})",
                                         R"({"token":"t","owner":null,"name":"n","expires_at":1})",
                                         R"({"token":"t","owner":"o","expires_at":1})",
                                         R"({"token":"t","owner":"o","name":"n","expires_at":"1"})",
                                         R"({"token":"t","owner":"o","name":"n","expires_at":1.5})",
                                         R"({"token":"t","owner":"o","name":"n","expires_at":1)"));

}  // namespace
}  // namespace tavi::site::uploads
