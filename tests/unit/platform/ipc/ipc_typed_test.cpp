#include "mura_common/ipc_typed.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ipc_test.h"

namespace typed_test {

class i_shop {
 public:
  virtual ~i_shop() = default;
  virtual int on_price(std::string const& article, unsigned int count) = 0;
  virtual std::optional<std::string> on_find(unsigned int const& number) = 0;
  virtual bool on_swap(std::string& left, int const& given, std::vector<int>& right) = 0;
  virtual void on_close(unsigned int& customers) = 0;
  virtual void on_nothing() = 0;
};

class i_listener {
 public:
  virtual ~i_listener() = default;
  virtual void on_rain(unsigned int const& amount, std::string const& place) = 0;
};

}  // namespace typed_test

namespace mura_common {

template <>
struct ipc_interface<typed_test::i_shop> {
  using shop = typed_test::i_shop;
  static constexpr char const* service = "shop";
  static constexpr std::tuple operations{
      ipc_operation<&shop::on_price>{"price"}, ipc_operation<&shop::on_find>{"find"},
      ipc_operation<&shop::on_swap>{"swap"}, ipc_operation<&shop::on_close>{"close"},
      ipc_operation<&shop::on_nothing>{"nothing"}};
};

template <>
struct ipc_interface<typed_test::i_listener> {
  static constexpr char const* service = "sky";
  static constexpr std::tuple operations{ipc_operation<&typed_test::i_listener::on_rain>{"rain"}};
};

}  // namespace mura_common

namespace {

using mura_common::call;
using mura_common::call_failure;
using mura_common::request_client;
using mura_common::request_server;
using mura_common::try_call;
using nlohmann::json;
using testing::ElementsAre;
using typed_test::i_listener;
using typed_test::i_shop;

class shop : public i_shop {
 public:
  int on_price(std::string const& article, unsigned int count) override {
    return static_cast<int>(article.size() * count);
  }
  std::optional<std::string> on_find(unsigned int const& number) override {
    return number == 1 ? std::optional<std::string>("first") : std::nullopt;
  }
  bool on_swap(std::string& left, int const& given, std::vector<int>& right) override {
    left += "left";
    right.assign(2, given);
    return given > 0;
  }
  void on_close(unsigned int& customers) override { customers = 3; }
  void on_nothing() override { ++closed; }

  int closed = 0;
};

class TypedCall : public ipc_test {
 protected:
  TypedCall() { mura_common::bind_operations<i_shop>(server, keeper); }

  shop keeper;
  request_server server{"shop"};
  request_client client{"shop", generous};
};

TEST_F(TypedCall, CarriesArgumentsAndResult) {
  ASSERT_TRUE(server.start());
  EXPECT_EQ(call<&i_shop::on_price>(client, "four", 3U), 12);
}

TEST_F(TypedCall, TellsAnAbsentResultFromNoResult) {
  ASSERT_TRUE(server.start());
  auto const found = call<&i_shop::on_find>(client, 1U);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(*found, "first");
  auto const unknown = call<&i_shop::on_find>(client, 2U);
  ASSERT_TRUE(unknown.has_value());
  EXPECT_FALSE(unknown->has_value());
  ASSERT_TRUE(server.stop());
  request_client hasty("shop", std::chrono::milliseconds(50));
  auto const failed = try_call<&i_shop::on_find>(hasty, 1U);
  EXPECT_FALSE(failed.value.has_value());
  EXPECT_EQ(failed.failure, call_failure::not_reached);
}

TEST_F(TypedCall, BringsOutParametersBackInTheirOrder) {
  ASSERT_TRUE(server.start());
  std::string left = "old";
  std::vector<int> right{9};
  EXPECT_EQ(call<&i_shop::on_swap>(client, left, 5, right), true);
  EXPECT_EQ(left, "left");
  EXPECT_THAT(right, ElementsAre(5, 5));
}

TEST_F(TypedCall, WorksWithoutAResult) {
  ASSERT_TRUE(server.start());
  unsigned int customers = 0;
  EXPECT_TRUE(call<&i_shop::on_close>(client, customers).has_value());
  EXPECT_EQ(customers, 3U);
  EXPECT_TRUE(call<&i_shop::on_nothing>(client).has_value());
  ASSERT_TRUE(server.stop());
  EXPECT_EQ(keeper.closed, 1);
}

struct wrong_arguments {
  char const* name;
  char const* operation;
  char const* arguments;
};

void PrintTo(wrong_arguments const& row, std::ostream* out) {
  *out << row.name;
}

class WrongArguments : public TypedCall, public testing::WithParamInterface<wrong_arguments> {};

TEST_P(WrongArguments, AreRefusedWithoutCallingTheHandler) {
  ASSERT_TRUE(server.start());
  json reply;
  EXPECT_EQ(client.call(GetParam().operation, json::parse(GetParam().arguments), reply),
            call_failure::refused);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "bad_request"));
  ASSERT_TRUE(server.stop());
  EXPECT_EQ(keeper.closed, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, WrongArguments,
                         testing::Values(wrong_arguments{"TooFew", "price", R"(["x"])"},
                                         wrong_arguments{"None", "price", "[]"},
                                         wrong_arguments{"TooMany", "price", R"(["x",1,2])"},
                                         wrong_arguments{"WrongOrder", "price", R"([1,"x"])"},
                                         wrong_arguments{"Negative", "price", R"(["x",-1])"},
                                         wrong_arguments{"OutParametersGiven", "swap", R"(["left",1,[]])"},
                                         wrong_arguments{"SomeForNone", "nothing", "[1]"}),
                         [](auto const& row) { return row.param.name; });

struct wrong_reply {
  char const* name;
  char const* body;
};

void PrintTo(wrong_reply const& row, std::ostream* out) {
  *out << row.name;
}

class WrongReply : public ipc_test, public testing::WithParamInterface<wrong_reply> {};

TEST_P(WrongReply, LeavesTheOutParametersAsTheyWere) {
  request_server server("shop");
  server.add("swap", [](json const&) { return json::parse(GetParam().body); });
  ASSERT_TRUE(server.start());
  request_client client("shop", generous);
  std::string left = "old";
  std::vector<int> right{9};
  auto const answer = try_call<&i_shop::on_swap>(client, left, 5, right);
  EXPECT_EQ(answer.failure, call_failure::malformed);
  EXPECT_FALSE(answer.value.has_value());
  EXPECT_EQ(left, "old");
  EXPECT_THAT(right, ElementsAre(9));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "the reply to swap is malformed"));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, WrongReply,
    testing::Values(wrong_reply{"ResultOfAnotherType", R"({"result":1,"out":["new",[1]]})"},
                    wrong_reply{"OutOfAnotherType", R"({"result":true,"out":["new","x"]})"},
                    wrong_reply{"OutTooShort", R"({"result":true,"out":["new"]})"},
                    wrong_reply{"OutTooLong", R"({"result":true,"out":["new",[1],1]})"}),
    [](auto const& row) { return row.param.name; });

class listener : public i_listener {
 public:
  void on_rain(unsigned int const& amount, std::string const& place) override {
    rains.add(std::to_string(amount) + " in " + place);
  }
  collector<std::string> rains;
};

TEST(TypedEvent, IsHandedToItsMemberFunction) {
  listener heard;
  mura_common::deliver<&i_listener::on_rain>(heard, {4, "here"});
  EXPECT_THAT(heard.rains.wait_for(1), ElementsAre("4 in here"));
  EXPECT_THROW(mura_common::deliver<&i_listener::on_rain>(heard, {4}), mura_common::malformed_value);
  EXPECT_THROW(mura_common::deliver<&i_listener::on_rain>(heard, {"here", 4}), mura_common::malformed_value);
}

class TypedEvents : public ipc_test {};

TEST_F(TypedEvents, TravelFromPublisherToSubscriber) {
  listener heard;
  mura_common::publisher source("sky");
  ASSERT_TRUE(source.start());
  mura_common::subscription events("garden", "sky");
  ASSERT_TRUE(mura_common::bind_event<&i_listener::on_rain>(events, heard));
  for (int attempt = 0; attempt < 3000 && heard.rains.wait_for(1, std::chrono::milliseconds(10)).empty();
       ++attempt) {
    EXPECT_TRUE(mura_common::publish<&i_listener::on_rain>(source, 4U, "garden"));
  }
  auto const all = heard.rains.wait_for(1);
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.front(), "4 in garden");
  events.stop();
}

}  // namespace
