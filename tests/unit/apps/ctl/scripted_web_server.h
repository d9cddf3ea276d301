#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

/// One connection of a web server, on which the test says what is read and written.
class scripted_connection {
 public:
  explicit scripted_connection(int accepted) : socket(accepted) {}
  ~scripted_connection() { ::close(socket); }
  scripted_connection(scripted_connection const&) = delete;
  scripted_connection& operator=(scripted_connection const&) = delete;

  /// Reads the header of a request. @return it with the empty line at its end
  std::string read_header() {
    while (received.find("\r\n\r\n") == std::string::npos && read_more()) {
    }
    return take(received.find("\r\n\r\n") + 4);
  }
  /// Reads so many bytes of a body. @return fewer when the connection ended before
  std::string read_body(std::size_t size) {
    while (received.size() < size && read_more()) {
    }
    return take(std::min(size, received.size()));
  }
  /// Reads until the other side has ended the connection.
  void read_to_end() {
    while (read_more()) {
    }
  }
  void write(std::string const& text) const { ::send(socket, text.data(), text.size(), MSG_NOSIGNAL); }
  /// Answers, and says that the connection ends.
  void answer(std::string const& status, std::string const& body = "") const {
    write("HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) +
          "\r\n\r\n" + body);
  }

 private:
  bool read_more() {
    std::array<char, 65536> chunk{};
    auto const count = ::recv(socket, chunk.data(), chunk.size(), 0);
    if (count > 0) {
      received.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
  }
  std::string take(std::size_t size) {
    auto taken = received.substr(0, size);
    received.erase(0, taken.size());
    return taken;
  }

  int socket;
  std::string received;
};

/// A web server on a port of loopback that takes one connection and does with it what the test says.
class scripted_web_server {
 public:
  explicit scripted_web_server(std::function<void(scripted_connection&)> script) {
    listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener, plain, size) != 0 || ::listen(listener, 1) != 0 ||
        ::getsockname(listener, plain, &size) != 0) {
      throw std::runtime_error("no port");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this, script = std::move(script)] {
      if (auto const accepted = ::accept(listener, nullptr, nullptr); accepted >= 0) {
        scripted_connection connection(accepted);
        script(connection);
      }
    });
  }
  ~scripted_web_server() {
    ::shutdown(listener, SHUT_RDWR);
    thread.join();
    ::close(listener);
  }
  scripted_web_server(scripted_web_server const&) = delete;
  scripted_web_server& operator=(scripted_web_server const&) = delete;

  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port); }

 private:
  int listener = -1;
  std::uint16_t port = 0;
  std::thread thread;
};
