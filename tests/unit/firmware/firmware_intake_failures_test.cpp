#include <algorithm>
#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "file_mode_hook.h"
#include "file_size_limit.h"
#include "firmware_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::warn;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

/// One announced firmware of version 1.2 for X7, its file uploaded but not taken yet.
class FailingUpload : public FirmwareManagerTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(run.init());
    one = run.announce("1.2");
    ASSERT_EQ(one.code, store_firmware_result::announced);
    uploaded = run.given_uploaded("fw.bin", "content");
    log.clear();
  }

  void upload(std::string const& name = "fw.bin") { manager.on_file_uploaded("token 1", name, uploaded); }

  /// The row, the announcement and the uploaded file are gone; one failed upload is listed.
  void expect_failed() {
    EXPECT_FALSE(manager.is_my_token("token 1"));
    EXPECT_FALSE(fs::exists(uploaded));
    run.faults.heal();
    EXPECT_THAT(run.row_ids(), IsEmpty());
    station_firmware_info const expected{one.id, "1.2", "", 0, "", {"X7"}, status::failed};
    EXPECT_EQ(manager.get_firmware_from_id(one.id), expected);
    EXPECT_THAT(manager.get_all_firmwares().value(), ElementsAre(expected));
  }

  announcement one;
  std::string uploaded;
};

// --- the copy ------------------------------------------------------------------------------------------

TEST_F(FailingUpload, LeavesAFileThatStandsAtItsDestinationAlone) {
  folder.write("store/1_fw.bin", "by hand");
  upload();
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[fw_storage_mgr] Fail to move file " + uploaded + " to " +
                                            run.stored_file(1) + ". Error: File exists"}));
  EXPECT_EQ(content_of(run.stored_file(1)), "by hand");
  expect_failed();
}

TEST_F(FailingUpload, HasNoFile) {
  fs::remove(uploaded);
  upload();
  EXPECT_TRUE(log.holds(err, "[fw_storage_mgr] Fail to move file " + uploaded));
  EXPECT_TRUE(log.holds(err, "Error: No such file or directory"));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed();
}

TEST_F(FailingUpload, HasADirectoryForItsFile) {
  fs::remove(uploaded);
  fs::create_directory(uploaded);
  upload();
  EXPECT_TRUE(log.holds(err, "Error: Is a directory"));
  expect_failed();
}

TEST_F(FailingUpload, HasAnUploadedFileThatCannotBeRemoved) {
  fs::remove(uploaded);
  fs::create_directories(uploaded + "/not empty");
  upload();
  EXPECT_THAT(log.lines(), Contains(log_line{warn, "[fw_storage_mgr] Fail to remove file: " + uploaded}));
  EXPECT_TRUE(fs::exists(uploaded));
  fs::remove_all(uploaded);
  expect_failed();
}

TEST_F(FailingUpload, HasANameThatIsTooLongForTheStore) {
  upload(std::string(255, 'n'));
  EXPECT_TRUE(log.holds(err, "Error: File name too long"));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed();
}

TEST_F(FailingUpload, HasNoStoreAnyMore) {
  fs::remove(in_folder("store"));
  upload();
  EXPECT_TRUE(log.holds(err, ". Error: No such file or directory"));
  EXPECT_FALSE(fs::exists(in_folder("store")));
  expect_failed();
}

TEST_F(FailingUpload, FindsNoRoomForItsFile) {
  constexpr std::size_t megabyte = std::size_t{1} << 20U;
  uploaded = run.given_uploaded("fw.bin", std::string(3 * megabyte, 'x'));
  {
    file_size_limit const limit(2 * megabyte);
    upload();
  }
  EXPECT_TRUE(log.holds(err, ". Error: File too large"));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed();
}

// --- between the copy and the row ----------------------------------------------------------------------

TEST_F(FailingUpload, IsNoneWhenOnlyThePermissionIsRefused) {
  file_mode_hook const hook(file_mode_hook::call::by_name, [] { return EPERM; });
  upload();
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[fw_storage_mgr] Fail to update firmware file (" + run.stored_file(1) +
                                    ") permissions. Error: Operation not permitted"},
                  log_line{info, "[fw_storage_mgr] firmware with id 1 added to DB and remove from pending"}));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
}

TEST_F(FailingUpload, HasACopyThatVanished) {
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    fs::remove(run.stored_file(1));
    return 0;
  });
  upload();
  EXPECT_TRUE(log.holds(err, "permissions. Error: No such file or directory"));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[fw_storage_mgr] No file found at path " + run.stored_file(1)}));
  expect_failed();
}

TEST_F(FailingUpload, HasACopyThatCannotBeHashed) {
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    fs::remove(run.stored_file(1));
    fs::create_directory(run.stored_file(1));
    return 0;
  });
  upload();
  EXPECT_THAT(log.lines(), Contains(log_line{
                               err, "[fw_storage_mgr] Fail to compute hash of file: " + run.stored_file(1)}));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed();
}

TEST_F(FailingUpload, HasACopyThatCannotBeRemovedAgainNorTheUploadedFileAfterIt) {
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    for (auto const& file : {run.stored_file(1), uploaded}) {
      fs::remove(file);
      fs::create_directories(file + "/not empty");
    }
    return 0;
  });
  upload();
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[fw_storage_mgr] Fail to compute hash of file: " + run.stored_file(1)},
                  log_line{warn, "[fw_storage_mgr] Fail to remove file: " + run.stored_file(1)},
                  log_line{warn, "[fw_storage_mgr] Fail to remove file: " + uploaded}));
  fs::remove_all(uploaded);
  expect_failed();
}

// --- the row -------------------------------------------------------------------------------------------

TEST_F(FailingUpload, HasARowThatCannotBeCompleted) {
  run.faults.fail_to_execute("UPDATE FirmwareTable");
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  upload();
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[firmware_table] Failed to update firmware with id 1"},
                                       log_line{err, "[fw_storage_mgr] Failed to add firmware " + uploaded +
                                                         " in database"}));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed();
}

TEST_F(FailingUpload, HasARowThatCannotBeRemovedEither) {
  run.faults.fail_to_execute("UPDATE FirmwareTable");
  run.faults.fail_to_execute("DELETE");
  upload();
  EXPECT_THAT(log.lines(),
              Contains(log_line{
                  warn, "[fw_storage_mgr] Failed to remove failed upload for firmware with ID from DB"}));
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token 1"));
  // Each is listed once: a row without file and announcement is no firmware.
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::failed)));
}

TEST_F(FailingUpload, HasNoRowAnyMore) {
  ASSERT_TRUE(run.table.remove_firmware(1));
  folder.write("store/1_fw.bin", "by hand");
  upload();
  // What is remembered comes from the announcement then.
  expect_failed();
}

TEST_F(FailingUpload, IsNotNoticedWhenItsRowIsGoneAndLeavesAFileInTheStore) {
  ASSERT_TRUE(run.table.remove_firmware(1));
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  upload();
  EXPECT_THAT(
      log.lines(),
      Contains(log_line{info, "[fw_storage_mgr] firmware with id 1 added to DB and remove from pending"}));
  EXPECT_FALSE(manager.is_my_token("token 1"));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_THAT(run.listed(), IsEmpty());
  EXPECT_THAT(stored_names(), ElementsAre("1_fw.bin"));
}

TEST_F(FailingUpload, IsCompleteThoughItsRowCannotBeReadBack) {
  run.faults.fail_to_execute("SELECT * FROM FirmwareTable WHERE id");
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  upload();
  run.faults.heal();
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
}

// --- checking and failing by themselves ----------------------------------------------------------------

TEST_F(FailingUpload, FillsTheHashAndLeavesAnAnnouncedVersionWhenTheCheckSucceeds) {
  auto const file = folder.write("fw.bin", "content").string();
  std::string hash;
  std::string version = "1.2";
  EXPECT_TRUE(manager.check_uploaded_file(file, 1, {"X7"}, hash, version));
  EXPECT_EQ(hash, "ed7002b439e9ac845f22357d822bac1444730fbdb6016d3ec9432297b9ec9f73");
  EXPECT_EQ(version, "1.2");
  EXPECT_TRUE(manager.is_my_token("token 1"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FailingUpload, RemembersNothingOfAnIdThatIsNeitherStoredNorAnnounced) {
  manager.set_failed_upload(99, status::failed);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::pending_upload)));
}

TEST_F(FailingUpload, RemembersARowThatNobodyAnnouncedAsItStands) {
  auto const id = run.given_row("3", "/path", "hash", {"Y2"});
  manager.set_failed_upload(id, status::failed);
  station_firmware_info const expected{id, "3", "/path", 1, "hash", {"Y2"}, status::failed};
  EXPECT_EQ(manager.get_firmware_from_id(id), expected);
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
}

TEST_F(FailingUpload, RemembersTheAnnouncementWhenTheRowCannotBeRead) {
  run.faults.fail_to_execute("SELECT * FROM FirmwareTable WHERE id");
  manager.set_failed_upload(1, status::without_version);
  EXPECT_FALSE(manager.is_my_token("token 1"));
  run.faults.heal();
  // The row stays until the next start, and is not listed beside its failed upload.
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::without_version)));
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
}

}  // namespace
}  // namespace tavi::stations_maintenance
