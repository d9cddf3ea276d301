#include <fstream>
#include <string>

#include <gmock/gmock.h>

#include "upload_site.h"

namespace tavi::site::uploads {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class UploadExchangeTest : public UploadSiteTest {
 protected:
  /// The announced file after an upload that was answered with 201.
  announced_file take_announced() {
    auto const files = announced.wait_for(1);
    EXPECT_FALSE(files.empty());
    return files.empty() ? announced_file{} : files.front();
  }
};

struct accepted_upload {
  char const* situation;
  std::string method;
  std::string path;  // behind the token
  std::string fields;
  std::string body;
  std::string name;
  std::string content;
};

void PrintTo(accepted_upload const& row, std::ostream* out) {
  *out << row.situation;
}

std::string with_length(std::string const& body) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n";
}

accepted_upload multipart(char const* situation, std::string const& path, std::string const& disposition,
                          std::string const& name) {
  auto const body = "--xyz\r\nContent-Disposition: form-data; name=\"note\"\r\n\r\nhello\r\n--xyz\r\n" +
                    disposition + "\r\n\r\nthe file\r\n--xyz--\r\n";
  return {
      situation, "POST", path,      with_length(body) + "Content-Type: multipart/form-data; boundary=xyz\r\n",
      body,      name,   "the file"};
}

class AcceptedUploadTest : public UploadExchangeTest, public testing::WithParamInterface<accepted_upload> {};

TEST_P(AcceptedUploadTest, IsStoredAndAnnounced) {
  start();
  auto const& row = GetParam();
  auto const token = make_token();

  EXPECT_EQ(status_for(header(row.method, token + row.path, row.fields) + row.body), 201);

  auto const file = take_announced();
  EXPECT_EQ(file.token, token);
  EXPECT_EQ(file.name, row.name);
  EXPECT_EQ(content_of(file.path), row.content);
  EXPECT_EQ(fs::path(file.path).parent_path(), options.spool_folder);
  EXPECT_EQ(fs::path(file.path).filename().string().size(), 32 + std::string(".upload").size());
  EXPECT_EQ(tree().size(), 3U) << "the spool, the file and its sidecar";
}

INSTANTIATE_TEST_SUITE_P(
    Situations, AcceptedUploadTest,
    testing::Values(
        accepted_upload{"put with a name", "PUT", "/a.zip", with_length("content"), "content", "a.zip",
                        "content"},
        accepted_upload{"put without a name", "PUT", "", with_length("content"), "content", "", "content"},
        accepted_upload{"put with a slash only", "PUT", "/", with_length("content"), "content", "",
                        "content"},
        accepted_upload{"post of a raw body", "POST", "/a", with_length("content"), "content", "a",
                        "content"},
        accepted_upload{"empty file", "PUT", "/a", with_length(""), "", "a", ""},
        accepted_upload{"in chunks", "PUT", "/a", chunked,
                        "3\r\ncon\r\n4;note=x\r\ntent\r\n0\r\nX-Trailer: y\r\n\r\n", "a", "content"},
        accepted_upload{"in no chunks at all", "PUT", "/a", chunked, "0\r\n\r\n", "a", ""},
        accepted_upload{"larger than every buffer", "PUT", "/a", with_length(std::string(300000, 'x')),
                        std::string(300000, 'x'), "a", std::string(300000, 'x')},
        multipart("multipart with a name of its own", "",
                  "Content-Disposition: form-data; name=\"f\"; filename=\"b.zip\"", "b.zip"),
        multipart("multipart whose name is in the target too", "/a.zip",
                  "Content-Disposition: form-data; filename=\"b.zip\"", "a.zip"),
        multipart("multipart with a name in UTF-8", "", "Content-Disposition: f; filename*=UTF-8''%C3%A9",
                  "\xc3\xa9")));

INSTANTIATE_TEST_SUITE_P(
    NamesThatTryToLeaveTheSpool, AcceptedUploadTest,
    testing::Values(
        accepted_upload{"dots", "PUT", "/../../../outside", with_length("x"), "x", "../../../outside", "x"},
        accepted_upload{"encoded dots and slashes", "PUT", "/%2e%2e%2f%2e%2e%2foutside", with_length("x"),
                        "x", "../../outside", "x"},
        accepted_upload{"absolute", "PUT", "//etc/outside", with_length("x"), "x", "/etc/outside", "x"},
        accepted_upload{"zero byte", "PUT", "/a%00b", with_length("x"), "x", std::string("a\0b", 3), "x"},
        accepted_upload{"300 characters", "PUT", "/" + std::string(300, 'n'), with_length("x"), "x",
                        std::string(300, 'n'), "x"},
        accepted_upload{"no UTF-8", "PUT", "/%ff%c3", with_length("x"), "x", "\xff\xc3", "x"},
        accepted_upload{"line breaks", "PUT", "/a%0d%0a%5berror%5d", with_length("x"), "x", "a\r\n[error]",
                        "x"},
        accepted_upload{"only dots", "PUT", "/..", with_length("x"), "x", "..", "x"},
        multipart("dots in a part", "", "Content-Disposition: f; filename=\"../../outside\"",
                  "../../outside")));

TEST_F(UploadExchangeTest, LogNamesAnUploadWithoutItsTokenAndWithoutLineBreaks) {
  start();
  auto const token = make_token();

  ASSERT_EQ(status_for(put(token + "/a%0ab", "content")), 201);

  EXPECT_TRUE(log.holds(spdlog::level::info, " uploaded 7 bytes for diagnostics with token " +
                                                 token.substr(0, 6) + "..., named \"a\\x0ab\""));
  for (auto const& line : log.lines()) {
    EXPECT_THAT(line.text, Not(HasSubstr(token)));
    EXPECT_THAT(line.text, Not(HasSubstr("\n")));
  }
}

TEST_F(UploadExchangeTest, BodyIsAskedForOnlyAfterTokenAndLengthAreAccepted) {
  start();
  auto const token = make_token();
  auto const fields = "Content-Length: 7\r\nExpect: 100-continue\r\n";
  raw_client client(port);

  client.send(header("PUT", token, fields));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  EXPECT_EQ(client.received, "HTTP/1.1 100 Continue\r\n\r\n");
  client.received.clear();
  client.send("content");

  EXPECT_EQ(status_of(client.read_answer()), 201);
}

TEST_F(UploadExchangeTest, BodyThatComesUnaskedIsNotAskedFor) {
  start();
  raw_client client(port);

  client.send(header("PUT", make_token(), "Content-Length: 0\r\nExpect: 100-continue\r\n"));

  EXPECT_EQ(status_of(client.read_answer()), 201);
}

TEST_F(UploadExchangeTest, ConnectionServesOneUploadAfterAnother) {
  start();
  raw_client client(port);

  client.send(put(make_token(), "first") + put(make_token(), "second") + header("GET", "x", "") +
              put(make_token(), "third"));

  EXPECT_EQ(status_of(client.read_answer()), 201);
  EXPECT_EQ(status_of(client.read_answer()), 201);
  EXPECT_EQ(status_of(client.read_answer()), 405);
  EXPECT_EQ(status_of(client.read_answer()), 201);
  EXPECT_EQ(announced.wait_for(3).size(), 3U);
}

TEST_F(UploadExchangeTest, TwoAtOnceWithOneTokenAreNotBothAccepted) {
  start();
  auto const token = make_token();
  raw_client first(port);
  first.send(header("PUT", token, "Content-Length: 7\r\nExpect: 100-continue\r\n"));
  ASSERT_TRUE(first.receive_until("100 Continue\r\n\r\n"));
  first.received.clear();

  EXPECT_EQ(status_for(put(token, "second")), 409);

  first.send("content");
  EXPECT_EQ(status_of(first.read_answer()), 201);
  EXPECT_EQ(status_for(put(token, "third")), 410);
  EXPECT_EQ(content_of(take_announced().path), "content");
}

TEST_F(UploadExchangeTest, UploadThatBrokeOffCanBeTriedAgain) {
  start();
  auto const token = make_token();
  {
    raw_client broken(port);
    broken.send(header("PUT", token, "Content-Length: 7\r\nExpect: 100-continue\r\n"));
    ASSERT_TRUE(broken.receive_until("100 Continue\r\n\r\n"));
    broken.send("con");
  }
  ASSERT_TRUE(comes_true([this] { return log.holds(spdlog::level::info, "broke off its upload"); }));
  EXPECT_EQ(tree().size(), 1U) << "the spool alone";

  EXPECT_EQ(status_for(put(token, "content")), 201);
  EXPECT_EQ(content_of(take_announced().path), "content");
}

TEST_F(UploadExchangeTest, RefusedBodyLeavesNothingAndItsTokenCanBeUsedAgain) {
  start();
  auto const token = make_token();
  auto const broken_body = header("PUT", token, chunked) + "zz\r\n";

  EXPECT_EQ(status_for(broken_body), 400);
  EXPECT_EQ(tree().size(), 1U);
  EXPECT_EQ(status_for(put(token, "content")), 201);
}

std::size_t resident_kilobytes() {
  std::ifstream status("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  status >> total >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024;
}

TEST_F(UploadExchangeTest, LargeFileIsNotHeldInMemory) {
  constexpr std::size_t pieces = 1024;
  start();
  ASSERT_EQ(status_for(put(make_token(), std::string(300000, 'x'))), 201);
  std::string const piece(65536, 'x');
  raw_client client(port);
  auto const before = resident_kilobytes();

  client.send(
      header("PUT", make_token(), "Content-Length: " + std::to_string(pieces * piece.size()) + "\r\n"));
  for (std::size_t count = 0; count < pieces; ++count) {
    ASSERT_TRUE(client.send(piece));
  }

  EXPECT_EQ(status_of(client.read_answer()), 201);
  EXPECT_LT(resident_kilobytes(), before + 8 * 1024);
  EXPECT_EQ(fs::file_size(announced.wait_for(2).back().path), pieces * piece.size());
}

}  // namespace
}  // namespace tavi::site::uploads
