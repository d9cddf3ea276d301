#include "mura_common/file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>

#include "files/file_access.h"
#include "files/file_descriptor.h"

namespace mura_common {

namespace {

constexpr mode_t mode_of_new_files = 0640;
constexpr mode_t mode_bits = 07777;

/// What the new content has to take over from the file that it replaces.
struct replaced_file {
  mode_t mode = mode_of_new_files;
  std::optional<std::pair<uid_t, gid_t>> owner;
};

std::optional<replaced_file> read_replaced(file_descriptor const& folder, std::string const& name,
                                           std::error_code& error) {
  struct stat status = {};
  if (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) {
      return replaced_file{};
    }
    error = last_system_error();
    return {};
  }
  if (!is_regular(status.st_mode, error)) {
    return {};
  }
  return replaced_file{status.st_mode & mode_bits, std::pair{status.st_uid, status.st_gid}};
}

/// Only a privileged process may give files away; for any other the new file is its own, as every file that
/// it makes.
bool take_over(file_descriptor const& file, replaced_file const& replaced, std::error_code& error) {
  bool const owned = !replaced.owner ||
                     ::fchown(file.get(), replaced.owner->first, replaced.owner->second) == 0 ||
                     errno == EPERM;
  if (!owned || ::fchmod(file.get(), replaced.mode) != 0) {
    error = last_system_error();
    return false;
  }
  return true;
}

/// The temporary file has one fixed name, so that what a crash left behind is overwritten by the next
/// replacement instead of piling up. The lock on the folder makes writers of the same file take turns.
bool write_and_rename(file_descriptor const& folder, std::string const& name, std::string_view content,
                      std::error_code& error) {
  auto const replaced = read_replaced(folder, name, error);
  if (!replaced) {
    return false;
  }
  auto const temporary = "." + name + ".new";
  file_descriptor const file(::openat(folder.get(), temporary.c_str(),
                                      O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                                      S_IRUSR | S_IWUSR));
  if (!file.is_open()) {
    error = last_system_error();
    return false;
  }
  if (!write_all(file.get(), content, error) || !take_over(file, *replaced, error) || !flush(file, error)) {
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return false;
  }
  if (::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
    error = last_system_error();
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return false;
  }
  return flush(folder, error);
}

}  // namespace

bool replace_file_durably(std::filesystem::path const& path, std::string_view content,
                          std::error_code& error) {
  error.clear();
  auto target = path;
  // A link stays one: it is the file behind it that gets the new content.
  if (std::filesystem::is_symlink(path, error)) {
    target = std::filesystem::canonical(path, error);
    if (error) {
      return false;
    }
  }
  error.clear();
  if (!target.has_filename()) {
    error = std::make_error_code(std::errc::is_a_directory);
    return false;
  }
  auto const folder = open_folder(target.parent_path(), error);
  if (!folder.is_open()) {
    return false;
  }
  if (::flock(folder.get(), LOCK_EX) != 0) {
    error = last_system_error();
    return false;
  }
  return write_and_rename(folder, target.filename().string(), content, error);
}

bool flush_folder(std::filesystem::path const& folder, std::error_code& error) {
  error.clear();
  auto const opened = open_folder(folder, error);
  return opened.is_open() && flush(opened, error);
}

}  // namespace mura_common
