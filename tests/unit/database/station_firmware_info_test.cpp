#include "stations_maintenance/station_firmware_info.h"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

namespace tavi::stations_maintenance {
namespace {

TEST(StationFirmwareStatus, HasTheCodesThatAreExchanged) {
  static_assert(std::is_same_v<std::underlying_type_t<station_firmware_status>, std::int32_t>);
  EXPECT_EQ(static_cast<int>(station_firmware_status::none), -1);
  EXPECT_EQ(static_cast<int>(station_firmware_status::available), 0);
  EXPECT_EQ(static_cast<int>(station_firmware_status::pending_upload), 1);
  EXPECT_EQ(static_cast<int>(station_firmware_status::being_processed), 2);
  EXPECT_EQ(static_cast<int>(station_firmware_status::without_version), 4);
  EXPECT_EQ(static_cast<int>(station_firmware_status::failed), 5);
}

TEST(StationFirmwareInfo, IsEmptyAndHasNoStatusUntilFilled) {
  station_firmware_info const fresh;
  EXPECT_EQ(fresh.id, 0U);
  EXPECT_EQ(fresh.version, "");
  EXPECT_EQ(fresh.path, "");
  EXPECT_EQ(fresh.size, 0U);
  EXPECT_EQ(fresh.hash, "");
  EXPECT_TRUE(fresh.models.empty());
  EXPECT_EQ(fresh.status, station_firmware_status::none);
}

TEST(StationFirmwareInfo, IsCopiedWithItsModels) {
  station_firmware_info original{
      3, "1.2", "/store/3_fw.bin", 10, "abcd", {"A", "B"}, station_firmware_status::available};
  auto const copy = original;
  EXPECT_EQ(copy, original);
  original.models.push_back("C");
  EXPECT_EQ(copy.models.size(), 2U);
  EXPECT_NE(copy, original);
}

}  // namespace
}  // namespace tavi::stations_maintenance
