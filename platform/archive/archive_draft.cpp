#include "archive/archive_draft.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>

#include "files/file_access.h"
#include "files/file_descriptor.h"
#include "mura_common/file.h"

namespace mura_common {

namespace fs = std::filesystem;

namespace {

/// As the reports in it have.
constexpr mode_t mode_of_new_archives = 0640;

/// @return whether an archive stands there already; `error` is set when something else does
bool is_there(fs::path const& target, std::error_code& error) {
  std::error_code unknown;
  auto const status = fs::status(target, unknown);
  if (status.type() == fs::file_type::none) {
    error = unknown;
    return false;
  }
  if (!fs::exists(status)) {
    return false;
  }
  if (!fs::is_regular_file(status)) {
    error = std::make_error_code(fs::is_directory(status) ? std::errc::is_a_directory
                                                          : std::errc::invalid_argument);
  }
  return true;
}

/// Copies a file with its permissions.
bool copy_archive(fs::path const& from, fs::path const& to, std::error_code& error) {
  file_descriptor const source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status = {};
  if (!source.is_open() || ::fstat(source.get(), &status) != 0) {
    error = last_system_error();
    return false;
  }
  file_descriptor const copy(::open(to.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!copy.is_open() || ::fchmod(copy.get(), status.st_mode & 0777U) != 0) {
    error = last_system_error();
    return false;
  }
  return copy_bytes(source, copy, error);
}

}  // namespace

archive_draft::~archive_draft() {
  if (!folder.empty()) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }
}

bool archive_draft::prepare(fs::path const& destination, std::error_code& error) {
  error.clear();
  target = destination;
  std::error_code ignored;
  if (fs::is_symlink(destination, ignored)) {
    target = fs::canonical(destination, error);
  }
  if (!error && !target.has_filename()) {
    error = std::make_error_code(std::errc::is_a_directory);
  }
  auto const has_older = !error && is_there(target, error);
  if (error) {
    return false;
  }
  auto name = (target.parent_path() / ".export-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    error = last_system_error();
    return false;
  }
  folder = name;
  is_new = !has_older;
  return is_new || copy_archive(target, path(), error);
}

fs::path archive_draft::path() const {
  // With a suffix, for an archiver gives one to a name that has none.
  return folder / "archive.zip";
}

bool archive_draft::publish(std::error_code& error) const {
  error.clear();
  {
    file_descriptor const archive(::open(path().c_str(), O_RDONLY | O_CLOEXEC));
    if (!archive.is_open() || (is_new && ::fchmod(archive.get(), mode_of_new_archives) != 0)) {
      error = last_system_error();
      return false;
    }
    if (!flush(archive, error)) {
      return false;
    }
  }
  fs::rename(path(), target, error);
  return !error && flush_folder(target.parent_path(), error);
}

}  // namespace mura_common
