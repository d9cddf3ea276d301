#include <gmock/gmock.h>

#include "both_ways.h"
#include "fake_ocpp_1_6_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

namespace {

using tavi::stations::charging_station;
using tavi::stations::station_diagnostics_status;

class direct_ocpp_1_6_service : public tavi::ocpp1_6::i_req_resp_ocpp_1_6_service {
 public:
  using handler_type = fake_ocpp_1_6_service;
  explicit direct_ocpp_1_6_service(fake_ocpp_1_6_service& fake) : handler(fake) {}
  direct_ocpp_1_6_service& service() { return *this; }
  bool init() override { return true; }
  std::optional<charging_station> get_charging_station(unsigned int station_id) override {
    return handler.on_get_charging_station(station_id);
  }
  std::vector<charging_station> get_charging_stations() override {
    return handler.on_get_charging_stations();
  }
  int request_diagnostics_upload(unsigned int station_id, std::string const& location,
                                 unsigned int& request) override {
    return handler.on_request_diagnostics_upload(station_id, location, request);
  }
  int request_firmware_update(unsigned int station_id, std::string const& path,
                              unsigned int& request) override {
    return handler.on_request_firmware_update(station_id, path, request);
  }

 private:
  fake_ocpp_1_6_service& handler;
};

using ocpp_1_6_ways =
    testing::Types<direct_ocpp_1_6_service,
                   over_ipc<tavi::ocpp1_6::req_resp_ocpp_1_6_service,
                            tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler, fake_ocpp_1_6_service>>;

template <typename Way>
class Ocpp16ServiceContract : public contract<Way> {
 protected:
  charging_station const online{1, "post-1", "Acme", "X7-22", station_diagnostics_status::uploading, true};
  charging_station const offline{4294967295U, "post \xc3\xa4", "", "", station_diagnostics_status::idle,
                                 false};
};
TYPED_TEST_SUITE(Ocpp16ServiceContract, ocpp_1_6_ways);

TYPED_TEST(Ocpp16ServiceContract, HasNoStationsAtFirst) {
  EXPECT_TRUE(this->service().get_charging_stations().empty());
  EXPECT_EQ(this->service().get_charging_station(1), std::nullopt);
}

TYPED_TEST(Ocpp16ServiceContract, TellsEverythingAboutEveryStation) {
  this->handler.add(this->online);
  this->handler.add(this->offline);
  EXPECT_THAT(this->service().get_charging_stations(), testing::ElementsAre(this->online, this->offline));
  EXPECT_EQ(this->service().get_charging_station(1), this->online);
  EXPECT_EQ(this->service().get_charging_station(4294967295U), this->offline);
  EXPECT_EQ(this->service().get_charging_station(2), std::nullopt);
}

TYPED_TEST(Ocpp16ServiceContract, NumbersTheRequestsThatAStationTook) {
  this->handler.add(this->online);
  unsigned int first = 0;
  unsigned int second = 0;
  EXPECT_EQ(this->service().request_diagnostics_upload(1, "http://a/upload/t/", first), 0);
  EXPECT_EQ(this->service().request_diagnostics_upload(1, "http://a/upload/u/", second), 0);
  EXPECT_NE(first, second);
}

TYPED_TEST(Ocpp16ServiceContract, TellsAnUnknownStationFromOneThatIsAway) {
  this->handler.add(this->offline);
  unsigned int request = 0;
  EXPECT_EQ(this->service().request_diagnostics_upload(7, "http://a/upload/t/", request), 1);
  EXPECT_EQ(this->service().request_diagnostics_upload(4294967295U, "http://a/upload/t/", request), 2);
}

TYPED_TEST(Ocpp16ServiceContract, NumbersTheUpdatesThatAStationTook) {
  this->handler.add(this->online);
  auto const file = this->folder.write("1_x7 \xc3\xa4.bin", "firmware").string();
  unsigned int first = 0;
  unsigned int second = 0;
  EXPECT_EQ(this->service().request_firmware_update(1, file, first), 0);
  EXPECT_EQ(this->service().request_firmware_update(1, file, second), 0);
  EXPECT_NE(first, second);
}

TYPED_TEST(Ocpp16ServiceContract, TellsWhatStandsInTheWayOfAnUpdate) {
  this->handler.add(this->online);
  this->handler.add(this->offline);
  auto const file = this->folder.write("1_x7.bin", "firmware").string();
  unsigned int request = 0;
  EXPECT_EQ(this->service().request_firmware_update(7, file, request), 1);
  EXPECT_EQ(this->service().request_firmware_update(7, "/none", request), 1);
  EXPECT_EQ(this->service().request_firmware_update(4294967295U, file, request), 2);
  EXPECT_EQ(this->service().request_firmware_update(1, file + ".none", request), 3);
  EXPECT_EQ(this->service().request_firmware_update(1, this->folder.path().string(), request), 3);
  EXPECT_EQ(this->service().request_firmware_update(1, "", request), 3);
}

}  // namespace
