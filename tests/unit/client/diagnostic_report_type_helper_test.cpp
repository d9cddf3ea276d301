#include <gtest/gtest.h>

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {
namespace {

TEST(DiagnosticReportTypeHelper, NamesEachTypeAndFallsBackForOthers) {
  EXPECT_EQ(diagnostic_report_type_helper::name_of(diagnostic_report_type::periodic), "periodic");
  EXPECT_EQ(diagnostic_report_type_helper::name_of(diagnostic_report_type::manual), "manual");
  EXPECT_EQ(diagnostic_report_type_helper::name_of(static_cast<diagnostic_report_type>(2)), "unknown");
  EXPECT_EQ(diagnostic_report_type_helper::name_of(static_cast<diagnostic_report_type>(-1)), "unknown");
}

TEST(DiagnosticReportInfo, HasNoTypeUntilFilled) {
  diagnostic_report_info const fresh;
  EXPECT_EQ(static_cast<int>(fresh.type), -1);
  EXPECT_EQ(fresh.size, 0U);
}

}  // namespace
}  // namespace tavi::stations_maintenance
