#include "commands/service_paths.h"

#include <fstream>

#include "commands/endpoint_probe.h"
#include "ctl_fixture.h"
#include "temporary_folder.h"
#include "without_privileges.h"

namespace tavi::ctl {
namespace {

/// A service in this process, whose current directory is a folder of the test's.
class ServicePaths : public ctl_test {
 public:
  ~ServicePaths() override { std::filesystem::current_path(before); }

 protected:
  ServicePaths() { std::filesystem::current_path(work); }

  std::filesystem::path const before = std::filesystem::current_path();
  temporary_folder own_folder;
  std::filesystem::path const work = std::filesystem::canonical(own_folder.path());
};

TEST_F(ServicePaths, CountFromTheServicesWorkingDirectory) {
  EXPECT_EQ(find_in_service("reports/station_3"), work / "reports/station_3");
  EXPECT_EQ(find_in_service("/reports"), "/reports");
}

TEST_F(ServicePaths, StayRelativeWhenNobodyListens) {
  server.stop();
  EXPECT_EQ(find_in_service("reports"), "reports");
}

TEST_F(ServicePaths, StayRelativeWhenThisUserMayNotKnowTheDirectory) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only root can become somebody else";
  }
  without_privileges const nobody;
  EXPECT_EQ(find_in_service("reports"), "reports");
}

TEST_F(ServicePaths, OfFirmwareCanBeOpened) {
  std::filesystem::create_directory(work / "firmware");
  std::ofstream(work / "firmware/7_fw.bin") << "x";
  std::vector<firmware> firmwares(3);
  firmwares[0].path = "/firmware/7_fw.bin";
  firmwares[1].path = (work / "firmware/7_fw.bin").string();
  make_path_openable(firmwares);
  EXPECT_EQ(firmwares[0].path, (work / "firmware/7_fw.bin").string());
  EXPECT_EQ(firmwares[1].path, (work / "firmware/7_fw.bin").string());
  EXPECT_EQ(firmwares[2].path, "");
}

TEST_F(ServicePaths, OfFirmwareStayAsTheyAreWhereNoFileIsFound) {
  firmware missing;
  missing.path = "/firmware/8_fw.bin";
  make_path_openable(missing);
  EXPECT_EQ(missing.path, "/firmware/8_fw.bin");
}

}  // namespace
}  // namespace tavi::ctl
