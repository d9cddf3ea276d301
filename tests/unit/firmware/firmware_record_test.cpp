#include <ostream>
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
using spdlog::level::warn;
using tavi::logger::log_subtype;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FirmwareRecord : public FirmwareManagerTest {};

struct status_case {
  char const* situation;
  station_firmware_info record;
  status expected;
};

void PrintTo(status_case const& one, std::ostream* out) {
  *out << one.situation;
}

class RecordStatus : public FirmwareManagerTest, public testing::WithParamInterface<status_case> {};

TEST_P(RecordStatus, FollowsFromWhatIsThere) {
  auto record = GetParam().record;
  manager.set_status_in_firmware_status(record);
  EXPECT_EQ(record.status, GetParam().expected);
  EXPECT_THAT(log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, RecordStatus,
    testing::Values(status_case{"Complete", {1, "1", "/p", 1, "h", {}}, status::available},
                    status_case{"NoVersion", {1, "", "/p", 1, "h", {}}, status::without_version},
                    status_case{"NoHash", {1, "1", "/p", 1, "", {}}, status::failed},
                    status_case{"NoPath", {1, "1", "", 1, "h", {}}, status::failed},
                    status_case{"Nothing", {1, "", "", 0, "", {}}, status::failed}),
    [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareRecord, TakesTheStatusOfAnAnnouncedUploadWhateverTheRecordSays) {
  ASSERT_TRUE(run.init());
  auto const one = run.announce("1");
  station_firmware_info record{one.id, "1", "/path", 1, "hash", {}};
  manager.set_status_in_firmware_status(record);
  EXPECT_EQ(record.status, status::pending_upload);
}

// --- available firmware whose file has vanished --------------------------------------------------------

TEST_F(FirmwareRecord, RemovesAnAvailableFirmwareWhoseFileHasVanishedAndTellsOperators) {
  auto const id = run.given_row("1.2", in_folder("vanished"), "hash", {"Y2", "X7"});
  auto record = run.table.get_firmware(id).value();
  record.status = status::available;
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted,
                                              "Firmware deleted version: 1.2 id=1 for models: X7, Y2"))
      .WillOnce(note_in_log);

  EXPECT_TRUE(manager.remove_firmware_without_file(record));

  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn,
                                   "[fw_storage_mgr] Firmware with id 1 is available but does not have "
                                   "file at " +
                                       in_folder("vanished")},
                          log_line{info, "[fw_storage_mgr] Firmware with ID 1 has be removed from database"},
                          log_line{trace, "told: Firmware deleted version: 1.2 id=1 for models: X7, Y2"}));
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(FirmwareRecord, TellsOperatorsEvenWhenTheRowOfAVanishedFileRemains) {
  auto const id = run.given_row("1.2", in_folder("vanished"));
  auto record = run.table.get_firmware(id).value();
  record.status = status::available;
  run.faults.fail_to_execute("DELETE");
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log(13, log_subtype::firmware_deleted, HasSubstr("id=1")))
      .WillOnce(note_in_log);

  EXPECT_FALSE(manager.remove_firmware_without_file(record));

  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn,
                                   "[fw_storage_mgr] Firmware with id 1 is available but does not have "
                                   "file at " +
                                       in_folder("vanished")},
                          log_line{err, "[firmware_table] Failed to delete firmware with id: 1"},
                          log_line{trace, "told: Firmware deleted version: 1.2 id=1 for models: X7"}));
  run.faults.heal();
  EXPECT_THAT(run.row_ids(), ElementsAre(id));
}

struct kept_case {
  char const* situation;
  status of_record;
  char const* path;
};

void PrintTo(kept_case const& one, std::ostream* out) {
  *out << one.situation;
}

class KeptFirmware : public FirmwareManagerTest, public testing::WithParamInterface<kept_case> {};

TEST_P(KeptFirmware, IsNotRemovedForItsFile) {
  folder.write("file", "x");
  fs::create_symlink("loop", "loop");
  auto const id = run.given_row("1", GetParam().path);
  auto record = run.table.get_firmware(id).value();
  record.status = GetParam().of_record;
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  EXPECT_FALSE(manager.remove_firmware_without_file(record));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(run.row_ids(), ElementsAre(id));
}

INSTANTIATE_TEST_SUITE_P(Each, KeptFirmware,
                         testing::Values(kept_case{"WithoutVersion", status::without_version, "vanished"},
                                         kept_case{"Failed", status::failed, "vanished"},
                                         kept_case{"Pending", status::pending_upload, "vanished"},
                                         kept_case{"NotClassified", status::none, "vanished"},
                                         // A look at these would be told in the log.
                                         kept_case{"WithoutVersionNorALook", status::without_version, "loop"},
                                         kept_case{"FailedWithoutALook", status::failed, "loop"},
                                         kept_case{"PendingWithoutALook", status::pending_upload, "loop"},
                                         kept_case{"ProcessedWithoutALook", status::being_processed, "loop"},
                                         kept_case{"NotClassifiedWithoutALook", status::none, "loop"},
                                         kept_case{"WithoutPath", status::available, ""},
                                         kept_case{"WithFile", status::available, "file"},
                                         kept_case{"WithDirectory", status::available, "."}),
                         [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(FirmwareRecord, KeepsAnAvailableFirmwareWhenItCannotBeToldWhetherItsFileExists) {
  fs::create_symlink("loop", in_folder("loop"));
  auto const id = run.given_row("1", in_folder("loop"));
  auto record = run.table.get_firmware(id).value();
  record.status = status::available;
  log.clear();
  EXPECT_CALL(run.logger, send_functional_log).Times(0);
  EXPECT_FALSE(manager.remove_firmware_without_file(record));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn, "[fw_storage_mgr] An error occurred while testing if file " +
                                             in_folder("loop") + " exists"}));
  EXPECT_THAT(run.row_ids(), ElementsAre(id));
}

// --- functional log ------------------------------------------------------------------------------------

struct functional_log_case {
  char const* situation;
  log_subtype subtype;
  std::string version;
  texts models;
  char const* expected;
};

void PrintTo(functional_log_case const& one, std::ostream* out) {
  *out << one.situation;
}

class FirmwareFunctionalLog : public FirmwareManagerTest,
                              public testing::WithParamInterface<functional_log_case> {};

TEST_P(FirmwareFunctionalLog, SaysWhatHappenedToWhichFirmware) {
  auto const& one = GetParam();
  EXPECT_CALL(run.logger, send_functional_log(13, one.subtype, one.expected))
      .WillOnce(testing::Return(false));
  manager.functional_log(one.subtype, {7, one.version, "/p", 1, "h", one.models});
  EXPECT_THAT(log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, FirmwareFunctionalLog,
    testing::Values(functional_log_case{"Available",
                                        log_subtype::firmware_available,
                                        "1.2",
                                        {"Y2", "X7"},
                                        "New firmware available version: 1.2 id=7 for models: Y2, X7"},
                    functional_log_case{"Deleted",
                                        log_subtype::firmware_deleted,
                                        "1.2",
                                        {"X7"},
                                        "Firmware deleted version: 1.2 id=7 for models: X7"},
                    functional_log_case{"NoModels",
                                        log_subtype::firmware_available,
                                        "1.2",
                                        {},
                                        "New firmware available version: 1.2 id=7 for models: "},
                    functional_log_case{"NoVersion",
                                        log_subtype::firmware_deleted,
                                        "",
                                        {"X7"},
                                        "Firmware deleted version:  id=7 for models: X7"},
                    functional_log_case{"AnotherSubtype",
                                        log_subtype::diagnostic_periodic_generation,
                                        "1.2",
                                        {"X7"},
                                        "1.2 id=7 for models: X7"}),
    [](auto const& tested) { return std::string(tested.param.situation); });

}  // namespace
}  // namespace tavi::stations_maintenance
