#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::_;
using testing::Each;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class FirmwareLoad : public FirmwareManagerTest {
 protected:
  void SetUp() override {
    // What is counted here is work; the disk's share of it would hide the rest.
    run.execute("PRAGMA synchronous=OFF;");
    // No token is the beginning of another one's line in the log.
    ON_CALL(run.tokens, get_upload_token).WillByDefault([this] {
      return std::optional(std::to_string(1'000'000 + ++run.last_token));
    });
  }

  /// Announces as many firmwares.
  std::vector<announcement> announce(int count) {
    std::vector<announcement> all;
    while (std::ssize(all) < count) {
      all.push_back(run.announce(std::nullopt));
      EXPECT_EQ(all.back().code, store_firmware_result::announced);
    }
    return all;
  }
};

std::size_t threads_of_this_process() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator{}));
}

TEST_F(FirmwareLoad, ThousandAnnouncedUploadsCostNoThread) {
  ASSERT_TRUE(run.init());
  ASSERT_EQ(run.announce(std::nullopt).code, store_firmware_result::announced);
  auto const before = threads_of_this_process();
  announce(1000);
  EXPECT_LE(threads_of_this_process(), before);
  EXPECT_THAT(run.listed(), SizeIs(1001));
}

TEST_F(FirmwareLoad, ThousandUploadsThatBecomeOverdueTogetherAreAllFailedAfterOneLook) {
  // Time enough to announce and list all of them on this machine before the first one's is over.
  ASSERT_TRUE(run.init());
  auto const begin = std::chrono::steady_clock::now();
  announce(100);
  static_cast<void>(run.listed());
  auto const cost = std::chrono::steady_clock::now() - begin;
  auto const enough = std::chrono::ceil<std::chrono::seconds>(std::chrono::seconds(2) + 30 * cost);
  ASSERT_TRUE(run.init({.timeout = enough}));

  auto const all = announce(1000);
  auto const announced = run.listed();
  EXPECT_THAT(announced, SizeIs(1000));
  EXPECT_THAT(announced, Each(Pair(_, status::pending_upload)));
  EXPECT_FALSE(log.holds(spdlog::level::err, "Timeout for the upload"));

  auto const before = threads_of_this_process();
  auto most = before;
  for (auto const& one : all) {
    ASSERT_TRUE(wait_for_timeout(one));
    most = std::max(most, threads_of_this_process());
  }
  // The timer's workers, of which there are a few more when logging is slow, and never one for each upload.
  EXPECT_LE(most, before + 16);
  EXPECT_THAT(run.row_ids(), SizeIs(1000));

  auto const listed = run.listed();

  EXPECT_THAT(listed, SizeIs(1000));
  EXPECT_THAT(listed, Each(Pair(_, status::failed)));
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_FALSE(std::ranges::any_of(
      all, [&](announcement const& one) { return manager.is_my_token(manager_run::token_of(one)); }));
}

/// The start over many rows, every second of which lacks its file.
class LargeStart : public FirmwareLoad {
 protected:
  /// Makes rows, each with one model; those of odd id have a file, half of the others a path. @return how
  /// long the start takes that removes the rest
  std::chrono::duration<double> start_over(std::size_t rows) {
    run.execute("DELETE FROM FirmwareTable;");
    run.execute("DELETE FROM sqlite_sequence WHERE name='FirmwareTable';");
    auto const file = folder.write("store/file", "x").string();
    auto const numbers = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                         std::to_string(rows) + ") ";
    run.execute(numbers + "INSERT INTO FirmwareTable SELECT NULL, i, CASE WHEN i % 2 = 1 THEN '" + file +
                "' WHEN i % 4 = 0 THEN '" + file + "' || i END, 1, 'hash' FROM n;");
    run.execute(numbers + "INSERT INTO FirmwareModelsRelation SELECT NULL, i, 1 FROM n;");
    log.clear();
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(run.init());
    return std::chrono::steady_clock::now() - begin;
  }

  std::uint32_t count(std::string const& condition) {
    auto const query =
        run.database.create_query("SELECT count() FROM FirmwareTable WHERE " + condition + ";");
    EXPECT_TRUE(query != nullptr && query->execute());
    return query->get_uint32(0);
  }
};

TEST_F(LargeStart, RemovesExactlyTheRowsWithoutFileInTimeThatGrowsWithTheirNumber) {
  constexpr std::size_t most = is_slowed_by_sanitizer ? 20'000 : 100'000;
  auto const tenth = start_over(most / 10);
  auto const whole = start_over(most);

  EXPECT_EQ(count("id % 2 = 1"), most / 2);
  EXPECT_EQ(count("id % 2 = 0"), 0U);
  EXPECT_THAT(log.lines(), SizeIs(most / 2));
  EXPECT_TRUE(log.holds(spdlog::level::info, "Cleanup firmware 2 that has no file"));
  EXPECT_TRUE(log.holds(spdlog::level::info,
                        "Cleanup firmware " + std::to_string(most) + " that has file that doesn't exist: "));
  // Ten times the rows take ten times as long; a hundred times if each row were compared with all others.
  EXPECT_LT(whole.count(), 40 * tenth.count());
}

/// The most memory that this process has had since it was forgotten, in kilobytes; 0 when it is not known.
std::size_t peak_of_memory() {
  std::ifstream file("/proc/self/status");
  std::string word;
  std::size_t kilobytes = 0;
  while (file >> word && word != "VmHWM:") {
  }
  file >> kilobytes;
  return kilobytes;
}

/// What earlier tests needed must not hide what comes. @return whether the system has forgotten it
bool forget_peak_of_memory() {
  std::ofstream control("/proc/self/clear_refs");
  control << "5" << std::flush;
  return control.good();
}

TEST_F(FirmwareLoad, FileIsStoredInPiecesWhateverItsSize) {
  ASSERT_TRUE(run.init());
  auto const one = run.announce("1");
  auto const uploaded = run.given_uploaded("big", "end");
  constexpr std::uintmax_t size = std::uintmax_t{256} << 20U;
  fs::resize_file(uploaded, size);
  ASSERT_TRUE(forget_peak_of_memory());
  auto const before = peak_of_memory();
  ASSERT_GT(before, 0U);
  manager.on_file_uploaded(manager_run::token_of(one), "big", uploaded);
  EXPECT_LT(peak_of_memory(), before + 32U * 1024);
  EXPECT_EQ(manager.get_firmware_from_id(one.id).value().size, size);
}

/// Requests, uploads and time-outs that cross, from several threads that take turns as the service's do.
class CrossingRequests : public FirmwareLoad {
 protected:
  struct attempt {
    announcement announced;
    std::string uploaded;
  };

  /// Runs one step at a time, whichever thread it comes from.
  template <typename Step>
  auto in_turn(Step step) {
    std::lock_guard const lock(lane);
    return step();
  }

  /// Announces a firmware; every other one's file arrives at once, in a race with its time-out.
  void announce(int number) {
    in_turn([&] {
      auto const uploaded = run.given_uploaded(std::to_string(number), std::to_string(number));
      auto const one = run.announce(std::to_string(number), {number % 4 < 2 ? "X7" : "Y2"});
      ASSERT_EQ(one.code, store_firmware_result::announced);
      attempts.push_back({one, uploaded});
      if (number % 2 == 0) {
        hand_over(attempts.back());
      }
    });
  }

  void upload(std::size_t number) {
    in_turn([&] {
      if (!attempts.empty()) {
        hand_over(attempts[number % attempts.size()]);
      }
    });
  }

  void hand_over(attempt const& one) {
    auto const token = manager_run::token_of(one.announced);
    if (manager.is_my_token(token)) {
      manager.on_file_uploaded(token, "fw.bin", one.uploaded);
    }
  }

  /// Looks at all firmwares, and now and then deletes one. @return whether there was any
  bool look(std::size_t number) {
    return in_turn([&] {
      auto const listed = manager.get_all_firmwares().value();
      for (auto const& one : listed) {
        EXPECT_NE(one.status, status::being_processed);
        EXPECT_NE(one.status, status::none);
      }
      if (!listed.empty() && number % 4 == 0) {
        EXPECT_EQ(manager.delete_firmware(listed[number % listed.size()].id),
                  delete_firmware_result::deleted);
      }
      return !listed.empty();
    });
  }

  /// Announces, uploads and looks from four threads, each as often as `rounds` says, or twice.
  void cross(int rounds) {
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        announce(round);
      }
    });
    for (unsigned int const seed : {1U, 2U}) {
      threads.emplace_back([this, rounds, seed] {
        std::mt19937 random(seed);
        for (int round = 0; round < 2 * rounds; ++round) {
          upload(random());
        }
      });
    }
    threads.emplace_back([&] {
      std::mt19937 random(3);
      for (int round = 0; round < rounds;) {
        round += look(random()) ? 1 : 0;
      }
    });
    for (auto& thread : threads) {
      thread.join();
    }
  }

  /// Waits until no upload is awaited any more.
  void wait_for_timeouts() {
    for (auto const& one : attempts) {
      if (manager.is_my_token(manager_run::token_of(one.announced))) {
        ASSERT_TRUE(wait_for_timeout(one.announced));
      }
    }
  }

  std::mutex lane;
  std::vector<attempt> attempts;
};

TEST_F(CrossingRequests, LeaveEveryFirmwareEitherStoredOrFailedOrDeleted) {
  constexpr std::size_t rounds = is_slowed_by_sanitizer ? 60 : 200;
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
  cross(rounds);
  ASSERT_THAT(attempts, SizeIs(rounds));
  wait_for_timeouts();

  std::set<std::string> files_of_rows;
  auto const listed = manager.get_all_firmwares().value();
  for (auto const& one : listed) {
    auto const& [announced, uploaded] =
        *std::ranges::find(attempts, one.id, [](attempt const& each) { return each.announced.id; });
    EXPECT_FALSE(manager.is_my_token(manager_run::token_of(announced)));
    if (one.status == status::available) {
      EXPECT_EQ(content_of(one.path), one.version);
      EXPECT_FALSE(fs::exists(uploaded));
      files_of_rows.insert(fs::path(one.path).filename().string());
    } else {
      EXPECT_EQ(one.status, status::failed);
      EXPECT_TRUE(fs::exists(uploaded));
    }
  }
  EXPECT_EQ(stored_names(), files_of_rows);
  EXPECT_THAT(run.row_ids(), SizeIs(files_of_rows.size()));
  // All three ends were met, or this would have shown little.
  EXPECT_GT(files_of_rows.size(), 0U);
  EXPECT_GT(listed.size(), files_of_rows.size());
  EXPECT_GT(rounds, listed.size());
}

}  // namespace
}  // namespace tavi::stations_maintenance
