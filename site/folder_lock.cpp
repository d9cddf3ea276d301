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
  // A file and not the folder itself, which is locked for a moment by everyone who replaces a file in it.
  descriptor = ::open((folder / "site.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
  if (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  auto const reason =
      errno == EWOULDBLOCK ? std::string("another site uses it") : std::generic_category().message(errno);
  spdlog::error("[site] state folder {} cannot be used: {}", folder.string(), reason);
  return false;
}

}  // namespace tavi::site
