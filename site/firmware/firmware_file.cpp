#include "firmware/firmware_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include <fmt/format.h>

namespace tavi::site::firmware {
namespace {

constexpr std::int64_t nanoseconds = 1'000'000'000;

std::error_code last_error() {
  return {errno, std::generic_category()};
}

/// The time of the last change of anything counts too: unlike that of the content, nobody can set it back.
file_state describe(struct stat const& seen) {
  file_state state;
  state.size = static_cast<std::uint64_t>(seen.st_size);
  state.tag =
      fmt::format("\"{:x}-{:x}-{:x}-{:x}\"", seen.st_ino, state.size,
                  static_cast<std::uint64_t>(seen.st_mtim.tv_sec * nanoseconds + seen.st_mtim.tv_nsec),
                  static_cast<std::uint64_t>(seen.st_ctim.tv_sec * nanoseconds + seen.st_ctim.tv_nsec));
  return state;
}

std::optional<file_state> look_at(int descriptor, std::error_code& error) {
  struct stat seen {};
  if (::fstat(descriptor, &seen) != 0) {
    error = last_error();
    return std::nullopt;
  }
  if (!S_ISREG(seen.st_mode)) {
    error = std::make_error_code(std::errc::no_such_file_or_directory);
    return std::nullopt;
  }
  return describe(seen);
}

/// A folder on the way may have become a symbolic link since the path was resolved.
bool is_where_it_was(int descriptor, std::filesystem::path const& path) {
  std::error_code ignored;
  auto const link = fmt::format("/proc/self/fd/{}", descriptor);
  return std::filesystem::read_symlink(link, ignored) == path;
}

}  // namespace

std::unique_ptr<firmware_file> firmware_file::open(std::filesystem::path const& path,
                                                   std::error_code& error) {
  // Not to wait for whoever might write into a pipe of this name.
  auto const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) {
    error = last_error();
    return nullptr;
  }
  std::unique_ptr<firmware_file> file(new firmware_file(descriptor));
  auto state = look_at(descriptor, error);
  if (!state) {
    return nullptr;
  }
  if (!is_where_it_was(descriptor, path)) {
    error = std::make_error_code(std::errc::no_such_file_or_directory);
    return nullptr;
  }
  file->opened = std::move(*state);
  return file;
}

firmware_file::~firmware_file() {
  ::close(descriptor);
}

std::error_code firmware_file::read(std::uint64_t offset, std::span<char> buffer) const {
  while (!buffer.empty()) {
    auto const count = ::pread(descriptor, buffer.data(), buffer.size(), static_cast<off_t>(offset));
    if (count < 0 && errno != EINTR) {
      return last_error();
    }
    if (count == 0) {
      return std::make_error_code(std::errc::text_file_busy);
    }
    auto const taken = count < 0 ? std::size_t{0} : static_cast<std::size_t>(count);
    offset += taken;
    buffer = buffer.subspan(taken);
  }
  std::error_code error;
  auto const state = look_at(descriptor, error);
  if (state && state->tag != opened.tag) {
    error = std::make_error_code(std::errc::text_file_busy);
  }
  return error;
}

}  // namespace tavi::site::firmware
