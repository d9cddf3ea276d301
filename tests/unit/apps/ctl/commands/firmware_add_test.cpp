#include "ctl_fixture.h"
#include "fake_network_service.h"
#include "without_privileges.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using stations_maintenance::station_firmware_desc;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::SetArgReferee;

/// SHA-256 of "firmware".
constexpr char const* const content_hash = "c3bf47ea1f4a4a605470313cacb3a44f4a461f68c6faeab07e737610cb5ac835";

class FirmwareAdd : public ctl_test {
 protected:
  FirmwareAdd() {
    options.file = folder.write("a firmware.bin", "firmware");
    options.models = {"X7", "X9"};
    options.version = "2.1";
    options.address = "127.0.0.1:8180";
  }

  void expect_announcement() {
    EXPECT_CALL(handler, on_store_firmware(station_firmware_desc{"2.1", {"X7", "X9"}}, _, _))
        .WillOnce(DoAll(SetArgReferee<1>("/upload/token"), SetArgReferee<2>(7U),
                        Return(stations_maintenance::store_firmware_result::announced)));
  }

  [[nodiscard]] firmware with_status(firmware_status status) const {
    return {7, "2.1", "/upload/firmware/7_fw", 8, stored_hash, {"X7", "X9"}, status};
  }

  std::string stored_hash = content_hash;
  firmware_add_options options;
};

TEST_F(FirmwareAdd, AnnouncesUploadsWaitsAndShowsWhatItBecame) {
  InSequence const order;
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::pending_upload)));
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::being_processed)));
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(uploader.files, ElementsAre(options.file));
  EXPECT_THAT(uploader.urls, ElementsAre("http://127.0.0.1:8180/upload/token/a%20firmware.bin"));
  EXPECT_EQ(console.output,
            std::string("id\t7\nversion\t2.1\nstatus\tavailable\nmodels\tX7,X9\nsize\t8\nhash\t") +
                content_hash + "\npath\t/upload/firmware/7_fw\n");
  EXPECT_THAT(console.complaints, IsEmpty());
  EXPECT_EQ(clock.waits, 2);
  EXPECT_TRUE(clock.is_taken_over);
  EXPECT_EQ(clock.notice, "ending in order; Ctrl-C again ends at once");
}

TEST_F(FirmwareAdd, AnnouncesAModelNamedTwiceOnce) {
  options.models = {"X7", "X9", "X7"};
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  EXPECT_EQ(run_command(context, options), exit_code::done);
}

TEST_F(FirmwareAdd, ShowsTheUploadNotMoreOftenThanAnybodySees) {
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  uploader.states = {{0, 100, 0ms}, {10, 100, 99ms}, {20, 100, 100ms}, {100, 100, 101ms}, {100, 100, 900ms}};
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.progress,
              ElementsAre(HasSubstr("  0%"), HasSubstr(" 20%"), HasSubstr("100%"), std::string()));
}

TEST_F(FirmwareAdd, WritesTheRecordAsJson) {
  context.is_json = true;
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_EQ(document()["hash"], content_hash);
  EXPECT_EQ(document()["models"], json({"X7", "X9"}));
}

TEST_F(FirmwareAdd, AsksTheNetworkServiceForTheAddress) {
  fake_network_service network;
  network.configure(tavi::network::network_config{"10.0.0.5:80"});
  tavi::network::req_resp_network_service_handler network_server(network);
  ASSERT_TRUE(network_server.start());
  options.address.reset();
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(uploader.urls, ElementsAre(HasSubstr("http://10.0.0.5:80/upload/token/")));
}

TEST_F(FirmwareAdd, AnnouncesNothingWithoutAnAddress) {
  options.address.reset();
  EXPECT_EQ(run_command(context, options), exit_code::not_reachable);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("network_service does not run"), HasSubstr("--address")));
}

TEST_F(FirmwareAdd, AnnouncesNothingWhenTheNetworkServiceTellsNoAddress) {
  fake_network_service network;
  tavi::network::req_resp_network_service_handler network_server(network);
  ASSERT_TRUE(network_server.start());
  options.address.reset();
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  network.configure(tavi::network::network_config{"\x1b[2J/"});
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("--address"), HasSubstr("\"\\x1b[2J/\"")));
}

TEST_F(FirmwareAdd, AnnouncesNothingWhenTheFileIsMissingEmptyOrAFolder) {
  options.file = folder.path() / "none.bin";
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  options.file = folder.write("empty.bin", "");
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  options.file = folder.path();
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("none.bin\" is not there"),
                                              HasSubstr("empty.bin\" is empty"), HasSubstr("is not a file")));
}

TEST_F(FirmwareAdd, DoesNotCallAFileMissingThatItCannotLookAt) {
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  auto const closed = folder.path() / "closed";
  std::filesystem::create_directory(closed);
  std::filesystem::permissions(closed, std::filesystem::perms(0700));
  options.file = closed / "fw.bin";
  without_privileges const as_a_stranger;
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("fw.bin\" cannot be looked at: Permission denied")));
}

TEST_F(FirmwareAdd, RefusesAFileOfMoreBytesThanTheServiceCounts) {
  std::filesystem::resize_file(options.file, 0xFFFFFFFFU);
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("too large")));
}

struct announcement_case {
  char const* name;
  stations_maintenance::store_firmware_result code;
  std::string told;
};

class RefusedAnnouncement : public FirmwareAdd, public testing::WithParamInterface<announcement_case> {};

TEST_P(RefusedAnnouncement, IsExplainedAndUploadsNothing) {
  EXPECT_CALL(handler, on_store_firmware).WillOnce(Return(GetParam().code));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr(GetParam().told)));
  EXPECT_THAT(uploader.urls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryCode, RefusedAnnouncement,
    testing::Values(
        announcement_case{"VersionKnown", stations_maintenance::store_firmware_result::version_refused,
                          "version \"2.1\" is stored already"},
        announcement_case{"LimitReached", stations_maintenance::store_firmware_result::limit_reached,
                          "max_firmware_by_station in [firmware_storage]"},
        announcement_case{"ModelUnknown", stations_maintenance::store_firmware_result::model_refused,
                          "supported_stations.json"},
        announcement_case{"OtherFailure", stations_maintenance::store_firmware_result::failed,
                          "its log says why"},
        announcement_case{"CodeOfANewerService", static_cast<stations_maintenance::store_firmware_result>(9),
                          "its log says why"}),
    [](auto const& row) { return std::string(row.param.name); });

struct upload_case {
  char const* name;
  upload_outcome outcome;
  ctl::exit_code code;
  std::string told;
};

class FailedUpload : public FirmwareAdd, public testing::WithParamInterface<upload_case> {};

TEST_P(FailedUpload, IsExplainedAndTakesTheAnnouncementBack) {
  uploader.outcome = GetParam().outcome;
  expect_announcement();
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, options), GetParam().code);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr(GetParam().told)));
  EXPECT_EQ(console.output, "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, FailedUpload,
    testing::Values(
        upload_case{
            "TokenGone", {upload_end::answered, 410, ""}, exit_code::failed, "code 410: the time to upload"},
        upload_case{
            "TooLarge", {upload_end::answered, 413, ""}, exit_code::failed, "code 413: the file is larger"},
        upload_case{"Redirected", {upload_end::answered, 302, ""}, exit_code::failed, "code 302"},
        upload_case{"NoServer",
                    {upload_end::not_reachable, 0, "no\x1bway"},
                    exit_code::not_reachable,
                    "no web server at 127.0.0.1:8180: no\\x1bway"},
        upload_case{
            "Broken", {upload_end::broken, 0, "timed out"}, exit_code::failed, "broke off: timed out"},
        upload_case{
            "Unreadable", {upload_end::no_file, 0, "denied"}, exit_code::failed, "could not be read"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(FirmwareAdd, TellsWhenTheAnnouncementCannotBeTakenBack) {
  uploader.outcome = {upload_end::broken, 0, "reset"};
  expect_announcement();
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::row_not_deleted));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("broke off"), HasSubstr("firmware 7 stays announced")));
}

struct signal_case {
  int number;
  ctl::exit_code code;
};

class InterruptedFirmwareAdd : public FirmwareAdd, public testing::WithParamInterface<signal_case> {
 protected:
  InterruptedFirmwareAdd() { clock.signal_number = GetParam().number; }
};

TEST_P(InterruptedFirmwareAdd, TakesTheAnnouncementBackWhileUploading) {
  uploader.on_upload = [this] { clock.is_raised = true; };
  expect_announcement();
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, options), GetParam().code);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_P(InterruptedFirmwareAdd, UploadsNothingWhenItHappensWhileAnnouncing) {
  EXPECT_CALL(handler, on_store_firmware)
      .WillOnce([this](station_firmware_desc const&, std::string& uri, unsigned int& id) {
        clock.is_raised = true;
        uri = "/upload/token";
        id = 7;
        return stations_maintenance::store_firmware_result::announced;
      });
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, options), GetParam().code);
  EXPECT_THAT(uploader.urls, IsEmpty());
}

TEST_P(InterruptedFirmwareAdd, EndsAsInterruptedWhateverElseGoesWrongMeanwhile) {
  uploader.on_upload = [this] { clock.is_raised = true; };
  uploader.observed = false;
  uploader.outcome = {upload_end::broken, 0, "reset"};
  expect_announcement();
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, options), GetParam().code);
}

TEST_P(InterruptedFirmwareAdd, LeavesTheFirmwareToTheServiceWhileWaiting) {
  clock.on_wait = [this](int) { clock.is_raised = true; };
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::being_processed)));
  EXPECT_EQ(run_command(context, options), GetParam().code);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("firmware 7 was uploaded; the service may still take it")));
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptedFirmwareAdd,
                         testing::Values(signal_case{SIGINT, ctl::exit_code::interrupted},
                                         signal_case{SIGTERM, ctl::exit_code::terminated}),
                         [](auto const& row) { return row.param.number == SIGINT ? "Sigint" : "Sigterm"; });

/// A service that does not answer in time.
class HastyFirmwareAdd : public FirmwareAdd {
 protected:
  stations_maintenance::req_resp_stations_maintenance_service hasty{
      {generous, 1s, std::chrono::milliseconds(generous)}};
  command_context impatient{console, clock, uploader, hasty, false};
  gate finished;
};

TEST_F(HastyFirmwareAdd, TellsThatAnUnansweredAnnouncementMayExist) {
  EXPECT_CALL(handler, on_store_firmware).WillOnce([this](auto const&, std::string&, unsigned int&) {
    return finished.pass() ? stations_maintenance::store_firmware_result::announced
                           : stations_maintenance::store_firmware_result::failed;
  });
  EXPECT_EQ(run_command(impatient, options), exit_code::time_out);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("announcing the firmware: the stations"),
                                              HasSubstr("may be announced all the same")));
  finished.open();
}

TEST_F(HastyFirmwareAdd, InterruptedWhileTheServiceDoesNotAnswerEndsAsInterrupted) {
  EXPECT_CALL(handler, on_store_firmware).WillOnce([this](auto const&, std::string&, unsigned int&) {
    clock.is_raised = true;
    return finished.pass() ? stations_maintenance::store_firmware_result::announced
                           : stations_maintenance::store_firmware_result::failed;
  });
  EXPECT_EQ(run_command(impatient, options), exit_code::interrupted);
  finished.open();
}

TEST_F(HastyFirmwareAdd, TellsThatAnUploadedFirmwareMayStillBeTakenWhenNobodyAnswers) {
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce([this](unsigned int) {
    finished.pass();
    return with_status(firmware_status::available);
  });
  EXPECT_EQ(run_command(impatient, options), exit_code::time_out);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("asking about firmware 7"), HasSubstr("may still take it")));
  finished.open();
}

TEST_F(FirmwareAdd, EndsWhenTheTimeIsOver) {
  options.time_out = std::chrono::seconds(1);
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7))
      .Times(6)
      .WillRepeatedly(Return(with_status(firmware_status::pending_upload)));
  EXPECT_EQ(run_command(context, options), exit_code::time_out);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("within 1 s"), HasSubstr("\"firmware show 7\" tells")));
}

TEST_F(FirmwareAdd, TellsThatAFirmwareWithoutAVersionIsNotOffered) {
  options.version.reset();
  EXPECT_CALL(handler, on_store_firmware(station_firmware_desc{std::nullopt, {"X7", "X9"}}, _, _))
      .WillOnce(DoAll(SetArgReferee<1>("/upload/token"), SetArgReferee<2>(7U),
                      Return(stations_maintenance::store_firmware_result::announced)));
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::without_version)));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("add it again with --version")));
  EXPECT_THAT(console.output, HasSubstr("status\twithout_version\n"));
}

TEST_F(FirmwareAdd, TellsThatTheServiceCouldNotStoreIt) {
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::failed)));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("could not store it")));
}

TEST_F(FirmwareAdd, TellsThatSomebodyDeletedItMeanwhile) {
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("somebody deleted it")));
}

TEST_F(FirmwareAdd, NoticesThatWhatWasStoredIsNotWhatWasUploaded) {
  stored_hash = std::string(64, '0');
  expect_announcement();
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(with_status(firmware_status::available)));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr(content_hash)));
}

}  // namespace
}  // namespace tavi::ctl
