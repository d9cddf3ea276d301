#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::err;
using spdlog::level::warn;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::Return;

class FirmwareAnnouncement : public FirmwareManagerTest {};

TEST_F(FirmwareAnnouncement, AnswersWithTheUploadUriAndTheNewId) {
  ASSERT_TRUE(run.init());
  EXPECT_CALL(run.tokens, get_upload_token("fw_storage_mgr")).WillOnce(Return("abc"));

  auto const one = run.announce("1.2", {"Y2", "X7"});

  EXPECT_EQ(one.code, store_firmware_result::announced);
  EXPECT_EQ(one.uri, "/upload/abc");
  EXPECT_EQ(one.id, 1U);
  EXPECT_TRUE(manager.is_my_token("abc"));
  station_firmware_info const row{1, "1.2", "", 0, "", {"X7", "Y2"}, status::none};
  EXPECT_THAT(run.table.get_all_firmwares().value(), ElementsAre(row));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareAnnouncement, TakesAFirmwareWithoutAVersion) {
  ASSERT_TRUE(run.init());
  EXPECT_EQ(run.announce(std::nullopt).code, store_firmware_result::announced);
  EXPECT_EQ(run.table.get_firmware(1).value().version, "");
}

TEST_F(FirmwareAnnouncement, GivesEachItsOwnTokenAndIdAndNeverAnIdTwice) {
  ASSERT_TRUE(run.init());
  EXPECT_EQ(run.announce("1").id, 1U);
  EXPECT_EQ(run.announce("2").uri, "/upload/token 2");
  EXPECT_EQ(manager.delete_firmware(2), delete_firmware_result::deleted);
  EXPECT_EQ(run.announce("3").id, 3U);
}

struct refused_case {
  char const* situation;
  std::optional<std::string> version;
  texts models;
  store_firmware_result code;
  char const* line;
};

void PrintTo(refused_case const& one, std::ostream* out) {
  *out << one.situation;
}

class RefusedAnnouncement : public FirmwareManagerTest, public testing::WithParamInterface<refused_case> {};

TEST_P(RefusedAnnouncement, AsksForNoTokenAndAddsNoRow) {
  ASSERT_TRUE(run.init());
  auto const stored = run.given_stored("1.0", {"X7", "Y2"});
  log.clear();
  EXPECT_CALL(run.tokens, get_upload_token).Times(0);

  auto const one = run.announce(GetParam().version, GetParam().models);

  EXPECT_EQ(one.code, GetParam().code);
  EXPECT_EQ(one.uri, "unchanged");
  EXPECT_THAT(run.row_ids(), ElementsAre(stored));
  EXPECT_THAT(log.lines(), Contains(log_line{err, GetParam().line}).Times(1));
  EXPECT_EQ(manager.check_not_already_exists_and_max_not_reached(GetParam().version, GetParam().models),
            GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(Each, RefusedAnnouncement,
                         testing::Values(refused_case{"NoModels",
                                                      "2.0",
                                                      {},
                                                      store_firmware_result::model_refused,
                                                      "[fw_storage_mgr] No models associated to firmware"},
                                         refused_case{"EmptyVersion",
                                                      "",
                                                      {"X7"},
                                                      store_firmware_result::version_refused,
                                                      "[fw_storage_mgr] Version cannot be an empty string"},
                                         refused_case{"SameVersion",
                                                      "1.0",
                                                      {"X7"},
                                                      store_firmware_result::version_refused,
                                                      "[fw_storage_mgr] Version already exists"},
                                         refused_case{"SameVersionForAnotherOfItsModels",
                                                      "1.0",
                                                      {"Z3", "Y2"},
                                                      store_firmware_result::version_refused,
                                                      "[fw_storage_mgr] Version already exists"}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

struct admitted_case {
  char const* situation;
  std::optional<std::string> version;
  texts models;
};

void PrintTo(admitted_case const& one, std::ostream* out) {
  *out << one.situation;
}

class AdmittedAnnouncement : public FirmwareManagerTest, public testing::WithParamInterface<admitted_case> {};

TEST_P(AdmittedAnnouncement, IsNoRepetitionOfAStoredVersion) {
  ASSERT_TRUE(run.init());
  run.given_stored("1.0a");
  EXPECT_EQ(run.announce(GetParam().version, GetParam().models).code, store_firmware_result::announced);
}

INSTANTIATE_TEST_SUITE_P(Each, AdmittedAnnouncement,
                         testing::Values(admitted_case{"AnotherVersion", "1.1", {"X7"}},
                                         admitted_case{"OtherLetters", "1.0A", {"X7"}},
                                         admitted_case{"ALongerOne", "1.0a ", {"X7"}},
                                         admitted_case{"AnotherModel", "1.0a", {"Y2", "Z3"}},
                                         admitted_case{"NoVersion", std::nullopt, {"X7"}}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareAnnouncement, AdmitsAVersionThatIsOnlyAnnouncedYet) {
  ASSERT_TRUE(run.init());
  EXPECT_EQ(run.announce("1.0").code, store_firmware_result::announced);
  EXPECT_EQ(run.announce("1.0").code, store_firmware_result::announced);
  EXPECT_FALSE(manager.firmware_exists("1.0", {"X7"}));
}

TEST_F(FirmwareAnnouncement, AdmitsAVersionWhoseUploadIsOverdueThoughNobodyHasLookedAtItYet) {
  auto const overdue = given_overdue("1.0");
  EXPECT_FALSE(manager.firmware_exists("1.0", {"X7"}));
  EXPECT_EQ(run.announce("1.0").code, store_firmware_result::announced);
  // The first one's row is still there, so nothing but its announcement told that it is not stored.
  EXPECT_THAT(run.row_ids(), ElementsAre(overdue.id, overdue.id + 1));
}

TEST_F(FirmwareAnnouncement, CountsAPlaceholderLeftByAFailureAsAStoredVersion) {
  ASSERT_TRUE(run.init());
  unsigned int id = 0;
  ASSERT_EQ(run.table.add_firmware("1.0", {"X7"}, id), 0U);
  EXPECT_TRUE(manager.firmware_exists("1.0", {"X7"}));
}

TEST_F(FirmwareAnnouncement, FindsNoVersionWithoutModelsForUnknownOnesOrWithoutADatabase) {
  ASSERT_TRUE(run.init());
  run.given_stored("1.0");
  EXPECT_TRUE(manager.firmware_exists("1.0", {"nobody's", "X7"}));
  EXPECT_FALSE(manager.firmware_exists("1.0", {}));
  EXPECT_FALSE(manager.firmware_exists("1.0", {"nobody's"}));
  run.faults.fail_to_execute("SELECT FirmwareTable.*");
  EXPECT_FALSE(manager.firmware_exists("1.0", {"X7"}));
}

// --- limits --------------------------------------------------------------------------------------------

TEST_F(FirmwareAnnouncement, EndsAtTheLimitOfAllFirmware) {
  ASSERT_TRUE(run.init({.max_stored = 2}));
  run.given_stored("1");
  EXPECT_EQ(run.announce("2", {"Y2"}).code, store_firmware_result::announced);
  run.given_stored("3", {"Y2"});
  log.clear();
  EXPECT_EQ(run.announce("4", {"Z3"}).code, store_firmware_result::limit_reached);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err,
                                                "[fw_storage_mgr] Maximum number of stored firmware has been "
                                                "reached. maximum=2, current=2"}));
}

TEST_F(FirmwareAnnouncement, EndsAtTheLimitOfOneOfItsModels) {
  ASSERT_TRUE(run.init({.max_by_station = 1}));
  run.given_stored("1", {"Y2"});
  EXPECT_EQ(run.announce("2", {"X7"}).code, store_firmware_result::announced);
  log.clear();
  EXPECT_EQ(run.announce("3", {"X7", "Y2", "Z3"}).code, store_firmware_result::limit_reached);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err,
                                                "[fw_storage_mgr] Maximum number of stored firmware for "
                                                "station model Y2 has been reached. maximum=1, current=1"}));
}

TEST_F(FirmwareAnnouncement, DoesNotCountWhatIsOnlyAnnounced) {
  ASSERT_TRUE(run.init({.max_stored = 1, .max_by_station = 1}));
  EXPECT_EQ(run.announce("1").code, store_firmware_result::announced);
  EXPECT_EQ(run.announce("2").code, store_firmware_result::announced);
}

TEST_F(FirmwareAnnouncement, IsNeverPossibleWithALimitOfZero) {
  ASSERT_TRUE(run.init({.max_stored = 0}));
  EXPECT_EQ(run.announce("1").code, store_firmware_result::limit_reached);
  EXPECT_TRUE(log.holds(err, "stored firmware has been reached. maximum=0, current=0"));
  ASSERT_TRUE(run.init({.max_by_station = 0}));
  EXPECT_EQ(run.announce("1").code, store_firmware_result::limit_reached);
  EXPECT_TRUE(log.holds(err, "for station model X7 has been reached. maximum=0, current=0"));
}

TEST_F(FirmwareAnnouncement, PutsTheLimitBeforeTheVersion) {
  ASSERT_TRUE(run.init({.max_stored = 1}));
  run.given_stored("1");
  EXPECT_EQ(run.announce("1").code, store_firmware_result::limit_reached);
  EXPECT_EQ(run.announce("").code, store_firmware_result::limit_reached);
}

TEST_F(FirmwareAnnouncement, LogsACountThatFailedAsAReachedLimitFirst) {
  ASSERT_TRUE(run.init({.max_stored = 2, .max_by_station = 3}));
  run.faults.fail_to_execute("SELECT count() FROM FirmwareTable WHERE path");
  EXPECT_EQ(run.announce("1").code, store_firmware_result::failed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[firmware_table] Failed to execute query to get the number of stored software"},
          log_line{err,
                   "[fw_storage_mgr] Maximum number of stored firmware has been reached. "
                   "maximum=2, current=4294967295"},
          log_line{err, "[fw_storage_mgr] Fail to get the number of firmware stored"}));

  run.faults.heal();
  run.faults.fail_to_execute("SELECT count() FROM FirmwareTable INNER JOIN");
  log.clear();
  EXPECT_EQ(run.announce("1").code, store_firmware_result::failed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[firmware_table] Failed to execute query to get the numer of stored software"},
          log_line{err,
                   "[fw_storage_mgr] Maximum number of stored firmware for station model X7 has "
                   "been reached. maximum=3, current=4294967295"},
          log_line{err, "[fw_storage_mgr] Fail to get the number of firmware stored"}));
  bool reached = false;
  EXPECT_FALSE(manager.get_max_number_reached({"X7"}, reached));
  EXPECT_TRUE(reached);
}

// --- token and row -------------------------------------------------------------------------------------

TEST_F(FirmwareAnnouncement, FailsWithoutATokenBeforeAnythingIsStored) {
  ASSERT_TRUE(run.init());
  EXPECT_CALL(run.tokens, get_upload_token).WillOnce(Return(std::nullopt));
  auto const one = run.announce("1");
  EXPECT_EQ(one.code, store_firmware_result::failed);
  EXPECT_EQ(one.uri, "unchanged");
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[fw_storage_mgr] Fail to get an upload token"}));
}

TEST_F(FirmwareAnnouncement, TakesTheRowBackWhenAModelIsUnknown) {
  ASSERT_TRUE(run.init());
  for (auto const& models : {texts{"nobody's"}, texts{"X7", "nobody's"}, texts{"nobody's", "X7"}}) {
    auto const one = run.announce("1", models);
    EXPECT_EQ(one.code, store_firmware_result::model_refused);
    EXPECT_EQ(one.uri, "unchanged");
    EXPECT_THAT(run.row_ids(), IsEmpty());
    EXPECT_FALSE(manager.is_my_token("token " + std::to_string(run.last_token)));
  }
  EXPECT_THAT(run.listed(), IsEmpty());
}

TEST_F(FirmwareAnnouncement, ListsAFailedUploadWhenTheRowCannotBeTakenBack) {
  ASSERT_TRUE(run.init());
  run.faults.fail_to_execute("DELETE");
  log.clear();

  auto const one = run.announce("1", {"X7", "nobody's"});

  EXPECT_EQ(one.code, store_firmware_result::model_refused);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[stations_model_table] Unknown model 'nobody's'"},
          log_line{err, "[stations_model_table] Unknown model 'nobody's'"},
          log_line{err, "[firmware_table] Failed to delete firmware with id: 1"},
          log_line{err, "[firmware_table] Failed to delete firmware with id: 1"},
          log_line{warn, "[fw_storage_mgr] Failed to remove failed upload for firmware with ID from DB"},
          log_line{err, "[fw_storage_mgr] Fail to remove firmware 1 from database."}));
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::failed)));
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));

  run.faults.heal();
  ASSERT_TRUE(run.init());
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

struct broken_statement {
  char const* situation;
  char const* statement;
  unsigned int id;
};

void PrintTo(broken_statement const& one, std::ostream* out) {
  *out << one.situation;
}

class BrokenAnnouncement : public FirmwareManagerTest,
                           public testing::WithParamInterface<broken_statement> {};

TEST_P(BrokenAnnouncement, FailsAndIsNeverListedAsAnnounced) {
  ASSERT_TRUE(run.init());
  run.faults.fail_to_execute(GetParam().statement);

  auto const one = run.announce("1");

  EXPECT_EQ(one.code, store_firmware_result::failed);
  EXPECT_EQ(one.uri, "unchanged");
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[fw_storage_mgr] Fail to add firmware informations with id=" +
                                         std::to_string(GetParam().id) + " to database"}));
  run.faults.heal();
  EXPECT_FALSE(manager.is_my_token("token 1"));
  EXPECT_THAT(run.listed(), IsEmpty());
  ASSERT_TRUE(run.init());
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, BrokenAnnouncement,
    testing::Values(broken_statement{"RowNotInserted", "INSERT INTO FirmwareTable", 0},
                    broken_statement{"IdNotRead", "SELECT max(id) FROM FirmwareTable", 0},
                    broken_statement{"ModelNotLookedUp", "SELECT id FROM StationsModelsTable", 1},
                    broken_statement{"ModelNotAssociated", "INSERT INTO FirmwareModelsRelation", 1}),
    [](auto const& tested) { return std::string(tested.param.situation); });

}  // namespace
}  // namespace tavi::stations_maintenance
