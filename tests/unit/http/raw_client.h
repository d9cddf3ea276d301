#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// How a connection ended from the peer's point of view.
enum class connection_end { open, closed, reset };

/// A blocking client that writes bytes as they are given and reads what comes back; nothing of HTTP is done
/// for it.
class raw_client {
 public:
  /// Connects to the loopback address at once unless `port` is 0.
  explicit raw_client(std::uint16_t port = 0) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    timeval const limit{30, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    if (port != 0) {
      connect(port);
    }
  }
  ~raw_client() { close(); }
  raw_client(raw_client const&) = delete;
  raw_client& operator=(raw_client const&) = delete;

  /// Connects a client that was made without a port.
  void connect(std::uint16_t port) const {
    sockaddr_in site{};
    site.sin_family = AF_INET;
    site.sin_port = htons(port);
    site.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket, reinterpret_cast<sockaddr const*>(&site), sizeof(site)) != 0) {
      throw std::runtime_error("cannot connect to the site");
    }
  }

  /// Writes everything. @return false when the peer has closed
  bool send(std::string_view bytes) const {
    while (!bytes.empty()) {
      auto const sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

  /// Waits for some bytes of the peer. @return false at the end of the connection, see `end`
  bool receive() {
    std::array<char, 65536> chunk;
    auto const count = ::recv(socket, chunk.data(), chunk.size(), 0);
    if (count > 0) {
      received.append(chunk.data(), static_cast<std::size_t>(count));
      return true;
    }
    if (count == 0) {
      end = connection_end::closed;
    } else if (errno == ECONNRESET) {
      end = connection_end::reset;
    }
    return false;
  }

  /// Waits a bounded time for bytes of the peer, or its end, without reading them. @return whether they came
  [[nodiscard]] bool has_bytes_within(std::chrono::milliseconds time) const {
    pollfd watched{socket, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(time.count())) > 0;
  }

  /// Reads until `part` has come. @return whether it has
  bool receive_until(std::string_view part) {
    while (received.find(part) == std::string::npos) {
      if (!receive()) {
        return false;
      }
    }
    return true;
  }

  /// Reads one whole answer and takes it off what was received. @return the answer; cut when the peer closed
  std::string read_answer() {
    receive_until("\r\n\r\n");
    auto const header = received.find("\r\n\r\n");
    if (header == std::string::npos) {
      return std::exchange(received, {});
    }
    constexpr std::string_view field = "Content-Length: ";
    auto const at = received.find(field);
    auto const body =
        at < header ? std::strtoul(received.c_str() + at + field.size(), nullptr, 10) : std::size_t{0};
    auto const size = header + 4 + body;
    while (received.size() < size && receive()) {
    }
    auto answer = received.substr(0, size);
    received.erase(0, size);
    return answer;
  }

  /// Reads until the peer closes. @return everything that came and was not taken yet
  std::string read_to_end() {
    while (receive()) {
    }
    return std::exchange(received, {});
  }

  /// Says that nothing more will be sent.
  void finish_sending() const { ::shutdown(socket, SHUT_WR); }

  /// Closes without a word.
  void close() {
    if (socket >= 0) {
      ::close(socket);
      socket = -1;
    }
  }

  std::string received;                       ///< bytes that no `read_answer` has taken yet
  connection_end end = connection_end::open;  ///< as `receive` has seen it last

 private:
  int socket;
};

/// The code of an answer; 0 when it has none.
inline int status_of(std::string const& answer) {
  constexpr std::string_view start = "HTTP/1.1 ";
  return answer.starts_with(start) ? std::atoi(answer.c_str() + start.size()) : 0;
}
