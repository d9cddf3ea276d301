#include "flush_hook.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

namespace {

thread_local std::function<void(std::filesystem::path const&)> installed;

}  // namespace

flush_hook::flush_hook(std::function<void(std::filesystem::path const&)> function) {
  installed = std::move(function);
}

flush_hook::~flush_hook() {
  installed = nullptr;
}

// This stands before the C library's in every library of the program.

extern "C" [[gnu::visibility("default")]] int fsync(int file) {
  if (installed) {
    std::error_code ignored;
    installed(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored));
  }
  return static_cast<int>(syscall(SYS_fsync, file));
}
