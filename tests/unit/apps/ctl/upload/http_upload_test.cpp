#include "upload/http_upload.h"

#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_web_server.h"
#include "temporary_folder.h"

namespace tavi::ctl {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

bool go_on(upload_state const& /*state*/) {
  return true;
}

class HttpUpload : public testing::Test {
 protected:
  upload_outcome upload_to(scripted_web_server const& server,
                           i_uploader::observer const& observe = go_on) const {
    http_uploader uploader{std::chrono::seconds(patience)};
    return uploader.upload(file, make_upload_url(server.address(), "/upload/token", "fw.bin"), observe);
  }

  temporary_folder folder;
  std::string const content = fmt::format("{}end", std::string(3'000'000, 'x'));
  std::filesystem::path file = folder.write("fw.bin", content);
  int patience = 30;
};

TEST_F(HttpUpload, SendsTheFileOnceTheServerWantsIt) {
  std::string header;
  std::string body;
  upload_outcome outcome;
  {
    scripted_web_server const server([&](scripted_connection& connection) {
      header = connection.read_header();
      connection.write("HTTP/1.1 100 Continue\r\n\r\n");
      body = connection.read_body(content.size());
      connection.answer("201 Created", "file received\n");
    });
    outcome = upload_to(server);
  }
  EXPECT_THAT(header, StartsWith("PUT /upload/token/fw.bin HTTP/1.1\r\n"));
  EXPECT_THAT(header, HasSubstr("Expect: 100-continue\r\n"));
  EXPECT_THAT(header, HasSubstr("Content-Length: 3000003\r\n"));
  EXPECT_EQ(body, content);
  EXPECT_EQ(outcome.end, upload_end::answered);
  EXPECT_EQ(outcome.status, 201);
  EXPECT_EQ(outcome.reason, "file received\n");
}

TEST_F(HttpUpload, TellsHowFarItHasCome) {
  std::vector<upload_state> states;
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(content.size());
    connection.answer("201 Created");
  });
  EXPECT_EQ(upload_to(server,
                      [&](upload_state const& state) {
                        states.push_back(state);
                        return true;
                      })
                .status,
            201);
  ASSERT_FALSE(states.empty());
  EXPECT_EQ(states.back().sent, content.size());
  EXPECT_EQ(states.back().total, content.size());
  for (std::size_t at = 1; at < states.size(); ++at) {
    EXPECT_GE(states[at].sent, states[at - 1].sent);
    EXPECT_GE(states[at].elapsed, states[at - 1].elapsed);
  }
}

TEST_F(HttpUpload, SendsNothingWhenTheServerRefusesBefore) {
  for (auto const* const status : {"404 Not Found", "409 Conflict", "410 Gone", "411 Length Required",
                                   "413 Payload Too Large", "507 Insufficient Storage"}) {
    std::string body;
    upload_outcome outcome;
    {
      scripted_web_server const server([&](scripted_connection& connection) {
        connection.read_header();
        connection.answer(status, "no");
        body = connection.read_body(1);
      });
      outcome = upload_to(server);
    }
    EXPECT_EQ(outcome.end, upload_end::answered) << status;
    EXPECT_EQ(outcome.status, std::stol(status));
    EXPECT_EQ(outcome.reason, "no");
    EXPECT_EQ(body, "");
  }
}

TEST_F(HttpUpload, TakesAnAnswerThatComesInTheMiddle) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(1000);
    connection.answer("408 Request Timeout", "body too slow\n");
    connection.read_to_end();
  });
  auto const outcome = upload_to(server);
  EXPECT_EQ(outcome.end, upload_end::answered);
  EXPECT_EQ(outcome.status, 408);
}

TEST_F(HttpUpload, FollowsNoRedirection) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write(
        "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nConnection: close\r\nContent-Length: "
        "0\r\n\r\n");
  });
  EXPECT_EQ(upload_to(server).status, 302);
}

TEST_F(HttpUpload, IsBrokenWhenTheConnectionEndsWithoutAnAnswer) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(1000);
  });
  auto const outcome = upload_to(server);
  EXPECT_EQ(outcome.end, upload_end::broken);
  EXPECT_NE(outcome.reason, "");
}

TEST_F(HttpUpload, IsBrokenWhenTheServerSpeaksAnotherProtocol) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("SSH-2.0-server\r\n");
  });
  EXPECT_EQ(upload_to(server).end, upload_end::broken);
}

TEST_F(HttpUpload, IsBrokenWhenTheServerStandsStill) {
  patience = 1;
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(content.size());
    connection.read_to_end();
  });
  EXPECT_EQ(upload_to(server).end, upload_end::broken);
}

TEST_F(HttpUpload, KeepsOnlyTheBeginningOfALongAnswer) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.answer("400 Bad Request", std::string(100'000, 'n'));
  });
  EXPECT_EQ(upload_to(server).reason, std::string(1024, 'n'));
}

TEST_F(HttpUpload, FindsNobodyWhereNobodyListens) {
  std::string address;
  {
    scripted_web_server const gone([](scripted_connection&) {});
    address = gone.address();
  }
  http_uploader uploader;
  EXPECT_EQ(uploader.upload(file, make_upload_url(address, "/upload/token", "fw.bin"), go_on).end,
            upload_end::not_reachable);
}

TEST_F(HttpUpload, IsAbortedWhenItsCallerGivesItUp) {
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    connection.read_body(1);
    connection.read_to_end();
  });
  EXPECT_EQ(upload_to(server, [](upload_state const& state) { return state.sent == 0; }).end,
            upload_end::aborted);
}

TEST_F(HttpUpload, ReadsNoFileThatIsNotThere) {
  http_uploader uploader;
  auto const outcome = uploader.upload(folder.path() / "none", "http://127.0.0.1:1/", go_on);
  EXPECT_EQ(outcome.end, upload_end::no_file);
  EXPECT_EQ(outcome.reason, "No such file or directory");
}

TEST_F(HttpUpload, UsesNoProxyOfTheEnvironment) {
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  scripted_web_server const server([&](scripted_connection& connection) {
    connection.read_header();
    connection.answer("410 Gone");
  });
  EXPECT_EQ(upload_to(server).status, 410);
  unsetenv("http_proxy");
}

}  // namespace
}  // namespace tavi::ctl
