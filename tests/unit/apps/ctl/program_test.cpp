#include <sys/socket.h>
#include <sys/un.h>

#include <optional>

#include "ctl_fixture.h"
#include "ctl_process.h"
#include "scripted_web_server.h"
#include "terminal/shared_output.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using ::testing::_;
using ::testing::DoAll;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Return;
using ::testing::SetArgReferee;
using ::testing::StartsWith;

/// The program itself, as its own process, against a service of the test.
class CtlProgram : public ctl_test {
 protected:
  static std::vector<std::string> words(std::vector<std::string> arguments) {
    std::string const name_of_program = CTL_PROGRAM;
    arguments.insert(arguments.begin(), name_of_program);
    return arguments;
  }

  void SetUp() override {
    ctl_test::SetUp();
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
  }

  /// The program's requests come from another process, which no thread here is seen to wait for; this one
  /// does.
  void let_service_see_expectations() { EXPECT_TRUE(service.init()); }

  void expect_configuration() {
    EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 3600s}));
  }
};

TEST_F(CtlProgram, WritesPlainLinesIntoAPipe) {
  expect_configuration();
  let_service_see_expectations();
  ctl_process program(words({"config", "get"}));
  EXPECT_EQ(program.read_output(),
            "max_periodic_report_per_station\t5\nperiodic_generation_enabled\ttrue\n"
            "period_for_automatic_generation\t3600\n");
  EXPECT_EQ(program.read_errors(), "");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(CtlProgram, WritesForPeopleOnATerminal) {
  expect_configuration();
  let_service_see_expectations();
  ctl_process program(words({"config", "get"}), ctl_streams::terminal);
  auto const text = program.read_output();
  EXPECT_THAT(text, HasSubstr("\x1b[1mperiod_for_automatic_generation\x1b[0m  1h\r\n"));
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(CtlProgram, UsesNoColoursWhereNobodyWantsThem) {
  for (auto const& [variable, value] :
       std::vector<std::pair<char const*, char const*>>{{"NO_COLOR", "1"}, {"TERM", "dumb"}}) {
    setenv(variable, value, 1);
    expect_configuration();
    let_service_see_expectations();
    ctl_process program(words({"config", "get"}), ctl_streams::terminal);
    EXPECT_THAT(program.read_output(), HasSubstr("\nperiod_for_automatic_generation  1h\r\n"));
    EXPECT_THAT(program.read_output(), Not(HasSubstr("\x1b")));
    EXPECT_EQ(program.wait(), 0);
    unsetenv("NO_COLOR");
  }
}

TEST_F(CtlProgram, SaysAtOnceThatTheServiceDoesNotRun) {
  server.stop();
  auto const begin = std::chrono::steady_clock::now();
  ctl_process program(words({"reports", "list"}));
  auto const told = program.read_errors();
  EXPECT_EQ(program.wait(), 3);
  // A call that waits for an answer gives up after thirty seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  EXPECT_THAT(
      told,
      StartsWith("stations_maintenance_ctl: stations_maintenance_service does not run: nobody listens at " +
                 socket("stations_maintenance_service.req").string()));
  EXPECT_THAT(told, HasSubstr("stations_maintenance_host"));
  EXPECT_EQ(program.read_output(), "");
}

TEST_F(CtlProgram, SaysThatAServiceThatWasKilledDoesNotRun) {
  server.stop();
  // A socket at which nobody listens any more, as a killed service leaves it.
  auto const left_over = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket("stations_maintenance_service.req").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(left_over, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(left_over);
  ctl_process program(words({"reports", "list"}));
  EXPECT_THAT(program.read_errors(), HasSubstr("does not run"));
  EXPECT_EQ(program.wait(), 3);
}

TEST_F(CtlProgram, SaysThatTheFolderOfSocketsHasTooLongAName) {
  ctl_process program(words({"reports", "list", "--runtime-dir", "/" + std::string(200, 'x')}));
  EXPECT_THAT(program.read_errors(), HasSubstr("File name too long"));
  EXPECT_EQ(program.wait(), 3);
}

TEST_F(CtlProgram, FindsTheServiceInTheFolderNamedOnItsCommandLine) {
  expect_configuration();
  let_service_see_expectations();
  auto const here = folder.path().string();
  setenv("TAVI_RUNTIME_DIR", "/nowhere", 1);
  ctl_process program(words({"config", "get", "--runtime-dir", here}));
  EXPECT_THAT(program.read_output(), HasSubstr("max_periodic_report_per_station\t5\n"));
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(CtlProgram, ShowsTheLogOfTheCommunicationOnlyWhenAsked) {
  EXPECT_CALL(handler, on_get_configuration)
      .Times(2)
      .WillRepeatedly(testing::Throw(std::runtime_error("told to fail")));
  let_service_see_expectations();
  ctl_process quiet(words({"config", "get"}));
  EXPECT_THAT(quiet.read_errors(), Not(HasSubstr("request_client")));
  EXPECT_EQ(quiet.wait(), 1);
  ctl_process verbose(words({"config", "get", "--verbose"}));
  EXPECT_THAT(verbose.read_errors(),
              HasSubstr("[request_client] stations_maintenance_service refused get_configuration"));
  EXPECT_EQ(verbose.read_output(), "");
  EXPECT_EQ(verbose.wait(), 1);
}

struct ending_signal {
  int number;
  int code;
};

class CtlProgramByASignal : public CtlProgram, public testing::WithParamInterface<ending_signal> {};

TEST_P(CtlProgramByASignal, EndsWithoutHalfAnOutputWhileTheServiceIsBusy) {
  gate asked;
  gate answer;
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce([&]() -> std::optional<std::vector<report>> {
    asked.open();
    answer.pass();
    return std::vector<report>{};
  });
  let_service_see_expectations();
  ctl_process program(words({"reports", "list"}));
  ASSERT_TRUE(asked.pass());
  program.send(GetParam().number);
  EXPECT_EQ(program.wait(), GetParam().code);
  EXPECT_EQ(program.read_output(), "");
  EXPECT_EQ(program.read_errors(), "");
  answer.open();
}

TEST_P(CtlProgramByASignal, EndsWatchingWithSuccess) {
  ctl_process program(words({"watch"}));
  program.read_errors("waiting for the events of webserver_token_service");
  program.send(GetParam().number);
  EXPECT_THAT(program.read_errors(), Not(HasSubstr("ending in order")));
  EXPECT_EQ(program.wait(), 0);
}

auto const ending_signals =
    testing::Values(ending_signal{SIGINT, 130}, ending_signal{SIGTERM, 143}, ending_signal{SIGHUP, 129});

std::string signal_name(testing::TestParamInfo<ending_signal> const& row) {
  return row.param.number == SIGINT ? "Sigint" : row.param.number == SIGTERM ? "Sigterm" : "Sighup";
}

INSTANTIATE_TEST_SUITE_P(Signals, CtlProgramByASignal, ending_signals, signal_name);

TEST_F(CtlProgram, OutlivesItsTerminalWhenThatIsWanted) {
  gate asked;
  gate answer;
  EXPECT_CALL(handler, on_get_configuration).WillOnce([&]() -> std::optional<configuration> {
    asked.open();
    answer.pass();
    return configuration{};
  });
  let_service_see_expectations();
  auto* const before = signal(SIGHUP, SIG_IGN);
  ctl_process program(words({"config", "get"}));
  signal(SIGHUP, before);
  ASSERT_TRUE(asked.pass());
  program.send(SIGHUP);
  answer.open();
  EXPECT_EQ(program.wait(), 0);
}

/// A firmware under way to a server that takes the file and does not answer.
class CtlProgramUploading : public CtlProgramByASignal {
 protected:
  void SetUp() override {
    CtlProgramByASignal::SetUp();
    EXPECT_CALL(handler, on_store_firmware)
        .WillOnce(DoAll(SetArgReferee<1>("/upload/token"), SetArgReferee<2>(7U),
                        Return(stations_maintenance::store_firmware_result::announced)));
  }

  std::vector<std::string> add_words() {
    return words({"firmware", "add", folder.write("fw.bin", "firmware"), "--model", "X", "--version", "1",
                  "--address", web.address()});
  }

  gate uploading;
  scripted_web_server const web{[this](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(8);
    uploading.open();
    connection.read_to_end();
  }};
};

TEST_P(CtlProgramUploading, TakesItBackAndEndsWithTheNumberOfTheSignal) {
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  let_service_see_expectations();
  ctl_process program(add_words());
  ASSERT_TRUE(uploading.pass());
  program.send(GetParam().number);
  EXPECT_EQ(program.read_errors(), "stations_maintenance_ctl: ending in order; Ctrl-C again ends at once\n");
  EXPECT_EQ(program.read_output(), "");
  EXPECT_EQ(program.wait(), GetParam().code);
}

TEST_P(CtlProgramUploading, SaysAtOnceThatItEndsAndEndsAtOnceByASecondSignal) {
  gate taking_back;
  gate answer;
  EXPECT_CALL(handler, on_delete_firmware(7)).WillOnce([&](unsigned int) {
    taking_back.open();
    answer.pass();
    return stations_maintenance::delete_firmware_result::deleted;
  });
  let_service_see_expectations();
  ctl_process program(add_words());
  ASSERT_TRUE(uploading.pass());
  program.send(GetParam().number);
  EXPECT_THAT(program.read_errors("at once"), HasSubstr("ending in order"));
  ASSERT_TRUE(taking_back.pass());
  program.send(GetParam().number);
  EXPECT_EQ(program.wait(), GetParam().code);
  answer.open();
}

INSTANTIATE_TEST_SUITE_P(Signals, CtlProgramUploading, ending_signals, signal_name);

TEST_F(CtlProgram, UploadsAFirmwareAndShowsABarMeanwhile) {
  std::string const content(100'000, 'f');
  std::string body;
  std::optional<scripted_web_server> web(std::in_place, [&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    body = connection.read_body(content.size());
    connection.answer("201 Created");
  });
  EXPECT_CALL(handler, on_store_firmware)
      .WillOnce(DoAll(SetArgReferee<1>("/upload/token"), SetArgReferee<2>(7U),
                      Return(stations_maintenance::store_firmware_result::announced)));
  EXPECT_CALL(handler, on_get_firmware(7))
      .WillOnce(Return(firmware{7, "1", "/p", 100'000, "00", {"X"}, firmware_status::failed}));
  let_service_see_expectations();
  ctl_process program(words({"firmware", "add", folder.write("fw.bin", content), "--model", "X", "--version",
                             "1", "--address", web->address()}),
                      ctl_streams::terminal);
  auto const text = program.read_output();
  EXPECT_THAT(text, HasSubstr("\r\x1b[K[##########################] 100%  98 KiB of 98 KiB"));
  EXPECT_THAT(
      text,
      HasSubstr("\r\x1b[Kstations_maintenance_ctl: firmware 7 was uploaded, but the service could not"));
  EXPECT_EQ(program.wait(), 1);
  web.reset();  // what it received is whole, and none of its threads writes any more
  EXPECT_EQ(body, content);
}

TEST_F(CtlProgramUploading, KeepsItsProgressWithinTheTerminalAndTakesItAwayWhenItEnds) {
  EXPECT_CALL(handler, on_delete_firmware(7))
      .WillOnce(Return(stations_maintenance::delete_firmware_result::deleted));
  let_service_see_expectations();
  ctl_process program(add_words(), ctl_streams::terminal, "", {24, 20, 0, 0});
  program.read_output("100%");
  ASSERT_TRUE(uploading.pass());
  program.send(SIGINT);
  EXPECT_EQ(program.wait(), 130);
  auto const text = program.read_output();
  auto const notice = text.rfind(clear_line);
  EXPECT_THAT(text.substr(notice),
              EndsWith("stations_maintenance_ctl: ending in order; Ctrl-C again ends at once\r\n"));
  EXPECT_THAT(text.substr(notice), Not(HasSubstr("%")));
  std::size_t shown = 0;
  for (auto begin = text.find(clear_line); begin < notice;
       begin = text.find(clear_line, begin + 1), ++shown) {
    auto const line = text.substr(begin + 4, text.find('\r', begin + 1) - begin - 4);
    EXPECT_LT(line.size(), 20U) << line;
  }
  EXPECT_GE(shown, 1U);
}

TEST_F(CtlProgram, TellsOnATerminalThatItWaitsAndLeavesNothingOfThatBehind) {
  gate answer;
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce([&]() -> std::optional<std::vector<report>> {
    answer.pass();
    return std::vector<report>{};
  });
  let_service_see_expectations();
  ctl_process program(words({"reports", "list"}), ctl_streams::terminal);
  EXPECT_THAT(program.read_output("at most"),
              HasSubstr("listing the reports: waiting 2s for an answer, at most"));
  program.send(SIGINT);
  EXPECT_EQ(program.wait(), 130);
  EXPECT_THAT(program.read_output(), EndsWith("\r\x1b[K"));
  answer.open();
}

TEST_F(CtlProgram, CutsOffWhatATerminalHasNoRoomFor) {
  gate answer;
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce([&]() -> std::optional<std::vector<report>> {
    answer.pass();
    return std::vector<report>{};
  });
  let_service_see_expectations();
  ctl_process program(words({"reports", "list"}), ctl_streams::terminal, "", {24, 30, 0, 0});
  program.read_output("waiting");
  program.send(SIGTERM);
  EXPECT_EQ(program.wait(), 143);
  EXPECT_THAT(program.read_output(), StartsWith("\r\x1b[Klisting the reports: waiting \r\x1b[K"));
  answer.open();
}

TEST_F(CtlProgram, WaitsForTheServiceAsLongAsItIsTold) {
  gate answer;
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce([&]() -> std::optional<std::vector<report>> {
    answer.pass();
    return std::vector<report>{};
  });
  let_service_see_expectations();
  auto const begin = std::chrono::steady_clock::now();
  ctl_process program(words({"--timeout", "1s", "reports", "list"}));
  EXPECT_THAT(program.read_errors(),
              HasSubstr("listing the reports: the stations maintenance service gave no answer"));
  EXPECT_EQ(program.wait(), 4);
  // Without the option it waits for thirty seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
  answer.open();
}

/// A terminal of ten lines, and a pager that marks what it shows.
class CtlProgramPaging : public CtlProgram {
 protected:
  void SetUp() override {
    CtlProgram::SetUp();
    setenv("PAGER", "sed 's/^/paged: /'", 1);
  }
  void TearDown() override {
    unsetenv("PAGER");
    CtlProgram::TearDown();
  }

  /// What the list of so many reports looks like.
  std::string list(std::uint32_t count, int code = 0, ctl_streams streams = ctl_streams::terminal) {
    std::vector<report> reports;
    for (std::uint32_t id = 1; id <= count; ++id) {
      reports.push_back(report_of(id, 1));
    }
    EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(reports));
    let_service_see_expectations();
    ctl_process program(words({"reports", "list"}), streams, "", {10, 80, 0, 0});
    auto const text = program.read_output();
    EXPECT_EQ(program.wait(), code);
    return text;
  }
};

TEST_F(CtlProgramPaging, ShowsInThePagerWhatIsLongerThanTheScreen) {
  auto const text = list(9);
  EXPECT_THAT(text, HasSubstr("paged: \x1b[1mID"));
  EXPECT_THAT(text, HasSubstr("paged:  9        1  manual"));
}

TEST_F(CtlProgramPaging, ShowsWithoutAPagerWhatTheScreenHasRoomFor) {
  EXPECT_THAT(list(8), Not(HasSubstr("paged")));
}

TEST_F(CtlProgramPaging, WritesIntoAPipeWithoutAPager) {
  EXPECT_THAT(list(50, 0, ctl_streams::pipes), Not(HasSubstr("paged")));
}

TEST_F(CtlProgramPaging, ShowsEverythingWhereThePagerIsNotThereOrNotWanted) {
  for (auto const* const pager : {"/nowhere/pager", "/etc/passwd", "", "cat"}) {
    setenv("PAGER", pager, 1);
    auto const text = list(12);
    EXPECT_THAT(text, HasSubstr("\n 1        1  manual")) << pager;
    EXPECT_THAT(text, HasSubstr("\n12        1  manual")) << pager;
  }
}

TEST_F(CtlProgramPaging, UsesNoPagerWhenToldSo) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(std::vector<report>(20, report_of(1, 1))));
  let_service_see_expectations();
  ctl_process program(words({"--no-pager", "reports", "list"}), ctl_streams::terminal, "", {10, 80, 0, 0});
  EXPECT_THAT(program.read_output(), Not(HasSubstr("paged")));
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(CtlProgramPaging, LeavesCtrlCToThePager) {
  // It waits until the signal was taken before it ends.
  setenv("PAGER", "kill -INT $PPID; until grep -q '^ShdPnd:.0*$' /proc/$PPID/status; do :; done; cat", 1);
  EXPECT_THAT(list(12), HasSubstr("\n12        1  manual"));
}

TEST_F(CtlProgramPaging, EndsWellWhenThePagerHasReadEnough) {
  setenv("PAGER", "head -n 1", 1);
  auto const text = list(20'000);
  EXPECT_THAT(text, HasSubstr("STATION"));
  EXPECT_THAT(text, Not(HasSubstr("manual")));
}

TEST_F(CtlProgram, AsksOnATerminalBeforeItDeletes) {
  EXPECT_CALL(handler, on_get_diagnostic_reports)
      .WillOnce(Return(std::vector{report_of(1, 1)}))
      .WillOnce(Return(std::vector{report_of(1, 1)}))
      .WillOnce(Return(std::vector<report>{}));
  EXPECT_CALL(handler, on_delete_diagnostic_reports)
      .WillOnce(Return(stations_maintenance::delete_reports_result::deleted));
  let_service_see_expectations();
  ctl_process careful(words({"reports", "delete", "--all"}), ctl_streams::terminal);
  careful.read_output("Delete report 1 (log_1.tar.gz of station 1, 1000 B)? [y/N] ");
  careful.type("\n");
  EXPECT_EQ(careful.wait(), 1);
  EXPECT_THAT(careful.read_output(), HasSubstr("nothing was done"));
  ctl_process resolute(words({"reports", "delete", "--all"}), ctl_streams::terminal);
  resolute.read_output("[y/N] ");
  resolute.type("YES\n");
  EXPECT_EQ(resolute.wait(), 0);
  EXPECT_THAT(resolute.read_output(), HasSubstr("1 of 1 report (1000 B) deleted"));
}

TEST_F(CtlProgram, EndsQuietlyWhenItsReaderHasGone) {
  gate reader_gone;
  EXPECT_CALL(handler, on_get_configuration).WillOnce([&]() -> std::optional<configuration> {
    reader_gone.pass();
    return configuration{};
  });
  let_service_see_expectations();
  ctl_process program(words({"config", "get"}));
  program.close_output();
  reader_gone.open();
  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(program.read_errors(), "");
}

TEST_F(CtlProgram, SaysThatItsOutputCannotBeWritten) {
  expect_configuration();
  let_service_see_expectations();
  ctl_process program(words({"config", "get"}), ctl_streams::pipes, "/dev/full");
  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(program.read_errors(), HasSubstr("cannot write the output: No space left on device"));
}

TEST_F(CtlProgram, SaysThatItsHelpCannotBeWritten) {
  ctl_process program(words({"--help"}), ctl_streams::pipes, "/dev/full");
  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(program.read_errors(), "stations_maintenance_ctl: cannot write the output\n");
}

TEST_F(CtlProgram, EndsWatchingWhenItsReaderGoesThoughNothingHappens) {
  ctl_process program(words({"watch"}));
  program.read_errors("waiting for the events of webserver_token_service");
  program.close_output();
  EXPECT_EQ(program.wait(), 1);
}

TEST_F(CtlProgram, ExplainsItselfAndRefusesWhatItDoesNotKnow) {
  ctl_process help(words({"--help"}));
  EXPECT_THAT(help.read_output(), HasSubstr("Exit codes:"));
  EXPECT_EQ(help.wait(), 0);
  ctl_process wrong(words({"reports", "burn"}));
  EXPECT_THAT(wrong.read_errors(), EndsWith("(see --help)\n"));
  EXPECT_EQ(wrong.read_output(), "");
  EXPECT_EQ(wrong.wait(), 2);
}

}  // namespace
}  // namespace tavi::ctl
