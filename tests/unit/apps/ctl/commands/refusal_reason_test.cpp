#include "commands/refusal_reason.h"

#include "ctl_fixture.h"
#include "fake_network_service.h"
#include "fake_ocpp_1_6_service.h"

namespace tavi::ctl {
namespace {

using stations::station_diagnostics_status;
using ::testing::HasSubstr;
using ::testing::Return;

/// A site whose station 3 could be asked.
class RefusalReason : public ctl_test {
 protected:
  void SetUp() override {
    ctl_test::SetUp();
    network.configure(network::network_config{"localhost:1"});
    ASSERT_TRUE(network_server.start());
  }

  void start_site(station_diagnostics_status status) {
    site.add({3, "CS-3", "Acme", "X7", status, true});
    ASSERT_TRUE(site_server.start());
  }

  std::string reason(report_type type = report_type::manual) { return find_refusal_reason(context, 3, type); }

  fake_ocpp_1_6_service site;
  ocpp1_6::req_resp_ocpp_1_6_service_handler site_server{site};
  fake_network_service network;
  network::req_resp_network_service_handler network_server{network};
};

TEST_F(RefusalReason, IsThatReportsOfTheTypeAreSwitchedOff) {
  EXPECT_CALL(handler, on_get_configuration)
      .WillOnce(Return(configuration{0, false, std::chrono::seconds(60)}));
  EXPECT_THAT(reason(report_type::periodic), HasSubstr("periodic reports are switched off"));
}

TEST_F(RefusalReason, IsThatTheServiceOfTheStationsDoesNotRun) {
  EXPECT_THAT(reason(), HasSubstr("ocpp_1_6_service, which asks the stations, does not run"));
}

TEST_F(RefusalReason, IsThatTheStationIsUploading) {
  start_site(station_diagnostics_status::uploading);
  EXPECT_THAT(reason(), HasSubstr("it is uploading one already"));
}

TEST_F(RefusalReason, IsThatTheNetworkServiceDoesNotRun) {
  start_site(station_diagnostics_status::idle);
  network_server.stop();
  EXPECT_THAT(reason(), HasSubstr("network_service, which knows where to upload to, does not run"));
}

TEST_F(RefusalReason, IsThatTheNetworkServiceTellsNoAddress) {
  start_site(station_diagnostics_status::idle);
  network.configure(std::nullopt);
  EXPECT_THAT(reason(), HasSubstr("does not tell where to upload to"));
}

TEST_F(RefusalReason, IsTheStationsWhenNothingElseIsInTheWay) {
  start_site(station_diagnostics_status::idle);
  EXPECT_THAT(reason(), HasSubstr("max_manual_report_per_station"));
  EXPECT_CALL(handler, on_get_configuration)
      .WillOnce(Return(configuration{2, true, std::chrono::seconds(60)}));
  EXPECT_EQ(reason(report_type::periodic), "the station refused, or gave no answer in time");
}

}  // namespace
}  // namespace tavi::ctl
