#include "commands/report_choice.h"

#include <ostream>

#include <gtest/gtest.h>

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t now_seconds = 1795179909;
constexpr std::chrono::system_clock::time_point time_of_choice(std::chrono::seconds{now_seconds});

diagnostic_report_info report_of(std::uint32_t id, std::uint32_t station, std::int64_t age,
                                 diagnostic_report_type type = diagnostic_report_type::manual,
                                 std::uint32_t size = 1000) {
  return {id, station, "log_" + std::to_string(id), now_seconds - age, type, size};
}

std::vector<std::uint32_t> ids_of(std::vector<diagnostic_report_info> const& reports) {
  std::vector<std::uint32_t> ids;
  for (auto const& report : reports) {
    ids.push_back(report.diagnostic_id);
  }
  return ids;
}

struct choice_case {
  char const* name;
  report_choice choice;
  std::vector<std::uint32_t> chosen;
};

void PrintTo(choice_case const& row, std::ostream* out) {
  *out << row.name;
}

class ReportChoice : public testing::TestWithParam<choice_case> {};

TEST_P(ReportChoice, TakesThoseThatFulfilEveryCondition) {
  std::vector<diagnostic_report_info> const reports = {
      report_of(1, 1, 3600, diagnostic_report_type::periodic, 10),
      report_of(2, 1, 60, diagnostic_report_type::manual, 2000),
      report_of(3, 2, 0, diagnostic_report_type::periodic, 1000),
      report_of(4, 3, -5, diagnostic_report_type::manual, 999),
      report_of(5, 3, 7200, static_cast<diagnostic_report_type>(9), 0),
  };
  EXPECT_EQ(ids_of(choose_reports(reports, GetParam().choice, time_of_choice)), GetParam().chosen);
}

constexpr auto manual = diagnostic_report_type::manual;
constexpr auto periodic = diagnostic_report_type::periodic;

INSTANTIATE_TEST_SUITE_P(
    EveryCondition, ReportChoice,
    testing::Values(choice_case{"None", {}, {1, 2, 3, 4, 5}},
                    choice_case{"Station", {{1}, {}, {}, {}, {}}, {1, 2}},
                    choice_case{"Stations", {{3, 2}, {}, {}, {}, {}}, {3, 4, 5}},
                    choice_case{"UnknownStation", {{9}, {}, {}, {}, {}}, {}},
                    choice_case{"Manual", {{}, manual, {}, {}, {}}, {2, 4}},
                    choice_case{"Periodic", {{}, periodic, {}, {}, {}}, {1, 3}},
                    choice_case{"OlderThanExactly", {{}, {}, 3600s, {}, {}}, {1, 5}},
                    choice_case{"OlderThanASecondMore", {{}, {}, 3601s, {}, {}}, {5}},
                    choice_case{"NewerThanExactly", {{}, {}, {}, 60s, {}}, {2, 3, 4}},
                    choice_case{"NewerThanASecondLess", {{}, {}, {}, 59s, {}}, {3, 4}},
                    choice_case{"OlderThanNothingLeavesTheFutureOut", {{}, {}, 0s, {}, {}}, {1, 2, 3, 5}},
                    choice_case{"Between", {{}, {}, 60s, 3600s, {}}, {1, 2}},
                    choice_case{"LargerThanExactly", {{}, {}, {}, {}, 1000}, {2, 3}},
                    choice_case{"LargerThanAByteMore", {{}, {}, {}, {}, 1001}, {2}},
                    choice_case{"Everything", {{1}, manual, 60s, 60s, 2000}, {2}}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(ReportChoice, WithoutConditionsIsEmpty) {
  EXPECT_TRUE(report_choice{}.is_empty());
  EXPECT_FALSE((report_choice{{}, {}, 0s, {}, {}}.is_empty()));
}

TEST(SelectedReports, ComeInTheOrderOfTheIdsAndOnce) {
  std::vector<diagnostic_report_info> const reports = {report_of(1, 1, 0), report_of(2, 1, 0),
                                                       report_of(3, 1, 0)};
  auto const selection = select_reports(reports, {3, 1, 3, 9, 9, 1, 8});
  EXPECT_EQ(ids_of(selection.found), (std::vector<std::uint32_t>{3, 1}));
  EXPECT_EQ(selection.unknown, (std::vector<std::uint32_t>{9, 8}));
}

struct order_case {
  char const* name;
  report_order order;
  bool is_descending;
  std::vector<std::uint32_t> sorted;
};

void PrintTo(order_case const& row, std::ostream* out) {
  *out << row.name;
}

class ReportOrder : public testing::TestWithParam<order_case> {};

TEST_P(ReportOrder, SortsByTheFieldThenById) {
  std::vector<diagnostic_report_info> reports = {{4, 1, "b", 40, manual, 5},
                                                 {2, 3, "a", 10, periodic, 7},
                                                 {1, 3, "c", 40, manual, 7},
                                                 {3, 2, "b", 20, manual, 6}};
  sort_reports(reports, GetParam().order, GetParam().is_descending);
  EXPECT_EQ(ids_of(reports), GetParam().sorted);
}

INSTANTIATE_TEST_SUITE_P(
    EveryField, ReportOrder,
    testing::Values(order_case{"Id", report_order::id, false, {1, 2, 3, 4}},
                    order_case{"IdDescending", report_order::id, true, {4, 3, 2, 1}},
                    order_case{"Station", report_order::station, false, {4, 3, 1, 2}},
                    order_case{"StationDescending", report_order::station, true, {1, 2, 3, 4}},
                    order_case{"Name", report_order::name, false, {2, 3, 4, 1}},
                    order_case{"Time", report_order::time, false, {2, 3, 1, 4}},
                    order_case{"TimeDescending", report_order::time, true, {1, 4, 3, 2}},
                    order_case{"Type", report_order::type, false, {2, 1, 3, 4}},
                    order_case{"Size", report_order::size, false, {4, 3, 1, 2}},
                    order_case{"SizeDescending", report_order::size, true, {1, 2, 3, 4}}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(TotalSize, DoesNotEndAtThirtyTwoBits) {
  std::vector<diagnostic_report_info> const reports = {report_of(1, 1, 0, manual, 4294967295),
                                                       report_of(2, 1, 0, manual, 4294967295)};
  EXPECT_EQ(total_size(reports), 8589934590U);
  EXPECT_EQ(total_size({}), 0U);
}

}  // namespace
}  // namespace tavi::ctl
