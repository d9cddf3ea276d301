#include "file_mode_hook.h"

#include <errno.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace {

struct installed_hook {
  file_mode_hook::call which;
  std::function<int()> function;
  bool has_run = false;
};

thread_local std::unique_ptr<installed_hook> installed;

/// @return the error that the call shall fail with, 0 when it is to be made
int error_instead_of(file_mode_hook::call which) {
  if (installed == nullptr || installed->which != which || installed->has_run) {
    return 0;
  }
  installed->has_run = true;
  return installed->function();
}

}  // namespace

file_mode_hook::file_mode_hook(call which, std::function<int()> function) {
  installed = std::make_unique<installed_hook>(installed_hook{which, std::move(function)});
}

file_mode_hook::~file_mode_hook() {
  installed = nullptr;
}

bool file_mode_hook::has_run() const {
  return installed->has_run;
}

// These stand before the C library's in every library of the program.

extern "C" [[gnu::visibility("default")]] int fchmodat(int folder, char const* name, mode_t mode,
                                                       int /*flags*/) noexcept {
  if (int const error = error_instead_of(file_mode_hook::call::by_name); error != 0) {
    errno = error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fchmodat, folder, name, mode));
}

extern "C" [[gnu::visibility("default")]] int fchmod(int file, mode_t mode) noexcept {
  if (int const error = error_instead_of(file_mode_hook::call::of_open_file); error != 0) {
    errno = error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fchmod, file, mode));
}
