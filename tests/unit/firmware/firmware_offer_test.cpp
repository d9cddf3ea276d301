#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using tavi::logger::log_subtype;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::Return;

class FirmwareQueries : public FirmwareManagerTest {
 protected:
  /// Has the OCPP service know station 5 as one of this vendor and model.
  void given_station(std::string const& vendor, std::string const& model) {
    tavi::stations::charging_station station;
    station.id = 5;
    station.vendor = vendor;
    station.model = model;
    ON_CALL(run.ocpp, get_charging_station(5)).WillByDefault(Return(station));
  }

  /// The ids offered to station 5.
  [[nodiscard]] std::vector<unsigned int> offered() {
    std::vector<unsigned int> ids;
    auto const firmwares = manager.get_available_firmware_for_station(5);
    for (auto const& one : firmwares.value()) {
      EXPECT_EQ(one.status, status::available);
      ids.push_back(one.id);
    }
    return ids;
  }
};

// --- one firmware and all of them ----------------------------------------------------------------------

TEST_F(FirmwareQueries, ShowAnAvailableFirmwareWithAllThatIsKnown) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_stored("1.2", {"Y2", "X7"});
  auto const firmware = manager.get_firmware_from_id(id).value();
  EXPECT_EQ(firmware.version, "1.2");
  EXPECT_EQ(firmware.path, run.stored_file(id));
  EXPECT_EQ(firmware.size, 7U);
  EXPECT_EQ(firmware.hash.size(), 64U);
  EXPECT_THAT(firmware.models, ElementsAre("X7", "Y2"));
  EXPECT_EQ(firmware.status, status::available);
  EXPECT_THAT(manager.get_all_firmwares().value(), ElementsAre(firmware));
}

TEST_F(FirmwareQueries, ShowAnAnnouncedFirmwareWithoutAFile) {
  ASSERT_TRUE(run.init());
  run.announce("1.2");
  station_firmware_info const expected{1, "1.2", "", 0, "", {"X7"}, status::pending_upload};
  EXPECT_EQ(manager.get_firmware_from_id(1), expected);
  EXPECT_THAT(manager.get_all_firmwares().value(), ElementsAre(expected));
}

TEST_F(FirmwareQueries, ShowAFirmwareWithoutAVersionAsSuch) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_row("", in_folder("vanished"));
  EXPECT_EQ(manager.get_firmware_from_id(id).value().status, status::without_version);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(id, status::without_version)));
}

TEST_F(FirmwareQueries, FindNothingUnderAnUnknownId) {
  ASSERT_TRUE(run.init());
  EXPECT_EQ(manager.get_firmware_from_id(77), std::nullopt);
  EXPECT_THAT(manager.get_all_firmwares().value(), IsEmpty());
}

TEST_F(FirmwareQueries, AnswerNothingWithoutTheDatabase) {
  ASSERT_TRUE(run.init());
  run.given_stored("1");
  run.faults.fail_to_execute("FROM FirmwareTable");
  EXPECT_EQ(manager.get_firmware_from_id(1), std::nullopt);
  EXPECT_EQ(manager.get_all_firmwares(), std::nullopt);
  given_station("Acme", "X7");
  EXPECT_EQ(manager.get_available_firmware_for_station(5), std::nullopt);
}

TEST_F(FirmwareQueries, ShowEveryPathOfARelativeStoreWithASlashBefore) {
  ASSERT_TRUE(run.init({}, "fw"));
  run.given_stored("1");
  given_station("Acme", "X7");
  EXPECT_EQ(manager.get_firmware_from_id(1).value().path, "/fw/1_fw.bin");
  EXPECT_EQ(manager.get_all_firmwares().value().at(0).path, "/fw/1_fw.bin");
  EXPECT_EQ(manager.get_available_firmware_for_station(5).value().at(0).path, "/fw/1_fw.bin");
  EXPECT_EQ(run.table.get_firmware(1).value().path, "fw/1_fw.bin");
}

TEST_F(FirmwareQueries, MakeAnOverdueUploadAFailedOneAtTheFirstLookAtIt) {
  auto const one = given_overdue("1");
  EXPECT_THAT(run.row_ids(), ElementsAre(one.id));

  auto const firmware = manager.get_firmware_from_id(one.id).value();

  EXPECT_EQ(firmware, (station_firmware_info{one.id, "1", "", 0, "", {"X7"}, status::failed}));
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_EQ(manager.get_firmware_from_id(one.id), firmware);
  EXPECT_THAT(manager.get_all_firmwares().value(), ElementsAre(firmware));
}

TEST_F(FirmwareQueries, ListFailedUploadsLastInTheOrderOfTheirFailure) {
  auto const first = given_overdue("1");
  auto const second = given_overdue("2");
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(3600)}));
  // That start dropped both rows, not the announcements; so what fails now is told from those.
  EXPECT_THAT(run.row_ids(), IsEmpty());
  auto const stored = run.given_stored("3");
  auto const third = run.announce("4");
  manager.set_failed_upload(second.id, status::failed);
  manager.set_failed_upload(first.id, status::failed);
  EXPECT_THAT(run.listed(),
              ElementsAre(Pair(stored, status::available), Pair(third.id, status::pending_upload),
                          Pair(second.id, status::failed), Pair(first.id, status::failed)));
}

TEST_F(FirmwareQueries, MoveAnOverdueUploadToTheEndOfTheList) {
  auto const overdue = given_overdue("1");
  auto const stored = run.given_row("2", folder.write("file", "x").string());
  EXPECT_THAT(run.listed(), ElementsAre(Pair(stored, status::available), Pair(overdue.id, status::failed)));
  EXPECT_THAT(run.row_ids(), ElementsAre(stored));
}

enum class query { by_id, list, for_station };

struct vanished_case {
  char const* situation;
  query first;
};

void PrintTo(vanished_case const& one, std::ostream* out) {
  *out << one.situation;
}

class VanishedFile : public FirmwareQueries, public testing::WithParamInterface<vanished_case> {
 protected:
  /// Whether the query shows the firmware.
  [[nodiscard]] bool shows(query asked, unsigned int id) {
    switch (asked) {
      case query::by_id:
        return manager.get_firmware_from_id(id).has_value();
      case query::list:
        return !manager.get_all_firmwares().value().empty();
      case query::for_station:
        return !manager.get_available_firmware_for_station(5).value().empty();
    }
    return false;
  }
};

TEST_P(VanishedFile, TakesItsFirmwareOutOfEveryQueryAndTheDatabase) {
  ASSERT_TRUE(run.init());
  given_station("Acme", "X7");
  auto const id = run.given_stored("1.2");
  for (auto const asked : {query::by_id, query::list, query::for_station}) {
    EXPECT_TRUE(shows(asked, id));
  }
  fs::remove(run.stored_file(id));
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted,
                                              "Firmware deleted version: 1.2 id=1 for models: X7"))
      .Times(1);

  EXPECT_FALSE(shows(GetParam().first, id));

  EXPECT_THAT(run.row_ids(), IsEmpty());
  for (auto const asked : {query::by_id, query::list, query::for_station}) {
    EXPECT_FALSE(shows(asked, id));
  }
}

INSTANTIATE_TEST_SUITE_P(Each, VanishedFile,
                         testing::Values(vanished_case{"SeenById", query::by_id},
                                         vanished_case{"SeenInTheList", query::list},
                                         vanished_case{"SeenForAStation", query::for_station}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareQueries, GoOnShowingAFirmwareWhoseRowCannotBeRemoved) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_stored("1.2");
  fs::remove(run.stored_file(id));
  run.faults.fail_to_execute("DELETE");
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, HasSubstr("id=1"))).Times(2);
  EXPECT_EQ(manager.get_firmware_from_id(id).value().status, status::available);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(id, status::available)));
}

// --- what a station may have ---------------------------------------------------------------------------

TEST_F(FirmwareQueries, OfferWhatFitsTheStationsModelInTheOrderOfAnnouncement) {
  ASSERT_TRUE(run.init());
  auto const first = run.given_stored("1", {"X7", "Y2"});
  run.given_stored("2", {"Y2"});
  auto const third = run.given_stored("3", {"X7"});
  given_station("Acme", "X7");
  EXPECT_THAT(offered(), ElementsAre(first, third));
}

TEST_F(FirmwareQueries, GoByTheSitesNameOfTheModelNotTheStationsOwn) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_stored("1", {"X7"});
  given_station("Acme", "X7-S");
  EXPECT_THAT(offered(), ElementsAre(id));
}

TEST_F(FirmwareQueries, OfferNothingThatIsAnnouncedOverdueFailedOrWithoutVersion) {
  given_overdue("overdue");
  ASSERT_TRUE(run.init());
  run.announce("announced");
  run.given_row("", folder.write("file", "x").string());
  auto const failed = run.announce(std::nullopt);
  manager.on_file_uploaded(manager_run::token_of(failed), "fw.bin", run.given_uploaded("fw.bin", "x"));
  given_station("Acme", "X7");
  EXPECT_THAT(offered(), IsEmpty());
}

TEST_F(FirmwareQueries, MakeAnOverdueUploadAFailedOneWhenAStationIsOffered) {
  auto const one = given_overdue("1");
  given_station("Acme", "X7");
  EXPECT_THAT(offered(), IsEmpty());
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_THAT(run.listed(), ElementsAre(Pair(one.id, status::failed)));
}

TEST_F(FirmwareQueries, OfferNothingForASupportedModelWithoutFirmware) {
  ASSERT_TRUE(run.init());
  given_station("Other", "Z3");
  EXPECT_THAT(offered(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareQueries, HaveNoAnswerForAnUnknownStation) {
  ASSERT_TRUE(run.init());
  EXPECT_CALL(run.ocpp, get_charging_station(6)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(manager.get_available_firmware_for_station(6), std::nullopt);
  EXPECT_THAT(log.lines(), IsEmpty());
}

struct unknown_model_case {
  char const* situation;
  char const* vendor;
  char const* model;
};

void PrintTo(unknown_model_case const& one, std::ostream* out) {
  *out << one.situation;
}

class UnknownStationModel : public FirmwareQueries, public testing::WithParamInterface<unknown_model_case> {};

TEST_P(UnknownStationModel, HasNoAnswerAndIsNamed) {
  ASSERT_TRUE(run.init());
  auto const& [situation, vendor, model] = GetParam();
  given_station(vendor, model);
  EXPECT_EQ(manager.get_available_firmware_for_station(5), std::nullopt);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, std::string("[fw_storage_mgr] Unknown station model ") +
                                                         model + " of vendor " + vendor}));
}

INSTANTIATE_TEST_SUITE_P(Each, UnknownStationModel,
                         testing::Values(unknown_model_case{"UnknownModel", "Acme", "X8"},
                                         unknown_model_case{"AnotherVendorsModel", "Other", "X7"},
                                         unknown_model_case{"NotHeardOfYet", "", ""}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

}  // namespace
}  // namespace tavi::stations_maintenance
