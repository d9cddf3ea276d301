#include "files/file_access.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mura_common/file.h"

namespace mura_common {

std::error_code last_system_error() {
  return {errno, std::generic_category()};
}

file_descriptor open_folder(std::filesystem::path const& folder, std::error_code& error) {
  char const* const name = folder.empty() ? "." : folder.c_str();
  file_descriptor opened(::open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.is_open()) {
    error = last_system_error();
  }
  return opened;
}

bool flush(file_descriptor const& file, std::error_code& error) {
  int result = 0;
  do {
    result = ::fsync(file.get());
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    error = last_system_error();
  }
  return result == 0;
}

bool write_all(int file, std::string_view content, std::error_code& error) {
  while (!content.empty()) {
    auto const written = ::write(file, content.data(), content.size());
    if (written >= 0) {
      content.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      error = last_system_error();
      return false;
    }
  }
  return true;
}

bool is_regular(mode_t mode, std::error_code& error) {
  if (!S_ISREG(mode)) {
    error = std::make_error_code(S_ISDIR(mode) ? std::errc::is_a_directory : std::errc::invalid_argument);
  }
  return S_ISREG(mode);
}

}  // namespace mura_common
