#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "ipc_raw_peer.h"
#include "ipc_test.h"
#include "mura_common/ipc.h"

namespace {

using mura_common::call_failure;
using mura_common::request_client;
using mura_common::request_server;
using nlohmann::json;
using spdlog::level::err;
using spdlog::level::warn;

constexpr std::chrono::milliseconds short_time(100);

/// A server process that can be killed as nothing in this process can.
class server_process {
 public:
  explicit server_process(char const* service) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
      return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    std::string program = IPC_TEST_SERVER;
    std::string name = service;
    std::array<char*, 3> arguments{program.data(), name.data(), nullptr};
    has_started = posix_spawn(&process, program.c_str(), &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char byte = 0;
    is_serving = has_started && read(ends[0], &byte, 1) == 1 && byte == '!';
    close(ends[0]);
  }
  ~server_process() { kill_hard(); }
  server_process(server_process const&) = delete;
  server_process& operator=(server_process const&) = delete;

  void kill_hard() {
    if (has_started) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
      has_started = false;
    }
  }

  pid_t process = 0;
  bool has_started = false;
  bool is_serving = false;
};

class RequestClient : public ipc_test {
 protected:
  json process_behind(request_client& client) {
    json reply;
    EXPECT_EQ(client.call("process", json::array(), reply), call_failure::none);
    return reply.value("result", json());
  }
};

TEST_F(RequestClient, GetsTheBodyOfTheReply) {
  request_server server("echo");
  server.add("echo", [](json const& arguments) { return json{{"result", arguments}, {"out", {1}}}; });
  ASSERT_TRUE(server.start());
  request_client client("echo");
  json reply;
  EXPECT_EQ(client.call("echo", {"a", 2}, reply), call_failure::none);
  EXPECT_EQ(reply, json::parse(R"({"result":["a",2],"out":[1]})"));
}

TEST_F(RequestClient, WaitsForAServerThatStartsLater) {
  request_client client("echo", generous);
  std::thread calling([&] {
    json reply;
    EXPECT_EQ(client.call("echo", json::array(), reply), call_failure::none);
  });
  request_server server("echo");
  server.add("echo", [](json const&) { return json::object(); });
  EXPECT_TRUE(server.start());
  calling.join();
}

TEST_F(RequestClient, GivesUpAfterItsTimeOutAndSaysOnWhat) {
  request_client client("absent", short_time);
  json reply = "unchanged";
  auto const begun = std::chrono::steady_clock::now();
  EXPECT_EQ(client.call("anything", json::array(), reply), call_failure::not_reached);
  EXPECT_GE(std::chrono::steady_clock::now() - begun, short_time);
  EXPECT_EQ(reply, "unchanged");
  EXPECT_TRUE(log.holds(warn, "absent gave no answer to anything within 100 ms: it was not there"));
}

TEST_F(RequestClient, TellsARefusalFromSilence) {
  request_server server("echo");
  ASSERT_TRUE(server.start());
  request_client client("echo", generous);
  json reply;
  auto const outcome = client.call("unheard of", json::array(), reply);
  EXPECT_EQ(outcome.failure, call_failure::refused);
  EXPECT_EQ(outcome.reason, "unknown_operation: there is no operation \"unheard of\"");
  EXPECT_TRUE(log.holds(warn, "unknown_operation"));
}

TEST_F(RequestClient, DoesNotSendARequestAboveTheLimit) {
  request_client client("echo", generous);
  json reply;
  std::string const large(mura_common::ipc_request_limit, 'x');
  auto const outcome = client.call("echo", {large}, reply);
  EXPECT_EQ(outcome.failure, call_failure::refused);
  EXPECT_THAT(outcome.reason, testing::StartsWith("too_large: the request has "));
  EXPECT_TRUE(log.holds(warn, "1048576"));
}

TEST_F(RequestClient, RefusesAPathThatIsTooLong) {
  std::string const name(120, 'n');
  request_client client(name, generous);
  json reply;
  EXPECT_EQ(client.call("echo", json::array(), reply), call_failure::not_reached);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, socket(name + ".req").string()));
  EXPECT_TRUE(log.holds(err, "107"));
  log.clear();
  EXPECT_FALSE(client.wait_for_service(generous));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(RequestClient, IsNotDisturbedByAReplyThatComesTooLate) {
  gate answer;
  request_server server("slow");
  server.add("slow", [&](json const&) {
    answer.pass();
    return json{{"result", "late"}};
  });
  server.add("quick", [](json const&) { return json{{"result", "quick"}}; });
  ASSERT_TRUE(server.start());
  request_client client("slow", std::chrono::seconds(2));
  json reply;
  EXPECT_EQ(client.call("slow", json::array(), reply), call_failure::timed_out);
  answer.open();
  ASSERT_TRUE(client.wait_for_service(generous));
  EXPECT_EQ(client.call("quick", json::array(), reply), call_failure::none);
  EXPECT_EQ(reply["result"], "quick");
}

TEST_F(RequestClient, RecoversWhenItsServerWasKilledAndCameBack) {
  request_client client("process", std::chrono::seconds(10));
  server_process first("process");
  ASSERT_TRUE(first.is_serving);
  EXPECT_EQ(process_behind(client), first.process);
  first.kill_hard();
  ASSERT_TRUE(std::filesystem::exists(socket("process.req")));
  server_process second("process");
  ASSERT_TRUE(second.is_serving);
  ASSERT_TRUE(client.wait_for_service(generous));
  EXPECT_EQ(process_behind(client), second.process);
}

TEST_F(RequestClient, LosesNoRequestToAServerThatHasJustEnded) {
  request_client client("echo", generous);
  for (int round = 0; round < 50; ++round) {
    request_server server("echo");
    server.add("echo", [](json const& arguments) { return json{{"result", arguments}}; });
    ASSERT_TRUE(server.start());
    json reply;
    ASSERT_EQ(client.call("echo", {round}, reply), call_failure::none);
    ASSERT_TRUE(server.stop());
  }
}

TEST_F(RequestClient, RecoversAfterCallsThatFailedWhileTheServerWasDead) {
  request_client client("process", std::chrono::seconds(1));
  server_process first("process");
  ASSERT_TRUE(first.is_serving);
  EXPECT_EQ(process_behind(client), first.process);
  first.kill_hard();
  json reply;
  EXPECT_EQ(client.call("process", json::array(), reply), call_failure::not_reached);
  server_process second("process");
  ASSERT_TRUE(second.is_serving);
  ASSERT_TRUE(client.wait_for_service(generous));
  EXPECT_EQ(process_behind(client), second.process);
}

TEST_F(RequestClient, ASecondProcessCannotTakeTheEndpointOver) {
  server_process first("process");
  ASSERT_TRUE(first.is_serving);
  server_process second("process");
  EXPECT_FALSE(second.is_serving);
  request_client client("process", generous);
  EXPECT_EQ(process_behind(client), first.process);
}

TEST_F(RequestClient, ServesManyThreadsAtOnceEachWithItsOwnReply) {
  request_server server("echo");
  server.add("echo", [](json const& arguments) { return json{{"result", arguments}}; });
  ASSERT_TRUE(server.start());
  request_client client("echo", generous);
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 12; ++thread) {
    threads.emplace_back([&, thread] {
      for (int turn = 0; turn < 20; ++turn) {
        json reply;
        auto const failure = client.call("echo", {thread, turn}, reply);
        right += failure == call_failure::none && reply["result"] == json({thread, turn}) ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, 240);
}

TEST_F(RequestClient, WaitsForAServiceInVainAndSaysForWhich) {
  request_client client("absent");
  EXPECT_FALSE(client.wait_for_service(short_time));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, "absent did not answer within 100 ms"));
}

TEST_F(RequestClient, TellsAtOnceThatTheServiceEndedBeforeItAnswered) {
  zmq::context_t context;
  std::optional<zmq::socket_t> server(std::in_place, context, zmq::socket_type::rep);
  server->set(zmq::sockopt::linger, 0);
  server->bind("ipc://" + socket("mortal.req").string());
  request_client client("mortal", std::chrono::hours(1));
  std::thread calling([&] {
    json reply = "unchanged";
    EXPECT_EQ(client.call("anything", json::array(), reply), call_failure::connection_lost);
    EXPECT_EQ(reply, "unchanged");
  });
  zmq::message_t request;
  EXPECT_TRUE(server->recv(request).has_value());
  server.reset();
  calling.join();
  EXPECT_TRUE(log.holds(warn, "mortal ended the connection before it answered anything"));
}

TEST_F(RequestClient, TakesTheReplyOfAServiceThatEndsRightAfterIt) {
  request_client client("mortal", generous);
  for (int round = 0; round < 50; ++round) {
    zmq::context_t context;
    std::optional<zmq::socket_t> server(std::in_place, context, zmq::socket_type::rep);
    server->bind("ipc://" + socket("mortal.req").string());
    std::thread calling([&] {
      json reply;
      EXPECT_EQ(client.call("anything", json::array(), reply), call_failure::none);
    });
    zmq::message_t request;
    EXPECT_TRUE(server->recv(request).has_value());
    server->send(zmq::str_buffer(R"({"protocol":1,"result":1,"out":[]})"), zmq::send_flags::none);
    server.reset();
    calling.join();
  }
}

TEST_F(RequestClient, TellsAServiceThatHangsFromOneThatIsAway) {
  // The system takes connections for a process that does not run any more.
  int const hanging = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket("hanging.req").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(hanging, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(hanging, 1), 0);
  request_client client("hanging", std::chrono::milliseconds(500));
  json reply;
  EXPECT_EQ(client.call("anything", json::array(), reply), call_failure::timed_out);
  close(hanging);
  EXPECT_EQ(client.call("anything", json::array(), reply), call_failure::not_reached);
}

TEST_F(RequestClient, EndsACallInFlightWhenItIsClosed) {
  gate begun;
  gate finish;
  request_server server("slow");
  server.add("slow", [&](json const&) {
    begun.open();
    finish.pass();
    return json::object();
  });
  ASSERT_TRUE(server.start());
  request_client client("slow", std::chrono::hours(1));
  std::thread calling([&] {
    json reply;
    EXPECT_EQ(client.call("slow", json::array(), reply), call_failure::closed);
    EXPECT_EQ(client.call("slow", json::array(), reply), call_failure::closed);
  });
  EXPECT_TRUE(begun.pass());
  client.close();
  calling.join();
  finish.open();
}

struct odd_reply {
  char const* name;
  std::vector<std::string> frames;
  call_failure failure;
};

void PrintTo(odd_reply const& row, std::ostream* out) {
  *out << row.name;
}

class OddReply : public RequestClient, public testing::WithParamInterface<odd_reply> {};

TEST_P(OddReply, IsToldByItsFailure) {
  zmq::context_t context;
  zmq::socket_t server(context, zmq::socket_type::rep);
  server.set(zmq::sockopt::linger, 0);
  server.bind("ipc://" + socket("odd.req").string());
  request_client client("odd", generous);
  std::thread calling([&] {
    json reply = "unchanged";
    EXPECT_EQ(client.call("anything", json::array(), reply), GetParam().failure);
    EXPECT_EQ(reply, "unchanged");
  });
  zmq::message_t request;
  EXPECT_TRUE(server.recv(request).has_value());
  auto const& frames = GetParam().frames;
  for (std::size_t at = 0; at < frames.size(); ++at) {
    server.send(zmq::buffer(frames[at]),
                at + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
  }
  calling.join();
  EXPECT_TRUE(log.holds(warn, "anything"));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, OddReply,
    testing::Values(
        odd_reply{"NoJson", {"hello"}, call_failure::malformed},
        odd_reply{"Empty", {""}, call_failure::malformed},
        odd_reply{"Deep", {std::string(100'000, '[')}, call_failure::malformed},
        odd_reply{"SeveralFrames", {R"({"protocol":1,"result":1,"out":[]})", ""}, call_failure::malformed},
        odd_reply{"OtherProtocol", {R"({"protocol":2,"result":1,"out":[]})"}, call_failure::malformed},
        odd_reply{
            "Refusal", {R"({"protocol":1,"error":{"code":"failed","text":"x"}})"}, call_failure::refused}),
    [](auto const& row) { return row.param.name; });

}  // namespace
