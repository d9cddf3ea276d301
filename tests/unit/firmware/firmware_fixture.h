#pragma once

#include <chrono>
#include <filesystem>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "awaited_upload.h"
#include "log_capture.h"
#include "manager_run.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {

/// Far beyond what a slow machine needs.
inline constexpr std::chrono::seconds patience{60};

/// A manager over a folder of the test's own, which is the current directory of the process meanwhile.
class FirmwareManagerTest : public testing::Test {
 public:
  ~FirmwareManagerTest() override { std::filesystem::current_path(previous_directory); }

 protected:
  FirmwareManagerTest() : previous_directory(std::filesystem::current_path()) {
    std::filesystem::current_path(folder.path());
    log.clear();
  }

  /// Waits until the time-out of an announcement has been noted.
  [[nodiscard]] bool wait_for_timeout(announcement const& one) {
    return stations_maintenance::wait_for_timeout(manager, log, manager_run::token_of(one));
  }

  /// Announces a firmware and waits until its time is over.
  announcement given_overdue(std::string const& version) {
    EXPECT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
    auto const one = run.announce(version);
    EXPECT_TRUE(wait_for_timeout(one));
    return one;
  }

  [[nodiscard]] std::string in_folder(std::string const& name) const {
    return (folder.path() / name).string();
  }

  /// The names of all files in the storage directory.
  [[nodiscard]] std::set<std::string> stored_names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder.path() / "store")) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  temporary_folder folder;
  std::filesystem::path previous_directory;
  log_capture log;
  manager_run run{folder.path()};
  fw_storage_mgr& manager = run.manager;
};

}  // namespace tavi::stations_maintenance
