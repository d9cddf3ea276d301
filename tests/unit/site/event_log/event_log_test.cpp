#include "event_log/event_log.h"

#include <sys/stat.h>

#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site::event_log {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

std::chrono::system_clock::time_point noon() {
  return std::chrono::system_clock::time_point(1795176309s + 42ms);
}

std::vector<json> entries_of(std::filesystem::path const& file) {
  std::istringstream lines(content_of(file));
  std::vector<json> entries;
  for (std::string line; std::getline(lines, line);) {
    entries.push_back(json::parse(line));
  }
  return entries;
}

class EventLog : public testing::Test {
 protected:
  log_capture log;
  temporary_folder state;
  std::filesystem::path folder = state.path() / "event_log";
  std::filesystem::path newest = folder / "events.jsonl";
};

TEST_F(EventLog, WritesOneLinePerEntryWithItsTimeInUtc) {
  event_log events(folder, 1'000'000, 2, {}, noon);
  ASSERT_TRUE(events.start());
  EXPECT_TRUE(events.on_functional_log(13, 1100, "every 3600 s"));
  EXPECT_EQ(content_of(newest),
            "{\"time\":\"2026-11-20T12:05:09.042Z\",\"category\":13,\"subtype\":1100,\"text\":\"every 3600 "
            "s\"}\n");
}

TEST_F(EventLog, TellsOfEachEntryOnceItIsWritten) {
  std::vector<std::string> told;
  event_log events(folder, 1'000'000, 2,
                   [&](unsigned int category, unsigned int subtype, std::string const& text) {
                     told.push_back(std::to_string(category) + " " + std::to_string(subtype) + " " + text);
                     EXPECT_EQ(entries_of(newest).size(), told.size());
                   });
  ASSERT_TRUE(events.start());
  EXPECT_TRUE(events.on_functional_log(13, 1100, "every 3600 s"));
  EXPECT_TRUE(events.on_functional_log(13, 1105, "new"));
  EXPECT_EQ(told, (std::vector<std::string>{"13 1100 every 3600 s", "13 1105 new"}));
}

TEST_F(EventLog, KeepsALineBreakInsideItsLine) {
  event_log events(folder, 1'000'000, 2, {}, noon);
  ASSERT_TRUE(events.start());
  EXPECT_TRUE(events.on_functional_log(13, 1103, "one\ntwo \"quoted\" {} %v"));
  auto const entries = entries_of(newest);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0]["text"], "one\ntwo \"quoted\" {} %v");
}

TEST_F(EventLog, ReplacesBytesThatAreNoText) {
  event_log events(folder, 1'000'000, 2, {}, noon);
  ASSERT_TRUE(events.start());
  std::string const bytes{'a', '\xFF', '\0', '\xC3'};
  EXPECT_TRUE(events.on_functional_log(13, 1105, bytes));
  auto const entries = entries_of(newest);
  ASSERT_EQ(entries.size(), 1U);
  auto const expected = std::string("a\xEF\xBF\xBD") + '\0' + "\xEF\xBF\xBD";
  EXPECT_EQ(entries[0]["text"].get<std::string>(), expected);
}

TEST_F(EventLog, BeginsANewFileWhenOneIsFullAndForgetsTheOldest) {
  event_log events(folder, 300, 2, {}, noon);
  ASSERT_TRUE(events.start());
  for (int number = 0; number < 20; ++number) {
    EXPECT_TRUE(events.on_functional_log(13, 1106, "entry " + std::to_string(number)));
  }
  EXPECT_EQ(entries_of(newest).back()["text"], "entry 19");
  EXPECT_FALSE(entries_of(folder / "events.1.jsonl").empty());
  EXPECT_FALSE(entries_of(folder / "events.2.jsonl").empty());
  EXPECT_FALSE(std::filesystem::exists(folder / "events.3.jsonl"));
  EXPECT_LE(std::filesystem::file_size(newest), 300U);
}

TEST_F(EventLog, GoesOnAfterARestart) {
  for (int run = 0; run < 2; ++run) {
    event_log events(folder, 1'000'000, 2, {}, noon);
    ASSERT_TRUE(events.start());
    EXPECT_TRUE(events.on_functional_log(13, 1100, "run"));
  }
  EXPECT_EQ(entries_of(newest).size(), 2U);
}

TEST_F(EventLog, KeepsEveryEntryOfSeveralThreads) {
  event_log events(folder, 1'000'000, 2, {}, noon);
  ASSERT_TRUE(events.start());
  std::vector<std::thread> writers;
  for (unsigned int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([&events, writer] {
      for (int entry = 0; entry < 50; ++entry) {
        events.on_functional_log(writer, 1100, "text");
      }
    });
  }
  for (auto& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(entries_of(newest).size(), 200U);
}

TEST_F(EventLog, DoesNotStartWhereItsFolderCannotBeMade) {
  state.write("event_log", "a file, not a folder");
  event_log events(folder, 1'000'000, 2, {}, noon);
  EXPECT_FALSE(events.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, folder.string()));
}

TEST_F(EventLog, DoesNotStartWhereItsFileCannotBeOpened) {
  std::filesystem::create_directories(newest);
  event_log events(folder, 1'000'000, 2, {}, noon);
  EXPECT_FALSE(events.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, newest.string()));
}

TEST_F(EventLog, SaysThatAnEntryIsLostWhenTheDiskIsFull) {
  std::filesystem::create_directories(folder);
  std::error_code error;
  std::filesystem::create_symlink("/dev/full", newest, error);
  ASSERT_FALSE(error);
  auto const tell = [](auto&&...) { ADD_FAILURE() << "it was told as if it were written"; };
  event_log events(folder, 1'000'000, 2, tell, noon);
  ASSERT_TRUE(events.start());
  EXPECT_FALSE(events.on_functional_log(13, 1100, "never seen"));
  EXPECT_TRUE(log.holds(spdlog::level::err, "is lost"));
}

}  // namespace
}  // namespace tavi::site::event_log
