#include "folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include <spdlog/spdlog.h>

namespace tavi::site {

folder_lock::~folder_lock() {
  if (descriptor >= 0) {
    ::close(descriptor);
  }
}

bool folder_lock::take(std::filesystem::path const& folder) {
  descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  auto const reason =
      errno == EWOULDBLOCK ? std::string("another site uses it") : std::generic_category().message(errno);
  spdlog::error("[site] state folder {} cannot be used: {}", folder.string(), reason);
  return false;
}

}  // namespace tavi::site
