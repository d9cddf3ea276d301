#include "ocpp_message.h"

#include <ostream>

#include <gtest/gtest.h>

namespace tavi::ocpp_wire {
namespace {

using nlohmann::json;

TEST(OcppMessage, CallIsTakenApart) {
  auto const read = decode(R"([2,"19","Heartbeat",{"a":1}])");
  auto const* const request = std::get_if<call>(&read);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->id, "19");
  EXPECT_EQ(request->action, "Heartbeat");
  EXPECT_EQ(request->payload, json({{"a", 1}}));
}

TEST(OcppMessage, NullStandsForAnEmptyPayload) {
  auto const read = decode(R"([2,"19","Heartbeat",null])");
  auto const* const request = std::get_if<call>(&read);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->payload, json::object());
}

TEST(OcppMessage, ResultIsTakenApart) {
  auto const read = decode(R"([3,"7",{"fileName":"log.zip"}])");
  auto const* const result = std::get_if<call_result>(&read);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->id, "7");
  EXPECT_EQ(result->payload["fileName"], "log.zip");
}

TEST(OcppMessage, ErrorIsTakenApart) {
  auto const read = decode(R"([4,"7","NotSupported","no disk",{}])");
  auto const* const failure = std::get_if<call_error>(&read);
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->id, "7");
  EXPECT_EQ(failure->code, "NotSupported");
  EXPECT_EQ(failure->description, "no disk");
}

TEST(OcppMessage, ErrorWithoutDetailsIsTakenApart) {
  auto const read = decode(R"([4,"7","NotSupported","why"])");
  auto const* const failure = std::get_if<call_error>(&read);
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->code, "NotSupported");
  EXPECT_EQ(failure->description, "why");
}

TEST(OcppMessage, ErrorWithoutItsLastPartsStillEndsItsCall) {
  auto const read = decode(R"([4,"7"])");
  auto const* const failure = std::get_if<call_error>(&read);
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->id, "7");
}

struct defect_case {
  char const* name;
  std::string text;
};

void PrintTo(defect_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.text.substr(0, 80);
}

class refused_message : public testing::TestWithParam<defect_case> {};

TEST_P(refused_message, IsAnsweredUnderItsId) {
  auto const read = decode(GetParam().text);
  auto const* const refused = std::get_if<refused_call>(&read);
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(refused->id, "x1");
  EXPECT_EQ(refused->why.code, error_code::formation_violation);
  EXPECT_FALSE(refused->why.description.empty());
}

INSTANTIATE_TEST_SUITE_P(Rows, refused_message,
                         testing::Values(defect_case{"NoAction", R"([2,"x1"])"},
                                         defect_case{"NoPayload", R"([2,"x1","Heartbeat"])"},
                                         defect_case{"FiveElements", R"([2,"x1","Heartbeat",{},{}])"},
                                         defect_case{"ActionIsANumber", R"([2,"x1",5,{}])"},
                                         defect_case{"ActionIsNull", R"([2,"x1",null,{}])"},
                                         defect_case{"PayloadIsAList", R"([2,"x1","Heartbeat",[]])"},
                                         defect_case{"PayloadIsText", R"([2,"x1","Heartbeat","{}"])"},
                                         defect_case{"PayloadIsANumber", R"([2,"x1","Heartbeat",0])"}),
                         [](auto const& row) { return std::string(row.param.name); });

class broken_answer : public testing::TestWithParam<defect_case> {};

TEST_P(broken_answer, EndsItsCallWithAnError) {
  auto const read = decode(GetParam().text);
  auto const* const failure = std::get_if<call_error>(&read);
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->id, "x1");
  EXPECT_EQ(failure->code, "FormationViolation");
}

INSTANTIATE_TEST_SUITE_P(Rows, broken_answer,
                         testing::Values(defect_case{"NoPayload", R"([3,"x1"])"},
                                         defect_case{"PayloadIsText", R"([3,"x1","log.zip"])"},
                                         defect_case{"PayloadIsAList", R"([3,"x1",[]])"},
                                         defect_case{"FourElements", R"([3,"x1",{},{}])"}),
                         [](auto const& row) { return std::string(row.param.name); });

class dropped_message : public testing::TestWithParam<defect_case> {};

TEST_P(dropped_message, SaysWhyAndNothingElse) {
  auto const read = decode(GetParam().text);
  auto const* const dropped = std::get_if<unidentified>(&read);
  ASSERT_NE(dropped, nullptr);
  EXPECT_FALSE(dropped->why.empty());
}

std::string nested(std::size_t depth) {
  return R"([2,"x1","DataTransfer",{"data":)" + std::string(depth - 2, '[') + std::string(depth - 2, ']') +
         "}]";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, dropped_message,
    testing::Values(
        defect_case{"Nothing", ""}, defect_case{"NoJson", "hello"}, defect_case{"CutOff", R"([2,"x1","Hea)"},
        defect_case{"TwoValues", R"([2,"x1","Heartbeat",{}] [])"},
        defect_case{"NoUtf8", "[2,\"x1\",\"\xFF\",{}]"}, defect_case{"Object", R"({"id":"x1"})"},
        defect_case{"EmptyList", "[]"}, defect_case{"TypeOnly", "[2]"},
        defect_case{"TypeIsText", R"(["2","x1","Heartbeat",{}])"},
        defect_case{"TypeIsAFraction", R"([2.5,"x1","Heartbeat",{}])"},
        defect_case{"TypeIsAWholeFraction", R"([2.0,"x1","Heartbeat",{}])"},
        defect_case{"TypeIsUnknown", R"([5,"x1","Heartbeat",{}])"},
        defect_case{"TypeIsHuge", R"([18446744073709551615,"x1","Heartbeat",{}])"},
        defect_case{"TypeIsNegative", R"([-2,"x1","Heartbeat",{}])"},
        defect_case{"IdIsANumber", R"([2,17,"Heartbeat",{}])"},
        defect_case{"IdIsEmpty", R"([2,"","Heartbeat",{}])"},
        defect_case{"IdIsTooLong", R"([2,")" + std::string(37, 'i') + R"(","Heartbeat",{}])"},
        defect_case{"NestedTooDeep", nested(17)}, defect_case{"NestedFarTooDeep", std::string(60'000, '[')},
        defect_case{"NestedDeeperThanAStack", nested(500'000)},
        defect_case{"TooLarge", R"([2,"x1","Heartbeat",{"a":")" + std::string(64 * 1024, 'a') + "\"}]"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(OcppMessage, LimitsThemselvesArePermitted) {
  auto const longest_id = R"([2,")" + std::string(36, 'i') + R"(","Heartbeat",{}])";
  EXPECT_TRUE(std::holds_alternative<call>(decode(longest_id)));
  EXPECT_TRUE(std::holds_alternative<call>(decode(nested(16))));
  std::string const start = R"([2,"x1","Heartbeat",{"a":")";
  auto const largest = start + std::string(64 * 1024 - start.size() - 3, 'a') + "\"}]";
  ASSERT_EQ(largest.size(), 64U * 1024U);
  EXPECT_TRUE(std::holds_alternative<call>(decode(largest)));
}

TEST(OcppMessage, BracketsInsideTextDoNotNest) {
  auto const text = R"([2,"x1","DataTransfer",{"data":"\"[[[[[[[[[[[[[[[[[[[[{{{{{{{{{{{{{{{{{"}])";
  EXPECT_TRUE(std::holds_alternative<call>(decode(text)));
}

TEST(OcppMessage, BracketsThatAreClosedDoNotNest) {
  std::string wide = "[]";
  for (int count = 0; count < 100; ++count) {
    wide += ",{}";
  }
  auto const brackets = std::string(100, '[');
  for (auto const& value :
       {"\"" + brackets + "\"", "\"\\\"" + brackets + "\"", std::string(R"("\\")"), "[" + wide + "]"}) {
    auto const read = decode(R"([2,"7","Reset",{"a":)" + value + "}]");
    EXPECT_TRUE(std::holds_alternative<call>(read)) << value;
  }
}

TEST(OcppMessage, SaysFirstThatANestIsTooDeepAndThenThatAMessageIsTooLarge) {
  auto const why = [](std::string const& text) { return std::get<unidentified>(decode(text)).why; };
  EXPECT_EQ(why(nested(17)), "nested deeper than 16 levels");
  EXPECT_EQ(why(nested(500'000)), "nested deeper than 16 levels");
  EXPECT_EQ(why(std::string(64 * 1024 + 1, ' ')), "65537 bytes, at most 65536 are read");
}

TEST(OcppMessage, TextThatIsNotUtf8IsReplaced) {
  EXPECT_EQ(encode(call{"1", "B", {{"chargePointVendor", "A\xff"}}}),
            "[2,\"1\",\"B\",{\"chargePointVendor\":\"A\xef\xbf\xbd\"}]");
}

TEST(OcppMessage, IsWrittenAsItIsRead) {
  EXPECT_EQ(encode(call{"1", "GetDiagnostics", {{"location", "http://a/"}}}),
            R"([2,"1","GetDiagnostics",{"location":"http://a/"}])");
  EXPECT_EQ(encode(call_result{"2", json::object()}), R"([3,"2",{}])");
  EXPECT_EQ(encode(refused_call{"3", {error_code::occurence_constraint_violation, "too few"}}),
            R"([4,"3","OccurenceConstraintViolation","too few",{}])");
}

TEST(OcppMessage, EveryErrorCodeHasItsNameOnTheWire) {
  EXPECT_EQ(name_of(error_code::not_implemented), "NotImplemented");
  EXPECT_EQ(name_of(error_code::not_supported), "NotSupported");
  EXPECT_EQ(name_of(error_code::internal_error), "InternalError");
  EXPECT_EQ(name_of(error_code::formation_violation), "FormationViolation");
  EXPECT_EQ(name_of(error_code::property_constraint_violation), "PropertyConstraintViolation");
  EXPECT_EQ(name_of(error_code::type_constraint_violation), "TypeConstraintViolation");
}

TEST(OcppMessage, TextOfAStrangerFitsOneLineOfTheLog) {
  EXPECT_EQ(printable("Acme X7"), "Acme X7");
  EXPECT_EQ(printable("a\nb\x1B[2J\x7F"), "a?b?[2J?");
  EXPECT_EQ(printable("Gr\xC3\xBC\xC3\x9F"), "Gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(printable("a\xFFz"), "a?z");
  EXPECT_EQ(printable("abcdef", 3), "abc...");
  EXPECT_EQ(printable("ab\xC3\xBC", 3), "ab?...");
  EXPECT_EQ(printable(""), "");
}

}  // namespace
}  // namespace tavi::ocpp_wire
