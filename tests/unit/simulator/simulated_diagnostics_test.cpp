#include <stdio.h>

#include <algorithm>
#include <array>
#include <set>
#include <sstream>
#include <vector>

#include "station_fixture.h"

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;

/// What a command prints, or "failed".
std::string output_of(std::string const& command) {
  auto* const pipe = popen(command.c_str(), "r");
  std::string text;
  std::array<char, 4096> piece{};
  while (auto const size = fread(piece.data(), 1, piece.size(), pipe)) {
    text.append(piece.data(), size);
  }
  return pclose(pipe) == 0 ? text : "failed";
}

class SimulatedDiagnostics : public station_fixture {
 protected:
  /// What happened after the boot sequence.
  [[nodiscard]] std::vector<std::string> trace() const {
    auto const skipped =
        std::find(server->trace.rbegin(), server->trace.rend(), "StatusNotification Available");
    return {skipped.base(), server->trace.end()};
  }

  /// Boots, asks for diagnostics with id "d", and runs until the station has reported this end.
  [[nodiscard]] bool run_to_end(std::string const& end, std::string const& location,
                                json const& more = json::object()) {
    if (!station && !start_and_boot()) {
      return false;
    }
    server->ask_for_diagnostics("d", location, more);
    return run_until_traced("DiagnosticsStatusNotification " + end);
  }

  [[nodiscard]] bool is_archive_left() const {
    return std::filesystem::exists(options.work_folder / "diagnostics");
  }
};

TEST_F(SimulatedDiagnostics, AnswersThenUploadsWithNotificationsInOrder) {
  ASSERT_TRUE(run_to_end("Uploaded", server->upload_url() + "/"));
  EXPECT_THAT(trace(), ElementsAre("result d", "DiagnosticsStatusNotification Uploading", "upload begins",
                                   "upload whole", "DiagnosticsStatusNotification Uploaded"));
  auto const name = server->answer("d")[2]["fileName"].get<std::string>();
  EXPECT_THAT(name, ::testing::MatchesRegex("diagnostics_CS-007_[0-9]{8}T[0-9]{6}Z\\.tar\\.gz"));
  ASSERT_EQ(server->uploads.size(), 1U);
  auto const& upload = server->uploads[0];
  EXPECT_EQ(upload.target, "/upload/token/" + name);
  EXPECT_EQ(upload.content_length, std::to_string(upload.body.size()));
  EXPECT_TRUE(log.holds(spdlog::level::info, "CS-007 was asked for diagnostics"));
  EXPECT_TRUE(
      log.holds(spdlog::level::info, "CS-007 uploaded " + name + " (" + upload.content_length + " bytes)"));
  EXPECT_FALSE(is_archive_left());
}

TEST_F(SimulatedDiagnostics, UploadsARealArchiveOfLogConfigurationAndStatus) {
  ASSERT_TRUE(run_to_end("Uploaded", server->upload_url()));
  ASSERT_EQ(server->uploads.size(), 1U);
  auto const archive = folder.write("received.tar.gz", server->uploads[0].body).string();
  std::istringstream names(output_of("tar tzf '" + archive + "'"));
  std::set<std::string> listed;
  for (std::string name; std::getline(names, name);) {
    listed.insert(name);
  }
  EXPECT_THAT(listed, ElementsAre("configuration.json", "station.log", "status.json"));
  EXPECT_THAT(output_of("tar xzOf '" + archive + "' station.log"), HasSubstr("\"BootNotification\""));
  auto const configuration = json::parse(output_of("tar xzOf '" + archive + "' configuration.json"));
  EXPECT_EQ(configuration["identity"], "CS-007");
  EXPECT_EQ(configuration["firmware_version"], "2.5");
  auto const status = json::parse(output_of("tar xzOf '" + archive + "' status.json"));
  EXPECT_EQ(status["connected"], true);
  EXPECT_EQ(status["heartbeat_interval_seconds"], 300);
  EXPECT_EQ(status["connectors"].size(), 2U);
}

TEST_F(SimulatedDiagnostics, KeepsUploadTokensOutOfJournalArchiveAndLog) {
  std::string const token = "q1Zk5h0yXw3vB8mT-1Zk5h0yXw3vB8mT_1Zk5h0yXw3";
  auto const folder_url = "127.0.0.1:" + std::to_string(server->port()) + "/upload/" + token + "/";
  ASSERT_TRUE(run_to_end("Uploaded", "http://" + folder_url));
  ASSERT_TRUE(run_to_end("UploadFailed", "https://" + folder_url));
  ASSERT_EQ(server->uploads.size(), 1U);
  EXPECT_THAT(server->uploads[0].target, HasSubstr(token));
  auto const archive = folder.write("received.tar.gz", server->uploads[0].body).string();
  auto const archived = output_of("tar xzOf '" + archive + "'");
  EXPECT_THAT(archived, HasSubstr("/upload/q1Zk5h.../\""));
  EXPECT_THAT(archived, Not(HasSubstr(token)));
  auto const journal = content_of(options.work_folder / "station.log");
  EXPECT_THAT(journal, HasSubstr("https://127.0.0.1:"));
  EXPECT_THAT(journal, Not(HasSubstr(token)));
  EXPECT_EQ(logged("upload failed: the location cannot be used"), 1);
  EXPECT_EQ(logged(token), 0);
}

TEST_F(SimulatedDiagnostics, AppendsTheNameWithOneSlashAndEncoded) {
  options.identity = "CS=1";
  for (auto const* end : {"", "/"}) {
    SCOPED_TRACE(end);
    server->frames.clear();
    ASSERT_TRUE(start_and_boot());
    auto const before = server->uploads.size();
    server->ask_for_diagnostics("d", server->upload_url() + end);
    ASSERT_TRUE(run_until([&] { return server->uploads.size() > before; }));
    EXPECT_THAT(server->uploads.back().target, ::testing::StartsWith("/upload/token/diagnostics_CS%3D1_2"));
    station.reset();
    server->trace.clear();
  }
}

TEST_F(SimulatedDiagnostics, ReportsFailureWithoutAnotherTryWhenTheUploadIsRefused) {
  server->upload_rules = {upload_rule::refuse};
  ASSERT_TRUE(run_to_end("UploadFailed", server->upload_url(), {{"retries", 3}, {"retryInterval", 0}}));
  EXPECT_THAT(trace(), ElementsAre("result d", "DiagnosticsStatusNotification Uploading", "upload begins",
                                   "DiagnosticsStatusNotification UploadFailed"));
  EXPECT_EQ(logged("CS-007 upload failed: the server answered with status 404"), 1);
  EXPECT_EQ(logged("upload failed"), 1);
  EXPECT_FALSE(is_archive_left());
}

TEST_F(SimulatedDiagnostics, TriesAgainAfterACutConnectionAndSucceeds) {
  server->upload_rules = {upload_rule::cut, upload_rule::busy, upload_rule::accept};
  ASSERT_TRUE(run_to_end("Uploaded", server->upload_url(), {{"retries", 2}, {"retryInterval", 0}}));
  EXPECT_THAT(trace(), ElementsAre("result d", "DiagnosticsStatusNotification Uploading", "upload begins",
                                   "upload begins", "upload begins", "upload whole",
                                   "DiagnosticsStatusNotification Uploaded"));
}

TEST_F(SimulatedDiagnostics, TriesOnceMoreAfterTwoSecondsWhenTheRequestSaysNothing) {
  server->upload_rules = {upload_rule::cut, upload_rule::cut};
  ASSERT_TRUE(start_and_boot());
  auto const begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(run_to_end("UploadFailed", server->upload_url()));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(server->count("upload begins"), 2U);
}

TEST_F(SimulatedDiagnostics, DoesNotTryAgainWhenTheRequestGrantsNoRetry) {
  server->upload_rules = {upload_rule::cut};
  ASSERT_TRUE(run_to_end("UploadFailed", server->upload_url(), {{"retries", 0}}));
  EXPECT_EQ(server->count("upload begins"), 1U);
}

TEST_F(SimulatedDiagnostics, ReportsFailureWhenNobodyListensAtTheLocation) {
  std::string location;
  {
    scripted_central_system const gone(loop);
    location = gone.upload_url();
  }
  ASSERT_TRUE(run_to_end("UploadFailed", location, {{"retries", 1}, {"retryInterval", 0}}));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "cannot connect to 127.0.0.1:"));
}

TEST_F(SimulatedDiagnostics, ReportsFailureForALocationItCannotUse) {
  for (auto const* location :
       {"", "ftp://127.0.0.1/x", "https://127.0.0.1/x", "http://127.0.0.1:0/", "/upload"}) {
    SCOPED_TRACE(location);
    log.clear();
    auto const before = server->count("DiagnosticsStatusNotification UploadFailed");
    ASSERT_TRUE(station || start_and_boot());
    server->ask_for_diagnostics("d", location);
    ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification UploadFailed", before + 1));
    EXPECT_TRUE(log.holds(spdlog::level::warn, "the location cannot be used, expected http://host"));
  }
  EXPECT_EQ(server->count("DiagnosticsStatusNotification Uploading"), 0U);
  EXPECT_EQ(server->count("upload begins"), 0U);
}

TEST_F(SimulatedDiagnostics, ReportsFailureWhenTheArchiveCannotBeMade) {
  ASSERT_TRUE(start_and_boot());
  std::filesystem::remove(options.work_folder / "station.log");
  ASSERT_TRUE(run_to_end("UploadFailed", server->upload_url()));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "CS-007 upload failed: cannot copy"));
  EXPECT_EQ(server->count("upload begins"), 0U);
}

TEST_F(SimulatedDiagnostics, RefusesRequestsThatLackWhatTheyNeed) {
  ASSERT_TRUE(start_and_boot());
  server->send(R"([2,"none","GetDiagnostics",{}])");
  server->send(R"([2,"number","GetDiagnostics",{"location":7}])");
  ASSERT_TRUE(run_until_traced("error number"));
  EXPECT_EQ(server->answer("none")[2], "OccurenceConstraintViolation");
  EXPECT_EQ(server->answer("number")[2], "TypeConstraintViolation");
  EXPECT_FALSE(log.holds(spdlog::level::info, "was asked for diagnostics"));
}

TEST_F(SimulatedDiagnostics, AnswersASecondRequestDuringAnUploadWithTheSameFile) {
  server->upload_rules = {upload_rule::hold};
  ASSERT_TRUE(start_and_boot());
  server->ask_for_diagnostics("first", server->upload_url());
  ASSERT_TRUE(run_until_traced("upload begins"));
  server->ask_for_diagnostics("second", server->upload_url() + "2");
  ASSERT_TRUE(run_until_traced("result second"));
  EXPECT_EQ(server->answer("second")[2], server->answer("first")[2]);
  server->release_uploads();
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded"));
  EXPECT_EQ(server->uploads.size(), 1U);
  // Afterwards a request is a new one again.
  server->ask_for_diagnostics("third", server->upload_url());
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded", 2));
  EXPECT_EQ(server->uploads.size(), 2U);
}

TEST_F(SimulatedDiagnostics, ReportsTheEndOnTheNextConnectionWhenTheLastOneWasLost) {
  server->upload_rules = {upload_rule::hold};
  ASSERT_TRUE(start_and_boot());
  server->ask_for_diagnostics("d", server->upload_url());
  ASSERT_TRUE(run_until_traced("upload begins"));
  server->cut();
  ASSERT_TRUE(run_until([this] { return logged("CS-007 disconnected") == 1; }));
  server->release_uploads();
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded"));
  EXPECT_EQ(server->count("StatusNotification"), 4U);
}

TEST_F(SimulatedDiagnostics, RepeatsTheEndWhenTheConnectionIsLostBeforeItWasAnswered) {
  server->drop_at = "DiagnosticsStatusNotification Uploaded";
  ASSERT_TRUE(start_and_boot());
  server->ask_for_diagnostics("d", server->upload_url());
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded", 2));
  EXPECT_EQ(server->uploads.size(), 1U);
}

TEST_F(SimulatedDiagnostics, BreaksAnUploadOffWhenStopped) {
  server->upload_rules = {upload_rule::hold};
  ASSERT_TRUE(start_and_boot());
  server->ask_for_diagnostics("d", server->upload_url());
  ASSERT_TRUE(run_until_traced("upload begins"));
  station->stop();
  ASSERT_TRUE(run_until([this] { return logged("CS-007 upload failed") == 1; }));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "CS-007 upload failed: the station was stopped"));
  EXPECT_FALSE(is_archive_left());
}

TEST_F(SimulatedDiagnostics, GivesUpAnUploadThatStandsStill) {
  options.pace.transfer_time = std::chrono::milliseconds(100);
  server->upload_rules = {upload_rule::hold};
  ASSERT_TRUE(run_to_end("UploadFailed", server->upload_url(), {{"retries", 0}}));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "upload failed: the transfer broke off"));
}

TEST_F(SimulatedDiagnostics, UploadsWhileThatStationIsStillPending) {
  server->boot_answers = {{{"status", "Pending"}, {"interval", 1}}};
  ASSERT_TRUE(start());
  ASSERT_TRUE(run_until_traced("BootNotification"));
  server->ask_for_diagnostics("d", server->upload_url());
  ASSERT_TRUE(run_until_traced("upload whole"));
  EXPECT_EQ(server->count("DiagnosticsStatusNotification"), 0U);
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded"));
  EXPECT_EQ(logged("CS-007 booted"), 1);
}

}  // namespace
