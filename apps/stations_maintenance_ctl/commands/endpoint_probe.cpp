#include "commands/endpoint_probe.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "mura_common/ipc.h"
#include "text/plain_text.h"

namespace tavi::ctl {

int probe_endpoint(std::filesystem::path const& socket) {
  sockaddr_un address{};
  if (socket.native().size() >= sizeof address.sun_path) {
    return ENAMETOOLONG;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket.c_str(), socket.native().size());
  int const descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) {
    return errno;
  }
  auto const result = ::connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
  auto const error = result == 0 ? 0 : errno;
  ::close(descriptor);
  // So many others are waiting for it that there is no room: somebody listens.
  return error == EAGAIN ? 0 : error;
}

bool is_reachable(command_context& context, std::string const& service, char const* extension,
                  char const* advice) {
  auto const socket = mura_common::runtime_directory() / (service + extension);
  auto const name = escape_text(socket.string());
  switch (auto const error = probe_endpoint(socket)) {
    case 0:
      return true;
    case ENOENT:
    case ECONNREFUSED:
      context.console.complain(service + " does not run: nobody listens at " + name + ". " + advice +
                               ", or name the folder of its socket with --runtime-dir");
      return false;
    case EACCES:
      context.console.complain(service + " cannot be reached: this user may not use " + name +
                               ". Run as root or as a member of the group that the folder belongs to");
      return false;
    default:
      context.console.complain(service + " cannot be reached at " + name + ": " +
                               std::generic_category().message(error));
      return false;
  }
}

}  // namespace tavi::ctl
