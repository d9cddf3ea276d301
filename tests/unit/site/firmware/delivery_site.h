#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "firmware/firmware_server.h"
#include "log_capture.h"
#include "loop_thread.h"
#include "raw_client.h"
#include "temporary_folder.h"

/// Larger than all that systems hold for a connection.
inline constexpr std::size_t large = 32 * 1024 * 1024;

/// A site with nothing but its firmware server, on a port of its own, and a store with files.
class DeliverySiteTest : public testing::Test {
 protected:
  DeliverySiteTest() { options.folders = {store}; }

  void TearDown() override {
    if (server) {
      stop();
    }
  }

  void start() {
    auto const is_started = site.call([this] {
      server = std::make_unique<tavi::site::firmware::firmware_server>(options);
      listener = std::make_unique<tavi::http::http_listener>(site.loop, tavi::http::http_limits{});
      server->add_to(*listener);
      return listener->start("127.0.0.1", 0);
    });
    ASSERT_TRUE(is_started);
    port = listener->port();
  }

  void stop() {
    site.call([this] {
      listener.reset();
      server.reset();
    });
  }

  /// Writes a file into the store. @return what a station is told
  tavi::site::firmware::firmware_location offer(std::string const& name, std::string const& content) {
    folder.write(std::filesystem::path("store") / name, content);
    return offer_again(name);
  }

  /// A further location of a file in the store.
  tavi::site::firmware::firmware_location offer_again(std::string const& name) {
    auto const file = server->find_file((store / name).string());
    EXPECT_TRUE(file.has_value());
    return site.call([&] { return server->make_location(7, file.value_or("")); })
        .value_or(tavi::site::firmware::firmware_location());
  }

  /// A request; `fields` end with a line end each.
  static std::string request(std::string const& method, std::string const& target,
                             std::string const& fields = "") {
    return method + " " + target + " HTTP/1.1\r\nHost: site\r\n" + fields + "\r\n";
  }

  /// Sends a request on a connection of its own. @return the whole answer
  std::string ask(std::string const& text) const {
    raw_client client(port);
    client.send(text);
    return client.read_answer();
  }

  /// The value of a field of an answer; empty when there is none.
  static std::string field_of(std::string const& answer, std::string const& name) {
    auto const at = answer.find("\r\n" + name + ": ");
    if (at == std::string::npos || at > answer.find("\r\n\r\n")) {
      return {};
    }
    auto const begin = at + name.size() + 4;
    return answer.substr(begin, answer.find("\r\n", begin) - begin);
  }

  /// What follows the head of an answer.
  static std::string body_of(std::string const& answer) {
    auto const end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
  }

  /// A content in which every stretch is another.
  static std::string content_of_size(std::size_t size) {
    std::string content;
    content.reserve(size + 20);
    for (std::size_t number = 0; content.size() < size; ++number) {
      content += std::to_string(number * number) + ".";
    }
    content.resize(size);
    return content;
  }

  log_capture log;
  temporary_folder folder;
  std::filesystem::path store = std::filesystem::canonical(folder.path()) / "store";
  tavi::site::firmware::firmware_options options;
  loop_thread site;
  std::unique_ptr<tavi::site::firmware::firmware_server> server;
  std::unique_ptr<tavi::http::http_listener> listener;
  std::uint16_t port = 0;
};
