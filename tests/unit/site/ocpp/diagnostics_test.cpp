#include <future>
#include <ostream>
#include <set>

#include "ocpp_site.h"

namespace tavi::site::ocpp {
namespace {

using nlohmann::json;

/// What the controller got for its request.
struct requested_diagnostics {
  int answer = -1;
  unsigned int number = 0;
};

class Diagnostics : public OcppSite {
 protected:
  /// Asks in the background, as another service of the controller does.
  std::future<requested_diagnostics> request(unsigned int station_id) {
    return std::async(std::launch::async, [this, station_id] {
      requested_diagnostics got;
      got.answer = system().on_request_diagnostics_upload(station_id, "http://site/upload/t/", got.number);
      return got;
    });
  }

  /// Receives the site's call. @return its id
  static std::string received_call(test_station& station) {
    auto const text = station.receive();
    auto const call = json::parse(text.value_or("[0,\"\",\"\",{}]"));
    EXPECT_EQ(call.at(0), 2);
    EXPECT_EQ(call.at(2), "GetDiagnostics");
    EXPECT_EQ(call.at(3), json({{"location", "http://site/upload/t/"}}));
    return call.at(1);
  }
};

TEST_F(Diagnostics, StationThatNamesAFileIsAccepted) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  auto const id = received_call(station);
  ASSERT_TRUE(station.send(json::array({3, id, {{"fileName", "log.zip"}}}).dump()));
  auto const got = waiting.get();
  EXPECT_EQ(got.answer, 0);
  EXPECT_EQ(got.number, 1U);
  EXPECT_TRUE(events.wait_for("command 1/1 0"));
}

struct answer_case {
  char const* name;
  std::string answer;  ///< after the message type and the id
  int type;
  int expected;
};

void PrintTo(answer_case const& row, std::ostream* out) {
  *out << row.name;
}

class RefusedDiagnostics : public Diagnostics, public testing::WithParamInterface<answer_case> {};

TEST_P(RefusedDiagnostics, IsToldToTheController) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  auto const id = received_call(station);
  ASSERT_TRUE(
      station.send("[" + std::to_string(GetParam().type) + ",\"" + id + "\"" + GetParam().answer + "]"));
  auto const got = waiting.get();
  EXPECT_EQ(got.answer, GetParam().expected);
  EXPECT_EQ(got.number, 1U);
  EXPECT_TRUE(events.wait_for("command 1/1 1"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedDiagnostics,
    testing::Values(answer_case{"NoFileName", ",{}", 3, 3}, answer_case{"NullForEmpty", ",null", 3, 3},
                    answer_case{"EmptyFileName", R"(,{"fileName":""})", 3, 3},
                    answer_case{"FileNameIsANumber", R"(,{"fileName":1})", 3, 4},
                    answer_case{"FileNameTooLong", R"(,{"fileName":")" + std::string(256, 'n') + "\"}", 3, 4},
                    answer_case{"NoPayload", "", 3, 4},
                    answer_case{"Error", R"(,"NotSupported","no logs",{})", 4, 4}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(Diagnostics, UnknownStationIsToldApart) {
  start();
  auto const got = request(7).get();
  EXPECT_EQ(got.answer, 1);
  EXPECT_EQ(got.number, 0U);
}

TEST_F(Diagnostics, StationThatIsNotConnectedIsToldApart) {
  start();
  connected("CP-1").close();
  ASSERT_TRUE(events.wait_for("status 1 offline idle"));
  auto const got = request(1).get();
  EXPECT_EQ(got.answer, 2);
  EXPECT_EQ(got.number, 0U);
}

TEST_F(Diagnostics, StationThatDoesNotAnswerTimesOutAndItsLateAnswerIsDropped) {
  options.session.call_time_out = std::chrono::milliseconds(300);
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto const got = request(1).get();
  EXPECT_EQ(got.answer, 4);
  EXPECT_TRUE(events.wait_for("command 1/1 2"));
  auto const id = received_call(station);
  ASSERT_TRUE(station.send(json::array({3, id, {{"fileName", "log.zip"}}}).dump()));
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "no call waits for it: id " + id));
}

TEST_F(Diagnostics, StationThatDisconnectsFailsTheWaitingCallAtOnce) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  received_call(station);
  auto const begin = std::chrono::steady_clock::now();
  station.cut();
  EXPECT_EQ(waiting.get().answer, 4);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, options.session.call_time_out);
  EXPECT_TRUE(events.wait_for("command 1/1 2"));
}

TEST_F(Diagnostics, SiteThatGoesDownFailsTheWaitingCallAtOnce) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  received_call(station);
  end();
  EXPECT_EQ(waiting.get().answer, 4);
}

TEST_F(Diagnostics, AnswerWithAnotherIdDoesNotEndTheCall) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  auto const id = received_call(station);
  ASSERT_TRUE(station.send(R"([3,"other",{"fileName":"wrong.zip"}])"));
  ASSERT_TRUE(station.send(json::array({3, id, json::object()}).dump()));
  EXPECT_EQ(waiting.get().answer, 3);
}

TEST_F(Diagnostics, OneCallIsInFlightAndFurtherOnesWait) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  std::vector<std::future<requested_diagnostics>> waiting;
  for (int count = 0; count < 3; ++count) {
    waiting.push_back(request(1));
  }
  std::vector<std::string> ids;
  for (std::size_t count = 0; count < waiting.size(); ++count) {
    ids.push_back(received_call(station));
    // Were a second call on its way, it would come before one of these answers.
    for (int heartbeat = 0; heartbeat < 5; ++heartbeat) {
      ASSERT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
    }
    ASSERT_TRUE(station.send(json::array({3, ids.back(), {{"fileName", "log.zip"}}}).dump()));
  }
  std::set<unsigned int> numbers;
  for (auto& one : waiting) {
    auto const got = one.get();
    EXPECT_EQ(got.answer, 0);
    numbers.insert(got.number);
  }
  EXPECT_EQ(numbers, (std::set<unsigned int>{1, 2, 3}));
  EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), 3U);
}

}  // namespace
}  // namespace tavi::site::ocpp
