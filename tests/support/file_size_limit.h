#pragma once

#include <signal.h>
#include <sys/resource.h>

/// The size that files of the process may have, put back afterwards.
class file_size_limit {
 public:
  explicit file_size_limit(rlim_t bytes) : handler(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before);
    auto changed = before;
    changed.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &changed);
  }
  ~file_size_limit() {
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, handler);
  }
  file_size_limit(file_size_limit const&) = delete;
  file_size_limit& operator=(file_size_limit const&) = delete;

 private:
  rlimit before{};
  sighandler_t handler;
};
