#include "ocpp/stations_file.h"

#include <ostream>

#include <gtest/gtest.h>

namespace tavi::site::ocpp {
namespace {

TEST(StationsFile, IsReadAsItWasWritten) {
  stations_file const content{8, 101, {{1, "CP \"1\"", "Acme", "X7\n"}, {7, "\xC3\x9C", "", ""}}};
  std::string error;
  EXPECT_EQ(parse_stations(format_stations(content), error), content) << error;
}

TEST(StationsFile, HoldsOneStationInALine) {
  stations_file const content{3, 1, {{1, "a", "", ""}, {2, "b", "", ""}}};
  EXPECT_EQ(format_stations(content),
            "{\"next_station\": 3, \"next_transaction\": 1, \"stations\": [\n"
            "{\"id\":1,\"identity\":\"a\",\"model\":\"\",\"vendor\":\"\"},\n"
            "{\"id\":2,\"identity\":\"b\",\"model\":\"\",\"vendor\":\"\"}\n]}\n");
}

TEST(StationsFile, WithoutStationsIsReadToo) {
  std::string error;
  EXPECT_EQ(parse_stations(format_stations({}), error), stations_file{}) << error;
}

struct broken_case {
  char const* name;
  std::string text;
};

void PrintTo(broken_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.text;
}

std::string file_with(std::string const& stations) {
  return R"({"next_station":5,"next_transaction":1,"stations":)" + stations + "}";
}

std::string entry(std::string const& id, std::string const& identity) {
  return R"({"id":)" + id + R"(,"identity":)" + identity + R"(,"vendor":"","model":""})";
}

class broken_file : public testing::TestWithParam<broken_case> {};

TEST_P(broken_file, IsRefusedWithAReason) {
  std::string error;
  EXPECT_EQ(parse_stations(GetParam().text, error), std::nullopt);
  EXPECT_FALSE(error.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, broken_file,
    testing::Values(
        broken_case{"Empty", ""}, broken_case{"CutOff", R"({"next_station":5,"next)"},
        broken_case{"List", "[]"}, broken_case{"NoStations", R"({"next_station":5,"next_transaction":1})"},
        broken_case{"NoNextStation", R"({"next_transaction":1,"stations":[]})"},
        broken_case{"NextStationIsZero", R"({"next_station":0,"next_transaction":1,"stations":[]})"},
        broken_case{"NextStationIsHuge", R"({"next_station":4294967296,"next_transaction":1,"stations":[]})"},
        broken_case{"NextTransactionIsText", R"({"next_station":1,"next_transaction":"1","stations":[]})"},
        broken_case{"StationsAreAnObject", file_with("{}")}, broken_case{"EntryIsANumber", file_with("[1]")},
        broken_case{"EntryLacksVendor", file_with(R"([{"id":1,"identity":"a","model":""}])")},
        broken_case{"IdIsZero", file_with("[" + entry("0", R"("a")") + "]")},
        broken_case{"IdIsNegative", file_with("[" + entry("-1", R"("a")") + "]")},
        broken_case{"IdWasNeverGiven", file_with("[" + entry("5", R"("a")") + "]")},
        broken_case{"IdTwice", file_with("[" + entry("1", R"("a")") + "," + entry("1", R"("b")") + "]")},
        broken_case{"IdentityTwice",
                    file_with("[" + entry("1", R"("a")") + "," + entry("2", R"("a")") + "]")},
        broken_case{"IdentityIsEmpty", file_with("[" + entry("1", R"("")") + "]")},
        broken_case{"IdentityWithLineBreak", file_with("[" + entry("1", R"("a\nb")") + "]")}),
    [](auto const& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace tavi::site::ocpp
