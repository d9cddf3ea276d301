#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

/// What happens to a connection once an answer was sent.
enum class after_answer {
  close,  ///< it is closed in order
  reset,  ///< it is reset
  hold,   ///< it stays open until `release` is called, and is closed then
};

/// An answer, byte for byte.
struct scripted_answer {
  std::string bytes;
  after_answer then = after_answer::close;
};

/// An HTTP server on a loopback port, on the test's event loop, that says what the test has written down.
class scripted_firmware_server {
 public:
  explicit scripted_firmware_server(boost::asio::io_context& event_loop);
  ~scripted_firmware_server();
  scripted_firmware_server(scripted_firmware_server const&) = delete;
  scripted_firmware_server& operator=(scripted_firmware_server const&) = delete;

  /// The location of a file. @param rest  of the path, behind "/firmware/"
  [[nodiscard]] std::string url(std::string const& rest = "token/7_x7_2.6.0.bin") const;
  /// Lets held connections end.
  void release();

  /// A whole answer. @param fields  further ones, each with its line end
  static std::string answer(std::string const& status, std::string const& body,
                            std::string const& fields = "");

  std::deque<scripted_answer> answers;  ///< used up one by one; then 404
  std::vector<std::string> requests;    ///< heads, as they came

 private:
  static boost::asio::awaitable<void> accept(scripted_firmware_server* self,
                                             std::shared_ptr<boost::asio::ip::tcp::acceptor> listener);
  static boost::asio::awaitable<void> serve(scripted_firmware_server* self,
                                            boost::asio::ip::tcp::socket socket);

  boost::asio::io_context& loop;
  std::shared_ptr<boost::asio::ip::tcp::acceptor> acceptor;  ///< outlives the server in its coroutine
  boost::asio::steady_timer released;
};
