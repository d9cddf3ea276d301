#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "ipc_raw_peer.h"
#include "ipc_test.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"
#include "mura_common/ipc_codec.h"

namespace {

using mura_common::call_failure;
using mura_common::request_client;
using mura_common::request_server;
using nlohmann::json;
using spdlog::level::err;
using spdlog::level::warn;

unsigned int mode_of(std::filesystem::path const& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

class RequestServer : public ipc_test {
 protected:
  RequestServer() {
    server.add("echo", [](json const& arguments) { return json{{"result", arguments}}; });
    server.add("refuse", [](json const&) -> json { throw mura_common::malformed_value("odd"); });
    server.add("break", [](json const&) -> json { throw std::runtime_error("secret reason"); });
    server.add("break oddly", [](json const&) -> json { throw 7; });
  }

  /// That the server still answers as it should.
  void expect_alive() {
    raw_peer peer(zmq::socket_type::req, socket("echo.req"));
    EXPECT_EQ(peer.ask({R"({"protocol":1,"operation":"echo","arguments":[1]})"}),
              json::parse(R"({"protocol":1,"result":[1],"out":[]})"));
  }

  request_server server{"echo"};
};

TEST_F(RequestServer, AnswersInTheDocumentedForm) {
  ASSERT_TRUE(server.start());
  expect_alive();
}

struct bad_frames {
  char const* name;
  std::vector<std::string> frames;
  char const* code;
};

void PrintTo(bad_frames const& row, std::ostream* out) {
  *out << row.name;
}

class BadRequest : public RequestServer, public testing::WithParamInterface<bad_frames> {};

TEST_P(BadRequest, GetsAnErrorReplyAndALogLineAndTheServerGoesOn) {
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::req, socket("echo.req"));
  auto const reply = peer.ask(GetParam().frames);
  ASSERT_TRUE(reply.contains("error")) << reply.dump();
  EXPECT_EQ(reply["protocol"], 1);
  EXPECT_EQ(reply["error"]["code"], GetParam().code);
  EXPECT_TRUE(reply["error"]["text"].is_string());
  EXPECT_TRUE(log.holds(warn, "echo") || log.holds(err, "echo"));
  expect_alive();
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, BadRequest,
    testing::Values(
        bad_frames{"NoJson", {"hello"}, "bad_request"}, bad_frames{"Empty", {""}, "bad_request"},
        bad_frames{"Deep", {std::string(100'000, '[')}, "bad_request"},
        bad_frames{
            "SeveralFrames", {R"({"protocol":1,"operation":"echo","arguments":[]})", "more"}, "bad_request"},
        bad_frames{"ManyFrames", std::vector<std::string>(50, "x"), "bad_request"},
        bad_frames{"WrongTypes", {R"({"protocol":1,"operation":"refuse","arguments":["x"]})"}, "bad_request"},
        bad_frames{"TooLarge", {std::string(mura_common::ipc_request_limit + 1, 'x')}, "too_large"},
        bad_frames{
            "UnknownOperation", {R"({"protocol":1,"operation":"what","arguments":[]})"}, "unknown_operation"},
        bad_frames{
            "OtherProtocol", {R"({"protocol":2,"operation":"echo","arguments":[]})"}, "wrong_protocol"},
        bad_frames{"Exception", {R"({"protocol":1,"operation":"break","arguments":[]})"}, "failed"},
        bad_frames{"OddException", {R"({"protocol":1,"operation":"break oddly","arguments":[]})"}, "failed"}),
    [](auto const& row) { return row.param.name; });

TEST_F(RequestServer, KeepsAnExceptionsTextToItsLog) {
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::req, socket("echo.req"));
  auto const reply = peer.ask({R"({"protocol":1,"operation":"break","arguments":[]})"});
  EXPECT_EQ(reply.dump().find("secret reason"), std::string::npos);
  EXPECT_TRUE(log.holds(err, "secret reason"));
}

TEST_F(RequestServer, AnswersTextThatIsNoUtf8WithReplacementCharacters) {
  server.add("bytes", [](json const&) { return json{{"result", "a\xff"}}; });
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::req, socket("echo.req"));
  EXPECT_EQ(peer.ask({R"({"protocol":1,"operation":"bytes","arguments":[]})"})["result"], "a\xef\xbf\xbd");
}

TEST_F(RequestServer, SurvivesOneThatIsFarTooLarge) {
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::req, socket("echo.req"));
  peer.send({std::string(17 * 1024 * 1024, 'x')});
  expect_alive();
}

TEST_F(RequestServer, AnswersWithAnErrorWhereAReplyIsTooLarge) {
  constexpr std::size_t limit = 64 * 1024 * 1024;
  server.add("large", [](json const&) { return json{{"result", std::string(limit, 'x')}}; });
  ASSERT_TRUE(server.start());
  // Writing so much takes its time where a sanitizer looks on.
  request_client client("echo", std::chrono::minutes(5));
  json reply;
  EXPECT_EQ(client.call("large", json::array(), reply), call_failure::refused);
  EXPECT_TRUE(log.holds(err, "at most 67108864 can be sent"));
  expect_alive();
}

TEST_F(RequestServer, SurvivesBytesThatAreNotItsTransport) {
  ASSERT_TRUE(server.start());
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket("echo.req").native().copy(address.sun_path, sizeof address.sun_path - 1);
  // Often enough to meet the moment in which such bytes pass for a message.
  for (int attempt = 0; attempt < 50; ++attempt) {
    int const connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string const noise(4096, '\xee');
    EXPECT_GT(::send(connection, noise.data(), noise.size(), MSG_NOSIGNAL), 0);
    expect_alive();
    close(connection);
  }
}

TEST_F(RequestServer, PassesOverAMessageWithoutTheEnvelopeOfARequest) {
  ASSERT_TRUE(server.start());
  raw_peer stranger(zmq::socket_type::dealer, socket("echo.req"));
  for (auto const& frames : std::vector<std::vector<std::string>>{{"hello"}, {"hello", "again"}, {""}}) {
    log.clear();
    stranger.send(frames);
    EXPECT_TRUE(
        log.wait_for(warn, "echo: passed over a message without the envelope of a request", generous));
  }
  expect_alive();
}

TEST_F(RequestServer, SendsTheWholeEnvelopeBack) {
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::dealer, socket("echo.req"));
  std::string const request = R"({"protocol":1,"operation":"echo","arguments":[1]})";
  // As from a client that numbers its requests, and as from behind two relays.
  for (auto const& envelope :
       std::vector<std::vector<std::string>>{{""}, {"number", ""}, {"relay", "client", "number", ""}}) {
    auto frames = envelope;
    frames.push_back(request);
    peer.send(frames);
    auto const reply = peer.receive_all();
    ASSERT_EQ(reply.size(), envelope.size() + 1);
    EXPECT_TRUE(std::equal(envelope.begin(), envelope.end(), reply.begin()));
    EXPECT_EQ(json::parse(reply.back())["result"], json({1}));
  }
}

TEST_F(RequestServer, AnswersManyRequestsOfOnePeerInTheirOrder) {
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::dealer, socket("echo.req"));
  for (int number = 0; number < 100; ++number) {
    peer.send({"", R"({"protocol":1,"operation":"echo","arguments":[)" + std::to_string(number) + "]}"});
  }
  for (int number = 0; number < 100; ++number) {
    auto const reply = peer.receive_all();
    ASSERT_EQ(reply.size(), 2U);
    EXPECT_EQ(json::parse(reply.back())["result"], json({number}));
  }
}

TEST_F(RequestServer, GivesNobodyTheReplyOfAPeerThatHasGone) {
  gate begun;
  gate finish;
  server.add("wait", [&](json const&) {
    begun.open();
    finish.pass();
    return json{{"result", "late"}};
  });
  ASSERT_TRUE(server.start());
  {
    raw_peer gone(zmq::socket_type::req, socket("echo.req"));
    gone.send({R"({"protocol":1,"operation":"wait","arguments":[]})"});
    ASSERT_TRUE(begun.pass());
  }
  raw_peer next(zmq::socket_type::req, socket("echo.req"));
  next.send({R"({"protocol":1,"operation":"echo","arguments":[2]})"});
  finish.open();
  EXPECT_EQ(json::parse(next.receive().value_or("null"))["result"], json({2}));
}

TEST_F(RequestServer, StopsAfterMessagesWithoutTheEnvelopeOfARequest) {
  ASSERT_TRUE(server.start());
  raw_peer stranger(zmq::socket_type::dealer, socket("echo.req"));
  for (int times = 0; times < 20; ++times) {
    stranger.send({"hello"});
  }
  expect_alive();
  EXPECT_TRUE(server.stop());
}

TEST_F(RequestServer, RefusesASecondOneForTheSameEndpoint) {
  ASSERT_TRUE(server.start());
  request_server second("echo");
  log.clear();
  EXPECT_FALSE(second.start());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, socket("echo.req").string() + " is held by another server"));
  expect_alive();
}

TEST_F(RequestServer, LetsASuccessorInAfterItsStop) {
  ASSERT_TRUE(server.start());
  EXPECT_TRUE(server.stop());
  EXPECT_FALSE(std::filesystem::exists(socket("echo.req")));
  request_server second("echo");
  second.add("echo", [](json const& arguments) { return json{{"result", arguments}}; });
  ASSERT_TRUE(second.start());
  expect_alive();
}

TEST_F(RequestServer, StartsAgainAfterAStop) {
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(server.start());
    expect_alive();
    EXPECT_TRUE(server.stop());
    EXPECT_TRUE(server.stop());
  }
}

TEST_F(RequestServer, IsNotHinderedByALeftOverSocketFile) {
  folder.write("echo.req", "left over");
  folder.write("echo.req.lock", "");
  ASSERT_TRUE(server.start());
  expect_alive();
}

TEST_F(RequestServer, MakesItsFolderAndSocketForTheGroupOnly) {
  auto const inner = folder.path() / "run" / "tavi";
  setenv("TAVI_RUNTIME_DIR", inner.c_str(), 1);
  auto const mask = umask(077);
  EXPECT_TRUE(server.start());
  umask(mask);
  EXPECT_EQ(mode_of(inner), 0750U);
  EXPECT_EQ(mode_of(inner / "echo.req"), 0660U);
}

TEST_F(RequestServer, LeavesTheModeOfAnExistingFolderAlone) {
  ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
  ASSERT_TRUE(server.start());
  EXPECT_EQ(mode_of(folder.path()), 0700U);
}

TEST_F(RequestServer, DoesNotStartWhereAFileIsInTheFoldersPlace) {
  auto const file = folder.write("file", "");
  setenv("TAVI_RUNTIME_DIR", file.c_str(), 1);
  EXPECT_FALSE(server.start());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, file.string()));
}

TEST_F(RequestServer, DoesNotStartWhereTheSocketsPlaceIsAFolder) {
  std::filesystem::create_directories(socket("echo.req") / "inner");
  EXPECT_FALSE(server.start());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, socket("echo.req").string()));
}

TEST_F(RequestServer, TakesThePathOfExactlyTheLongestAllowedLength) {
  auto const room = 107 - socket("").native().size() - std::string(".req").size();
  request_server longest(std::string(room, 'n'));
  EXPECT_TRUE(longest.start());
  request_client client(std::string(room, 'n'));
  EXPECT_TRUE(client.wait_for_service(generous));
}

TEST_F(RequestServer, RefusesAPathOneByteTooLong) {
  auto const name = std::string(107 - socket("").native().size() - std::string(".req").size() + 1, 'n');
  request_server too_long(name);
  EXPECT_FALSE(too_long.start());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, socket(name + ".req").string()));
  EXPECT_TRUE(log.holds(err, "107"));
}

TEST_F(RequestServer, WaitsInItsStopForTheRequestInProgress) {
  gate begun;
  gate finish;
  std::atomic<bool> is_done = false;
  server.add("slow", [&](json const&) {
    begun.open();
    finish.pass();
    is_done = true;
    return json{{"result", "late"}};
  });
  ASSERT_TRUE(server.start());
  raw_peer peer(zmq::socket_type::req, socket("echo.req"));
  peer.send({R"({"protocol":1,"operation":"slow","arguments":[]})"});
  ASSERT_TRUE(begun.pass());
  std::atomic<bool> is_asked = false;
  auto stopped = std::async(std::launch::async, [&] {
    is_asked = true;
    server.stop();
    return is_done.load();
  });
  while (!is_asked) {
    std::this_thread::yield();
  }
  finish.open();
  EXPECT_TRUE(stopped.get());
  auto const reply = peer.receive();
  ASSERT_TRUE(reply.has_value());
  EXPECT_EQ(json::parse(*reply)["result"], "late");
}

TEST_F(RequestServer, AnswersAPingWhileItsLaneIsTaken) {
  ASSERT_TRUE(server.start());
  auto const lane = mura_common::delivery_lane_of("echo");
  std::lock_guard const turn(*lane);
  request_client client("echo");
  EXPECT_TRUE(client.wait_for_service(generous));
}

}  // namespace
