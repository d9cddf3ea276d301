#include <gtest/gtest.h>

#include "both_ways.h"
#include "fake_network_service.h"
#include "tavi/network/req_resp_network_service.h"

namespace {

using tavi::network::network_config;

class direct_network_service : public tavi::network::i_req_resp_network_service {
 public:
  using handler_type = fake_network_service;
  explicit direct_network_service(fake_network_service& fake) : handler(fake) {}
  direct_network_service& service() { return *this; }
  bool init() override { return true; }
  std::optional<network_config> get_network_config() override { return handler.on_get_network_config(); }

 private:
  fake_network_service& handler;
};

using network_ways =
    testing::Types<direct_network_service,
                   over_ipc<tavi::network::req_resp_network_service,
                            tavi::network::req_resp_network_service_handler, fake_network_service>>;

template <typename Way>
class NetworkServiceContract : public contract<Way> {};
TYPED_TEST_SUITE(NetworkServiceContract, network_ways);

TYPED_TEST(NetworkServiceContract, HasNoConfigurationUntilThereIsOne) {
  EXPECT_EQ(this->service().get_network_config(), std::nullopt);
}

TYPED_TEST(NetworkServiceContract, TellsTheConfigurationInForce) {
  this->handler.configure(network_config{"10.0.0.1:8080"});
  EXPECT_EQ(this->service().get_network_config(), network_config{"10.0.0.1:8080"});
  this->handler.configure(network_config{"controller.local"});
  EXPECT_EQ(this->service().get_network_config(), network_config{"controller.local"});
  this->handler.configure(std::nullopt);
  EXPECT_EQ(this->service().get_network_config(), std::nullopt);
}

TYPED_TEST(NetworkServiceContract, TellsAnEmptyAddressFromNoConfiguration) {
  this->handler.configure(network_config{});
  EXPECT_EQ(this->service().get_network_config(), network_config{});
}

}  // namespace
