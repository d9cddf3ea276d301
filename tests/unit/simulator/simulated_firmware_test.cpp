#include <nlohmann/json.hpp>

#include "date_time.h"
#include "scripted_firmware_server.h"
#include "station_fixture.h"

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// A station that is told to fetch its firmware from a scripted server.
class SimulatedFirmware : public station_fixture {
 protected:
  SimulatedFirmware() { options.pace.install_time = std::chrono::milliseconds(1); }

  /// Sends an UpdateFirmware call. @param more  further fields of the payload, or others for its own
  void ask(std::string const& id, std::string const& location, json const& more = json::object()) {
    json payload = {{"location", location}, {"retrieveDate", "2020-01-01T00:00:00Z"}, {"retryInterval", 0}};
    payload.update(more);
    server->send(json::array({2, id, "UpdateFirmware", payload}).dump());
  }

  /// Boots, asks, and runs the loop until the station told this status.
  bool run_to_end(std::string const& end, json const& more = json::object()) {
    if (!station && !start_and_boot()) {
      return false;
    }
    ask("u", firmware.url(), more);
    return run_until_traced("FirmwareStatusNotification " + end);
  }

  /// What the station told about its update, in order.
  [[nodiscard]] std::vector<std::string> told() const {
    std::vector<std::string> statuses;
    std::string const beginning = "FirmwareStatusNotification ";
    for (auto const& entry : server->trace) {
      if (entry.starts_with(beginning)) {
        statuses.push_back(entry.substr(beginning.size()));
      }
    }
    return statuses;
  }

  /// The versions with which the station booted.
  [[nodiscard]] std::vector<std::string> versions() const {
    std::vector<std::string> found;
    for (auto const& frame : server->frames) {
      if (frame[0] == 2 && frame[2] == "BootNotification") {
        found.push_back(frame[3].value("firmwareVersion", ""));
      }
    }
    return found;
  }

  /// Names of what stands in the station's firmware folder.
  [[nodiscard]] std::vector<std::string> kept() const {
    std::vector<std::string> names;
    std::error_code ignored;
    for (auto const& entry : std::filesystem::directory_iterator(options.work_folder / "firmware", ignored)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  void answer(std::string const& status, std::string const& body, std::string const& fields = "") {
    firmware.answers.push_back({scripted_firmware_server::answer(status, body, fields)});
  }

  /// An answer whose connection is lost before its end.
  void answer_broken(std::string const& status, std::string const& body, std::size_t announced,
                     std::string const& fields = "") {
    firmware.answers.push_back({"HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(announced) +
                                    "\r\n" + fields + "\r\n" + body,
                                after_answer::close});
  }

  scripted_firmware_server firmware{loop};
  std::string const content = "0123456789abcdefghij";
  std::string const tag = "ETag: \"a\"\r\n";
};

TEST_F(SimulatedFirmware, IsFetchedReportedInstalledAndBootedWith) {
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("Installed"));
  ASSERT_TRUE(run_until_traced("BootNotification", 2));
  EXPECT_EQ(server->answer("u"), json::array({3, "u", json::object()}));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloaded", "Installing", "Installed"));
  EXPECT_THAT(versions(), ElementsAre("2.5", "2.6.0"));
  EXPECT_THAT(kept(), ElementsAre("installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
  // printf 0123456789abcdefghij | sha256sum
  EXPECT_TRUE(log.holds(spdlog::level::info,
                        "CS-007 downloaded firmware 2.6.0 (20 bytes), SHA-256 "
                        "6bc14bdc4517a7a682c6910de2e2946eb8e1ecd04090728fef6d092a7ceb62c5"))
      << logged("SHA-256");
  EXPECT_TRUE(log.holds(spdlog::level::info, "CS-007 was asked to update its firmware"));
  EXPECT_TRUE(log.holds(spdlog::level::info, "CS-007 reboots with firmware 2.6.0"));
  ASSERT_EQ(firmware.requests.size(), 1U);
  EXPECT_TRUE(firmware.requests[0].starts_with("GET /firmware/token/7_x7_2.6.0.bin HTTP/1.1\r\n"));
  EXPECT_THAT(firmware.requests[0], Not(HasSubstr("Range")));
}

TEST_F(SimulatedFirmware, IsFetchedAgainForEveryRequest) {
  answer("200 OK", "first", tag);
  ASSERT_TRUE(run_to_end("Installed"));
  ASSERT_TRUE(run_until_traced("StatusNotification", 4));
  answer("200 OK", "second", tag);
  ask("v", firmware.url("token/8_x7_2.7.0.bin"));
  ASSERT_TRUE(run_until_traced("BootNotification", 3));
  EXPECT_THAT(versions(), ElementsAre("2.5", "2.6.0", "2.7.0"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), "second");
}

TEST_F(SimulatedFirmware, IsResumedWhereItsConnectionWasLost) {
  answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
  answer("206 Partial Content", content.substr(8), tag + "Content-Range: bytes 8-19/20\r\n");
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloaded", "Installing", "Installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
  ASSERT_EQ(firmware.requests.size(), 2U);
  EXPECT_THAT(firmware.requests[1], HasSubstr("Range: bytes=8-\r\n"));
  EXPECT_THAT(firmware.requests[1], HasSubstr("If-Range: \"a\"\r\n"));
  EXPECT_TRUE(
      log.holds(spdlog::level::info, "CS-007 tries to download its firmware again in 0 s, from byte 8"));
}

TEST_F(SimulatedFirmware, IsResumedAgainAndAgain) {
  answer_broken("200 OK", content.substr(0, 5), content.size(), tag);
  answer_broken("206 Partial Content", content.substr(5, 5), 15, tag + "Content-Range: bytes 5-19/20\r\n");
  answer("206 Partial Content", content.substr(10), tag + "Content-Range: bytes 10-19/20\r\n");
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
}

TEST_F(SimulatedFirmware, BeginsAnewWhenTheServerSendsAnotherFile) {
  answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
  answer("200 OK", "another firmware", "ETag: \"b\"\r\n");
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), "another firmware");
}

TEST_F(SimulatedFirmware, BeginsAnewWhenTheServerSendsAnotherPart) {
  answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
  answer("206 Partial Content", content.substr(9), tag + "Content-Range: bytes 9-19/20\r\n");
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
  EXPECT_THAT(firmware.requests[2], Not(HasSubstr("Range")));
}

TEST_F(SimulatedFirmware, BeginsAnewWhenAPartIsShorterThanItSays) {
  answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
  answer("206 Partial Content", content.substr(8, 2), tag + "Content-Range: bytes 8-19/20\r\n");
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("Installed", {{"retries", 3}}));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
  ASSERT_EQ(firmware.requests.size(), 3U);
  EXPECT_THAT(firmware.requests[2], Not(HasSubstr("Range")));
  EXPECT_EQ(logged("from byte 0: the part is not as long as the server says"), 1);
}

TEST_F(SimulatedFirmware, BeginsAnewWhenAPartInChunksEndsTooEarlyOrTooLate) {
  for (std::string const chunk : {"2\r\n89\r\n", "d\r\n89abcdefghijk\r\n"}) {
    SCOPED_TRACE(chunk);
    log.clear();
    ASSERT_TRUE(station || start_and_boot());
    auto const before = server->count("FirmwareStatusNotification Installed");
    answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
    firmware.answers.push_back({"HTTP/1.1 206 Partial Content\r\nTransfer-Encoding: chunked\r\n" + tag +
                                "Content-Range: bytes 8-19/20\r\n\r\n" + chunk + "0\r\n\r\n"});
    answer("200 OK", content, tag);
    ask("u", firmware.url(), {{"retries", 3}});
    ASSERT_TRUE(run_until_traced("FirmwareStatusNotification Installed", before + 1));
    ASSERT_TRUE(run_until_traced("StatusNotification", 2 * (before + 2)));
    EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
    EXPECT_EQ(logged("from byte 0: the server sent "), 1);
    EXPECT_EQ(logged(" bytes of 20"), 1);
  }
}

TEST_F(SimulatedFirmware, IsNotInstalledFromAPartThatIsShorterThanItSays) {
  answer_broken("200 OK", content.substr(0, 8), content.size(), tag);
  answer("206 Partial Content", content.substr(8, 2), tag + "Content-Range: bytes 8-19/20\r\n");
  ASSERT_TRUE(run_to_end("DownloadFailed", {{"retries", 1}}));
  EXPECT_THAT(told(), ElementsAre("Downloading", "DownloadFailed"));
  EXPECT_TRUE(run_until([this] { return kept().empty(); }));
}

TEST_F(SimulatedFirmware, BeginsAnewWithoutAStrongTag) {
  for (std::string const fields : {"", "ETag: W/\"a\"\r\n"}) {
    firmware.requests.clear();
    answer_broken("200 OK", content.substr(0, 8), content.size(), fields);
    answer("200 OK", content, fields);
    auto const before = server->count("FirmwareStatusNotification Installed");
    ASSERT_TRUE(station || start_and_boot());
    ask("u", firmware.url());
    ASSERT_TRUE(run_until_traced("FirmwareStatusNotification Installed", before + 1));
    ASSERT_TRUE(run_until_traced("StatusNotification", 2 * (before + 2)));
    EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
    ASSERT_EQ(firmware.requests.size(), 2U);
    EXPECT_THAT(firmware.requests[1], Not(HasSubstr("Range")));
  }
}

TEST_F(SimulatedFirmware, IsTriedAgainAfterAResetAndAServerThatIsBusy) {
  firmware.answers.push_back({"", after_answer::reset});
  answer("503 Service Unavailable", "busy");
  answer("200 OK", content);
  ASSERT_TRUE(run_to_end("Installed", {{"retries", 2}}));
  EXPECT_EQ(firmware.requests.size(), 3U);
}

TEST_F(SimulatedFirmware, FailsWhenTheTriesAreUsedUp) {
  answer_broken("200 OK", "01", 20, tag);
  answer_broken("206 Partial Content", "23", 18, tag + "Content-Range: bytes 2-19/20\r\n");
  ASSERT_TRUE(run_to_end("DownloadFailed", {{"retries", 1}}));
  EXPECT_THAT(told(), ElementsAre("Downloading", "DownloadFailed"));
  EXPECT_EQ(firmware.requests.size(), 2U);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "CS-007 firmware download failed: the transfer broke off"));
  EXPECT_TRUE(run_until([this] { return kept().empty(); }));
  EXPECT_EQ(server->count("BootNotification"), 1U);
}

struct no_firmware_row {
  char const* situation;
  std::string status;
  std::string body;
  std::string fields;
  char const* reason;
};

TEST_F(SimulatedFirmware, FailsWithoutAnotherTryWhenWhatComesIsNone) {
  for (auto const& row :
       {no_firmware_row{"refused", "404 Not Found", "<html>gone</html>", "Content-Type: text/html\r\n",
                        "the server answered with status 404"},
        no_firmware_row{"expired", "410 Gone", "", "", "the server answered with status 410"},
        no_firmware_row{"moved", "302 Found", "", "Location: /\r\n", "the server answered with status 302"},
        no_firmware_row{"empty", "200 OK", "", "", "the file is empty"},
        no_firmware_row{"web page", "200 OK", "<html>login</html>", "Content-Type: text/html\r\n",
                        "the server sent a web page"},
        no_firmware_row{"web page in disguise", "200 OK", "<!DOCTYPE html><p>", "",
                        "the server sent a web page"}}) {
    SCOPED_TRACE(row.situation);
    firmware.requests.clear();
    log.clear();
    ASSERT_TRUE(station || start_and_boot());
    auto const before = server->count("FirmwareStatusNotification DownloadFailed");
    answer(row.status, row.body, row.fields);
    ask("u", firmware.url());
    ASSERT_TRUE(run_until_traced("FirmwareStatusNotification DownloadFailed", before + 1));
    EXPECT_EQ(firmware.requests.size(), 1U);
    EXPECT_TRUE(log.holds(spdlog::level::warn, std::string("firmware download failed: ") + row.reason));
    EXPECT_TRUE(run_until([this] { return kept().empty(); }));
  }
  EXPECT_EQ(server->count("BootNotification"), 1U);
}

TEST_F(SimulatedFirmware, FailsWhenTheEndOfTheFileCannotBeTold) {
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + content});
  ASSERT_TRUE(run_to_end("DownloadFailed"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "the server does not tell how long the file is"));
}

TEST_F(SimulatedFirmware, ComesInChunksToo) {
  firmware.answers.push_back(
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\na\r\n0123456789\r\n"
       "a\r\nabcdefghij\r\n0\r\n\r\n"});
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
}

TEST_F(SimulatedFirmware, FailsWhenChunksHoldNothing) {
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"});
  ASSERT_TRUE(run_to_end("DownloadFailed"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "the file is empty"));
}

TEST_F(SimulatedFirmware, FailsWhenTheAnswerIsNoHttp) {
  firmware.answers.push_back({"hello\r\n\r\n"});
  ASSERT_TRUE(run_to_end("DownloadFailed", {{"retries", 0}}));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "the transfer broke off"));
}

TEST_F(SimulatedFirmware, FailsForALocationThatItCannotUse) {
  for (auto const* location :
       {"", "ftp://127.0.0.1/x", "https://127.0.0.1/x", "http://127.0.0.1:0/", "/firmware"}) {
    SCOPED_TRACE(location);
    ASSERT_TRUE(station || start_and_boot());
    auto const before = server->count("FirmwareStatusNotification DownloadFailed");
    ask("u", location);
    ASSERT_TRUE(run_until_traced("FirmwareStatusNotification DownloadFailed", before + 1));
  }
  EXPECT_EQ(logged("the location cannot be used, expected http://host"), 5);
}

TEST_F(SimulatedFirmware, FailsWhenNobodyListens) {
  std::string location;
  {
    scripted_firmware_server const gone(loop);
    location = gone.url();
  }
  ASSERT_TRUE(start_and_boot());
  ask("u", location, {{"retries", 1}});
  ASSERT_TRUE(run_until_traced("FirmwareStatusNotification DownloadFailed"));
  EXPECT_EQ(logged("cannot connect to 127.0.0.1:"), 2);
}

TEST_F(SimulatedFirmware, FailsWhenItCannotBeWritten) {
  folder.write("station/firmware", "a file, not a folder");
  answer("200 OK", content);
  ASSERT_TRUE(run_to_end("DownloadFailed"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "CS-007 firmware download failed: cannot open "));
  EXPECT_EQ(firmware.requests.size(), 1U);
}

TEST_F(SimulatedFirmware, FailsWhenTheTransferStandsStill) {
  options.pace.transfer_time = std::chrono::milliseconds(100);
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold});
  ASSERT_TRUE(run_to_end("DownloadFailed", {{"retries", 0}}));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "the transfer broke off"));
}

TEST_F(SimulatedFirmware, WaitsForItsDate) {
  answer("200 OK", content, tag);
  ASSERT_TRUE(start_and_boot());
  auto const date = std::chrono::system_clock::now() + std::chrono::milliseconds(300);
  ask("u", firmware.url(), {{"retrieveDate", tavi::ocpp_wire::to_utc_iso8601(date)}});
  ASSERT_TRUE(run_until_traced("result u"));
  EXPECT_TRUE(told().empty());
  ASSERT_TRUE(run_until([this] { return !firmware.requests.empty(); }));
  EXPECT_GE(std::chrono::system_clock::now(), date - std::chrono::milliseconds(1));
  ASSERT_TRUE(run_until_traced("FirmwareStatusNotification Installed"));
}

TEST_F(SimulatedFirmware, GivesWayToAnotherUpdateWhileItWaits) {
  answer("200 OK", content, tag);
  ASSERT_TRUE(start_and_boot());
  ask("late", firmware.url("token/9_x7_9.9.9.bin"), {{"retrieveDate", "9999-12-31T23:59:59Z"}});
  ASSERT_TRUE(run_until_traced("result late"));
  ask("u", firmware.url());
  ASSERT_TRUE(run_until_traced("BootNotification", 2));
  EXPECT_THAT(versions(), ElementsAre("2.5", "2.6.0"));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloaded", "Installing", "Installed"));
  EXPECT_TRUE(log.holds(spdlog::level::info, "CS-007 gives up a firmware update for another one"));
}

TEST_F(SimulatedFirmware, GivesWayToAnotherUpdateWhileItIsFetched) {
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold});
  answer("200 OK", content, tag);
  ASSERT_TRUE(start_and_boot());
  ask("slow", firmware.url("token/9_x7_9.9.9.bin"));
  ASSERT_TRUE(run_until([this] { return firmware.requests.size() == 1; }));
  ask("u", firmware.url());
  ASSERT_TRUE(run_until_traced("BootNotification", 2));
  EXPECT_THAT(versions(), ElementsAre("2.5", "2.6.0"));
  EXPECT_THAT(kept(), ElementsAre("installed"));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloading", "Downloaded", "Installing", "Installed"));
}

TEST_F(SimulatedFirmware, RefusesAnotherUpdateWhileItIsInstalled) {
  options.pace.install_time = std::chrono::milliseconds(300);
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("Installing"));
  ask("v", firmware.url());
  ASSERT_TRUE(run_until_traced("error v"));
  EXPECT_EQ(server->answer("v")[2], "InternalError");
  ASSERT_TRUE(run_until_traced("BootNotification", 2));
  EXPECT_EQ(firmware.requests.size(), 1U);
}

TEST_F(SimulatedFirmware, RefusesCallsThatLackWhatTheyNeed) {
  ASSERT_TRUE(start_and_boot());
  server->send(R"([2,"none","UpdateFirmware",{}])");
  server->send(R"([2,"date","UpdateFirmware",{"location":"http://a/","retrieveDate":"soon"}])");
  ASSERT_TRUE(run_until_traced("error date"));
  EXPECT_EQ(server->answer("none")[2], "OccurenceConstraintViolation");
  EXPECT_EQ(server->answer("date")[2], "PropertyConstraintViolation");
  EXPECT_FALSE(log.holds(spdlog::level::info, "was asked to update"));
}

TEST_F(SimulatedFirmware, IsNotInstalledWhenToldToRefuse) {
  options.is_refusing_installation = true;
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("InstallationFailed"));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloaded", "Installing", "InstallationFailed"));
  ASSERT_TRUE(run_until([this] { return kept().empty(); }));
  EXPECT_EQ(server->count("BootNotification"), 1U);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "CS-007 firmware installation failed: refused, as told"));
}

TEST_F(SimulatedFirmware, LosesItsConnectionOnceWhenToldTo) {
  options.break_download_after = 7;
  answer("200 OK", content, tag);
  answer("206 Partial Content", content.substr(7), tag + "Content-Range: bytes 7-19/20\r\n");
  ASSERT_TRUE(run_to_end("Installed"));
  ASSERT_EQ(firmware.requests.size(), 2U);
  EXPECT_THAT(firmware.requests[1], HasSubstr("Range: bytes=7-\r\n"));
  EXPECT_EQ(content_of(options.work_folder / "firmware" / "installed"), content);
  EXPECT_TRUE(log.holds(spdlog::level::info, "the connection was cut after 7 bytes, as told"));
  ASSERT_TRUE(run_until_traced("StatusNotification", 4));
  answer("200 OK", content, tag);
  ask("v", firmware.url());
  ASSERT_TRUE(run_until_traced("FirmwareStatusNotification Installed", 2));
  EXPECT_EQ(firmware.requests.size(), 3U) << "a second update is not disturbed";
}

TEST_F(SimulatedFirmware, ReportsOnTheNextConnectionWhatItCouldNotSay) {
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold});
  ASSERT_TRUE(start_and_boot());
  ask("u", firmware.url(), {{"retries", 0}});
  ASSERT_TRUE(run_until([this] { return firmware.requests.size() == 1; }));
  server->cut();
  ASSERT_TRUE(run_until([this] { return logged("CS-007 disconnected") == 1; }));
  firmware.release();
  ASSERT_TRUE(run_until_traced("FirmwareStatusNotification DownloadFailed"));
}

TEST_F(SimulatedFirmware, RepeatsAStatusWhoseAnswerWasLost) {
  server->drop_at = "FirmwareStatusNotification Downloaded";
  answer("200 OK", content, tag);
  ASSERT_TRUE(run_to_end("Installed"));
  EXPECT_THAT(told(), ElementsAre("Downloading", "Downloaded", "Downloaded", "Installing", "Installed"));
}

TEST_F(SimulatedFirmware, IsBrokenOffWhenTheStationStops) {
  firmware.answers.push_back({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold});
  ASSERT_TRUE(start_and_boot());
  ask("u", firmware.url());
  ASSERT_TRUE(run_until([this] { return firmware.requests.size() == 1; }));
  station->stop();
  ASSERT_TRUE(run_until_traced("closed"));
  ASSERT_TRUE(run_until([this] { return kept().empty(); }));
  EXPECT_THAT(told(), ElementsAre("Downloading"));
}

TEST_F(SimulatedFirmware, TokensStayOutOfJournalAndLog) {
  std::string const token = "q1Zk5h0yXw3vB8mT-1Zk5h0yXw3vB8mT_1Zk5h0yXw3";
  answer("200 OK", content, tag);
  ASSERT_TRUE(start_and_boot());
  ask("u", firmware.url(token));
  ASSERT_TRUE(run_until_traced("BootNotification", 2));
  EXPECT_THAT(firmware.requests[0], HasSubstr(token));
  auto const journal = content_of(options.work_folder / "station.log");
  EXPECT_THAT(journal, HasSubstr("/firmware/q1Zk5h...\""));
  EXPECT_THAT(journal, Not(HasSubstr(token)));
  EXPECT_EQ(logged(token), 0);
  EXPECT_THAT(versions(), ElementsAre("2.5", "fw-6bc14bdc"));
}

}  // namespace
