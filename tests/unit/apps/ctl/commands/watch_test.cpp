#include "ctl_fixture.h"
#include "fake_ocpp_1_6_service.h"
#include "tavi/logger/sub_logger_service.h"
#include "text/site_events.h"

namespace tavi::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char const* const token = "q1Zk5h0yXw3vB8mTq1Zk5h0yXw3vB8mTq1Zk5h0yXw3";

TEST(ShownEvent, NamesWhatHappenedToPeople) {
  using stations::cs_request_status;
  using stations::station_diagnostics_status;
  EXPECT_EQ(event_of({7, true, station_diagnostics_status::uploading}).text,
            "station 7 is connected, diagnostics uploading");
  EXPECT_EQ(event_of({7, false, station_diagnostics_status::idle}).text,
            "station 7 is not connected, diagnostics idle");
  EXPECT_EQ(event_of(7, 1, {"Faulted", "GroundFailure"}).text,
            "station 7 connector 1 is Faulted, error code GroundFailure");
  EXPECT_EQ(event_of(7, 41, cs_request_status::rejected).text, "station 7 request 41 rejected");
  EXPECT_EQ(event_of(7, "Installed").text, "station 7 firmware update: Installed");
  EXPECT_EQ(event_of("station_created", 7).text, "station 7 created");
  EXPECT_EQ(event_of("station_deleted", 7).text, "station 7 deleted");
  EXPECT_EQ(event_of_log(13, 1105, "New firmware").text, "log 13/1105: New firmware");
  EXPECT_EQ(event_of(token, "log.zip", "/spool/1").text,
            "file \"log.zip\" uploaded with token q1Zk5h..., stored as /spool/1");
}

TEST(ShownEvent, NamesTheIdentityOfItsStation) {
  auto known = event_of(7, "Installed");
  add_identity(known, "CS-\x1b");
  EXPECT_EQ(known.text, "station 7 (CS-\\x1b) firmware update: Installed");
  EXPECT_EQ(known.document["identity"], "CS-\x1b");
  auto unknown = event_of(7, "Installed");
  add_identity(unknown, "");
  EXPECT_EQ(unknown.text, "station 7 firmware update: Installed");
  EXPECT_FALSE(unknown.document.contains("identity"));
  auto of_none = event_of_log(13, 1105, "text");
  add_identity(of_none, "CS-1");
  EXPECT_EQ(of_none.text, "log 13/1105: text");
}

TEST(ShownEvent, KeepsTextsOfStationsOffTheTerminal) {
  EXPECT_EQ(event_of_log(13, 1105, "\x1b[2J").text, "log 13/1105: \\x1b[2J");
  EXPECT_EQ(event_of(7, 1, {"\x1b[2J", "a\nb"}).text,
            "station 7 connector 1 is \\x1b[2J, error code a\\x0ab");
  EXPECT_EQ(event_of("\x1b", "\a", "\x7f").text,
            "file \"\\x07\" uploaded with token \\x1b..., stored as \\x7f");
}

TEST(ShownEvent, HasTimeNameAndFieldsAsJson) {
  EXPECT_EQ(line_of(event_of({7, true, stations::station_diagnostics_status::idle}), 1795179909, true),
            R"({"time":"2026-11-20T13:05:09Z","event":"station_status","station_id":7,"connected":true,)"
            R"("diagnostics_status":"idle"})"
            "\n");
  EXPECT_EQ(
      line_of(event_of(7, 2, {"Available", "NoError"}), 0, true),
      R"({"time":"1970-01-01T00:00:00Z","event":"connector_status_changed","station_id":7,"connector_id":2,)"
      R"("status":"Available","error_code":"NoError"})"
      "\n");
  EXPECT_EQ(
      event_of(7, 41, stations::cs_request_status::timed_out).document,
      json({{"event", "command_status"}, {"station_id", 7}, {"request_id", 41}, {"status", "timed_out"}}));
  EXPECT_EQ(event_of(7, "Downloading").document,
            json({{"event", "firmware_status"}, {"station_id", 7}, {"status", "Downloading"}}));
  EXPECT_EQ(event_of("station_deleted", 7).document, json({{"event", "station_deleted"}, {"station_id", 7}}));
  EXPECT_EQ(
      event_of(token, "a", "/b").document,
      json({{"event", "file_uploaded"}, {"token", "q1Zk5h..."}, {"file_name", "a"}, {"file_path", "/b"}}));
}

TEST(ShownEvent, BeginsWithItsTimeForPeople) {
  EXPECT_EQ(line_of(event_of("station_created", 7), 1795179909, false),
            "2026-11-20T13:05:09Z station 7 created\n");
}

class Watch : public ctl_test {
 protected:
  /// Runs the command until `count` lines were written, while events are published again and again: the first
  /// ones may come before the subscription stands.
  tavi::ctl::exit_code watch_until(std::size_t count, watch_options const& options = {}) {
    auto const deadline = std::chrono::steady_clock::now() + generous;
    clock.on_wait = [&, deadline](int) {
      publish_all();
      clock.is_raised = lines_of().size() >= count || std::chrono::steady_clock::now() > deadline;
      std::this_thread::yield();
    };
    return run_command(context, options);
  }

  void publish_all() {
    stations_events.publish_station_status({7, true, stations::station_diagnostics_status::idle});
    stations_events.publish_connector_status_changed(7, 1, {"Available", "NoError"});
    stations_events.publish_command_status(7, 41, stations::cs_request_status::accepted);
    stations_events.publish_firmware_status(7, "Installing");
    stations_events.publish_station_created(8);
    stations_events.publish_station_deleted(8);
    token_events.publish_file_uploaded(token, "log.zip", "/spool/1");
    log_events.publish_functional_log(13, 1105, "New firmware");
  }

  [[nodiscard]] std::vector<std::string> lines_of() {
    std::istringstream text(output.text());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  /// The console's output may be read while subscriptions write.
  class shared_console : public fake_console {
   public:
    bool write(std::string_view line) override {
      std::lock_guard const lock(guard);
      return fake_console::write(line);
    }
    void clear() {
      std::lock_guard const lock(guard);
      output.clear();
    }
    [[nodiscard]] std::string text() {
      std::lock_guard const lock(guard);
      return output;
    }

   private:
    std::mutex guard;
  };

  shared_console output;
  tavi::ctl::command_context context{output, clock, uploader, service, false};
  stations::pub_charging_stations_service stations_events;
  webserver_token::pub_webserver_token_service token_events;
  logger::pub_logger_service log_events;
};

TEST_F(Watch, ShowsEveryKindOfEventUntilItIsEnded) {
  ASSERT_TRUE(stations_events.start() && token_events.start() && log_events.start());
  EXPECT_EQ(watch_until(100), exit_code::done);
  EXPECT_TRUE(clock.is_taken_over);
  auto const lines = lines_of();
  for (auto const* const end :
       {"station 7 is connected, diagnostics idle", "station 7 connector 1 is Available, error code NoError",
        "station 7 request 41 accepted", "station 7 firmware update: Installing", "station 8 created",
        "station 8 deleted", "log 13/1105: New firmware",
        "file \"log.zip\" uploaded with token q1Zk5h..., stored as /spool/1"}) {
    EXPECT_THAT(lines, testing::Contains(EndsWith(end)));
  }
  EXPECT_THAT(output.complaints, IsEmpty());
}

TEST_F(Watch, NamesStationsByTheirIdentities) {
  fake_ocpp_1_6_service site;
  site.add({7, "CS-7", "Acme", "X7", {}, true});
  tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler site_server(site);
  ASSERT_TRUE(site_server.start() && stations_events.start() && token_events.start() && log_events.start());
  EXPECT_EQ(watch_until(100), exit_code::done);
  EXPECT_THAT(lines_of(), testing::Contains(EndsWith("station 7 (CS-7) firmware update: Installing")));
  // Unknown to the site.
  EXPECT_THAT(lines_of(), testing::Contains(EndsWith("station 8 created")));
}

TEST_F(Watch, ShowsEachKindOfEventsAlone) {
  ASSERT_TRUE(stations_events.start() && token_events.start() && log_events.start());
  context.is_json = true;
  std::istringstream names(event_names);
  for (std::string name; names >> name;) {
    output.clear();
    clock.is_raised = false;
    EXPECT_EQ(watch_until(3, {{name}, {}}), exit_code::done);
    for (auto const& line : lines_of()) {
      EXPECT_EQ(json::parse(line, nullptr, false)["event"], name);
    }
    EXPECT_GE(lines_of().size(), 3U) << name;
  }
  EXPECT_THAT(output.complaints, IsEmpty());
}

TEST_F(Watch, ShowsWhatTheStationsWantedTell) {
  ASSERT_TRUE(stations_events.start() && token_events.start() && log_events.start());
  EXPECT_EQ(watch_until(20, {{}, {8, 9}}), exit_code::done);
  for (auto const& line : lines_of()) {
    EXPECT_THAT(line, HasSubstr("station 8 "));
  }
}

TEST_F(Watch, OfStationsRefusesEventsThatNoStationTells) {
  clock.on_wait = [this](int) { clock.is_raised = true; };
  EXPECT_EQ(run_command(context, watch_options{{"functional_log"}, {8}}), exit_code::usage);
  EXPECT_THAT(output.complaints, ElementsAre(HasSubstr("no station tells")));
}

TEST_F(Watch, WaitsForThoseServicesOnlyWhoseEventsAreWanted) {
  clock.is_raised = true;
  EXPECT_EQ(run_command(context, watch_options{{"functional_log"}, {}}), exit_code::done);
  EXPECT_THAT(output.complaints, ElementsAre(HasSubstr("logger_service does not run"),
                                             HasSubstr("waiting for the events of logger_service")));
}

TEST_F(Watch, WritesOneObjectInEachLineAsJson) {
  ASSERT_TRUE(stations_events.start() && token_events.start() && log_events.start());
  context.is_json = true;
  EXPECT_EQ(watch_until(20), exit_code::done);
  for (auto const& line : lines_of()) {
    EXPECT_TRUE(json::parse(line, nullptr, false).is_object()) << line;
  }
}

TEST_F(Watch, TellsWhatIsNotThereYetAndShowsItsEventsOnceItIs) {
  ASSERT_TRUE(token_events.start() && log_events.start());
  auto const deadline = std::chrono::steady_clock::now() + generous;
  clock.on_wait = [&, deadline](int count) {
    if (count == 1) {
      ASSERT_TRUE(stations_events.start());
    }
    publish_all();
    clock.is_raised = output.text().find("station 8 created") != std::string::npos ||
                      std::chrono::steady_clock::now() > deadline;
  };
  EXPECT_EQ(run_command(context, watch_options{}), exit_code::done);
  EXPECT_THAT(output.text(), HasSubstr("station 8 created"));
  EXPECT_THAT(output.complaints,
              ElementsAre(HasSubstr("charging_stations_service does not run"),
                          HasSubstr("waiting for the events of charging_stations_service")));
}

TEST_F(Watch, EndsWhenNobodyReadsIt) {
  ASSERT_TRUE(stations_events.start() && token_events.start() && log_events.start());
  output.is_writable = false;
  clock.on_wait = [this](int) { publish_all(); };
  EXPECT_EQ(run_command(context, watch_options{}), exit_code::failed);
}

TEST_F(Watch, EndsWithoutAnyEventWhenItsReaderGoes) {
  clock.on_wait = [this](int count) { output.is_read = count < 3; };
  EXPECT_EQ(run_command(context, watch_options{}), exit_code::failed);
  EXPECT_EQ(clock.waits, 3);
  EXPECT_EQ(output.text(), "");
}

}  // namespace
}  // namespace tavi::ctl
