#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "file_mode_hook.h"
#include "log_capture.h"
#include "manager_run.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Runs a function in a process of its own. @return the signal that ended it; 0 when none did
int signal_that_ends(std::function<void()> const& work) {
  auto const child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

int end_at_once() {
  raise(SIGKILL);
  return 0;
}

/// A manager that is killed in one process and started again, over the same folder, in this one.
class KilledFirmwareManager : public testing::Test {
 protected:
  /// Starts a manager in a process of its own, has it store one firmware, announces a second one, and goes on
  /// with `work`, which must not survive.
  void kill_during(std::function<void(manager_run&)> const& work) {
    ASSERT_EQ(signal_that_ends([&] {
                manager_run run(folder.path());
                if (!run.init() || run.given_stored("1") != 1 || run.announce("2").id != 2) {
                  _exit(1);
                }
                static_cast<void>(run.given_uploaded("second", "content"));
                work(run);
              }),
              SIGKILL);
  }

  void upload_second(manager_run& run) const {
    run.manager.on_file_uploaded("token 2", "second", (folder.path() / "spool/second").string());
  }

  [[nodiscard]] std::set<std::string> names_in(std::string const& name) const {
    std::set<std::string> names;
    for (auto const& entry : fs::directory_iterator(folder.path() / name)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  temporary_folder folder;
  log_capture log;
};

TEST_F(KilledFirmwareManager, ForgetsWhatWasOnlyAnnounced) {
  kill_during([](manager_run&) { end_at_once(); });

  manager_run run(folder.path());
  EXPECT_THAT(run.row_ids(), ElementsAre(1U, 2U));
  ASSERT_TRUE(run.init());

  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
  EXPECT_FALSE(run.manager.is_my_token("token 2"));
  upload_second(run);
  EXPECT_THAT(names_in("spool"), ElementsAre("second"));
  EXPECT_THAT(names_in("store"), ElementsAre("1_fw.bin"));
  EXPECT_EQ(run.announce("3").id, 3U);
}

TEST_F(KilledFirmwareManager, LeavesNoPartOfACopyThatWasUnderWay) {
  kill_during([&](manager_run& run) {
    file_mode_hook const hook(file_mode_hook::call::of_open_file, end_at_once);
    upload_second(run);
  });

  manager_run run(folder.path());
  ASSERT_TRUE(run.init());

  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
  EXPECT_THAT(names_in("store"), ElementsAre("1_fw.bin"));
  EXPECT_THAT(names_in("spool"), ElementsAre("second"));
}

TEST_F(KilledFirmwareManager, LeavesACopyWithoutItsRowThatStandsInNobodysWay) {
  kill_during([&](manager_run& run) {
    file_mode_hook const hook(file_mode_hook::call::by_name, end_at_once);
    upload_second(run);
  });

  manager_run run(folder.path());
  ASSERT_TRUE(run.init());

  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available)));
  EXPECT_THAT(run.row_ids(), ElementsAre(1U));
  EXPECT_THAT(names_in("store"), ElementsAre("1_fw.bin", "2_second"));
  auto const again = run.announce("2");
  run.manager.on_file_uploaded(manager_run::token_of(again), "second",
                               (folder.path() / "spool/second").string());
  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available), Pair(3U, status::available)));
  EXPECT_THAT(names_in("store"), ElementsAre("1_fw.bin", "2_second", "3_second"));
}

TEST_F(KilledFirmwareManager, KeepsAFirmwareWhoseRowWasComplete) {
  kill_during([&](manager_run& run) {
    ON_CALL(run.logger, send_functional_log).WillByDefault([] { return end_at_once() == 0; });
    upload_second(run);
  });

  manager_run run(folder.path());
  ASSERT_TRUE(run.init());

  EXPECT_THAT(run.listed(), ElementsAre(Pair(1U, status::available), Pair(2U, status::available)));
  EXPECT_EQ(content_of(folder.path() / "store/2_second"), "content");
  EXPECT_THAT(names_in("spool"), ElementsAre("second"));
}

TEST_F(KilledFirmwareManager, HasDeletedWhatItToldOperatorsWasDeleted) {
  kill_during([&](manager_run& run) {
    ON_CALL(run.logger, send_functional_log).WillByDefault([] { return end_at_once() == 0; });
    run.manager.delete_firmware(1);
  });

  manager_run run(folder.path());
  ASSERT_TRUE(run.init());

  EXPECT_THAT(run.listed(), IsEmpty());
  EXPECT_THAT(names_in("store"), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
