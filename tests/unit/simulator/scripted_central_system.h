#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket.hpp>
#include <nlohmann/json.hpp>

/// What the server does with one upload.
enum class upload_rule {
  accept,  ///< reads it whole and answers 201
  refuse,  ///< answers 404 without reading the body
  busy,    ///< answers 503 without reading the body
  cut,     ///< reads the header and resets the connection
  hold,    ///< reads the header, the body once `release_uploads` is called, then answers 201
};

/// An upload that was read whole.
struct received_upload {
  std::string target;
  std::string content_length;
  std::string body;
};

/// One WebSocket of a station, as the server saw it.
struct station_link {
  explicit station_link(boost::beast::tcp_stream stream) : socket(std::move(stream)) {}
  boost::beast::websocket::stream<boost::beast::tcp_stream> socket;
  std::deque<std::pair<std::string, bool>> outbox;  ///< with whether it is text
  bool is_writing = false;
};

/// A central system and upload server on a loopback port, on the test's event loop. Every event that a test
/// may want to look at stands in `trace`, in the order in which it happened.
class scripted_central_system {
 public:
  explicit scripted_central_system(boost::asio::io_context& event_loop, std::uint16_t port = 0);
  ~scripted_central_system();
  scripted_central_system(scripted_central_system const&) = delete;
  scripted_central_system& operator=(scripted_central_system const&) = delete;

  [[nodiscard]] std::uint16_t port() const { return own_port; }
  [[nodiscard]] std::string station_url() const;
  [[nodiscard]] std::string upload_url() const;

  /// Sends any text to the station that connected last.
  void send(std::string text);
  /// Sends a binary frame instead.
  void send_binary(std::string text);
  /// Sends a GetDiagnostics call. @param more  further fields of the payload
  void ask_for_diagnostics(std::string const& id, std::string const& location,
                           nlohmann::json const& more = nlohmann::json::object());
  /// Cuts the last connection without a goodbye.
  void cut();
  /// Lets held uploads go on.
  void release_uploads();
  /// Whether the trace holds an entry that begins so, and how often.
  [[nodiscard]] std::size_t count(std::string const& beginning) const;
  /// The payload of answer or refusal frame `id` from the station; null when there is none yet.
  [[nodiscard]] nlohmann::json answer(std::string const& id) const;

  // The script: may be changed at any time.
  std::deque<nlohmann::json> boot_answers;  ///< used up one by one; then Accepted with 300 s
  std::deque<upload_rule> upload_rules;     ///< used up one by one; then `accept`
  std::string sub_protocol = "ocpp1.6";     ///< chosen in the handshake
  std::string drop_at;        ///< action at which the connection is cut instead of answered, once
  std::string silent_at;      ///< action that is not answered, once
  bool stop_reading = false;  ///< reads one more frame and then nothing from any station
  bool is_refusing = false;   ///< answers handshakes with 401

  // What happened.
  std::vector<std::string> trace;
  std::vector<nlohmann::json> frames;
  std::vector<received_upload> uploads;
  std::string last_target;
  std::string offered_sub_protocol;

 private:
  using parser_type = boost::beast::http::request_parser<boost::beast::http::string_body>;

  static boost::asio::awaitable<void> accept(scripted_central_system* self,
                                             std::shared_ptr<boost::asio::ip::tcp::acceptor> listener);
  static boost::asio::awaitable<void> serve(scripted_central_system* self,
                                            boost::asio::ip::tcp::socket socket);
  static boost::asio::awaitable<void> serve_station(
      scripted_central_system* self, boost::beast::tcp_stream stream,
      boost::beast::http::request<boost::beast::http::string_body> r);
  static boost::asio::awaitable<void> serve_upload(scripted_central_system* self,
                                                   boost::beast::tcp_stream& stream,
                                                   boost::beast::flat_buffer& buffer, parser_type& parser);
  static boost::asio::awaitable<void> answer_status(boost::beast::tcp_stream& stream, unsigned int status);
  static boost::asio::awaitable<void> write(std::shared_ptr<station_link> link);
  void on_frame(std::shared_ptr<station_link> const& link, std::string const& text);
  void queue(std::shared_ptr<station_link> const& link, std::string text, bool is_text = true);
  [[nodiscard]] nlohmann::json make_result(std::string const& action);

  boost::asio::io_context& loop;
  std::shared_ptr<boost::asio::ip::tcp::acceptor> acceptor;  ///< outlives the server in its coroutine
  std::uint16_t own_port = 0;
  std::shared_ptr<station_link> link_now;
  boost::asio::steady_timer released;
};
