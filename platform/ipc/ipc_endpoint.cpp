#include "ipc/ipc_endpoint.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "mura_common/ipc.h"

namespace mura_common {

std::filesystem::path runtime_directory() {
  char const* const given = std::getenv("TAVI_RUNTIME_DIR");
  return given != nullptr && *given != '\0' ? given : "/run/tavi";
}

namespace ipc {

namespace {

constexpr mode_t folder_mode = 0750;
constexpr mode_t socket_mode = 0660;
constexpr int waiting_connections = 128;

std::string reason_of(char const* step, std::filesystem::path const& path, int error) {
  return fmt::format("{} {}: {}", step, path.string(), std::generic_category().message(error));
}

std::string make_folder(std::filesystem::path const& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) {
    return {};
  }
  std::filesystem::create_directories(folder.parent_path(), error);
  if (mkdir(folder.c_str(), folder_mode) == 0) {
    // The process's mask must not keep the group out.
    return chmod(folder.c_str(), folder_mode) == 0 ? "" : reason_of("cannot set the mode of", folder, errno);
  }
  return errno == EEXIST ? "" : reason_of("cannot make the folder", folder, errno);
}

}  // namespace

std::filesystem::path request_socket_of(std::string const& service) {
  return runtime_directory() / (service + ".req");
}

std::filesystem::path event_socket_of(std::string const& service) {
  return runtime_directory() / (service + ".pub");
}

std::string address_of(std::filesystem::path const& socket) {
  return "ipc://" + socket.string();
}

bool is_usable_path(std::filesystem::path const& socket, char const* user) {
  auto const length = socket.native().size();
  if (length <= socket_path_limit) {
    return true;
  }
  spdlog::error("[{}] the path {} has {} bytes, a socket's may have at most {}", user, socket.string(),
                length, socket_path_limit);
  return false;
}

std::unique_ptr<endpoint> endpoint::claim(std::filesystem::path const& socket, char const* user) {
  if (!is_usable_path(socket, user)) {
    return nullptr;
  }
  std::unique_ptr<endpoint> made(new endpoint(socket));
  auto problem = make_folder(socket.parent_path());
  if (problem.empty()) {
    problem = made->lock();
  }
  if (problem.empty()) {
    problem = made->listen();
  }
  if (!problem.empty()) {
    spdlog::error("[{}] {}", user, problem);
    return nullptr;
  }
  return made;
}

endpoint::~endpoint() {
  if (bound) {
    unlink(socket_file.c_str());
  }
  if (listening >= 0) {
    close(listening);
  }
  if (locked >= 0) {
    close(locked);
  }
}

std::string endpoint::lock() {
  auto const file = std::filesystem::path(socket_file).concat(".lock");
  locked = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, socket_mode);
  if (locked < 0) {
    return reason_of("cannot open the lock", file, errno);
  }
  if (flock(locked, LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? fmt::format("{} is held by another server already", socket_file.string())
                                : reason_of("cannot lock", file, errno);
  }
  return {};
}

std::string endpoint::listen() {
  listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listening < 0) {
    return reason_of("cannot make a socket for", socket_file, errno);
  }
  if (unlink(socket_file.c_str()) != 0 && errno != ENOENT) {
    return reason_of("cannot remove the old socket", socket_file, errno);
  }
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket_file.c_str(), socket_file.native().size());
  if (::bind(listening, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
    return reason_of("cannot bind", socket_file, errno);
  }
  bound = true;
  // Nobody can connect before the call of listen, so nobody gets in under another mode.
  if (chmod(socket_file.c_str(), socket_mode) != 0) {
    return reason_of("cannot set the mode of", socket_file, errno);
  }
  if (::listen(listening, waiting_connections) != 0) {
    return reason_of("cannot listen at", socket_file, errno);
  }
  return {};
}

}  // namespace ipc
}  // namespace mura_common
