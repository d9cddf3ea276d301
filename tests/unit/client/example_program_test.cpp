#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <zmq.hpp>

#include "fake_stations_maintenance_service.h"
#include "ipc_test.h"
#include "spawned_program.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {
namespace {

/// What a run of the example came to.
struct outcome {
  int status = 0;
  std::string output;

  bool operator==(outcome const&) const = default;
};

std::ostream& operator<<(std::ostream& out, outcome const& one) {
  return out << one.status << ": " << one.output;
}

/// The example client in Python, run against a service in this process.
class ExampleProgram : public ipc_test {
 protected:
  ExampleProgram() {
    handler.add(7, {"X7-22", true});
    handler.add(8, {"X7-44", false});
    handler.add(station_firmware_info{
        3, "2.1.0", "/f/3_x7.bin", 12, "ab12", {"X7-22", "X7-44"}, station_firmware_status::available});
    handler.add(diagnostic_report_info{42, 7, "gr\xc3\xbc\xc3\x9f.zip", 1795183509,
                                       diagnostic_report_type::manual, 48213});
    EXPECT_TRUE(server.start());
  }

  static outcome run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {SYSTEM_PYTHON, "-B", "-X", "utf8",
                                         DOCUMENTATION_FOLDER "/examples/stations_maintenance.py"});
    spawned_program program(arguments);
    auto const output = program.read_all();
    return {program.wait(), output};
  }

  fake_stations_maintenance_service handler;
  req_resp_stations_maintenance_service_handler server{handler};
};

std::string const firmware_line = "3  2.1.0  available  X7-22, X7-44  /f/3_x7.bin\n";
std::string const report_line = "42  station 7  manual  48213 bytes  gr\xc3\xbc\xc3\x9f.zip\n";

TEST_F(ExampleProgram, ReadsAndChangesTheConfiguration) {
  EXPECT_EQ(run({"set-configuration", "20", "3600"}), (outcome{0, "set\n"}));
  EXPECT_EQ(run({"configuration"}),
            (outcome{0,
                     "{\"max_periodic_report_per_station\": 20, \"period_for_automatic_generation\": 3600, "
                     "\"periodic_generation_enabled\": true}\n"}));
  EXPECT_EQ(run({"set-configuration", "20", "--", "-1"}), (outcome{1, "refused\n"}));
  EXPECT_EQ(run({"set-configuration", "0", "3600"}), (outcome{0, "set\n"}));
  EXPECT_EQ(handler.on_get_configuration(), stations_maintenance_configuration{});
}

TEST_F(ExampleProgram, ListsFirmware) {
  EXPECT_EQ(run({"firmwares"}), (outcome{0, firmware_line}));
  EXPECT_EQ(run({"firmwares", "--station", "7"}), (outcome{0, firmware_line}));
  EXPECT_EQ(run({"firmwares", "--station", "99"}), (outcome{1, "unknown, or cannot be read\n"}));
  EXPECT_EQ(run({"firmware", "3"}), (outcome{0, firmware_line}));
  EXPECT_EQ(run({"firmware", "99"}), (outcome{1, "unknown\n"}));
}

TEST_F(ExampleProgram, AnnouncesAndDeletesFirmware) {
  EXPECT_EQ(run({"announce", "--version", "2.2.0", "X7-22"}), (outcome{0, "4 /upload/token\n"}));
  EXPECT_EQ(run({"announce", "--version", "2.1.0", "X7-22"}), (outcome{1, "version refused\n"}));
  EXPECT_EQ(run({"firmware", "4"}), (outcome{0, "4  2.2.0  pending upload  X7-22  -\n"}));
  EXPECT_EQ(run({"delete-firmware", "4"}), (outcome{0, "deleted\n"}));
  EXPECT_EQ(run({"delete-firmware", "4"}), (outcome{1, "unknown\n"}));
}

TEST_F(ExampleProgram, ListsExportsAndDeletesReports) {
  EXPECT_EQ(run({"folder"}), (outcome{0, "diagnostic_reports\n"}));
  EXPECT_EQ(run({"reports"}), (outcome{0, report_line}));
  EXPECT_EQ(run({"reports", "--station", "7"}), (outcome{0, report_line}));
  EXPECT_EQ(run({"reports", "--station", "8"}), (outcome{0, ""}));
  EXPECT_EQ(run({"reports", "--station", "99"}), (outcome{1, "unknown, or cannot be read\n"}));
  EXPECT_EQ(run({"export", "/tmp/a.zip", "41", "42"}), (outcome{0, "exported\n"}));
  EXPECT_EQ(handler.exported(), std::vector<std::int32_t>{42});
  EXPECT_EQ(run({"export", "/tmp/a.zip", "41"}), (outcome{1, "failed\n"}));
  EXPECT_EQ(run({"delete-reports", "42"}), (outcome{0, "deleted\n"}));
  EXPECT_EQ(run({"delete-reports", "42"}), (outcome{1, "unknown\n"}));
}

TEST_F(ExampleProgram, TellsWhereThingsLie) {
  EXPECT_EQ(run({"working-directory"}), (outcome{0, "/var/lib/stations\n"}));
  EXPECT_EQ(run({"firmware-file", "3"}), (outcome{0, "/f/3_x7.bin\n"}));
  EXPECT_EQ(run({"firmware-file", "99"}), (outcome{1, "unknown, or not there yet\n"}));
}

TEST_F(ExampleProgram, AsksAStationForAReport) {
  EXPECT_EQ(run({"generate", "7"}), (outcome{0, "accepted, request 1\n"}));
  EXPECT_EQ(run({"generate", "--periodic", "7"}), (outcome{0, "accepted, request 2\n"}));
  EXPECT_EQ(run({"generate", "8"}), (outcome{1, "not connected\n"}));
  EXPECT_EQ(run({"generate", "99"}), (outcome{1, "unknown station\n"}));
}

TEST_F(ExampleProgram, TellsARefusedRequestFromARefusal) {
  handler.is_failing = true;
  EXPECT_EQ(run({"firmwares"}), (outcome{2, "get_firmwares was refused: failed: the operation failed\n"}));
  EXPECT_EQ(run({"firmware", "--", "-1"}).status, 2);
}

TEST_F(ExampleProgram, TellsWhatDoesNotAnswerInTime) {
  server.stop();
  EXPECT_EQ(run({"--timeout", "1", "folder"}),
            (outcome{2, "no answer to get_diagnostics_folder_path within 1 s\n"}));
  EXPECT_EQ(run({"--timeout", "0", "folder"}).status, 2);
  EXPECT_EQ(run({"--timeout", "-1", "folder"}).status, 2);
}

TEST_F(ExampleProgram, SaysWhatItNeedsWithoutZeroMq) {
  folder.write("zmq.py", "raise ImportError('none')");
  setenv("PYTHONPATH", folder.path().c_str(), 1);
  auto const asked = run({"folder"});
  auto const helped = run({"--help"});
  unsetenv("PYTHONPATH");
  EXPECT_EQ(asked, (outcome{2,
                            "this program needs ZeroMQ for Python: install Debian's python3-zmq, or pyzmq "
                            "elsewhere\n"}));
  EXPECT_EQ(helped.status, 0);
}

struct odd_reply {
  char const* situation;
  std::string reply;
  char const* told;
};

class OddReply : public ipc_test, public testing::WithParamInterface<odd_reply> {};

TEST_P(OddReply, IsToldInOneLine) {
  zmq::context_t context;
  zmq::socket_t service(context, zmq::socket_type::rep);
  service.set(zmq::sockopt::rcvtimeo, 60'000);
  service.bind("ipc://" + socket("stations_maintenance_service.req").string());
  std::thread answering([&] {
    zmq::message_t request;
    if (service.recv(request)) {
      service.send(zmq::buffer(GetParam().reply), zmq::send_flags::none);
    }
  });
  spawned_program program({SYSTEM_PYTHON, "-B", "-X", "utf8",
                           DOCUMENTATION_FOLDER "/examples/stations_maintenance.py", "folder"});
  EXPECT_EQ(program.read_all(), GetParam().told);
  EXPECT_EQ(program.wait(), 2);
  answering.join();
}

constexpr char const* not_understood = "the answer to get_diagnostics_folder_path cannot be understood\n";

INSTANTIATE_TEST_SUITE_P(
    Each, OddReply,
    testing::Values(odd_reply{"Empty", "", not_understood}, odd_reply{"NoJson", "{", not_understood},
                    odd_reply{"NoUtf8", "\xff\xfe\xfd", not_understood},
                    odd_reply{"NoObject", "[1]", not_understood}, odd_reply{"Number", "1", not_understood},
                    odd_reply{"WithoutProtocol", R"({"result":"","out":[]})", not_understood},
                    odd_reply{"WithoutResult", R"({"protocol":1})", not_understood},
                    odd_reply{"OddError", R"({"protocol":1,"error":"broken"})", not_understood},
                    odd_reply{
                        "OtherProtocol", R"({"protocol":2,"result":"","out":[]})",
                        "get_diagnostics_folder_path was answered in protocol 2, this program knows 1\n"}),
    [](auto const& tested) { return std::string(tested.param.situation); });

}  // namespace
}  // namespace tavi::stations_maintenance
