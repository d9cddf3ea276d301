#include "fw_storage_mgr.h"

#include <ostream>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"
#include "flush_hook.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::warn;
using tavi::logger::log_subtype;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

static_assert(!std::is_copy_constructible_v<fw_storage_mgr> && !std::is_move_constructible_v<fw_storage_mgr>);
static_assert(!std::is_polymorphic_v<fw_storage_mgr>);

class FirmwareStore : public FirmwareManagerTest {};

TEST_F(FirmwareStore, MakesItsDirectoryWithAllParents) {
  EXPECT_TRUE(run.init({}, in_folder("a/b/store")));
  EXPECT_TRUE(fs::is_directory(in_folder("a/b/store")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FirmwareStore, MakesItsDirectoryAndTheNewOnesAboveItLast) {
  std::vector<std::string> flushed;
  {
    flush_hook const hook([&](fs::path const& path) { flushed.push_back(path.string()); });
    ASSERT_TRUE(run.init({}, in_folder("a/b/store")));
  }
  EXPECT_THAT(flushed, ElementsAre(in_folder("a/b"), in_folder("a"), folder.path().string()));
}

TEST_F(FirmwareStore, MakesARelativeDirectoryBelowTheCurrentOne) {
  EXPECT_TRUE(run.init({}, "a/store/"));
  EXPECT_TRUE(fs::is_directory(in_folder("a/store")));
}

TEST_F(FirmwareStore, TakesADirectoryThatExists) {
  fs::create_directory(in_folder("store"));
  EXPECT_TRUE(run.init());
  EXPECT_TRUE(run.init());
  EXPECT_THAT(log.lines(), IsEmpty());
}

struct unusable_storage {
  char const* situation;
  char const* path;
  char const* reason;
};

void PrintTo(unusable_storage const& one, std::ostream* out) {
  *out << one.situation;
}

class UnusableStorage : public FirmwareManagerTest, public testing::WithParamInterface<unusable_storage> {};

TEST_P(UnusableStorage, FailsTheStartButTheRowsAreCleanedUp) {
  folder.write("file", "in the way");
  auto const placeholder = run.given_row("1", "");
  auto const kept = run.given_row("2", "file");
  log.clear();

  EXPECT_FALSE(manager.init(GetParam().path, 10, 10, std::chrono::seconds(60)));

  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{warn, std::string("[fw_storage_mgr] Fail to create destination directory: ") +
                                     GetParam().path + " Error message: " + GetParam().reason},
                  log_line{info, "[fw_storage_mgr] Cleanup firmware " + std::to_string(placeholder) +
                                     " that has no file"}));
  EXPECT_THAT(run.row_ids(), ElementsAre(kept));
  EXPECT_EQ(run.announce("1").code, store_firmware_result::failed);
}

INSTANTIATE_TEST_SUITE_P(Each, UnusableStorage,
                         testing::Values(unusable_storage{"BelowAFile", "file/store", "Not a directory"},
                                         unusable_storage{"AFile", "file", "Not a directory"},
                                         unusable_storage{"NoName", "", "Invalid argument"}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareStore, RefusesAnnouncementsAndUploadsBeforeItIsInitialised) {
  auto const uploaded = run.given_uploaded("fw.bin", "content");
  EXPECT_CALL(run.tokens, get_upload_token).Times(0);

  auto const refused = run.announce("1");
  EXPECT_EQ(refused.code, store_firmware_result::failed);
  EXPECT_EQ(refused.uri, "unchanged");
  manager.on_file_uploaded("token 1", "fw.bin", uploaded);

  log_line const line{err, "[fw_storage_mgr] Manager not initialized"};
  EXPECT_THAT(log.lines(), ElementsAre(line, line));
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(FirmwareStore, RefusesThemAgainAfterAFailedSecondStart) {
  ASSERT_TRUE(run.init());
  folder.write("file", "in the way");
  EXPECT_FALSE(run.init({}, in_folder("file/store")));
  EXPECT_EQ(run.announce("1").code, store_firmware_result::failed);
}

TEST_F(FirmwareStore, DropsRowsOfUploadsThatNeverFinished) {
  unsigned int id = 0;
  ASSERT_EQ(run.table.add_firmware("1", {"X7"}, id), 0U);
  log.clear();
  EXPECT_TRUE(run.init());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[fw_storage_mgr] Cleanup firmware 1 that has no file"}));
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(FirmwareStore, DropsRowsWhoseFileHasVanishedAndKeepsTheOthersInOrder) {
  auto const kept = run.given_row("1", folder.write("kept", "x").string());
  auto const vanished = run.given_row("2", in_folder("vanished"));
  auto const directory = run.given_row("3", folder.path().string());
  log.clear();

  EXPECT_TRUE(run.init());

  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[fw_storage_mgr] Cleanup firmware " + std::to_string(vanished) +
                                             " that has file that doesn't exist: " + in_folder("vanished")}));
  EXPECT_THAT(run.row_ids(), ElementsAre(kept, directory));
}

TEST_F(FirmwareStore, FindsTheFilesOfARelativeStoreFromTheCurrentDirectory) {
  folder.write("fw/1_a.bin", "x");
  auto const kept = run.given_row("1", "fw/1_a.bin");
  auto const kept_as_uri = run.given_row("2", "/fw/1_a.bin");
  run.given_row("3", "fw/3_c.bin");
  log.clear();

  EXPECT_TRUE(run.init({}, "fw"));

  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{info, "[fw_storage_mgr] Cleanup firmware 3 that has file that doesn't exist: " +
                                     in_folder("fw/3_c.bin")}));
  EXPECT_THAT(run.row_ids(), ElementsAre(kept, kept_as_uri));
}

TEST_F(FirmwareStore, LosesTheRowsOfAnAbsoluteStoreWhenItIsMadeARelativeOne) {
  run.given_row("1", folder.write("store/1_a.bin", "x").string());
  EXPECT_TRUE(run.init({}, "store"));
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_EQ(content_of(in_folder("store/1_a.bin")), "x");
}

TEST_F(FirmwareStore, LeavesARowThatCannotBeRemovedForTheNextStart) {
  run.given_row("1", "");
  run.given_row("2", in_folder("vanished"));
  run.faults.fail_to_execute("DELETE");
  log.clear();
  EXPECT_TRUE(run.init());
  // A row without a path is removed before its line is logged, one whose file has vanished after it.
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[firmware_table] Failed to delete firmware with id: 1"},
                  log_line{info, "[fw_storage_mgr] Cleanup firmware 1 that has no file"},
                  log_line{info, "[fw_storage_mgr] Cleanup firmware 2 that has file that doesn't exist: " +
                                     in_folder("vanished")},
                  log_line{err, "[firmware_table] Failed to delete firmware with id: 2"}));
  EXPECT_THAT(run.row_ids(), ElementsAre(1U, 2U));

  run.faults.heal();
  EXPECT_TRUE(run.init());
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(FirmwareStore, StartsWithoutCleaningUpWhenTheRowsCannotBeRead) {
  run.given_row("1", "");
  log.clear();
  run.faults.fail_to_execute("SELECT * FROM FirmwareTable;");
  EXPECT_TRUE(run.init());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[firmware_table] Failed to get all firmware"}));
  run.faults.heal();
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
}

TEST_F(FirmwareStore, CannotStartWhenItCannotBeToldWhetherAFileExists) {
  fs::create_symlink("loop", in_folder("loop"));
  run.given_row("1", in_folder("loop"));
  EXPECT_THROW(static_cast<void>(run.init()), fs::filesystem_error);
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
}

TEST_F(FirmwareStore, RemovesAFirmwaresModelsWithItsRow) {
  run.given_row("1", "", "", {"X7", "Y2"});
  ASSERT_TRUE(run.init());
  auto const query = run.database.create_query("SELECT count() FROM FirmwareModelsRelation;");
  ASSERT_TRUE(query->execute());
  EXPECT_EQ(query->get_uint32(0), 0U);
}

TEST_F(FirmwareStore, WaitsAsLongAsAnIntegerOfSecondsCanSay) {
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds::max()}));
  ASSERT_EQ(run.announce("1").code, store_firmware_result::announced);
  EXPECT_THAT(run.listed(), ElementsAre(std::pair(1U, status::pending_upload)));
}

// --- paths and records ---------------------------------------------------------------------------------

struct path_case {
  char const* situation;
  char const* storage;
  char const* uri;
  std::string expected;
};

void PrintTo(path_case const& one, std::ostream* out) {
  *out << one.situation;
}

class UriToPath : public FirmwareManagerTest, public testing::WithParamInterface<path_case> {};

TEST_P(UriToPath, DependsOnTheStorageDirectory) {
  static_cast<void>(run.init({}, GetParam().storage[0] == '/' ? in_folder("store") : GetParam().storage));
  auto const& expected = GetParam().expected;
  auto const root = GetParam().storage[0] == '/' ? std::string() : fs::current_path().string() + "/";
  EXPECT_EQ(manager.convert_uri_to_path(GetParam().uri).string(), root + expected);
}

INSTANTIATE_TEST_SUITE_P(Each, UriToPath,
                         testing::Values(path_case{"RelativeWithSlash", "fw", "/fw/3_a.bin", "fw/3_a.bin"},
                                         path_case{"RelativeWithoutSlash", "fw", "fw/3_a.bin", "fw/3_a.bin"},
                                         path_case{"RelativeLosesOneSlashOnly", "fw", "/fw//a", "fw//a"},
                                         path_case{"RelativeEmpty", "fw", "", ""},
                                         path_case{"Absolute", "/", "/data/fw/3_a.bin", "/data/fw/3_a.bin"},
                                         path_case{"AbsoluteStoreRelativeUri", "/", "fw/3_a.bin",
                                                   "fw/3_a.bin"},
                                         path_case{"AbsoluteEmpty", "/", "", ""}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareStore, GivesAUriTheSlashThatAPathLacks) {
  for (auto const& [path, uri] : std::vector<std::pair<std::string, std::string>>{
           {"", ""}, {"/x", "/x"}, {"x/y", "/x/y"}, {"//x", "//x"}, {"../x", "/../x"}}) {
    auto converted = path;
    fw_storage_mgr::convert_path_to_uri(converted);
    EXPECT_EQ(converted, uri) << path;
  }
}

TEST_F(FirmwareStore, CannotReadAVersionFromAFile) {
  std::string version = "untouched";
  EXPECT_FALSE(manager.read_firmware_version_from_file(folder.write("fw.bin", "1.2").string(), version));
  EXPECT_EQ(version, "untouched");
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[fw_storage_mgr] NOT IMPLEMENTED"}));
}

TEST_F(FirmwareStore, KnowsATokenExactlyAsItWasHandedOut) {
  ASSERT_TRUE(run.init());
  run.announce("1");
  EXPECT_TRUE(manager.is_my_token("token 1"));
  EXPECT_FALSE(manager.is_my_token("Token 1"));
  EXPECT_FALSE(manager.is_my_token("token 1 "));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_FALSE(manager.is_my_token(""));
}

TEST_F(FirmwareStore, StillKnowsTheTokenOfAnUploadWhoseTimeIsOverUntilItIsLookedAt) {
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
  auto const one = run.announce("1");
  ASSERT_TRUE(wait_for_timeout(one));
  EXPECT_TRUE(manager.is_my_token("token 1"));
  ASSERT_TRUE(manager.get_firmware_from_id(one.id));
  EXPECT_FALSE(manager.is_my_token("token 1"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
