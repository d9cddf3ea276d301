#include "ocpp/handshake.h"

#include <ostream>

#include <gtest/gtest.h>

namespace tavi::site::ocpp {
namespace {

struct target_case {
  char const* name;
  std::string target;
  std::optional<std::string> identity;
};

void PrintTo(target_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.target;
}

class target_of_station : public testing::TestWithParam<target_case> {};

TEST_P(target_of_station, NamesItsIdentityOrNone) {
  EXPECT_EQ(read_identity(GetParam().target), GetParam().identity);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, target_of_station,
    testing::Values(
        target_case{"Plain", "/ocpp/CP-01", "CP-01"}, target_case{"Escaped", "/ocpp/CP%2001%2fa", "CP 01/a"},
        target_case{"EscapedUtf8", "/ocpp/%C3%9C", "\xC3\x9C"},
        target_case{"QueryDoesNotCount", "/ocpp/CP?x=/1", "CP"},
        target_case{"PlusIsItself", "/ocpp/a+b", "a+b"}, target_case{"QuotesAreText", "/ocpp/%22%5C", "\"\\"},
        target_case{"Longest", "/ocpp/" + std::string(48, 'a'), std::string(48, 'a')},
        target_case{"TooLong", "/ocpp/" + std::string(49, 'a'), std::nullopt},
        target_case{"Empty", "/ocpp/", std::nullopt}, target_case{"EmptyWithQuery", "/ocpp/?a", std::nullopt},
        target_case{"FurtherFolder", "/ocpp/CP/1", std::nullopt},
        target_case{"ElsewhereIsNoStation", "/upload/CP", std::nullopt},
        target_case{"CutEscape", "/ocpp/CP%2", std::nullopt},
        target_case{"EscapeWithoutDigits", "/ocpp/CP%zz", std::nullopt},
        target_case{"EscapeWithSign", "/ocpp/CP%-1", std::nullopt},
        target_case{"LineBreak", "/ocpp/CP%0A", std::nullopt},
        target_case{"Zero", "/ocpp/CP%00", std::nullopt}, target_case{"Delete", "/ocpp/CP%7f", std::nullopt},
        target_case{"NoUtf8", "/ocpp/CP%FF", std::nullopt}),
    [](auto const& row) { return std::string(row.param.name); });

struct offer_case {
  char const* name;
  char const* offered;
  bool expected;
};

void PrintTo(offer_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.offered;
}

class offered_protocols : public testing::TestWithParam<offer_case> {};

TEST_P(offered_protocols, HoldOursOrNot) {
  EXPECT_EQ(has_sub_protocol(GetParam().offered), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, offered_protocols,
                         testing::Values(offer_case{"Ours", "ocpp1.6", true},
                                         offer_case{"OursAmongOthers", "ocpp2.0.1, ocpp1.6 ,ocpp1.5", true},
                                         offer_case{"OursLast", "ocpp1.5,\tocpp1.6", true},
                                         offer_case{"None", "", false},
                                         offer_case{"OnlyOthers", "ocpp2.0.1,ocpp1.5", false},
                                         offer_case{"OnlyAPart", "ocpp1.6x,xocpp1.6", false},
                                         offer_case{"OtherCase", "OCPP1.6", false},
                                         offer_case{"OnlyCommas", " , ,,", false}),
                         [](auto const& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace tavi::site::ocpp
