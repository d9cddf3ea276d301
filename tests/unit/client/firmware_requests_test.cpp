#include <limits>

#include "client_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using mura_common::call_failure;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

std::vector<station_firmware_info> awkward_firmwares() {
  return {
      {},
      {4294967295U,
       awkward_text,
       awkward_text,
       4294967295U,
       awkward_text,
       {"", awkward_text},
       station_firmware_status::none},
      {1,
       "2.1.0",
       "/var/lib/firmware/1_f.bin",
       12,
       "ab12",
       {"X7-22", "X7-44"},
       station_firmware_status::available},
      {2, "", "", 0, "", {}, station_firmware_status::pending_upload},
      {3, "", "", 0, "", {}, station_firmware_status::being_processed},
      {4, "", "", 0, "", {}, station_firmware_status::without_version},
      {5, "", "", 0, "", {}, station_firmware_status::failed},
      {6, "", "", 0, "", {}, static_cast<station_firmware_status>(std::numeric_limits<std::int32_t>::min())},
  };
}

class FirmwareRequests : public RequestsTest {};

TEST_F(FirmwareRequests, BringEveryFieldOfEveryFirmware) {
  EXPECT_CALL(handler, on_get_firmwares()).WillOnce(Return(awkward_firmwares()));
  EXPECT_EQ(client.get_firmwares().value, awkward_firmwares());
}

TEST_F(FirmwareRequests, BringWhatFitsAStation) {
  EXPECT_CALL(handler, on_get_charging_station_firmware(4294967295U)).WillOnce(Return(awkward_firmwares()));
  EXPECT_EQ(client.get_charging_station_firmware(4294967295U).value, awkward_firmwares());
}

TEST_F(FirmwareRequests, BringASingleFirmware) {
  for (auto const& firmware : awkward_firmwares()) {
    EXPECT_CALL(handler, on_get_firmware(firmware.id)).WillOnce(Return(firmware));
    EXPECT_EQ(client.get_firmware(firmware.id).value, firmware) << firmware.id;
  }
}

TEST_F(FirmwareRequests, TellAnEmptyListFromAnAbsentOne) {
  std::vector<station_firmware_info> const none;
  EXPECT_CALL(handler, on_get_firmwares()).WillOnce(Return(none)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(handler, on_get_charging_station_firmware(7))
      .WillOnce(Return(none))
      .WillOnce(Return(std::nullopt));
  EXPECT_EQ(client.get_firmwares().value.value(), none);
  EXPECT_EQ(client.get_firmwares().value.value(), std::nullopt);
  EXPECT_EQ(client.get_charging_station_firmware(7).value.value(), none);
  EXPECT_EQ(client.get_charging_station_firmware(7).value.value(), std::nullopt);
}

TEST_F(FirmwareRequests, TellAnUnknownFirmwareFromAFailedRequest) {
  EXPECT_CALL(handler, on_get_firmware(9)).WillOnce(Return(std::nullopt));
  auto const answer = client.get_firmware(9);
  EXPECT_EQ(answer.failure, call_failure::none);
  ASSERT_TRUE(answer.value.has_value());
  EXPECT_FALSE(answer.value->has_value());
}

TEST_F(FirmwareRequests, AnnounceAFirmwareAndBringItsLocationBack) {
  station_firmware_desc const desc{"2.1.0", {"X7-22", awkward_text}};
  EXPECT_CALL(handler, on_store_firmware(desc, testing::Eq(""), testing::Eq(0U)))
      .WillOnce(DoAll(SetArgReferee<1>("/upload/" + awkward_text), SetArgReferee<2>(4294967295U),
                      Return(store_firmware_result::announced)));
  std::string uri = "of an earlier call";
  unsigned int id = 17;
  EXPECT_EQ(client.store_firmware(desc, uri, id).value, store_firmware_result::announced);
  EXPECT_EQ(uri, "/upload/" + awkward_text);
  EXPECT_EQ(id, 4294967295U);
}

TEST_F(FirmwareRequests, TellAnEmptyVersionFromAnAbsentOne) {
  station_firmware_desc const absent{std::nullopt, {}};
  station_firmware_desc const empty{"", {""}};
  EXPECT_CALL(handler, on_store_firmware(absent, testing::_, testing::_))
      .WillOnce(Return(store_firmware_result::model_refused));
  EXPECT_CALL(handler, on_store_firmware(empty, testing::_, testing::_))
      .WillOnce(Return(store_firmware_result::version_refused));
  std::string uri;
  unsigned int id = 0;
  EXPECT_EQ(client.store_firmware(absent, uri, id).value, store_firmware_result::model_refused);
  EXPECT_EQ(client.store_firmware(empty, uri, id).value, store_firmware_result::version_refused);
}

TEST_F(FirmwareRequests, BringEveryCodeOfAnAnnouncementThatWasRefused) {
  std::string uri;
  unsigned int id = 0;
  for (auto const code : every<store_firmware_result>({1, 2, 3, -1})) {
    EXPECT_CALL(handler, on_store_firmware).WillOnce(Return(code));
    auto const answer = client.store_firmware({}, uri, id);
    EXPECT_EQ(answer.value, code);
    EXPECT_EQ(answer.failure, call_failure::none);
  }
}

TEST_F(FirmwareRequests, BringEveryCodeOfADeletion) {
  for (auto const code : every<delete_firmware_result>({0, 1, 2, -1})) {
    EXPECT_CALL(handler, on_delete_firmware(4294967295U)).WillOnce(Return(code));
    EXPECT_EQ(client.delete_firmware(4294967295U).value, code);
  }
}

TEST_F(FirmwareRequests, ReplaceWhatIsNoUtf8) {
  station_firmware_desc const sent{"2\xff", {"X7"}};
  station_firmware_desc const received{"2\xef\xbf\xbd", {"X7"}};
  EXPECT_CALL(handler, on_store_firmware(received, testing::_, testing::_))
      .WillOnce(DoAll(SetArgReferee<1>("/upload/\x80"), Return(store_firmware_result::announced)));
  std::string uri;
  unsigned int id = 0;
  EXPECT_EQ(client.store_firmware(sent, uri, id).value, store_firmware_result::announced);
  EXPECT_EQ(uri, "/upload/\xef\xbf\xbd");
}

}  // namespace
}  // namespace tavi::stations_maintenance
