#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service_fixture.h"
#include "station_options.h"
#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;

/// A service that finds the files as they are shipped.
class ShippedConfiguration : public ServiceTest {
 protected:
  ShippedConfiguration() {
    for (auto const* const name : {"stations_maintenance_service.toml", "supported_stations.json"}) {
      std::filesystem::copy_file(std::filesystem::path(SHIPPED_CONFIGURATION) / name, folder.path() / name,
                                 std::filesystem::copy_options::overwrite_existing);
    }
  }

  /// Puts another text into the place of one that must be there.
  void change(std::string const& from, std::string const& to) const {
    std::string const name = "stations_maintenance_service.toml";
    auto text = content_of(folder.path() / name);
    ASSERT_NE(text.find(from), std::string::npos) << from;
    folder.write(name, text.replace(text.find(from), from.size(), to));
  }
};

TEST_F(ShippedConfiguration, IsAllThatTheServiceNeeds) {
  EXPECT_TRUE(init());
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "diagnostic_reports"));
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "firmware"));
}

TEST_F(ShippedConfiguration, BoundsWhatMayBeSetAtRunTime) {
  ASSERT_TRUE(init());
  EXPECT_TRUE(service.update_period_generation(31536000s));
  EXPECT_FALSE(service.update_period_generation(31536001s));
  EXPECT_TRUE(service.update_max_periodic_diagnostic(1000));
  EXPECT_FALSE(service.update_max_periodic_diagnostic(1001));
}

TEST_F(ShippedConfiguration, RefusesANegativePeriodWhateverItsLimits) {
  change("period_for_automatic_generation = { min = 0,", "period_for_automatic_generation = { min = -10,");
  ASSERT_TRUE(init());
  EXPECT_FALSE(service.update_period_generation(-1s));
  EXPECT_TRUE(service.update_period_generation(0s));
}

TEST_F(ShippedConfiguration, MayBeginOutsideItsLimits) {
  change("\nmax_periodic_report_per_station = 10\n", "\nmax_periodic_report_per_station = 1001\n");
  EXPECT_TRUE(init());
}

TEST_F(ShippedConfiguration, TakesItsLargestBudget) {
  change("max_total_directory_size = 1073741824", "max_total_directory_size = 4294967295");
  EXPECT_TRUE(init());
}

TEST_F(ShippedConfiguration, RefusesABudgetAboveTheLargest) {
  change("max_total_directory_size = 1073741824", "max_total_directory_size = 4294967296");
  EXPECT_FALSE(init());
  EXPECT_TRUE(log.holds(spdlog::level::err,
                        "'diagnostic_report.max_total_directory_size' is 4294967296, expected an integer "
                        "from 0 to 4294967295"));
}

TEST_F(ShippedConfiguration, KnowsTheModelOfTheSimulatedStation) {
  tavi::stations::station_model_provider provider;
  ASSERT_TRUE(provider.load((folder.path() / "supported_stations.json").string()));
  tavi::simulator::station_options const station;
  auto const* const name = provider.find_station_model(station.vendor, station.model);
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(*name, "X7-22");
}

}  // namespace
}  // namespace tavi::stations_maintenance
