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

namespace {

/// Connects to a socket without saying anything. @param descriptor  receives the connection, to be closed;
/// -1 when there is none
/// @return as `probe_endpoint`
int connect_to(std::filesystem::path const& socket, int& descriptor) {
  descriptor = -1;
  sockaddr_un address{};
  if (socket.native().size() >= sizeof address.sun_path) {
    return ENAMETOOLONG;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket.c_str(), socket.native().size());
  descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) {
    return errno;
  }
  auto const result = ::connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
  return result == 0 ? 0 : errno;
}

void close_connection(int descriptor) {
  if (descriptor >= 0) {
    ::close(descriptor);
  }
}

}  // namespace

int probe_endpoint(std::filesystem::path const& socket) {
  int connection = -1;
  auto const error = connect_to(socket, connection);
  close_connection(connection);
  // So many others are waiting for it that there is no room: somebody listens.
  return error == EAGAIN ? 0 : error;
}

std::optional<std::filesystem::path> find_folder_of_listener(std::filesystem::path const& socket) {
  int connection = -1;
  ucred listener{};
  socklen_t size = sizeof listener;
  auto const is_known = connect_to(socket, connection) == 0 &&
                        ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &listener, &size) == 0;
  close_connection(connection);
  std::error_code error;
  auto folder = is_known ? std::filesystem::read_symlink(
                               std::filesystem::path("/proc") / std::to_string(listener.pid) / "cwd", error)
                         : std::filesystem::path();
  return error || folder.empty() ? std::nullopt : std::optional(std::move(folder));
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
