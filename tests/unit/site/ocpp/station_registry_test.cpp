#include "ocpp/station_registry.h"

#include <gtest/gtest.h>

#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site::ocpp {
namespace {

using tavi::stations::station_diagnostics_status;

class StationRegistry : public testing::Test {
 protected:
  /// What a site knows after a start on the same folder.
  station_registry restarted(std::size_t limit = 10) const {
    station_registry registry(file, limit);
    EXPECT_TRUE(registry.load());
    return registry;
  }

  /// Takes the folder away, so that nothing can be written.
  void break_disk() const { std::filesystem::remove_all(folder); }

  log_capture log;
  temporary_folder state;
  std::filesystem::path folder = [this] {
    std::filesystem::create_directory(state.path() / "state");
    return state.path() / "state";
  }();
  std::filesystem::path file = folder / "stations.json";
};

TEST_F(StationRegistry, NumbersStationsFromOne) {
  auto registry = restarted();
  EXPECT_EQ(registry.add("CP-1"), 1U);
  EXPECT_EQ(registry.add("CP-2"), 2U);
  EXPECT_EQ(registry.find("CP-2"), 2U);
  EXPECT_EQ(registry.find("CP-3"), std::nullopt);
  EXPECT_EQ(registry.get_all().size(), 2U);
}

TEST_F(StationRegistry, KnowsItsStationsAfterARestart) {
  {
    auto registry = restarted();
    ASSERT_EQ(registry.add("CP-1"), 1U);
    registry.set_model(1, "Acme", "X7");
    EXPECT_TRUE(registry.save_changes());
    registry.set_connected(1, true);
    registry.set_diagnostics_status(1, station_diagnostics_status::uploading);
  }
  auto const station = restarted().get(1);
  ASSERT_TRUE(station.has_value());
  EXPECT_EQ(station->identity, "CP-1");
  EXPECT_EQ(station->vendor, "Acme");
  EXPECT_EQ(station->model, "X7");
  EXPECT_FALSE(station->connected);
  EXPECT_EQ(station->diagnostics_status, station_diagnostics_status::idle);
}

TEST_F(StationRegistry, NeverGivesTheNumberOfAStationThatWasTakenOut) {
  state.write("state/stations.json",
              R"({"next_station":9,"next_transaction":1,"stations":[
                 {"id":2,"identity":"CP-2","vendor":"","model":""}]})");
  auto registry = restarted();
  EXPECT_EQ(registry.add("CP-9"), 9U);
  EXPECT_EQ(restarted().add("CP-10"), 10U);
}

TEST_F(StationRegistry, TakesInNoMoreStationsThanAllowed) {
  auto registry = restarted(1);
  ASSERT_EQ(registry.add("CP-1"), 1U);
  EXPECT_EQ(registry.add("CP-2"), std::nullopt);
  EXPECT_EQ(registry.find("CP-2"), std::nullopt);
  EXPECT_FALSE(registry.has_room());
  EXPECT_TRUE(log.holds(spdlog::level::err, "CP-2"));
}

TEST_F(StationRegistry, DoesNotKnowAStationThatItCannotKeep) {
  auto registry = restarted();
  break_disk();
  EXPECT_EQ(registry.add("CP-1"), std::nullopt);
  EXPECT_EQ(registry.find("CP-1"), std::nullopt);
  EXPECT_TRUE(registry.get_all().empty());
  EXPECT_TRUE(log.holds(spdlog::level::err, file.string()));
}

TEST_F(StationRegistry, GivesTheSameNumberOnceTheDiskIsThereAgain) {
  auto registry = restarted();
  break_disk();
  ASSERT_EQ(registry.add("CP-1"), std::nullopt);
  std::filesystem::create_directory(folder);
  EXPECT_EQ(registry.add("CP-1"), 1U);
}

TEST_F(StationRegistry, KeepsAModelThatCouldNotBeWrittenForTheNextTime) {
  auto registry = restarted();
  ASSERT_EQ(registry.add("CP-1"), 1U);
  break_disk();
  registry.set_model(1, "Acme", "X7");
  EXPECT_FALSE(registry.save_changes());
  EXPECT_TRUE(log.holds(spdlog::level::err, file.string()));
  EXPECT_TRUE(registry.has_changes());
  EXPECT_EQ(registry.get(1).value().vendor, "Acme");
  std::filesystem::create_directory(folder);
  EXPECT_TRUE(registry.save_changes());
  EXPECT_EQ(restarted().get(1).value().vendor, "Acme");
}

TEST_F(StationRegistry, WritesAModelOnlyWhenAskedTo) {
  auto registry = restarted();
  ASSERT_EQ(registry.add("CP-1"), 1U);
  auto const before = content_of(file);
  registry.set_model(1, "Acme", "X7");
  EXPECT_TRUE(registry.has_changes());
  EXPECT_EQ(content_of(file), before);
  EXPECT_TRUE(registry.save_changes());
  EXPECT_NE(content_of(file), before);
}

TEST_F(StationRegistry, ModelIsKeptAlongWithANewStation) {
  auto registry = restarted();
  ASSERT_EQ(registry.add("CP-1"), 1U);
  registry.set_model(1, "Acme", "X7");
  ASSERT_EQ(registry.add("CP-2"), 2U);
  EXPECT_FALSE(registry.has_changes());
  EXPECT_EQ(restarted().get(1).value().model, "X7");
}

TEST_F(StationRegistry, WritesNothingWhenAStationTellsNoNews) {
  auto registry = restarted();
  ASSERT_EQ(registry.add("CP-1"), 1U);
  registry.set_model(1, "Acme", "X7");
  ASSERT_TRUE(registry.save_changes());
  break_disk();
  registry.set_model(1, "Acme", "X7");
  EXPECT_FALSE(registry.has_changes());
  EXPECT_TRUE(registry.save_changes());
}

TEST_F(StationRegistry, TellsWhetherADiagnosticsStatusIsNews) {
  auto registry = restarted();
  ASSERT_EQ(registry.add("CP-1"), 1U);
  EXPECT_TRUE(registry.set_diagnostics_status(1, station_diagnostics_status::uploading));
  EXPECT_FALSE(registry.set_diagnostics_status(1, station_diagnostics_status::uploading));
  EXPECT_EQ(registry.get(1).value().diagnostics_status, station_diagnostics_status::uploading);
}

TEST_F(StationRegistry, NeverGivesATransactionNumberTwice) {
  std::int32_t last = 0;
  for (int run = 0; run < 3; ++run) {
    auto registry = restarted();
    for (int transaction = 0; transaction < 150; ++transaction) {
      auto const id = registry.make_transaction_id();
      ASSERT_TRUE(id.has_value());
      ASSERT_GT(*id, last);
      last = *id;
    }
  }
}

TEST_F(StationRegistry, OneWriteServesAThousandTransactions) {
  auto registry = restarted();
  ASSERT_EQ(registry.make_transaction_id(), 1);
  break_disk();
  for (int transaction = 2; transaction <= 1000; ++transaction) {
    ASSERT_EQ(registry.make_transaction_id(), transaction);
  }
  EXPECT_EQ(registry.make_transaction_id(), std::nullopt);
}

TEST_F(StationRegistry, GivesNoTransactionNumberThatItCannotSetAside) {
  auto registry = restarted();
  break_disk();
  EXPECT_EQ(registry.make_transaction_id(), std::nullopt);
}

TEST_F(StationRegistry, GivesNoTransactionNumberAfterTheLast) {
  state.write("state/stations.json", R"({"next_station":1,"next_transaction":2147483600,"stations":[]})");
  auto registry = restarted();
  EXPECT_EQ(registry.make_transaction_id(), std::nullopt);
  EXPECT_TRUE(log.holds(spdlog::level::err, "no transaction number"));
}

TEST_F(StationRegistry, RefusesABrokenFileAndLeavesItAsItIs) {
  state.write("state/stations.json", "{\"next_station\": 3, ");
  station_registry registry(file, 10);
  EXPECT_FALSE(registry.load());
  EXPECT_TRUE(log.holds(spdlog::level::err, file.string()));
  EXPECT_EQ(content_of(file), "{\"next_station\": 3, ");
}

TEST_F(StationRegistry, RefusesWhatIsNoFile) {
  std::filesystem::create_directory(file);
  station_registry registry(file, 10);
  EXPECT_FALSE(registry.load());
  EXPECT_TRUE(log.holds(spdlog::level::err, file.string()));
}

}  // namespace
}  // namespace tavi::site::ocpp
