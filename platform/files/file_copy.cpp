#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "files/file_access.h"
#include "files/file_descriptor.h"
#include "mura_common/file.h"

namespace mura_common {

namespace {

constexpr std::size_t kernel_piece = std::size_t{64} << 20U;
constexpr std::size_t plain_piece = std::size_t{128} << 10U;
constexpr mode_t permission_bits = 0777;

/// A file in the making: nameless, or under a temporary name that goes away with it, until `publish`.
class unpublished_file {
 public:
  /// @param parent  the folder that the file will stand in; outlives this
  /// @param path    that folder's path
  unpublished_file(file_descriptor const& parent, std::filesystem::path const& path, std::error_code& error)
      : folder(parent) {
    if (!open_nameless(error)) {
      open_temporary(path, error);
    }
  }
  ~unpublished_file() { remove_temporary(); }
  unpublished_file(unpublished_file const&) = delete;
  unpublished_file& operator=(unpublished_file const&) = delete;

  [[nodiscard]] file_descriptor const& descriptor() const { return file; }

  /// Gives the file its name. @return false, with `error` set, also when something has that name already
  [[nodiscard]] bool publish(std::string const& name, std::error_code& error) {
    bool const named = temporary_name.empty() ? link_nameless(name) : rename_temporary(name);
    if (!named) {
      error = last_system_error();
    }
    return named;
  }

 private:
  /// @return false when a temporary name is to be used instead; a real failure shows there again
  bool open_nameless(std::error_code& error) {
    // Without /proc a nameless file could not get its name.
    if (::access("/proc/self/fd", X_OK) != 0) {
      return false;
    }
    file = file_descriptor(::openat(folder.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.is_open()) {
      bool const unsupported = errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT || errno == EINVAL;
      if (!unsupported) {
        error = last_system_error();
      }
      return !unsupported;
    }
    return true;
  }

  void open_temporary(std::filesystem::path const& path, std::error_code& error) {
    auto name = (path / ".partial-XXXXXX").string();
    file = file_descriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.is_open()) {
      error = last_system_error();
      return;
    }
    temporary_name = std::filesystem::path(name).filename().string();
  }

  bool link_nameless(std::string const& name) const {
    auto const self = "/proc/self/fd/" + std::to_string(file.get());
    return ::linkat(AT_FDCWD, self.c_str(), folder.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
  }

  bool rename_temporary(std::string const& name) {
    if (::renameat2(folder.get(), temporary_name.c_str(), folder.get(), name.c_str(), RENAME_NOREPLACE) ==
        0) {
      temporary_name.clear();
      return true;
    }
    // A file system that cannot rename without replacing may still know links; the temporary name goes later.
    return (errno == EINVAL || errno == ENOSYS) &&
           ::linkat(folder.get(), temporary_name.c_str(), folder.get(), name.c_str(), 0) == 0;
  }

  void remove_temporary() {
    if (!temporary_name.empty()) {
      ::unlinkat(folder.get(), temporary_name.c_str(), 0);
    }
  }

  file_descriptor const& folder;
  file_descriptor file;
  std::string temporary_name;
};

/// Copies as much as the kernel does by itself. Where it refuses, for whatever reason, the plain copy goes on
/// from the place reached, and reports the reason if it is one that lasts.
void copy_in_kernel(file_descriptor const& from, file_descriptor const& to) {
  ssize_t copied = 0;
  do {
    copied = ::copy_file_range(from.get(), nullptr, to.get(), nullptr, kernel_piece, 0);
  } while (copied > 0 || (copied < 0 && errno == EINTR));
}

bool copy_plainly(file_descriptor const& from, file_descriptor const& to, std::error_code& error) {
  auto const buffer = std::make_unique<std::array<char, plain_piece>>();
  while (true) {
    auto const length = ::read(from.get(), buffer->data(), buffer->size());
    if (length == 0) {
      return true;
    }
    if (length > 0) {
      if (!write_all(to.get(), {buffer->data(), static_cast<std::size_t>(length)}, error)) {
        return false;
      }
    } else if (errno != EINTR) {
      error = last_system_error();
      return false;
    }
  }
}

/// @return the permissions of the opened source, or nothing, with `error` set, when it is no regular file
std::optional<mode_t> read_permissions(file_descriptor const& source, std::error_code& error) {
  struct stat status = {};
  if (::fstat(source.get(), &status) != 0) {
    error = last_system_error();
    return {};
  }
  if (!is_regular(status.st_mode, error)) {
    return {};
  }
  return status.st_mode & permission_bits;
}

/// @return whether the name is free; the answer only saves the work, `publish` is what decides
bool is_free(file_descriptor const& folder, std::string const& name, std::error_code& error) {
  struct stat status = {};
  if (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    error = std::make_error_code(std::errc::file_exists);
    return false;
  }
  return true;
}

bool copy_content(file_descriptor const& source, mode_t permissions, file_descriptor const& copy,
                  std::error_code& error) {
  if (!copy_bytes(source, copy, error)) {
    return false;
  }
  if (::fchmod(copy.get(), permissions) != 0) {
    error = last_system_error();
    return false;
  }
  return flush(copy, error);
}

bool make_copy(file_descriptor const& source, mode_t permissions, std::filesystem::path const& to,
               std::error_code& error) {
  auto const folder = open_folder(to.parent_path(), error);
  auto const name = to.filename().string();
  if (!folder.is_open() || !is_free(folder, name, error)) {
    return false;
  }
  unpublished_file copy(folder, to.parent_path(), error);
  if (!copy.descriptor().is_open() || !copy_content(source, permissions, copy.descriptor(), error) ||
      !copy.publish(name, error)) {
    return false;
  }
  if (!flush(folder, error)) {
    ::unlinkat(folder.get(), name.c_str(), 0);
    return false;
  }
  return true;
}

}  // namespace

bool copy_bytes(file_descriptor const& from, file_descriptor const& to, std::error_code& error) {
  copy_in_kernel(from, to);
  return copy_plainly(from, to, error);
}

bool copy_file_durably(std::filesystem::path const& from, std::filesystem::path const& to,
                       std::error_code& error) {
  error.clear();
  if (!to.has_filename()) {
    error = std::make_error_code(std::errc::is_a_directory);
    return false;
  }
  // Not blocking: opening a pipe would otherwise wait for a writer.
  file_descriptor const source(::open(from.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!source.is_open()) {
    error = last_system_error();
    return false;
  }
  auto const permissions = read_permissions(source, error);
  return permissions && make_copy(source, *permissions, to, error);
}

}  // namespace mura_common
