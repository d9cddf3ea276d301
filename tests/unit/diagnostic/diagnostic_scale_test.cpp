#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::Return;

/// How many reports the smaller site has; the larger one has twice as many.
constexpr int half = is_slowed_by_sanitizer ? 2'500 : 25'000;
constexpr unsigned int known_stations = 50;
/// Every round begins with this part of the reports as rows without files, and as many files without rows.
constexpr int sprinkled_part = 25;
/// Every round begins with reports of so many unknown stations, each with its share of the same part.
constexpr int unknown_stations = 10;
constexpr int rounds = 3;

/// A large site. Its reports are written to disk and database directly: receiving them is not what is tested.
class DiagnosticScale : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    std::vector<tavi::stations::charging_station> known(known_stations);
    for (unsigned int index = 0; index < known_stations; ++index) {
      known[index].id = index + 1;
      ASSERT_TRUE(manager.create_diagnostic_directory_for_station(index + 1));
    }
    ON_CALL(ocpp, get_charging_stations()).WillByDefault(Return(known));
  }

  void execute(std::string const& statement) {
    auto const query = database.create_query(statement);
    ASSERT_TRUE(query && query->execute()) << statement;
  }

  /// Adds a row, and its file if wanted.
  void add_report(unsigned int station, bool with_file) {
    auto const path = manager.get_full_path(station, periodic, ++reports, "report");
    insert->bind_uint32(0, station);
    insert->bind_text(1, path);
    ASSERT_TRUE(insert->execute());
    insert->reset();
    if (with_file) {
      add_file(path);
    }
  }

  static void add_file(std::string const& path) {
    auto const file = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0) << path;
    close(file);
  }

  void add_reports(int count) {
    execute("BEGIN;");
    for (int number = 0; number < count; ++number) {
      add_report(static_cast<unsigned int>(number) % known_stations + 1, true);
    }
    execute("COMMIT;");
  }

  /// Adds so many rows without files, files without rows and reports of unknown stations.
  void sprinkle(int count) {
    execute("BEGIN;");
    for (int number = 0; number < count; ++number) {
      auto const station = static_cast<unsigned int>(number) % known_stations + 1;
      add_report(station, false);
      folder.write(
          "reports/station_" + std::to_string(station) + "/manual_reports/stray_" + std::to_string(number),
          "");
      auto const unknown = 1000U + static_cast<unsigned int>(number) % unknown_stations;
      if (number < unknown_stations) {
        ASSERT_TRUE(manager.create_diagnostic_directory_for_station(unknown));
      }
      add_report(unknown, true);
    }
    execute("COMMIT;");
  }

  /// What this thread has used of a processor so far: other programs' work does not count.
  static std::chrono::duration<double> processor_time() {
    timespec used{};
    EXPECT_EQ(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used), 0);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
  }

  /// @return the shortest time that a call of `work` took, over a few rounds each of which is prepared anew
  template <typename Preparation, typename Work>
  std::chrono::duration<double> fastest(Preparation prepare, Work work) {
    auto shortest = std::chrono::duration<double>::max();
    for (int round = 0; round < rounds; ++round) {
      prepare();
      auto const begin = processor_time();
      work();
      shortest = std::min(shortest, processor_time() - begin);
    }
    return shortest;
  }

  [[nodiscard]] std::vector<std::string> files() const {
    std::vector<std::string> found;
    for (auto const& entry : fs::recursive_directory_iterator(in_folder("reports"))) {
      if (entry.is_regular_file()) {
        found.push_back(entry.path().string());
      }
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  std::unique_ptr<mura_common::IQuery> insert;
  int reports = 0;
};

TEST_F(DiagnosticScale, ChecksTwiceTheReportsInTwiceTheTimeAndListsEachOnce) {
  insert =
      database.create_query("INSERT INTO DiagnosticReports VALUES(NULL, 'report', ?, 1600000000, 0, 0, ?);");
  ASSERT_TRUE(insert);
  std::vector<std::chrono::duration<double>> checks;
  for (int size : {half, 2 * half}) {
    add_reports(half);
    checks.push_back(fastest(
        [&] {
          sprinkle(size / sprinkled_part);
          log.clear();
        },
        [&] { manager.check_sanity(); }));

    // A line for each row without a file and each file without a row; unknown stations go silently.
    EXPECT_EQ(log.lines().size(), 2U * static_cast<unsigned int>(size / sprinkled_part));
    auto paths = table.get_all_diagnostics_path();
    EXPECT_EQ(paths.size(), static_cast<std::size_t>(size));
    std::sort(paths.begin(), paths.end());
    EXPECT_TRUE(paths == files()) << "rows and files agree";

    faults.steps = 0;
    EXPECT_EQ(manager.get_diagnostic_reports(std::nullopt)->size(), static_cast<std::size_t>(size));
    EXPECT_EQ(faults.steps, static_cast<std::size_t>(size));
  }
  // Linear work gives 2, work that grows with the square 4.
  EXPECT_LT(checks[1] / checks[0], 3.0) << checks[0].count() << " s, then " << checks[1].count() << " s";
  RecordProperty("check_of_half_s", std::to_string(checks[0].count()));
  RecordProperty("check_of_all_s", std::to_string(checks[1].count()));
}

}  // namespace
}  // namespace tavi::stations_maintenance
