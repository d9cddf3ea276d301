#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

/// A blocking OCPP-J client on the loopback address; every wait ends after half a minute.
///
/// It answers pings only while it receives, so that one which does nothing is a station that is gone without
/// a word.
class test_station {
 public:
  test_station();
  ~test_station();
  test_station(test_station&&) noexcept;
  test_station& operator=(test_station&&) noexcept;

  /// Asks for a WebSocket.
  /// @return the status of the answer, 101 when the station is connected, 0 when there was none
  unsigned int connect(std::uint16_t port, std::string const& target,
                       std::string const& protocol = "ocpp1.6");
  /// Sends a text message. @return whether it left
  bool send(std::string const& text);
  /// Sends a binary message. @return whether it left
  bool send_binary(std::string const& bytes);
  /// The next message. @return empty when the connection ended, see `close_code`
  std::optional<std::string> receive();
  /// Sends a call and receives its answer. @return the answer, null when none came
  nlohmann::json call(std::string const& action, nlohmann::json const& payload);
  /// The code with which the site has closed the connection.
  [[nodiscard]] unsigned int close_code() const;
  /// The sub-protocol that the site has chosen.
  [[nodiscard]] std::string protocol() const;
  /// Closes as the protocol wants it.
  void close();
  /// Closes without a word of the protocol.
  void cut();

 private:
  struct members;
  std::unique_ptr<members> own;
};
