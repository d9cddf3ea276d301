#include "tavi/stations/station_diagnostics_status.h"

#include <gtest/gtest.h>

namespace {

using tavi::stations::station_diagnostics_status;
using tavi::stations::station_diagnostics_status_helper;

TEST(StationDiagnosticsStatus, HasANameForEachValue) {
  EXPECT_EQ(station_diagnostics_status_helper::name_of(station_diagnostics_status::idle), "idle");
  EXPECT_EQ(station_diagnostics_status_helper::name_of(station_diagnostics_status::uploaded), "uploaded");
  EXPECT_EQ(station_diagnostics_status_helper::name_of(station_diagnostics_status::upload_failed),
            "upload failed");
  EXPECT_EQ(station_diagnostics_status_helper::name_of(station_diagnostics_status::uploading), "uploading");
}

TEST(StationDiagnosticsStatus, IsUnknownBeyondThem) {
  EXPECT_EQ(station_diagnostics_status_helper::name_of(static_cast<station_diagnostics_status>(4)),
            "unknown");
}

}  // namespace
