#include "station_message.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace tavi::simulator;
using nlohmann::json;

TEST(StationMessage, ReadsACall) {
  auto const message = parse_central_message(R"([2,"7","Reset",{"type":"Soft"}])");
  auto const* call = std::get_if<central_call>(&message);
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(call->id, "7");
  EXPECT_EQ(call->action, "Reset");
  EXPECT_EQ(call->payload["type"], "Soft");
}

TEST(StationMessage, ReadsAnAnswer) {
  auto const message = parse_central_message(R"([3,"7",{"status":"Accepted"}])");
  auto const* result = std::get_if<central_result>(&message);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->id, "7");
  EXPECT_EQ(result->payload["status"], "Accepted");
}

TEST(StationMessage, ReadsARefusalWithOrWithoutDetails) {
  for (auto const* text : {R"([4,"7","NotSupported","why",{}])", R"([4,"7","NotSupported","why"])"}) {
    auto const message = parse_central_message(text);
    auto const* error = std::get_if<central_error>(&message);
    ASSERT_NE(error, nullptr) << text;
    EXPECT_EQ(error->id, "7");
    EXPECT_EQ(error->code, "NotSupported");
    EXPECT_EQ(error->description, "why");
  }
}

/// A call whose payload makes it nest this deep.
std::string nested_call(std::size_t levels) {
  return R"([2,"z","Foo",{"a":)" + std::string(levels - 2, '[') + std::string(levels - 2, ']') + "}]";
}

TEST(StationMessage, DropsWhatNestsDeeperThanSixteenLevels) {
  EXPECT_TRUE(std::holds_alternative<central_call>(parse_central_message(nested_call(16))));
  for (std::size_t const levels : {17U, 1000U, 500'000U}) {
    auto const message = parse_central_message(nested_call(levels));
    auto const* broken = std::get_if<broken_message>(&message);
    ASSERT_NE(broken, nullptr) << levels;
    EXPECT_EQ(broken->id, "");
    EXPECT_EQ(broken->reason, "a message nests at most 16 levels");
  }
}

TEST(StationMessage, CountsNoBracketsInTextsAndNoneThatAreClosed) {
  std::string wide = "[]";
  for (int count = 0; count < 100; ++count) {
    wide += ",{}";
  }
  auto const brackets = std::string(100, '[');
  std::vector<std::string> const values = {"\"" + brackets + "\"", "\"\\\"" + brackets + "\"", R"("\\")",
                                           "[" + wide + "]"};
  for (auto const& value : values) {
    auto const message = parse_central_message(R"([2,"7","Reset",{"a":)" + value + "}]");
    EXPECT_TRUE(std::holds_alternative<central_call>(message)) << value;
  }
}

struct broken_row {
  std::string text;
  std::string id;  ///< of the call that can be refused
};

TEST(StationMessage, TellsBrokenMessagesAndWhichOfThemCanBeAnswered) {
  std::vector<broken_row> const rows = {
      {"", ""},
      {"hello", ""},
      {"{}", ""},
      {"[]", ""},
      {"[2,\"7\"", ""},
      {"[2,\"7\"]", ""},
      {"[\"2\",\"7\",\"Reset\",{}]", ""},
      {"[2,7,\"Reset\",{}]", ""},
      {"[2,\"\",\"Reset\",{}]", ""},
      {"[2,\"" + std::string(37, 'x') + "\",\"Reset\",{}]", ""},
      {"[2.0,\"7\",\"Reset\",{}]", ""},
      {"[5,\"7\",\"Reset\",{}]", ""},
      {"[-1,\"7\",\"Reset\",{}]", ""},
      {"[18446744073709551615,\"7\",\"Reset\",{}]", ""},
      {"[2,\"7\",\"Reset\"]", "7"},
      {"[2,\"7\",\"Reset\",[]]", "7"},
      {"[2,\"7\",\"Reset\",{},{}]", "7"},
      {"[2,\"7\",null,{}]", "7"},
      {"[3,\"7\",[]]", ""},
      {"[3,\"7\",{},{}]", ""},
      {"[4,\"7\",\"Code\"]", ""},
      {"[4,\"7\",\"Code\",null,{}]", ""},
      {"[2,\"7\",\"\xff\",{}]", ""},
      {std::string(200'000, '['), ""},
  };
  for (auto const& row : rows) {
    auto const message = parse_central_message(row.text);
    auto const* broken = std::get_if<broken_message>(&message);
    ASSERT_NE(broken, nullptr) << row.text.substr(0, 60);
    EXPECT_EQ(broken->id, row.id) << row.text.substr(0, 60);
    EXPECT_FALSE(broken->reason.empty());
  }
}

TEST(StationMessage, AcceptsAnIdOfTheGreatestLength) {
  auto const message = parse_central_message("[2,\"" + std::string(36, 'x') + "\",\"Reset\",{}]");
  EXPECT_TRUE(std::holds_alternative<central_call>(message));
}

TEST(StationMessage, WritesFramesAsOcppHasThem) {
  json const payload = {{"status", "Uploading"}};
  EXPECT_EQ(encode_call("1", "DiagnosticsStatusNotification", payload),
            R"([2,"1","DiagnosticsStatusNotification",{"status":"Uploading"}])");
  EXPECT_EQ(encode_result("1", payload), R"([3,"1",{"status":"Uploading"}])");
  EXPECT_EQ(encode_error("1", "NotImplemented", "no"), R"([4,"1","NotImplemented","no",{}])");
}

TEST(StationMessage, ReplacesWhatIsNotUtf8) {
  json const payload = {{"chargePointVendor", "A\xff"}};
  EXPECT_EQ(encode_call("1", "B", payload), "[2,\"1\",\"B\",{\"chargePointVendor\":\"A\xef\xbf\xbd\"}]");
}

}  // namespace
