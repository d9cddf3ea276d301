#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "file_size_limit.h"
#include "upload_site.h"

namespace tavi::site::uploads {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

struct refusal {
  char const* situation;
  std::string method;
  std::string path;  // "TOKEN" stands for a good token
  std::string fields;
  std::string body;
  int status;
};

void PrintTo(refusal const& row, std::ostream* out) {
  *out << row.situation;
}

std::string multipart_fields(std::string const& body) {
  return "Content-Type: multipart/form-data; boundary=xyz\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n";
}

refusal bad_multipart(char const* situation, std::string const& body) {
  return {situation, "POST", "TOKEN", multipart_fields(body), body, 400};
}

std::string const file_header = "Content-Disposition: form-data; filename=a\r\n\r\n";

class UploadRefusalTest : public UploadSiteTest {
 protected:
  UploadRefusalTest() { options.upload.max_bytes = 1000; }

  static std::string with_token(std::string text, std::string const& token) {
    auto const at = text.find("TOKEN");
    return at == std::string::npos ? text : text.replace(at, 5, token);
  }
};

class UploadRefusalTableTest : public UploadRefusalTest, public testing::WithParamInterface<refusal> {};

TEST_P(UploadRefusalTableTest, IsAnsweredWithoutResetAndWithoutAskingForTheBody) {
  start();
  auto const& row = GetParam();
  auto const token = make_token();
  raw_client client(port);

  client.send(header(row.method, with_token(row.path, token), row.fields) + row.body);
  client.finish_sending();
  auto const answer = client.read_to_end();

  EXPECT_EQ(status_of(answer), row.status) << answer;
  EXPECT_EQ(client.end, connection_end::closed);
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
  EXPECT_EQ(status_for(put(token, "content")), 201) << "the token can still be used";
}

std::string const length_7 = "Content-Length: 7\r\n";
std::string const expects = "Expect: 100-continue\r\n";

INSTANTIATE_TEST_SUITE_P(
    Headers, UploadRefusalTableTest,
    testing::Values(
        refusal{"unknown token", "PUT", "unknown/a.zip", length_7, "content", 404},
        refusal{"unknown token, body held back", "PUT", "unknown", length_7 + expects, "", 404},
        refusal{"no token", "PUT", "", length_7, "content", 400},
        refusal{"no token but a name", "PUT", "/a.zip", length_7, "content", 400},
        refusal{"broken escape", "PUT", "TOKEN/%zz", length_7, "content", 400},
        refusal{"token behind a name", "PUT", "a/TOKEN", length_7, "content", 404},
        refusal{"another method", "GET", "TOKEN", "", "", 405},
        refusal{"method that is none", "BREW", "TOKEN", length_7, "content", 405},
        refusal{"no length", "PUT", "TOKEN", "", "", 411},
        refusal{"too large", "PUT", "TOKEN", "Content-Length: 1001\r\n", std::string(1001, 'x'), 413},
        refusal{"too large, body held back", "PUT", "TOKEN", "Content-Length: 1001\r\n" + expects, "", 413},
        refusal{"much too large and sent all the same", "PUT", "TOKEN", "Content-Length: 500000\r\n",
                std::string(500000, 'x'), 413},
        refusal{"expectation nobody can meet", "PUT", "TOKEN", length_7 + "Expect: miracles\r\n", "", 417},
        refusal{"multipart without a boundary", "POST", "TOKEN",
                length_7 + "Content-Type: multipart/form-data\r\n", "content", 400}));

INSTANTIATE_TEST_SUITE_P(
    Bodies, UploadRefusalTableTest,
    testing::Values(
        refusal{"chunks that are none", "PUT", "TOKEN", chunked, "zz\r\nx\r\n", 400},
        refusal{"chunk without its line end", "PUT", "TOKEN", chunked, "3\r\nconXX\r\n0\r\n\r\n", 400},
        refusal{"chunks that grow too large", "PUT", "TOKEN", chunked,
                "3e8\r\n" + std::string(1000, 'x') + "\r\n1\r\nx\r\n0\r\n\r\n", 413},
        refusal{"chunk extension without an end", "PUT", "TOKEN", chunked, "3;" + std::string(200000, 'x'),
                400},
        refusal{"trailer without an end", "PUT", "TOKEN", chunked, "0\r\nX: " + std::string(200000, 'x'),
                400},
        refusal{"one huge chunk", "PUT", "TOKEN", chunked, "ffffff\r\n" + std::string(5000, 'x'), 413},
        bad_multipart("multipart without its final boundary", "--xyz\r\n" + file_header + "content\r\n"),
        bad_multipart("multipart without a file",
                      "--xyz\r\nContent-Disposition: f; name=a\r\n\r\nx\r\n--xyz--\r\n"),
        bad_multipart("multipart with another boundary",
                      "--abc\r\n" + file_header + "content\r\n--abc--\r\n"),
        bad_multipart("multipart with a broken boundary",
                      "--xyz?\r\n" + file_header + "content\r\n--xyz--\r\n"),
        bad_multipart("multipart that is empty", "")));

TEST_F(UploadRefusalTest, OtherMethodsAreToldWhichOnesThereAre) {
  start();
  raw_client client(port);
  client.send(header("DELETE", make_token(), ""));
  EXPECT_NE(client.read_answer().find("\r\nAllow: PUT, POST\r\n"), std::string::npos);
}

TEST_F(UploadRefusalTest, TransferCodingOtherThanChunkedIsNotImplemented) {
  start();
  EXPECT_EQ(status_for(header("PUT", make_token(), "Transfer-Encoding: gzip, chunked\r\n")), 501);
}

TEST_F(UploadRefusalTest, SpentTokenIsGone) {
  start();
  auto const token = make_token();
  ASSERT_EQ(status_for(put(token, "content")), 201);

  EXPECT_EQ(status_for(put(token, "content")), 410);
  EXPECT_EQ(status_for(header("PUT", token, length_7 + expects)), 410);
}

TEST_F(UploadRefusalTest, ExpiredTokenIsGone) {
  options.tokens.life_time = milliseconds(0);
  start();
  EXPECT_EQ(status_for(put(make_token(), "content")), 410);
}

TEST_F(UploadRefusalTest, BodyThatStopsComingIsTooSlow) {
  options.upload.idle_time = milliseconds(50);
  start();
  raw_client client(port);

  client.send(header("PUT", make_token(), length_7) + "con");

  EXPECT_EQ(status_of(client.read_answer()), 408);
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
}

TEST_F(UploadRefusalTest, BodyThatComesByteByByteIsTooSlowInTheEnd) {
  options.upload.total_time = milliseconds(200);
  start();
  raw_client client(port);
  client.send(header("PUT", make_token(), "Content-Length: 1000\r\n"));

  auto sent = 0;
  while (!client.has_bytes_within(milliseconds(20)) && sent < 900) {
    client.send("x");
    ++sent;
  }

  EXPECT_EQ(status_of(client.read_answer()), 408);
  EXPECT_LT(sent, 900);
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
}

TEST_F(UploadRefusalTest, ChunkHeadersThatComeWhileTheirTimeRunsOutAreTooSlow) {
  options.upload.idle_time = milliseconds(50);
  start();
  std::vector<std::string> tokens;
  std::vector<std::unique_ptr<raw_client>> clients;
  for (auto count = 0; count < 4; ++count) {
    tokens.push_back(make_token());
    clients.push_back(std::make_unique<raw_client>(port));
    clients.back()->send(header("PUT", tokens.back(), chunked + expects));
    ASSERT_TRUE(clients.back()->receive_until("100 Continue\r\n\r\n"));
    clients.back()->received.clear();
    clients.back()->send("3");
  }
  // What came by the end of the time takes more than one read, and the time is over between two of them.
  site.suspend();
  for (auto const& client : clients) {
    client->send(";" + std::string(5000, 'x'));
  }
  EXPECT_FALSE(raw_client(port).has_bytes_within(2 * options.upload.idle_time));
  site.resume();

  for (auto const& client : clients) {
    EXPECT_EQ(status_of(client->read_answer()), 408);
  }
  for (auto const& token : tokens) {
    EXPECT_EQ(status_for(put(token, "content")), 201) << "the token can still be used";
  }
}

TEST_F(UploadRefusalTest, BodyHeldBackForEverIsTooSlow) {
  options.upload.idle_time = milliseconds(50);
  start();
  raw_client client(port);

  client.send(header("PUT", make_token(), length_7 + expects));
  ASSERT_TRUE(client.receive_until("100 Continue\r\n\r\n"));
  client.received.clear();

  EXPECT_EQ(status_of(client.read_answer()), 408);
}

TEST_F(UploadRefusalTest, SpoolWithoutRoomIsSaidBeforeTheBodyIsAskedFor) {
  options.spool_budget_bytes = 100;
  start();
  auto const token = make_token();

  EXPECT_EQ(status_for(header("PUT", token, "Content-Length: 101\r\n" + expects)), 507);
  EXPECT_EQ(status_for(put(token, std::string(100, 'x'))), 201);
  EXPECT_EQ(status_for(put(make_token(), "x")), 507);
}

TEST_F(UploadRefusalTest, SpoolThatFillsUpDuringChunksIsSaid) {
  options.spool_budget_bytes = 100;
  start();
  auto const body = "65\r\n" + std::string(101, 'x') + "\r\n0\r\n\r\n";

  EXPECT_EQ(status_for(header("PUT", make_token(), chunked) + body), 507);
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
}

TEST_F(UploadRefusalTest, FileTakenByItsOwnerMakesRoom) {
  options.spool_budget_bytes = 100;
  start();
  ASSERT_EQ(status_for(put(make_token(), std::string(100, 'x'))), 201);
  fs::remove(announced.wait_for(1).at(0).path);

  EXPECT_EQ(status_for(put(make_token(), std::string(100, 'y'))), 201);
}

TEST_F(UploadRefusalTest, DiskWithoutRoomIsSaidAndTheTokenKept) {
  options.upload.max_bytes = 4 * 1024 * 1024;
  start();
  auto const token = make_token();
  auto const request = put(token, std::string(3 * 1024 * 1024, 'x'));
  {
    file_size_limit const limit(2 * 1024 * 1024);
    EXPECT_EQ(status_for(request), 507);
  }
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
  EXPECT_TRUE(log.holds(spdlog::level::err, "cannot write to the spool: File too large"));
  EXPECT_EQ(status_for(request), 201);
}

TEST_F(UploadRefusalTest, SpoolThatVanishedIsAFaultOfTheSite) {
  start();
  auto const token = make_token();
  fs::remove_all(options.spool_folder);

  EXPECT_EQ(status_for(put(token, "content")), 500);

  fs::create_directory(options.spool_folder);
  EXPECT_EQ(status_for(put(token, "content")), 201);
}

TEST_F(UploadRefusalTest, FileThatCannotBeGivenItsFinalNameIsAFaultOfTheSite) {
  start();
  auto const token = make_token();
  raw_client client(port);
  client.send(header("PUT", token, length_7 + expects));
  ASSERT_TRUE(client.receive_until("100 Continue\r\n\r\n"));
  client.received.clear();
  fs::remove_all(options.spool_folder);
  fs::create_directory(options.spool_folder);

  client.send("content");

  EXPECT_EQ(status_of(client.read_answer()), 500);
  EXPECT_EQ(tree(), std::set<std::string>{"spool"});
  EXPECT_EQ(status_for(put(token, "content")), 201);
}

}  // namespace
}  // namespace tavi::site::uploads
