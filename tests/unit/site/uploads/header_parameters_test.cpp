#include "uploads/header_parameters.h"

#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

namespace tavi::site::uploads {
namespace {

using parameter_map = std::map<std::string, std::string>;

struct value_row {
  std::string text;
  std::string kind;
  parameter_map parameters;
};

void PrintTo(value_row const& row, std::ostream* out) {
  *out << row.text;
}

class HeaderValueTest : public testing::TestWithParam<value_row> {};

TEST_P(HeaderValueTest, IsTakenApart) {
  auto const value = parse_header_value(GetParam().text);

  EXPECT_EQ(value.kind, GetParam().kind);
  EXPECT_EQ(value.parameters, GetParam().parameters);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, HeaderValueTest,
    testing::Values(value_row{"", "", {}}, value_row{"text/plain", "text/plain", {}},
                    value_row{
                        " Multipart/Form-Data ; Boundary=x ", "multipart/form-data", {{"boundary", "x"}}},
                    value_row{"a;b=c;d=e", "a", {{"b", "c"}, {"d", "e"}}},
                    value_row{"a; b=\"c;d=e\"; f=g", "a", {{"b", "c;d=e"}, {"f", "g"}}},
                    value_row{R"(a; b="c\"d\\e")", "a", {{"b", R"(c"d\e)"}}},
                    value_row{R"(a; b="C:\logs\new.zip")", "a", {{"b", R"(C:\logs\new.zip)"}}},
                    value_row{"a; b=\"open", "a", {{"b", "open"}}}, value_row{"a; b=\"", "a", {{"b", ""}}},
                    value_row{"a; b=\"\\", "a", {{"b", "\\"}}}, value_row{"a; b=", "a", {{"b", ""}}},
                    value_row{"a; b", "a", {}}, value_row{"a;;; ;b=c", "a", {{"b", "c"}}},
                    value_row{"a; =c; d=e", "a", {{"d", "e"}}}, value_row{"a; b=1; b=2", "a", {{"b", "1"}}},
                    value_row{"a; b=\"c\"d; e=f", "a", {{"b", "c"}, {"e", "f"}}}, value_row{";", "", {}}));

struct boundary_row {
  char const* situation;
  std::string text;
  std::optional<std::string> boundary;
};

void PrintTo(boundary_row const& row, std::ostream* out) {
  *out << row.situation;
}

class BoundaryTest : public testing::TestWithParam<boundary_row> {};

TEST_P(BoundaryTest, IsFoundWhereItCanBeOne) {
  EXPECT_EQ(find_boundary(parse_header_value(GetParam().text)), GetParam().boundary);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, BoundaryTest,
    testing::Values(
        boundary_row{"none", "multipart/form-data", std::nullopt},
        boundary_row{"empty", "multipart/form-data; boundary=\"\"", std::nullopt},
        boundary_row{"plain", "multipart/form-data; boundary=----Web09az", "----Web09az"},
        boundary_row{"quoted", "multipart/form-data; boundary=\"a b'()+_,-./:=?c\"", "a b'()+_,-./:=?c"},
        boundary_row{"longest", "multipart/form-data; boundary=" + std::string(70, 'b'),
                     std::string(70, 'b')},
        boundary_row{"too long", "multipart/form-data; boundary=" + std::string(71, 'b'), std::nullopt},
        boundary_row{"ends with a blank", "multipart/form-data; boundary=\"b \"", std::nullopt},
        boundary_row{"forbidden byte", "multipart/form-data; boundary=\"b\r\nc\"", std::nullopt}));

struct name_row {
  std::string text;
  std::optional<std::string> name;
};

void PrintTo(name_row const& row, std::ostream* out) {
  *out << row.text;
}

class FileNameTest : public testing::TestWithParam<name_row> {};

TEST_P(FileNameTest, IsDecodedWhereThereIsOne) {
  EXPECT_EQ(find_file_name(parse_header_value(GetParam().text)), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, FileNameTest,
    testing::Values(name_row{"form-data; name=field", std::nullopt},
                    name_row{"form-data; filename=a.zip", "a.zip"}, name_row{"form-data; filename=\"\"", ""},
                    name_row{"form-data; filename=a; filename*=UTF-8''%C3%A9.zip", "\xc3\xa9.zip"},
                    name_row{"form-data; filename*=utf-8'en'b.zip; filename=a", "b.zip"},
                    name_row{"form-data; filename=a; filename*=ISO-8859-1''%E9", "a"},
                    name_row{"form-data; filename=a; filename*=UTF-8''%E", "a"},
                    name_row{"form-data; filename=a; filename*=plain", "a"},
                    name_row{"form-data; filename=a; filename*=UTF-8'", "a"},
                    name_row{"form-data; filename*=broken", ""}));

}  // namespace
}  // namespace tavi::site::uploads
