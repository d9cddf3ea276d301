#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace mura_common::ipc {

/// Bytes that the path of a local socket may have (sun_path without its final zero).
inline constexpr std::size_t socket_path_limit = 107;

/// The socket at which a service answers requests.
[[nodiscard]] std::filesystem::path request_socket_of(std::string const& service);
/// The socket at which a service publishes its events.
[[nodiscard]] std::filesystem::path event_socket_of(std::string const& service);
/// The path as ZeroMQ takes it.
[[nodiscard]] std::string address_of(std::filesystem::path const& socket);

/// Whether the path is short enough for a socket. @param user  who asks, begins the error line when it is not
[[nodiscard]] bool is_usable_path(std::filesystem::path const& socket, char const* user);

/// A listening local socket that one process at a time can hold.
///
/// A lock file beside the socket decides who holds it; the kernel frees the lock when a process dies, so the
/// socket file of a killed one is no hindrance. The lock file itself stays, because removing it would let two
/// processes lock two files of the same name.
class endpoint {
 public:
  /// Locks, then binds with mode 0660 and listens; makes the folder (0750) when it is missing.
  /// @param user  begins the one error line that is logged on failure
  /// @return empty when another process or object holds the endpoint, or the system refuses it
  [[nodiscard]] static std::unique_ptr<endpoint> claim(std::filesystem::path const& socket, char const* user);

  /// Removes the socket file, then frees the lock; in this order, so that no successor's file is removed.
  ~endpoint();
  endpoint(endpoint const&) = delete;
  endpoint& operator=(endpoint const&) = delete;

  /// The listening descriptor, still owned by this object until `hand_over`.
  [[nodiscard]] int listener() const { return listening; }
  /// From now on somebody else closes the descriptor.
  void hand_over() { listening = -1; }

 private:
  explicit endpoint(std::filesystem::path file) : socket_file(std::move(file)) {}
  [[nodiscard]] std::string lock();
  [[nodiscard]] std::string listen();

  std::filesystem::path socket_file;
  int locked = -1;
  int listening = -1;
  bool bound = false;
};

}  // namespace mura_common::ipc
