#include "firmware_table.h"

#include <optional>
#include <string>
#include <vector>

#include "firmware_table_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::err;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

class FirmwareTable : public firmware_table_fixture {
 protected:
  void SetUp() override {
    firmware_table_fixture::SetUp();
    given_ready_tables();
  }
};

auto has_id(unsigned int id) {
  return Field("id", &station_firmware_info::id, id);
}

log_line unknown_model(std::string const& name) {
  return {err, "[stations_model_table] Unknown model '" + name + "'"};
}

log_line forced_removal(unsigned int id) {
  return {err, "[firmware_table] Force remove firmware id " + std::to_string(id) +
                   " after model association failure"};
}

log_line without_models(unsigned int id) {
  return {err, "[firmware_table] Failed to get associated models with firmware id : " + std::to_string(id)};
}

TEST_F(FirmwareTable, AddsAnAnnouncedFirmwareAsAPlaceholder) {
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("2.5", {"B", "A"}, id), firmware_table::success);
  EXPECT_EQ(id, 1U);
  EXPECT_EQ(table.get_firmware(id),
            (station_firmware_info{id, "2.5", "", 0, "", {"A", "B"}, station_firmware_status::none}));
  EXPECT_THAT(texts_from_database("SELECT count(*) FROM FirmwareTable WHERE version = '2.5' AND path IS NULL "
                                  "AND size IS NULL AND hash IS NULL"),
              ElementsAre("1"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, StoresNoVersionWhereNoneWasTold) {
  auto const id = given_placeholder({"A"}, std::nullopt);
  EXPECT_THAT(texts_from_database("SELECT version FROM FirmwareTable"), ElementsAre("NULL"));
  EXPECT_EQ(table.get_firmware(id)->version, "");
}

TEST_F(FirmwareTable, StoresAnEmptyVersionAsItWasTold) {
  given_placeholder({"A"}, "");
  EXPECT_THAT(texts_from_database("SELECT version FROM FirmwareTable"), ElementsAre(""));
}

TEST_F(FirmwareTable, ForgetsTheVersionOfTheFirmwareBefore) {
  given_placeholder({"A"}, "1.0");
  given_placeholder({"A"}, std::nullopt);
  EXPECT_THAT(texts_from_database("SELECT version FROM FirmwareTable ORDER BY id"),
              ElementsAre("1.0", "NULL"));
}

TEST_F(FirmwareTable, RemovesAFirmwareAnnouncedForNoModel) {
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {}, id), firmware_table::unknown_model);
  EXPECT_EQ(id, 1U);
  EXPECT_THAT(stored_ids(), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(forced_removal(1)));
}

TEST_F(FirmwareTable, RemovesAFirmwareWhoseFirstModelIsUnknown) {
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"Z", "A"}, id), firmware_table::unknown_model);
  EXPECT_THAT(stored_ids(), IsEmpty());
  EXPECT_THAT(stored_associations(), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(unknown_model("Z"), forced_removal(1)));
}

TEST_F(FirmwareTable, KeepsAFirmwareOfWhichALaterModelIsUnknown) {
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"A", "Z", "B"}, id), firmware_table::unknown_model);
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("A"));
  EXPECT_THAT(log.lines(), ElementsAre(unknown_model("Z")));
}

TEST_F(FirmwareTable, NeverGivesAnIdTwice) {
  unsigned int refused = 0;
  EXPECT_NE(table.add_firmware("1.0", {}, refused), firmware_table::success);
  auto const removed = given_placeholder({"A"});
  EXPECT_GT(removed, refused);
  EXPECT_TRUE(table.remove_firmware(removed));
  EXPECT_GT(given_placeholder({"A"}), removed);
}

TEST_F(FirmwareTable, AssociatesFurtherModels) {
  auto const id = given_placeholder({"C"});
  auto failed = true;
  EXPECT_EQ(table.associate_models_to_firmware(id, {"B", "A"}, failed), firmware_table::success);
  EXPECT_FALSE(failed);
  EXPECT_THAT(stored_associations(), ElementsAre("1:3", "1:2", "1:1"));
}

TEST_F(FirmwareTable, AssociatesAModelAsOftenAsItIsNamed) {
  auto const id = given_placeholder({"A", "A"});
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("A", "A"));
  EXPECT_THAT(table.get_firmware_from_model("A"), Optional(ElementsAre(has_id(id), has_id(id))));
}

TEST_F(FirmwareTable, TellsThatNoModelWasAssociated) {
  auto const id = given_placeholder({"A"});
  auto failed = false;
  EXPECT_EQ(table.associate_models_to_firmware(id, {}, failed), firmware_table::unknown_model);
  EXPECT_TRUE(failed);
  failed = false;
  EXPECT_EQ(table.associate_models_to_firmware(id, {"Z"}, failed), firmware_table::unknown_model);
  EXPECT_TRUE(failed);
  EXPECT_THAT(log.lines(), ElementsAre(unknown_model("Z")));
}

TEST_F(FirmwareTable, ForgetsAFailureBehindAModelThatWasAssociated) {
  auto const id = given_placeholder({"A"});
  auto failed = true;
  EXPECT_EQ(table.associate_models_to_firmware(id, {"B", "Z"}, failed), firmware_table::unknown_model);
  EXPECT_FALSE(failed);
}

TEST_F(FirmwareTable, AssociatesNothingToAFirmwareThatIsNotThere) {
  // Straight to the database, to read its own reason.
  firmware_table direct(real, models);
  ASSERT_TRUE(direct.initTable());
  log.clear();
  auto failed = false;
  EXPECT_EQ(direct.associate_models_to_firmware(999, {"A"}, failed), firmware_table::association_error);
  EXPECT_TRUE(failed);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{
                  err,
                  "[firmware_table] Failed to add association between firmware with id 999 and model "
                  "A: FOREIGN KEY constraint failed"}));
}

TEST_F(FirmwareTable, CompletesAFirmwareOnceItsFileIsStored) {
  auto const id = given_placeholder({"A"}, std::nullopt);
  auto const other = given_placeholder({"B"});
  EXPECT_TRUE(table.update_stored_firmware_info(id, "1.1", "/store/1_fw.bin", 4096, "00ff"));
  EXPECT_EQ(table.get_firmware(id),
            (station_firmware_info{
                id, "1.1", "/store/1_fw.bin", 4096, "00ff", {"A"}, station_firmware_status::none}));
  EXPECT_EQ(table.get_firmware(other)->path, "");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, KeepsSizesBeyond32BitsButReadsTheirLowBits) {
  auto const id = given_placeholder({"A"});
  EXPECT_TRUE(table.update_stored_firmware_info(id, "1", "/p", 0x1'0000'0007UL, "ab"));
  EXPECT_THAT(texts_from_database("SELECT size FROM FirmwareTable"), ElementsAre("4294967303"));
  EXPECT_EQ(table.get_firmware(id)->size, 7U);
}

TEST_F(FirmwareTable, TakesACompletionOfAnUnknownFirmwareWithoutChange) {
  auto const id = given_placeholder({"A"});
  auto const before = table.get_firmware(id);
  EXPECT_TRUE(table.update_stored_firmware_info(999, "9", "/nine", 9, "09"));
  EXPECT_EQ(table.get_firmware(id), before);
  EXPECT_THAT(stored_ids(), SizeIs(1));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, TellsOfAnUnknownFirmwareAskedFor) {
  EXPECT_FALSE(table.get_firmware(6));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[firmware_table] Failed to get firmware with id: 6"}));
}

TEST_F(FirmwareTable, ListsNothingQuietlyWhileItIsEmpty) {
  EXPECT_THAT(table.get_all_firmwares(), Optional(IsEmpty()));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, ListsPlaceholdersAndStoredFirmwaresWithTheirModels) {
  auto const placeholder = given_placeholder({"C", "B"}, std::nullopt);
  auto const stored = given_stored({"A"});
  EXPECT_THAT(
      table.get_all_firmwares(),
      Optional(ElementsAre(
          station_firmware_info{placeholder, "", "", 0, "", {"B", "C"}, station_firmware_status::none},
          station_firmware_info{
              stored, "1.0", "/store/fw", 10, "abcd", {"A"}, station_firmware_status::none})));
}

TEST_F(FirmwareTable, ListsAFirmwareThatLostItsModelsWithAnError) {
  auto const lost = given_stored({"B"});
  given_stored({"A"});
  run("DELETE FROM FirmwareModelsRelation WHERE model_id = 2");
  auto const all = table.get_all_firmwares();
  ASSERT_THAT(all, Optional(SizeIs(2)));
  EXPECT_THAT(all->front().models, IsEmpty());
  EXPECT_THAT(all->back().models, ElementsAre("A"));
  EXPECT_THAT(log.lines(), ElementsAre(without_models(lost)));
}

TEST_F(FirmwareTable, CallsAFirmwareWithoutModelsAnError) {
  EXPECT_THAT(table.models_associated_to_firmware(4), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(without_models(4)));
}

TEST_F(FirmwareTable, ListsTheFirmwaresOfOneModelWithAllTheirModels) {
  auto const both = given_stored({"B", "A"});
  given_stored({"C"});
  auto const placeholder = given_placeholder({"A"});
  auto const found = table.get_firmware_from_model("A");
  ASSERT_THAT(found, Optional(ElementsAre(has_id(both), has_id(placeholder))));
  EXPECT_THAT(found->front().models, ElementsAre("A", "B"));
  EXPECT_THAT(found->back().models, ElementsAre("A"));
  EXPECT_EQ(found->back().path, "");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, ListsNothingForAModelWithoutFirmware) {
  given_stored({"A"});
  EXPECT_THAT(table.get_firmware_from_model("B"), Optional(IsEmpty()));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, AnswersNothingForAnUnknownModelAndAddsNoWordOfItsOwn) {
  EXPECT_FALSE(table.get_firmware_from_model("Z"));
  EXPECT_THAT(log.lines(), ElementsAre(unknown_model("Z")));
}

TEST_F(FirmwareTable, CountsWhatIsStoredOnly) {
  EXPECT_EQ(table.nb_stored_firmware(), 0U);
  auto const id = given_placeholder({"A", "B"});
  EXPECT_EQ(table.nb_stored_firmware(), 0U);
  EXPECT_EQ(table.nb_stored_firmware_for_model("A"), 0U);
  EXPECT_TRUE(table.update_stored_firmware_info(id, "", "", 0, ""));
  given_stored({"B"});
  EXPECT_EQ(table.nb_stored_firmware(), 2U);
  EXPECT_EQ(table.nb_stored_firmware_for_model("A"), 1U);
  EXPECT_EQ(table.nb_stored_firmware_for_model("B"), 2U);
  EXPECT_EQ(table.nb_stored_firmware_for_model("C"), 0U);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, CountsNothingForAnUnknownModelWithoutAWord) {
  given_stored({"A"});
  EXPECT_EQ(table.nb_stored_firmware_for_model("Z"), 0U);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, RemovesAFirmwareWithItsAssociations) {
  auto const removed = given_stored({"A", "B"});
  given_stored({"B"});
  EXPECT_TRUE(table.remove_firmware(removed));
  EXPECT_THAT(stored_ids(), ElementsAre("2"));
  EXPECT_THAT(stored_associations(), ElementsAre("2:2"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, CountsRemovingNothingAsSuccess) {
  given_stored({"A"});
  EXPECT_TRUE(table.remove_firmware(999));
  EXPECT_THAT(stored_ids(), SizeIs(1));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareTable, LosesTheAssociationsOfAModelThatGoes) {
  auto const id = given_stored({"A", "B"});
  run("DELETE FROM StationsModelsTable WHERE name = 'A'");
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("B"));
}

TEST_F(FirmwareTable, KeepsTextsWithEveryKindOfCharacter) {
  std::string const text = "a'b\"c;--\n\xC3\xA9 {} DROP TABLE FirmwareTable";
  ASSERT_TRUE(models.add_stations_models({{text, "Acme", {}}}));
  auto const id = given_placeholder({text}, text);
  EXPECT_TRUE(table.update_stored_firmware_info(id, text, "/" + text, 1, text));
  EXPECT_THAT(table.get_firmware_from_model(text),
              Optional(ElementsAre(station_firmware_info{
                  id, text, "/" + text, 1, text, {text}, station_firmware_status::none})));
  EXPECT_EQ(table.nb_stored_firmware_for_model(text), 1U);
}

TEST_F(FirmwareTable, ReadsARecordWithoutGoingOnToTheNext) {
  auto const first = given_stored({"A"});
  given_stored({"B"});
  auto const query = real.create_query("SELECT * FROM FirmwareTable ORDER BY id");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(firmware_table::firmware_info_from_query(*query).id, first);
  EXPECT_EQ(
      firmware_table::firmware_info_from_query(*query),
      (station_firmware_info{first, "1.0", "/store/fw", 10, "abcd", {}, station_firmware_status::none}));
}

TEST_F(FirmwareTable, ReadsAnEmptyRecordWhereNoRowIsCurrent) {
  auto const query = real.create_query("SELECT * FROM FirmwareTable");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(firmware_table::firmware_info_from_query(*query), station_firmware_info{});
}

TEST_F(FirmwareTable, KnowsFirmwaresWithEveryNumberOf32Bits) {
  constexpr unsigned int id = 3'000'000'000;
  run("INSERT INTO FirmwareTable VALUES(3000000000, '1.0', NULL, NULL, NULL)");
  auto failed = true;
  EXPECT_EQ(table.associate_models_to_firmware(id, {"A"}, failed), firmware_table::success);
  EXPECT_THAT(stored_associations(), ElementsAre("3000000000:1"));
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("A"));
  EXPECT_TRUE(table.update_stored_firmware_info(id, "1.0", "/store/fw", 10, "abcd"));
  auto const firmware = table.get_firmware(id);
  ASSERT_TRUE(firmware);
  EXPECT_EQ(firmware->id, id);
  EXPECT_EQ(firmware->path, "/store/fw");
  unsigned int next = 0;
  EXPECT_EQ(table.add_firmware("2.0", {"A"}, next), firmware_table::success);
  EXPECT_EQ(next, id + 1);
  EXPECT_TRUE(table.remove_firmware(id));
  EXPECT_THAT(stored_ids(), ElementsAre("3000000001"));
}

TEST_F(FirmwareTable, TakesAModelWithoutAProperIdForUnknown) {
  run("INSERT INTO StationsModelsTable VALUES(0, 'Zero')");
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"Zero"}, id), firmware_table::unknown_model);
  EXPECT_THAT(stored_ids(), IsEmpty());
  EXPECT_FALSE(table.get_firmware_from_model("Zero"));
}

TEST_F(FirmwareTable, ShowsAnAnnouncementToOthersOnceItIsWhole) {
  mura_common::sqlite_database other;
  ASSERT_TRUE(other.open(folder.path() / "firmware.db"));
  auto const count = other.create_query("SELECT count(*) FROM FirmwareTable");
  ASSERT_TRUE(count);
  std::vector<std::int32_t> seen;
  database.before_executing("", [&] {
    EXPECT_TRUE(count->execute());
    seen.push_back(count->get_int32(0));
    count->reset();
  });
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"A", "unknown"}, id), firmware_table::unknown_model);
  database.heal();
  EXPECT_THAT(seen, testing::AllOf(testing::SizeIs(testing::Ge(5)), testing::Each(0)))
      << "a crash at any of these moments leaves nothing";
  EXPECT_THAT(stored_associations(), ElementsAre("1:1"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
