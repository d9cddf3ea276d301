#include <future>
#include <string>
#include <vector>

#include "delivery_site.h"

namespace tavi::site::firmware {
namespace {

TEST_F(DeliverySiteTest, StationGetsTheWholeFile) {
  start();
  auto const location = offer("1_x7 2.bin", "firmware");
  EXPECT_EQ(location.target, "/firmware/" + location.token + "/1_x7%202.bin");

  auto const answer = ask(request("GET", location.target));

  EXPECT_EQ(status_of(answer), 200);
  EXPECT_EQ(body_of(answer), "firmware");
  EXPECT_EQ(field_of(answer, "Content-Length"), "8");
  EXPECT_EQ(field_of(answer, "Content-Type"), "application/octet-stream");
  EXPECT_EQ(field_of(answer, "Accept-Ranges"), "bytes");
  EXPECT_EQ(field_of(answer, "ETag").front(), '"');
  EXPECT_EQ(field_of(answer, "Cache-Control"), "private, no-store");
  EXPECT_TRUE(field_of(answer, "Date").ends_with(" GMT"));
  EXPECT_TRUE(log.wait_for(
      spdlog::level::info,
      "got 200 for station 7 with token " + location.token.substr(0, 6) + "...: 8 bytes from 0 of",
      std::chrono::seconds(30)));
}

TEST_F(DeliverySiteTest, NameInTheLocationDoesNotMatter) {
  start();
  auto const token = offer("1_x7.bin", "firmware").token;
  for (auto const* rest : {"", "/", "/other.bin", "/../../etc/passwd", "?x=y"}) {
    EXPECT_EQ(body_of(ask(request("GET", "/firmware/" + token + rest))), "firmware") << rest;
  }
}

TEST_F(DeliverySiteTest, HeadTellsWhatGetWouldAndSendsNoBody) {
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  raw_client client(port);
  client.send(request("HEAD", target, "Range: bytes=0-1\r\nConnection: close\r\n"));
  auto const answer = client.read_to_end();
  EXPECT_EQ(status_of(answer), 200);
  EXPECT_EQ(field_of(answer, "Content-Length"), "8");
  EXPECT_EQ(field_of(answer, "ETag"), field_of(ask(request("GET", target)), "ETag"));
  EXPECT_EQ(body_of(answer), "");
}

TEST_F(DeliverySiteTest, StationThatLostItsConnectionFetchesTheRest) {
  start();
  auto const content = content_of_size(300'000);
  auto const target = offer("1_x7.bin", content).target;
  raw_client first(port);
  first.send(request("GET", target));
  ASSERT_TRUE(first.receive_until("\r\n\r\n"));
  auto const tag = field_of(first.received, "ETag");
  first.close();

  auto const answer = ask(request("GET", target, "Range: bytes=100000-\r\nIf-Range: " + tag + "\r\n"));

  EXPECT_EQ(status_of(answer), 206);
  EXPECT_EQ(field_of(answer, "Content-Range"), "bytes 100000-299999/300000");
  EXPECT_EQ(field_of(answer, "ETag"), tag);
  EXPECT_EQ(body_of(answer), content.substr(100'000));
}

TEST_F(DeliverySiteTest, RangesOfEverySizeMatchTheFile) {
  start();
  auto const content = content_of_size(200'000);
  auto const target = offer("1_x7.bin", content).target;
  raw_client client(port);
  for (std::size_t const first : {0U, 1U, 65535U, 65536U, 199'999U}) {
    for (std::size_t const count : {1U, 65535U, 65536U, 65537U, 131'073U}) {
      auto const range = std::to_string(first) + "-" + std::to_string(first + count - 1);
      client.send(request("GET", target, "Range: bytes=" + range + "\r\n"));
      auto const answer = client.read_answer();
      EXPECT_EQ(status_of(answer), 206) << range;
      EXPECT_EQ(body_of(answer), content.substr(first, count)) << range;
    }
  }
}

TEST_F(DeliverySiteTest, RangeOfAReplacedFileIsAnsweredWithTheNewFile) {
  start();
  auto const target = offer("1_x7.bin", "old firmware").target;
  auto const tag = field_of(ask(request("GET", target)), "ETag");
  folder.write("store/new", "new firmware");
  std::filesystem::rename(store / "new", store / "1_x7.bin");

  auto const answer = ask(request("GET", target, "Range: bytes=3-\r\nIf-Range: " + tag + "\r\n"));

  EXPECT_EQ(status_of(answer), 200);
  EXPECT_EQ(body_of(answer), "new firmware");
  EXPECT_NE(field_of(answer, "ETag"), tag);
}

TEST_F(DeliverySiteTest, RangeBehindTheEndIsToldTheSize) {
  start();
  auto const answer = ask(request("GET", offer("1_x7.bin", "firmware").target, "Range: bytes=8-\r\n"));
  EXPECT_EQ(status_of(answer), 416);
  EXPECT_EQ(field_of(answer, "Content-Range"), "bytes */8");
  EXPECT_EQ(field_of(answer, "Content-Length"), "0");
}

TEST_F(DeliverySiteTest, EmptyFileIsSentAsSuch) {
  start();
  auto const target = offer("empty.bin", "").target;
  auto const answer = ask(request("GET", target));
  EXPECT_EQ(status_of(answer), 200);
  EXPECT_EQ(field_of(answer, "Content-Length"), "0");
  EXPECT_EQ(status_of(ask(request("GET", target, "Range: bytes=0-\r\n"))), 416);
}

TEST_F(DeliverySiteTest, SeveralFilesAreFetchedOverOneConnection) {
  start();
  raw_client client(port);
  for (auto const* content : {"one", "two", "three"}) {
    client.send(request("GET", offer(std::string(content) + ".bin", content).target));
    EXPECT_EQ(body_of(client.read_answer()), content);
  }
}

TEST_F(DeliverySiteTest, OldClientGetsTheFileAndTheEndOfTheConnection) {
  start();
  raw_client client(port);
  client.send("GET " + offer("1_x7.bin", "firmware").target + " HTTP/1.0\r\n\r\n");
  auto const answer = client.read_to_end();
  EXPECT_TRUE(answer.starts_with("HTTP/1.0 200 "));
  EXPECT_EQ(body_of(answer), "firmware");
  EXPECT_EQ(client.end, connection_end::closed);
}

TEST_F(DeliverySiteTest, RequestWithABodyIsAnsweredAndItsConnectionClosed) {
  start();
  raw_client client(port);
  client.send(request("GET", offer("1_x7.bin", "firmware").target, "Content-Length: 5\r\n") + "hello");
  EXPECT_EQ(body_of(client.read_to_end()), "firmware");
  EXPECT_EQ(client.end, connection_end::closed);
}

TEST_F(DeliverySiteTest, ManyStationsFetchAtOnce) {
  start();
  auto const content = content_of_size(500'000);
  folder.write("store/1_x7.bin", content);
  std::vector<std::string> targets;
  for (unsigned int station = 1; station <= 50; ++station) {
    auto const made = site.call([&] { return server->make_location(station, store / "1_x7.bin"); });
    targets.push_back(made.value().target);
  }
  std::vector<std::future<std::string>> answers;
  for (auto const& target : targets) {
    answers.push_back(
        std::async(std::launch::async, [this, &target] { return ask(request("GET", target)); }));
  }
  for (auto& answer : answers) {
    EXPECT_EQ(body_of(answer.get()), content);
  }
}

TEST_F(DeliverySiteTest, UnknownTokenIsNotFound) {
  start();
  auto const answer = ask(request("GET", "/firmware/unknown/1_x7.bin"));
  EXPECT_EQ(status_of(answer), 404);
  EXPECT_TRUE(log.holds(spdlog::level::info, "got 404 for token unknow...: location unknown"));
}

TEST_F(DeliverySiteTest, MalformedLocationIsABadRequest) {
  start();
  EXPECT_EQ(status_of(ask(request("GET", "/firmware/"))), 400);
  EXPECT_EQ(status_of(ask(request("GET", "/firmware/%zz"))), 400);
}

TEST_F(DeliverySiteTest, OtherMethodsAreToldWhichOnesThereAre) {
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  for (auto const* method : {"PUT", "POST", "DELETE", "OPTIONS", "BREW"}) {
    auto const answer = ask(request(method, target, "Content-Length: 0\r\n"));
    EXPECT_EQ(status_of(answer), 405) << method;
    EXPECT_EQ(field_of(answer, "Allow"), "GET, HEAD") << method;
  }
}

TEST_F(DeliverySiteTest, TokenIsGoneWhenItsTimeIsOver) {
  options.tokens.life_time = std::chrono::milliseconds(0);
  start();
  EXPECT_EQ(status_of(ask(request("GET", offer("1_x7.bin", "firmware").target))), 410);
  EXPECT_TRUE(log.holds(spdlog::level::info, "the time of this location is over"));
}

TEST_F(DeliverySiteTest, TokenIsGoneWhenItWasWithdrawn) {
  start();
  auto const location = offer("1_x7.bin", "firmware");
  site.call([&] { server->withdraw(location.token); });
  EXPECT_EQ(status_of(ask(request("HEAD", location.target, "Connection: close\r\n"))), 410);
}

TEST_F(DeliverySiteTest, FileThatWasRemovedIsGoneForHeadToo) {
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  std::filesystem::remove(store / "1_x7.bin");
  EXPECT_EQ(status_of(ask(request("GET", target))), 410);
  EXPECT_EQ(status_of(ask(request("HEAD", target, "Connection: close\r\n"))), 410);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "1_x7.bin: No such file or directory"));
}

TEST_F(DeliverySiteTest, FileThatBecameALinkOutOfTheStoreIsGone) {
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  auto const secret = folder.write("secret.bin", "secret");
  std::filesystem::remove(store / "1_x7.bin");
  std::filesystem::create_symlink(secret, store / "1_x7.bin");
  EXPECT_EQ(status_of(ask(request("GET", target))), 410);
}

TEST_F(DeliverySiteTest, StoreThatBecameALinkToAnotherFolderIsGone) {
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  folder.write("other/1_x7.bin", "secret");
  std::filesystem::rename(store, folder.path() / "moved");
  std::filesystem::create_directory_symlink("other", store);
  EXPECT_EQ(status_of(ask(request("GET", target))), 410);
}

TEST_F(DeliverySiteTest, NoTokenIsEverLogged) {
  start();
  auto const location = offer("1_x7.bin", "firmware");
  ask(request("GET", location.target));
  ask(request("GET", location.target, "Range: bytes=9-\r\n"));
  ask(request("PUT", location.target, "Content-Length: 0\r\n"));
  std::filesystem::remove(store / "1_x7.bin");
  ask(request("GET", location.target));
  site.call([&] { server->withdraw(location.token); });
  ask(request("GET", location.target));
  EXPECT_GE(log.lines().size(), 4U);
  for (auto const& line : log.lines()) {
    EXPECT_EQ(line.text.find(location.token), std::string::npos) << line.text;
  }
}

}  // namespace
}  // namespace tavi::site::firmware
