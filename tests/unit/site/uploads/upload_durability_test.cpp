#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "upload_site.h"
#include "uploads/finished_upload.h"

namespace tavi::site::uploads {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

class UploadDurabilityTest : public UploadSiteTest {
 protected:
  UploadDurabilityTest() { options.intervals = {milliseconds(2), milliseconds(2), milliseconds(2)}; }

  [[nodiscard]] fs::path sidecar_of(std::string const& path) const {
    return fs::path(path).replace_extension(".json");
  }
};

TEST_F(UploadDurabilityTest, FileIsAnnouncedUntilItsOwnerTakesIt) {
  start();
  ASSERT_EQ(status_for(put(make_token() + "/a.zip", "content")), 201);

  auto const files = announced.wait_for(5);
  ASSERT_GE(files.size(), 5U);
  for (auto const& file : files) {
    EXPECT_EQ(file.path, files.front().path);
    EXPECT_EQ(file.name, "a.zip");
  }
  auto const path = files.front().path;
  fs::rename(path, root.path() / "taken");

  EXPECT_TRUE(comes_true([&] { return !fs::exists(sidecar_of(path)); }));
  announced.clear();
  ASSERT_EQ(status_for(put(make_token() + "/b.zip", "content")), 201);
  for (auto const& file : announced.wait_for(3)) {
    EXPECT_EQ(file.name, "b.zip");
  }
}

TEST_F(UploadDurabilityTest, FinishedUploadIsAnnouncedAgainAfterARestart) {
  start();
  auto const token = make_token();
  ASSERT_EQ(status_for(put(token + "/a.zip", "content")), 201);
  stop();
  announced.clear();

  start();

  auto const files = announced.wait_for(1);
  ASSERT_FALSE(files.empty());
  EXPECT_EQ(files[0].token, token);
  EXPECT_EQ(files[0].name, "a.zip");
  EXPECT_EQ(content_of(files[0].path), "content");
  EXPECT_EQ(status_for(put(token, "again")), 410);
}

TEST_F(UploadDurabilityTest, FileThatNobodyTookIsRemovedWhenItsTimeIsOver) {
  auto const id = std::string(32, 'a');
  root.write("spool/" + id + ".upload", "content");
  root.write("spool/" + id + ".json",
             R"({"token":"token-of-before","owner":"diagnostics","name":"a.zip","expires_at":1000})");

  start();

  EXPECT_TRUE(comes_true([this] { return tree() == std::set<std::string>{"spool"}; }));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "token token-..."));
  EXPECT_FALSE(log.holds(spdlog::level::warn, "token-of-before"));
}

TEST_F(UploadDurabilityTest, FileUploadedAtTheEndOfItsTokensLifeWaitsLongEnough) {
  options.tokens.life_time = std::chrono::seconds(20);
  start();
  clock_reading const begun;
  ASSERT_EQ(status_for(put(make_token(), "content")), 201);

  auto const files = announced.wait_for(1);
  ASSERT_FALSE(files.empty());
  auto const record = read_sidecar(content_of(sidecar_of(files[0].path)), begun);
  ASSERT_TRUE(record.has_value());
  EXPECT_GE(record->expires_at, begun.steady + std::chrono::minutes(10));
}

TEST_F(UploadDurabilityTest, FileThatNobodyTookIsRemovedAfterTheTimeThatWasChosen) {
  options.tokens.life_time = std::chrono::seconds(20);
  options.upload.least_waiting_time = std::chrono::seconds(40);
  start();
  clock_reading const begun;
  ASSERT_EQ(status_for(put(make_token(), "content")), 201);

  auto const files = announced.wait_for(1);
  ASSERT_FALSE(files.empty());
  auto const record = read_sidecar(content_of(sidecar_of(files[0].path)), begun);
  ASSERT_TRUE(record.has_value());
  EXPECT_GE(record->expires_at, begun.steady + std::chrono::seconds(40));
  EXPECT_LT(record->expires_at, begun.steady + std::chrono::minutes(5));
}

TEST_F(UploadDurabilityTest, UploadCutByTheEndOfTheSiteLeavesNothing) {
  start();
  raw_client client(port);
  client.send(header("PUT", make_token(), "Content-Length: 7\r\nExpect: 100-continue\r\n"));
  ASSERT_TRUE(client.receive_until("100 Continue\r\n\r\n"));
  client.send("con");

  stop();

  EXPECT_TRUE(comes_true([this] { return tree() == std::set<std::string>{"spool"}; }));
  client.read_to_end();
  EXPECT_NE(client.end, connection_end::open);
}

TEST_F(UploadDurabilityTest, SpoolThatCannotBeUsedKeepsTheServerFromStarting) {
  options.spool_folder = root.write("file", "") / "spool";
  upload_server wrong(site.loop, options, [](auto const&) {});

  EXPECT_FALSE(site.call([&] { return wrong.start(); }));

  EXPECT_TRUE(log.holds(spdlog::level::err, options.spool_folder.string()));
}

TEST_F(UploadDurabilityTest, ServerCanEndBeforeItsListener) {
  start();
  auto const token = make_token();
  raw_client client(port);
  client.send(header("PUT", token, "Content-Length: 7\r\nExpect: 100-continue\r\n"));
  ASSERT_TRUE(client.receive_until("100 Continue\r\n\r\n"));
  client.received.clear();

  site.call([this] { server.reset(); });
  client.send("content");

  EXPECT_EQ(client.read_to_end(), "");
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
}

TEST_F(UploadDurabilityTest, TokensAreMadeOnAnyThreadWhileFilesCome) {
  options.intervals = {};
  start();
  std::vector<std::thread> stations;
  std::vector<int> answers(8, 0);
  for (auto& answer : answers) {
    stations.emplace_back([this, &answer] { answer = status_for(put(make_token(), "content")); });
  }
  for (auto& station : stations) {
    station.join();
  }
  EXPECT_EQ(answers, std::vector<int>(8, 201));
  EXPECT_EQ(announced.wait_for(8).size(), 8U);
}

}  // namespace
}  // namespace tavi::site::uploads
