#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include "http_listener.h"
#include "log_capture.h"
#include "loop_thread.h"
#include "raw_client.h"
#include "temporary_folder.h"
#include "uploads/upload_server.h"

/// The field of a request whose body has no length from the start.
inline std::string const chunked = "Transfer-Encoding: chunked\r\n";

/// One announcement as the site made it.
struct announced_file {
  std::string token;
  std::string name;
  std::string path;
};

/// Collects announcements; filled on the event loop and read by the test.
class announcement_log {
 public:
  void add(announced_file file) {
    std::lock_guard const lock(guard);
    files.push_back(std::move(file));
    added.notify_all();
  }

  /// Waits until there are `count` of them. @return those there are after a generous limit at the latest
  std::vector<announced_file> wait_for(std::size_t count) {
    std::unique_lock lock(guard);
    added.wait_for(lock, std::chrono::seconds(30), [&] { return files.size() >= count; });
    return files;
  }

  void clear() {
    std::lock_guard const lock(guard);
    files.clear();
  }

 private:
  std::mutex guard;
  std::condition_variable added;
  std::vector<announced_file> files;
};

/// A site with nothing but its upload server, on a port of its own.
class UploadSiteTest : public testing::Test {
 protected:
  UploadSiteTest() { options.spool_folder = root.path() / "spool"; }

  void TearDown() override { stop(); }

  void start() {
    auto const is_started = site.call([this] {
      server = std::make_unique<tavi::site::uploads::upload_server>(
          site.loop, options, [this](tavi::site::uploads::finished_upload const& upload) {
            announced.add({upload.token, upload.file_name, upload.file_path.string()});
          });
      listener = std::make_unique<tavi::http::http_listener>(site.loop, tavi::http::http_limits{});
      server->add_to(*listener);
      return server->start() && listener->start("127.0.0.1", 0);
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

  std::string make_token() { return server->make_token("diagnostics").value_or("none"); }

  /// The header of a request; `fields` end with a line end each.
  static std::string header(std::string const& method, std::string const& path, std::string const& fields) {
    return method + " /upload/" + path + " HTTP/1.1\r\nHost: site\r\n" + fields + "\r\n";
  }

  static std::string put(std::string const& path, std::string const& body) {
    return header("PUT", path, "Content-Length: " + std::to_string(body.size()) + "\r\n") + body;
  }

  /// Sends a request on a connection of its own. @return the code of the answer
  int status_for(std::string const& request) const {
    raw_client client(port);
    client.send(request);
    return status_of(client.read_answer());
  }

  /// Every path below the test's folder, relative to it.
  [[nodiscard]] std::set<std::string> tree() const {
    std::set<std::string> found;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(root.path())) {
      found.insert(entry.path().lexically_relative(root.path()).string());
    }
    return found;
  }

  /// Turns of the loop until `predicate` holds. @return false after a generous limit
  template <typename predicate_type>
  bool comes_true(predicate_type predicate) {
    auto const give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!predicate()) {
      if (std::chrono::steady_clock::now() > give_up) {
        return false;
      }
      site.call([] {});
    }
    return true;
  }

  log_capture log;
  temporary_folder root;
  tavi::site::uploads::upload_options options;
  announcement_log announced;
  loop_thread site;
  std::unique_ptr<tavi::site::uploads::upload_server> server;
  std::unique_ptr<tavi::http::http_listener> listener;
  std::uint16_t port = 0;
};
