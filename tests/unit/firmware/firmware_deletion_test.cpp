#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::trace;
using tavi::logger::log_subtype;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class FirmwareDeletion : public FirmwareManagerTest {};

TEST_F(FirmwareDeletion, TakesRowAndFileAndTellsOperators) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_stored("1.2", {"Y2", "X7"});
  auto const kept = run.given_stored("1.3");
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted,
                                              "Firmware deleted version: 1.2 id=1 for models: X7, Y2"))
      .WillOnce(note_in_log);

  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::deleted);

  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[fw_storage_mgr] Deleting firmware file: " + run.stored_file(id)},
                          log_line{trace, "told: Firmware deleted version: 1.2 id=1 for models: X7, Y2"}));
  EXPECT_THAT(stored_names(), ElementsAre(std::to_string(kept) + "_fw.bin"));
  EXPECT_THAT(run.row_ids(), ElementsAre(kept));
}

TEST_F(FirmwareDeletion, FindsTheFileOfARelativeStore) {
  ASSERT_TRUE(run.init({}, "fw"));
  auto const id = run.given_stored("1");
  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::deleted);
  EXPECT_TRUE(log.holds(info, "[fw_storage_mgr] Deleting firmware file: " + in_folder("fw/1_fw.bin")));
  EXPECT_FALSE(fs::exists(in_folder("fw/1_fw.bin")));
}

TEST_F(FirmwareDeletion, LeavesTheFileOfARelativeStoreThatWasMadeAnAbsoluteOne) {
  ASSERT_TRUE(run.init({}, "store"));
  auto const id = run.given_stored("1");
  ASSERT_TRUE(run.init());
  EXPECT_EQ(manager.get_firmware_from_id(id).value().path, "/store/1_fw.bin");
  log.clear();
  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::deleted);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_THAT(stored_names(), ElementsAre("1_fw.bin"));
}

TEST_F(FirmwareDeletion, KnowsNoFirmwareOfAnUnknownId) {
  ASSERT_TRUE(run.init());
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  EXPECT_EQ(manager.delete_firmware(9), delete_firmware_result::unknown_firmware);
  EXPECT_THAT(log.lines(), Contains(log_line{err, "[fw_storage_mgr] No firmware found with ID: 9"}));
}

TEST_F(FirmwareDeletion, ForgetsAFailedUploadAndNothingElse) {
  auto const one = given_overdue("1");
  ASSERT_TRUE(manager.get_firmware_from_id(one.id));
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  EXPECT_EQ(manager.delete_firmware(one.id), delete_firmware_result::deleted);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.listed(), IsEmpty());
  EXPECT_EQ(manager.delete_firmware(one.id), delete_firmware_result::unknown_firmware);
}

TEST_F(FirmwareDeletion, OfOneFailedUploadLeavesThoseBeforeAndAfterIt) {
  ASSERT_TRUE(run.init());
  std::vector<unsigned int> ids;
  for (auto const* const version : {"1", "2", "3", "4"}) {
    ids.push_back(run.announce(version).id);
    manager.set_failed_upload(ids.back(), status::failed);
  }
  EXPECT_EQ(manager.delete_firmware(ids[1]), delete_firmware_result::deleted);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(ids[0], status::failed), Pair(ids[2], status::failed),
                                        Pair(ids[3], status::failed)));
}

TEST_F(FirmwareDeletion, EndsAnAnnouncedUploadWhoseTokenIsUnknownFromThenOn) {
  ASSERT_TRUE(run.init());
  auto const one = run.announce("1");
  auto const uploaded = run.given_uploaded("fw.bin", "content");
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted,
                                              "Firmware deleted version: 1 id=1 for models: X7"));
  EXPECT_EQ(manager.delete_firmware(one.id), delete_firmware_result::deleted);
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_FALSE(manager.is_my_token("token 1"));
  manager.on_file_uploaded("token 1", "fw.bin", uploaded);
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_THAT(run.listed(), IsEmpty());
}

TEST_F(FirmwareDeletion, LeavesAnOverdueUploadListedAsFailedUntilItIsDeletedAgain) {
  auto const one = given_overdue("1");
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, HasSubstr("id=1"))).Times(1);
  EXPECT_EQ(manager.delete_firmware(one.id), delete_firmware_result::deleted);
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_THAT(run.listed(), ElementsAre(Pair(one.id, status::failed)));
  EXPECT_EQ(manager.delete_firmware(one.id), delete_firmware_result::deleted);
  EXPECT_THAT(run.listed(), IsEmpty());
}

TEST_F(FirmwareDeletion, CleansUpAllTheSameWhenTheRowCannotBeRemoved) {
  ASSERT_TRUE(run.init());
  auto const stored = run.given_stored("1");
  auto const announced = run.announce("2");
  run.faults.fail_to_execute("DELETE");
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, testing::_))
      .Times(2)
      .WillRepeatedly(note_in_log);

  EXPECT_EQ(manager.delete_firmware(stored), delete_firmware_result::row_not_deleted);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[firmware_table] Failed to delete firmware with id: 1"},
                  log_line{err, "[fw_storage_mgr] Failed to remove firmware with id: 1 from database"},
                  log_line{info, "[fw_storage_mgr] Deleting firmware file: " + run.stored_file(1)},
                  log_line{trace, "told: Firmware deleted version: 1 id=1 for models: X7"}));
  EXPECT_EQ(manager.delete_firmware(announced.id), delete_firmware_result::row_not_deleted);
  EXPECT_FALSE(manager.is_my_token("token 2"));
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_THAT(run.row_ids(), ElementsAre(1U, 2U));
}

TEST_F(FirmwareDeletion, LeavesAFileThatCannotBeDeletedAndSaysSo) {
  ASSERT_TRUE(run.init());
  auto const directory = in_folder("directory");
  folder.write("directory/file", "x");
  auto const id = run.given_row("1", directory);
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, HasSubstr("id=1")));
  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::deleted);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               err, "[fw_storage_mgr] Error while deleting firmware file: " + directory}));
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_TRUE(fs::exists(directory));
}

TEST_F(FirmwareDeletion, OfAFirmwareWhoseFileHasVanishedFindsNoFirmware) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_stored("1");
  fs::remove(run.stored_file(id));
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, HasSubstr("id=1"))).Times(1);
  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::unknown_firmware);
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(FirmwareDeletion, OfAFirmwareWithoutVersionNeedsNoFile) {
  ASSERT_TRUE(run.init());
  auto const id = run.given_row("", in_folder("vanished"));
  log.clear();
  EXPECT_EQ(manager.delete_firmware(id), delete_firmware_result::deleted);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
