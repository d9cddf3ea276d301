#include <sys/stat.h>

#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "file_mode_hook.h"
#include "firmware_fixture.h"
#include "flush_hook.h"
#include "mura_common/hash.h"
#include "mura_common/text.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::trace;
using spdlog::level::warn;
using tavi::logger::log_subtype;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// SHA-256 of "content".
constexpr char const* hash_of_content = "ed7002b439e9ac845f22357d822bac1444730fbdb6016d3ec9432297b9ec9f73";

class FirmwareUpload : public FirmwareManagerTest {
 protected:
  /// Announces a firmware and puts its file where the web server would.
  void given_announced(std::optional<std::string> const& version = "1.2", texts const& models = {"X7"}) {
    uploaded = run.given_uploaded("fw.bin", "content");
    log.clear();
    one = run.announce(version, models);
    ASSERT_EQ(one.code, store_firmware_result::announced);
  }

  void upload(std::string const& name = "fw.bin") {
    manager.on_file_uploaded(manager_run::token_of(one), name, uploaded);
  }

  /// Every trace but one entry among the failed uploads is gone.
  void expect_failed(status with, std::string const& version = "1.2", texts const& models = {"X7"}) {
    EXPECT_THAT(run.row_ids(), testing::Not(testing::Contains(one.id)));
    EXPECT_FALSE(manager.is_my_token(manager_run::token_of(one)));
    EXPECT_FALSE(fs::exists(uploaded));
    station_firmware_info const expected{one.id, version, "", 0, "", models, with};
    EXPECT_EQ(manager.get_firmware_from_id(one.id), expected);
    auto const all = manager.get_all_firmwares().value();
    EXPECT_EQ(std::count(all.begin(), all.end(), expected), 1);
  }

  announcement one;
  std::string uploaded;
};

TEST_F(FirmwareUpload, FilesAFirmwareUnderItsIdAndTellsOperators) {
  ASSERT_TRUE(run.init());
  given_announced("1.2", {"Y2", "X7"});
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_available,
                                              "New firmware available version: 1.2 id=1 for models: X7, Y2"))
      .WillOnce(note_in_log);

  upload();

  auto const stored = run.stored_file(1);
  EXPECT_EQ(content_of(stored), "content");
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token 1"));
  station_firmware_info const row{1, "1.2", stored, 7, hash_of_content, {"X7", "Y2"}, status::none};
  EXPECT_EQ(run.table.get_firmware(1), row);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{trace, "told: New firmware available version: 1.2 id=1 for models: X7, Y2"},
                  log_line{info, "[fw_storage_mgr] firmware with id 1 added to DB and remove from pending"}));
}

TEST_F(FirmwareUpload, NamesTheFileByIdAndUploadedName) {
  ASSERT_TRUE(run.init());
  for (int before = 0; before < 6; ++before) {
    run.announce(std::to_string(before));
  }
  given_announced();
  upload("fw.bin");
  EXPECT_EQ(one.id, 7U);
  EXPECT_THAT(stored_names(), ElementsAre("7_fw.bin"));
}

TEST_F(FirmwareUpload, LetsOthersReadTheFileAndChangesNothingElseOfItsMode) {
  ASSERT_TRUE(run.init());
  for (mode_t const mode : {0600U, 0640U, 0750U, 0604U}) {
    given_announced(std::to_string(mode));
    ASSERT_EQ(chmod(uploaded.c_str(), mode), 0);
    upload();
    struct stat stored {};
    ASSERT_EQ(stat(run.stored_file(one.id).c_str(), &stored), 0);
    EXPECT_EQ(stored.st_mode & 07777U, mode | 0004U);
  }
}

TEST_F(FirmwareUpload, StoresInARelativeDirectoryByItsRelativePath) {
  ASSERT_TRUE(run.init({}, "fw"));
  given_announced();
  upload();
  EXPECT_EQ(run.table.get_firmware(1).value().path, "fw/1_fw.bin");
  EXPECT_EQ(content_of(in_folder("fw/1_fw.bin")), "content");
}

TEST_F(FirmwareUpload, IsFlushedBeforeItHasItsNameAndItsFolderAfterIt) {
  ASSERT_TRUE(run.init());
  given_announced();
  std::vector<std::string> flushed;
  {
    flush_hook const hook([&](fs::path const& path) {
      if (path == in_folder("store")) {
        flushed.push_back(stored_names().contains("1_fw.bin") ? "folder with the name" : "folder before");
      } else if (path.parent_path() == in_folder("store")) {
        flushed.push_back(stored_names().contains("1_fw.bin") ? "file with its name" : "file");
      }
    });
    upload();
  }
  EXPECT_THAT(flushed, ElementsAre("file", "folder with the name"));
}

TEST_F(FirmwareUpload, StoresAnEmptyFileToo) {
  ASSERT_TRUE(run.init());
  given_announced();
  uploaded = run.given_uploaded("fw.bin", "");
  upload();
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
  EXPECT_EQ(run.table.get_firmware(1).value().size, 0U);
}

TEST_F(FirmwareUpload, IgnoresATokenThatNobodyWasGiven) {
  ASSERT_TRUE(run.init());
  given_announced();
  manager.on_file_uploaded("token 2", "fw.bin", uploaded);
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::pending_upload)));
}

TEST_F(FirmwareUpload, IgnoresASecondFileUnderTheSameToken) {
  ASSERT_TRUE(run.init());
  given_announced();
  upload();
  uploaded = run.given_uploaded("fw.bin", "second");
  log.clear();
  upload();
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_EQ(content_of(run.stored_file(1)), "content");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareUpload, KeepsTwoAnnouncementsApart) {
  ASSERT_TRUE(run.init());
  auto const first = run.announce("1");
  auto const second = run.announce("2", {"Y2"});
  manager.on_file_uploaded(manager_run::token_of(second), "b", run.given_uploaded("b", "second"));
  EXPECT_THAT(run.listed(),
              ElementsAre(Pair(first.id, status::pending_upload), Pair(second.id, status::available)));
  manager.on_file_uploaded(manager_run::token_of(first), "a", run.given_uploaded("a", "first"));
  EXPECT_THAT(stored_names(), ElementsAre("1_a", "2_b"));
  EXPECT_EQ(content_of(run.stored_file(1, "a")), "first");
}

// --- time-outs -----------------------------------------------------------------------------------------

TEST_F(FirmwareUpload, IgnoresAFileThatComesAfterTheTimeAndLeavesItWhereItIs) {
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
  given_announced();
  ASSERT_TRUE(wait_for_timeout(one));
  log.clear();

  upload();

  EXPECT_EQ(content_of(uploaded), "content");
  EXPECT_THAT(stored_names(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.row_ids(), ElementsAre(one.id));
  EXPECT_THAT(run.listed(), ElementsAre(Pair(one.id, status::failed)));
  EXPECT_THAT(run.row_ids(), IsEmpty());
  upload();
  EXPECT_TRUE(fs::exists(uploaded));
}

TEST_F(FirmwareUpload, IsBeingProcessedUntilItsFileIsStored) {
  ASSERT_TRUE(run.init());
  given_announced();
  auto seen = status::none;
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    seen = awaited_upload(manager, "token 1")->status;
    return 0;
  });
  upload();
  EXPECT_EQ(seen, status::being_processed);
}

TEST_F(FirmwareUpload, HasNoTimeOutAnyMoreOnceItsFileIsHere) {
  // What the disk takes its time for must not use up theirs.
  run.execute("PRAGMA synchronous=OFF;");
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(5)}));
  given_announced("1");
  auto const slow = run.announce("2");
  auto const missing = run.announce("3");
  upload();
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    EXPECT_TRUE(wait_for_timeout(missing));
    return 0;
  });
  manager.on_file_uploaded(manager_run::token_of(slow), "slow", run.given_uploaded("slow", "content"));
  EXPECT_TRUE(hook.has_run());
  EXPECT_FALSE(log.holds(err, "token 1"));
  EXPECT_FALSE(log.holds(err, "token 2"));
  EXPECT_THAT(run.listed(), ElementsAre(Pair(one.id, status::available), Pair(slow.id, status::available),
                                        Pair(missing.id, status::failed)));
}

TEST_F(FirmwareUpload, ThatCrossesItsTimeOutIsEitherStoredOrLeftWhereItIs) {
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
  for (int round = 0; round < 50; ++round) {
    given_announced(std::to_string(round));
    upload();
    auto const firmware = manager.get_firmware_from_id(one.id);
    ASSERT_TRUE(firmware);
    if (fs::exists(uploaded)) {
      EXPECT_EQ(firmware->status, status::failed);
      EXPECT_FALSE(fs::exists(run.stored_file(one.id)));
    } else {
      EXPECT_EQ(firmware->status, status::available);
      EXPECT_EQ(content_of(run.stored_file(one.id)), "content");
    }
    EXPECT_FALSE(manager.is_my_token(manager_run::token_of(one)));
  }
}

// --- version and repetition ----------------------------------------------------------------------------

TEST_F(FirmwareUpload, WithoutAnnouncedVersionFailsAsNobodyCanTellIt) {
  ASSERT_TRUE(run.init());
  given_announced(std::nullopt);
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  upload();
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[fw_storage_mgr] NOT IMPLEMENTED"},
                                       log_line{err, "[fw_storage_mgr] Version cannot be retrieved"}));
  EXPECT_THAT(stored_names(), IsEmpty());
  expect_failed(status::without_version, "");
}

TEST_F(FirmwareUpload, OfAVersionStoredMeanwhileIsIgnored) {
  ASSERT_TRUE(run.init());
  auto const other = run.announce("1.2", {"Y2", "X7"});
  given_announced("1.2", {"X7"});
  manager.on_file_uploaded(manager_run::token_of(other), "other", run.given_uploaded("other", "first"));
  log.clear();

  upload();

  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn,
                                   "[fw_storage_mgr] A firmware already exists upload is ignored "
                                   "for file " +
                                       run.stored_file(one.id)}));
  EXPECT_THAT(stored_names(), ElementsAre("1_other"));
  expect_failed(status::failed);
  EXPECT_THAT(run.listed(), ElementsAre(Pair(other.id, status::available), Pair(one.id, status::failed)));
}

TEST_F(FirmwareUpload, OfAVersionStoredMeanwhileForOtherModelsIsStoredToo) {
  ASSERT_TRUE(run.init());
  run.given_stored("1.2", {"Y2"});
  given_announced("1.2", {"X7"});
  upload();
  EXPECT_EQ(manager.get_firmware_from_id(one.id).value().status, status::available);
}

}  // namespace
}  // namespace tavi::stations_maintenance
