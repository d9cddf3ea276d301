#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Return;

class FirmwareCommands : public ctl_test {
 protected:
  static firmware firmware_of(std::uint32_t id) {
    return {id, "2." + std::to_string(id), "/upload/fw", 100, "ab", {"X7"}, firmware_status::available};
  }
};

TEST_F(FirmwareCommands, ListShowsEach) {
  EXPECT_CALL(handler, on_get_firmwares).WillOnce(Return(std::vector{firmware_of(1), firmware_of(2)}));
  EXPECT_EQ(run_command(context, firmware_list_options{}), exit_code::done);
  EXPECT_EQ(console.output,
            "1\t2.1\tavailable\t100\tX7\t/upload/fw\n2\t2.2\tavailable\t100\tX7\t/upload/fw\n");
}

TEST_F(FirmwareCommands, ListWithoutFirmwareIsAnEmptyArrayInJson) {
  context.is_json = true;
  EXPECT_CALL(handler, on_get_firmwares).WillOnce(Return(std::vector<firmware>{}));
  EXPECT_EQ(run_command(context, firmware_list_options{}), exit_code::done);
  EXPECT_EQ(console.output, "[]\n");
}

TEST_F(FirmwareCommands, ListWithoutFirmwareSaysSoOnlyOnATerminal) {
  EXPECT_CALL(handler, on_get_firmwares).Times(2).WillRepeatedly(Return(std::vector<firmware>{}));
  EXPECT_EQ(run_command(context, firmware_list_options{}), exit_code::done);
  EXPECT_EQ(console.output, "");
  console.layout.is_aligned = true;
  EXPECT_EQ(run_command(context, firmware_list_options{}), exit_code::done);
  EXPECT_EQ(console.output, "no firmware\n");
}

TEST_F(FirmwareCommands, ListFailsWhenTheServiceCannotRead) {
  EXPECT_CALL(handler, on_get_firmwares).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, firmware_list_options{}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("cannot read its firmware")));
  EXPECT_EQ(console.output, "");
}

TEST_F(FirmwareCommands, ShowShowsOne) {
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(firmware_of(7)));
  EXPECT_EQ(run_command(context, firmware_show_options{7}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("version\t2.7\n"));
}

TEST_F(FirmwareCommands, ShowNamesAnIdThatIsNotThere) {
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, firmware_show_options{7}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("there is no firmware 7")));
}

TEST_F(FirmwareCommands, AvailableListsWhatFitsTheStation) {
  EXPECT_CALL(handler, on_get_charging_station_firmware(3)).WillOnce(Return(std::vector{firmware_of(1)}));
  EXPECT_EQ(run_command(context, firmware_available_options{3}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("1\t2.1\t"));
}

TEST_F(FirmwareCommands, ListsShowAsManyAsWanted) {
  std::vector const three{firmware_of(1), firmware_of(2), firmware_of(3)};
  context.is_json = true;
  EXPECT_CALL(handler, on_get_firmwares).WillOnce(Return(three));
  EXPECT_EQ(run_command(context, firmware_list_options{2}), exit_code::done);
  EXPECT_EQ(document().size(), 2U);
  console.output.clear();
  EXPECT_CALL(handler, on_get_charging_station_firmware(3)).WillOnce(Return(three));
  EXPECT_EQ(run_command(context, firmware_available_options{3, 1}), exit_code::done);
  EXPECT_EQ(document().size(), 1U);
}

TEST_F(FirmwareCommands, AvailableTellsAnUnknownStationFromOneWithoutFirmware) {
  EXPECT_CALL(handler, on_get_charging_station_firmware(3)).WillOnce(Return(std::vector<firmware>{}));
  EXPECT_EQ(run_command(context, firmware_available_options{3}), exit_code::done);
  EXPECT_CALL(handler, on_get_charging_station_firmware(4)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, firmware_available_options{4}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("station 4")));
}

TEST_F(FirmwareCommands, DeleteTakesEachOnceAndDoesNotAskWithoutATerminal) {
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_CALL(handler, on_delete_firmware(8))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7, 8, 7}, false}), exit_code::done);
  EXPECT_EQ(console.output, "firmware 7, 8 deleted\n");
}

TEST_F(FirmwareCommands, DeleteAsksOnATerminal) {
  console.answer = true;
  firmware known;
  known.id = 7;
  known.version = "2.1.0";
  known.size = 2048;
  known.path = "/firmware/fw-2.bin";
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(known));
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7}, false}), exit_code::done);
  EXPECT_THAT(console.questions, ElementsAre("Delete firmware 7 (fw-2.bin, version 2.1.0, 2.0 KiB)?"));
}

TEST_F(FirmwareCommands, DeleteOfOneThatIsUnknownAsksByItsId) {
  console.answer = false;
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(handler, on_get_firmware(8)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7, 8}, false}), exit_code::failed);
  EXPECT_THAT(console.questions, ElementsAre("  firmware 7\n  firmware 8\nDelete firmware 7, 8?"));
}

TEST_F(FirmwareCommands, DeleteThatIsDeclinedDeletesNothing) {
  console.answer = false;
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7}, false}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre("nothing was done"));
}

TEST_F(FirmwareCommands, DeleteWithYesDoesNotAsk) {
  console.answer = false;
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7}, true}), exit_code::done);
  EXPECT_THAT(console.questions, IsEmpty());
}

TEST_F(FirmwareCommands, DeleteGoesOnAfterOneThatFails) {
  context.is_json = true;
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::unknown_firmware));
  EXPECT_CALL(handler, on_delete_firmware(8))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::row_not_deleted));
  EXPECT_CALL(handler, on_delete_firmware(9))
      .WillOnce(Return(static_cast<stations_maintenance::delete_firmware_result>(-1)));
  EXPECT_CALL(handler, on_delete_firmware(10))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7, 8, 9, 10}, true}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("no firmware 7"),
                                              HasSubstr("file of firmware 8 is gone"), HasSubstr("code -1")));
  EXPECT_EQ(document(), json({{"deleted", {10}}}));
}

TEST_F(FirmwareCommands, DeleteThatDeletedNothingSaysSo) {
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::unknown_firmware));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7}, true}), exit_code::failed);
  EXPECT_EQ(console.output, "no firmware deleted\n");
}

TEST_F(FirmwareCommands, DeleteEndsAtARequestThatIsAnsweredWithAnError) {
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  EXPECT_CALL(handler, on_delete_firmware(8)).WillOnce(testing::Throw(std::runtime_error("told to fail")));
  EXPECT_EQ(run_command(context, firmware_delete_options{{7, 8, 9}, true}), exit_code::failed);
  EXPECT_EQ(console.output, "firmware 7 deleted\n");
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("deleting firmware 8")));
}

}  // namespace
}  // namespace tavi::ctl
