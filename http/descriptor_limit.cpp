#include "descriptor_limit.h"

#include <errno.h>
#include <sys/resource.h>

#include <system_error>

#include <spdlog/spdlog.h>

namespace tavi::http {

bool raise_descriptor_limit() {
  rlimit limit{};
  auto is_raised = ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
  if (is_raised && limit.rlim_cur != limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    is_raised = ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
  }
  if (!is_raised) {
    spdlog::warn("[descriptor_limit] cannot be raised to {}: {}", limit.rlim_max,
                 std::generic_category().message(errno));
  }
  return is_raised;
}

}  // namespace tavi::http
