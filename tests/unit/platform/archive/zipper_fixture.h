#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "mura_common/zipper.h"
#include "temporary_folder.h"

namespace mura_common {

/// A working folder with files to pack, and a folder beside it for the archives.
class ZipperTest : public testing::Test {
 protected:
  ZipperTest() {
    std::filesystem::create_directory(workdir);
    std::filesystem::create_directory(exports);
  }

  /// Packs files with the given commands. @return the zipper's answer
  [[nodiscard]] bool pack(std::vector<std::string> const& files, std::string const& destination,
                          std::string const& zip_command = "zip", std::string const& shell = "sh") const {
    zipper tested(zip_command, shell);
    for (auto const& file : files) {
      tested.add_file(file);
    }
    return tested.zip_from_folder_cd_workdir(workdir.string(), destination);
  }

  /// Writes a program that the tests can name as the archiver. @return the command
  [[nodiscard]] std::string given_program(std::string const& name, std::string const& script) const {
    auto const file = folder.write(name, "#!/bin/sh\n" + script);
    std::filesystem::permissions(file, std::filesystem::perms{0755});
    return file.string();
  }

  /// Writes a file to pack. @return its path
  std::string in_workdir(std::string const& name, std::string const& content) const {
    return folder.write("work/" + name, content).string();
  }

  /// What stands beside the archives too: drafts that were left behind.
  [[nodiscard]] std::set<std::string> names_in_exports() const { return names_in(exports); }

  temporary_folder folder;
  std::filesystem::path const workdir = folder.path() / "work";
  std::filesystem::path const exports = folder.path() / "exports";
  std::string const archive = (exports / "reports.zip").string();
  log_capture log;
};

}  // namespace mura_common
