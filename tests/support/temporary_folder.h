#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

/// A folder of its own for one test, removed with everything in it afterwards.
class temporary_folder {
 public:
  temporary_folder() {
    auto name = (std::filesystem::temp_directory_path() / "stations_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder at " + name);
    }
    root = name;
  }
  ~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
  temporary_folder(temporary_folder const&) = delete;
  temporary_folder& operator=(temporary_folder const&) = delete;

  /// The folder's path.
  [[nodiscard]] std::filesystem::path const& path() const { return root; }

  /// Writes a file below the folder, with the folders that it needs. @return its path
  std::filesystem::path write(std::filesystem::path const& name, std::string const& content) const {
    auto const file = root / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  std::filesystem::path root;
};

/// The whole content of a file; empty when it cannot be read.
inline std::string content_of(std::filesystem::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The names of what lies in a folder.
inline std::set<std::string> names_in(std::filesystem::path const& folder) {
  std::set<std::string> names;
  for (auto const& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}
