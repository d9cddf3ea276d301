#include <gtest/gtest.h>

#include "both_ways.h"
#include "fake_webserver_token_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"

namespace {

class direct_webserver_token_service : public tavi::webserver_token::i_req_resp_webserver_token_service {
 public:
  using handler_type = fake_webserver_token_service;
  explicit direct_webserver_token_service(fake_webserver_token_service& fake) : handler(fake) {}
  direct_webserver_token_service& service() { return *this; }
  bool init() override { return true; }
  std::optional<std::string> get_upload_token(std::string const& owner) override {
    return handler.on_get_upload_token(owner);
  }
  std::string build_upload_location(std::string const& address, std::string const& token) override {
    return "http://" + address + "/upload/" + token;
  }

 private:
  fake_webserver_token_service& handler;
};

using webserver_token_ways = testing::Types<
    direct_webserver_token_service,
    over_ipc<tavi::webserver_token::req_resp_webserver_token_service,
             tavi::webserver_token::req_resp_webserver_token_service_handler, fake_webserver_token_service>>;

template <typename Way>
class WebserverTokenServiceContract : public contract<Way> {};
TYPED_TEST_SUITE(WebserverTokenServiceContract, webserver_token_ways);

TYPED_TEST(WebserverTokenServiceContract, GivesEveryAskerAnotherToken) {
  auto const first = this->service().get_upload_token("maintenance");
  auto const second = this->service().get_upload_token("maintenance");
  ASSERT_TRUE(first.has_value() && second.has_value());
  EXPECT_FALSE(first->empty());
  EXPECT_NE(*first, *second);
}

TYPED_TEST(WebserverTokenServiceContract, RefusesByAnEmptyAnswer) {
  EXPECT_EQ(this->service().get_upload_token(""), std::nullopt);
}

TYPED_TEST(WebserverTokenServiceContract, TakesAnyOwnersName) {
  EXPECT_TRUE(this->service().get_upload_token("\xc3\xa4 \"quoted\" \\ \n").has_value());
}

TYPED_TEST(WebserverTokenServiceContract, BuildsTheLocationFromAddressAndToken) {
  EXPECT_EQ(this->service().build_upload_location("10.0.0.1:8080", "abc"), "http://10.0.0.1:8080/upload/abc");
  EXPECT_EQ(this->service().build_upload_location("host", ""), "http://host/upload/");
}

}  // namespace
