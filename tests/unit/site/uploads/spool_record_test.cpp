#include "uploads/spool_record.h"

#include <string>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

TEST(SpoolRecordTest, ReadsWhatItWrote) {
  spool_record const record{"token", "owner", "a \"name\"\n.zip", 1795190400};

  auto const read = read_spool_record(write_spool_record(record));

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->token, record.token);
  EXPECT_EQ(read->owner, record.owner);
  EXPECT_EQ(read->name, record.name);
  EXPECT_EQ(read->expires_at, record.expires_at);
}

TEST(SpoolRecordTest, BytesThatAreNoTextAreReplaced) {
  auto const read = read_spool_record(write_spool_record({"token", "owner", "a\xff", 1}));

  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->name, "a\xef\xbf\xbd");
}

class BadSpoolRecordTest : public testing::TestWithParam<char const*> {};

TEST_P(BadSpoolRecordTest, IsRefused) {
  EXPECT_FALSE(read_spool_record(GetParam()).has_value());
}

INSTANTIATE_TEST_SUITE_P(Situations, BadSpoolRecordTest,
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
}  // namespace tavi::site
