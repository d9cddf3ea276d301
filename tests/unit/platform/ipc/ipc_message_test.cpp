#include "ipc/ipc_message.h"

#include <string>

#include <gtest/gtest.h>

#include "mura_common/ipc.h"

namespace {

using namespace mura_common::ipc;
using mura_common::ipc_request_limit;
using nlohmann::json;

struct frame_case {
  char const* name;
  std::string frame;
  char const* code;
};

void PrintTo(frame_case const& row, std::ostream* out) {
  *out << row.name;
}

std::string request_of_size(std::size_t size) {
  std::string const begin = R"({"protocol":1,"operation":"x","arguments":[")";
  std::string const end = R"("]})";
  return begin + std::string(size - begin.size() - end.size(), 'a') + end;
}

class RefusedRequest : public testing::TestWithParam<frame_case> {};

TEST_P(RefusedRequest, GetsItsCodeAndAText) {
  auto const decoded = decode_request(GetParam().frame);
  ASSERT_TRUE(std::holds_alternative<refusal>(decoded));
  EXPECT_EQ(std::get<refusal>(decoded).code, GetParam().code);
  EXPECT_NE(std::get<refusal>(decoded).text, "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, RefusedRequest,
    testing::Values(
        frame_case{"Empty", "", bad_request}, frame_case{"NoJson", "hello", bad_request},
        frame_case{"CutOff", R"({"protocol":1,"operation":"x","arguments":[)", bad_request},
        frame_case{"TextAfterIt", R"({"protocol":1,"operation":"x","arguments":[]} x)", bad_request},
        frame_case{"NoUtf8", "{\"protocol\":1,\"operation\":\"\xff\",\"arguments\":[]}", bad_request},
        frame_case{"ZeroByte", std::string("\0", 1), bad_request}, frame_case{"Array", "[]", bad_request},
        frame_case{"Null", "null", bad_request},
        frame_case{"NumberTooLarge", R"({"protocol":1,"operation":"x","arguments":[1e999]})", bad_request},
        frame_case{"NoProtocol", R"({"operation":"x","arguments":[]})", bad_request},
        frame_case{"ProtocolIsText", R"({"protocol":"1","operation":"x","arguments":[]})", bad_request},
        frame_case{"ProtocolIsFraction", R"({"protocol":1.0,"operation":"x","arguments":[]})", bad_request},
        frame_case{"OtherProtocol", R"({"protocol":2,"operation":"x","arguments":[]})", wrong_protocol},
        frame_case{"NegativeProtocol", R"({"protocol":-1,"operation":"x","arguments":[]})", wrong_protocol},
        frame_case{"NoOperation", R"({"protocol":1,"arguments":[]})", bad_request},
        frame_case{"OperationIsNumber", R"({"protocol":1,"operation":1,"arguments":[]})", bad_request},
        frame_case{"OperationIsEmpty", R"({"protocol":1,"operation":"","arguments":[]})", bad_request},
        frame_case{"NoArguments", R"({"protocol":1,"operation":"x"})", bad_request},
        frame_case{"ArgumentsAreObject", R"({"protocol":1,"operation":"x","arguments":{}})", bad_request},
        frame_case{"DeepArrays", std::string(100'000, '['), bad_request},
        frame_case{"DeepObjects", std::string(1000, '{'), bad_request},
        frame_case{"OneByteTooLarge", request_of_size(ipc_request_limit + 1), too_large},
        frame_case{"TooLargeAndNoJson", std::string(ipc_request_limit + 1, 'x'), too_large}),
    [](auto const& row) { return row.param.name; });

TEST(Request, OfExactlyTheLimitIsTaken) {
  auto const decoded = decode_request(request_of_size(ipc_request_limit));
  EXPECT_TRUE(std::holds_alternative<request_message>(decoded));
}

TEST(Request, SurvivesTheWay) {
  auto const decoded = decode_request(encode_request("say \"this\"", {1, "zwei \xc3\xa4", nullptr}));
  ASSERT_TRUE(std::holds_alternative<request_message>(decoded));
  EXPECT_EQ(std::get<request_message>(decoded).operation, "say \"this\"");
  EXPECT_EQ(std::get<request_message>(decoded).arguments, json({1, "zwei \xc3\xa4", nullptr}));
}

TEST(Request, HasTheDocumentedForm) {
  EXPECT_EQ(json::parse(encode_request("x", json::array({7}))),
            json::parse(R"({"protocol":1,"operation":"x","arguments":[7]})"));
}

TEST(Request, WithTextThatIsNoUtf8GetsReplacementCharacters) {
  auto const decoded = decode_request(encode_request("x", json::array({"a\xff"
                                                                       "b"})));
  ASSERT_TRUE(std::holds_alternative<request_message>(decoded));
  EXPECT_EQ(std::get<request_message>(decoded).arguments[0],
            "a\xef\xbf\xbd"
            "b");
}

struct depth_case {
  char const* name;
  std::string arguments;
  bool is_taken;
};

class NestedRequest : public testing::TestWithParam<depth_case> {};

TEST_P(NestedRequest, IsTakenUpToTheLimit) {
  auto const decoded =
      decode_request(R"({"protocol":1,"operation":"x","arguments":)" + GetParam().arguments + "}");
  EXPECT_EQ(std::holds_alternative<request_message>(decoded), GetParam().is_taken);
}

std::string nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

std::string side_by_side(int count) {
  std::string text = "[[]";
  for (int more = 1; more < count; ++more) {
    text += ",[]";
  }
  return text + "]";
}

INSTANTIATE_TEST_SUITE_P(
    Depth, NestedRequest,
    testing::Values(depth_case{"AtTheLimit", nested(nesting_limit - 1), true},
                    depth_case{"OneDeeper", nested(nesting_limit), false},
                    depth_case{"BracketsInText", "[\"" + std::string(1000, '[') + "\"]", true},
                    depth_case{"BracketsAfterEscapedQuote", R"(["\")" + std::string(1000, '{') + "\"]", true},
                    depth_case{"DeepAfterText", R"(["\\",)" + nested(nesting_limit) + "]", false},
                    depth_case{"ManySideBySide", side_by_side(1000), true}),
    [](auto const& row) { return row.param.name; });

TEST(Reply, SurvivesTheWay) {
  auto const decoded = decode_reply(encode_reply({{"result", 4}, {"out", {5, "six"}}}));
  ASSERT_TRUE(std::holds_alternative<json>(decoded));
  EXPECT_EQ(std::get<json>(decoded), json({{"result", 4}, {"out", {5, "six"}}}));
}

TEST(Reply, WithoutABodyHasANullResultAndNoOutParameters) {
  EXPECT_EQ(json::parse(encode_reply(nullptr)), json::parse(R"({"protocol":1,"result":null,"out":[]})"));
}

TEST(Reply, WithAnErrorTellsCodeAndText) {
  auto const decoded = decode_reply(encode_refusal({failed, "no \xff luck"}));
  ASSERT_TRUE(std::holds_alternative<refusal>(decoded));
  EXPECT_EQ(std::get<refusal>(decoded).code, "failed");
  EXPECT_EQ(std::get<refusal>(decoded).text, "no \xef\xbf\xbd luck");
}

TEST(Reply, WithACodeOfANewerServiceIsStillARefusal) {
  auto const decoded = decode_reply(R"({"protocol":1,"error":{"code":"overloaded"}})");
  ASSERT_TRUE(std::holds_alternative<refusal>(decoded));
  EXPECT_EQ(std::get<refusal>(decoded).code, "overloaded");
}

class UnreadableReply : public testing::TestWithParam<frame_case> {};

TEST_P(UnreadableReply, IsToldApartFromARefusal) {
  auto const decoded = decode_reply(GetParam().frame);
  ASSERT_TRUE(std::holds_alternative<unreadable>(decoded));
  EXPECT_NE(std::get<unreadable>(decoded).reason, "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, UnreadableReply,
    testing::Values(frame_case{"Empty", "", ""}, frame_case{"NoJson", "hello", ""},
                    frame_case{"Deep", std::string(100'000, '['), ""},
                    frame_case{"OtherProtocol", R"({"protocol":2,"result":1,"out":[]})", ""},
                    frame_case{"NoResult", R"({"protocol":1,"out":[]})", ""},
                    frame_case{"NoOut", R"({"protocol":1,"result":1})", ""},
                    frame_case{"OutIsNumber", R"({"protocol":1,"result":1,"out":2})", ""},
                    frame_case{"ErrorIsText", R"({"protocol":1,"error":"failed"})", ""},
                    frame_case{"ErrorWithoutCode", R"({"protocol":1,"error":{"text":"x"}})", ""}),
    [](auto const& row) { return row.param.name; });

TEST(Event, SurvivesTheWay) {
  auto const decoded = decode_event(encode_event({"happened", 18446744073709551615U, "a1", {true}}));
  ASSERT_TRUE(std::holds_alternative<event_message>(decoded));
  auto const& event = std::get<event_message>(decoded);
  EXPECT_EQ(event.event, "happened");
  EXPECT_EQ(event.number, 18446744073709551615U);
  EXPECT_EQ(event.publisher, "a1");
  EXPECT_EQ(event.arguments, json::array({true}));
}

class UnreadableEvent : public testing::TestWithParam<frame_case> {};

TEST_P(UnreadableEvent, IsNoEvent) {
  EXPECT_TRUE(std::holds_alternative<unreadable>(decode_event(GetParam().frame)));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, UnreadableEvent,
    testing::Values(
        frame_case{"Empty", "", ""},
        frame_case{"OtherProtocol", R"({"protocol":9,"event":"e","number":1,"publisher":"p","arguments":[]})",
                   ""},
        frame_case{"NoEvent", R"({"protocol":1,"number":1,"publisher":"p","arguments":[]})", ""},
        frame_case{"NoPublisher", R"({"protocol":1,"event":"e","number":1,"arguments":[]})", ""},
        frame_case{"NegativeNumber",
                   R"({"protocol":1,"event":"e","number":-1,"publisher":"p","arguments":[]})", ""},
        frame_case{"NumberIsFraction",
                   R"({"protocol":1,"event":"e","number":1.5,"publisher":"p","arguments":[]})", ""},
        frame_case{"NoNumber", R"({"protocol":1,"event":"e","publisher":"p","arguments":[]})", ""},
        frame_case{"NoArguments", R"({"protocol":1,"event":"e","number":1,"publisher":"p"})", ""}),
    [](auto const& row) { return row.param.name; });

TEST(NameFromOutside, CannotForgeALogLine) {
  EXPECT_EQ(printable("a\nb\"c"), R"("a\nb\"c")");
  EXPECT_EQ(printable("\xff"), R"("\ufffd")");
  EXPECT_EQ(printable(std::string(1000, 'x')), '"' + std::string(64, 'x') + '"');
}

}  // namespace
