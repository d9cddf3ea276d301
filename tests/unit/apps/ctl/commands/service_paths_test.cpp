#include "commands/service_paths.h"

#include <stdexcept>

#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using ::testing::Return;
using ::testing::Throw;

class ServicePaths : public ctl_test {};

TEST_F(ServicePaths, CountFromTheServicesWorkingDirectory) {
  EXPECT_CALL(handler, on_get_working_directory).WillOnce(Return("/var/lib/tavi"));
  EXPECT_EQ(find_in_service(context, "reports/station_3").value, "/var/lib/tavi/reports/station_3");
}

TEST_F(ServicePaths, StayAsTheyAreWhenTheyAreAbsolute) {
  EXPECT_EQ(find_in_service(context, "/reports").value, "/reports");
}

TEST_F(ServicePaths, AreNotKnownWhenTheServiceDoesNotTell) {
  EXPECT_CALL(handler, on_get_working_directory).WillOnce(Throw(std::runtime_error("out of order")));
  auto const found = find_in_service(context, "reports");
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.code, exit_code::failed);
  EXPECT_EQ(console.complaints.size(), 1U);
}

TEST_F(ServicePaths, OfFirmwareAreWhereTheirFilesLie) {
  std::vector<firmware> firmwares(3);
  firmwares[0].id = 7;
  firmwares[0].path = "/firmware/7_fw.bin";
  firmwares[1].id = 8;
  firmwares[2].id = 9;
  firmwares[2].path = "/firmware/9_gone.bin";
  EXPECT_CALL(handler, on_get_firmware_file(7U)).WillOnce(Return("/var/lib/tavi/firmware/7_fw.bin"));
  EXPECT_CALL(handler, on_get_firmware_file(9U)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(make_paths_openable(context, firmwares), exit_code::done);
  EXPECT_EQ(firmwares[0].path, "/var/lib/tavi/firmware/7_fw.bin");
  EXPECT_EQ(firmwares[1].path, "");
  EXPECT_EQ(firmwares[2].path, "/firmware/9_gone.bin");
}

TEST_F(ServicePaths, OfFirmwareEndTheCommandWhenTheServiceDoesNotTell) {
  EXPECT_CALL(handler, on_get_firmware_file).WillOnce(Throw(std::runtime_error("out of order")));
  std::vector<firmware> firmwares(2);
  firmwares[0].path = firmwares[1].path = "/firmware/7_fw.bin";
  EXPECT_EQ(make_paths_openable(context, firmwares), exit_code::failed);
}

}  // namespace
}  // namespace tavi::ctl
