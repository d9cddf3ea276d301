#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "mura_common/config.h"
#include "temporary_folder.h"

namespace mura_common {

inline constexpr auto error_level = spdlog::level::err;

/// A configuration with its file in a folder of its own.
class Configuration : public testing::Test {
 protected:
  /// Writes the file and loads it. @return its path
  std::filesystem::path load(std::string const& text) {
    auto const file = folder.write("service.toml", text);
    EXPECT_TRUE(config.load(file));
    return file;
  }

  /// A parameter that must be there.
  template <typename T>
  ConfigParameter<T> parameter(std::string const& key) {
    auto found = config.getParam<T>(key);
    if (!found) {
      throw std::runtime_error("the test expected a parameter " + key);
    }
    return *found;
  }

  [[nodiscard]] std::size_t error_count() const {
    std::size_t count = 0;
    for (auto const& line : log.lines()) {
      count += line.level == error_level ? 1U : 0U;
    }
    return count;
  }

  temporary_folder folder;
  log_capture log;
  toml_config config;
};

}  // namespace mura_common
