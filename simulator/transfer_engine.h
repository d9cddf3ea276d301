#pragma once

#include <functional>
#include <map>
#include <memory>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <curl/curl.h>

namespace tavi::simulator {

/// Runs the transfers of an event loop in libcurl: tells the library when its sockets are ready and its times
/// are over, so that none of them needs a thread. One for each loop; used on the loop's thread.
class transfer_engine : public boost::asio::execution_context::service {
 public:
  using key_type = transfer_engine;              ///< for Asio
  static boost::asio::execution_context::id id;  ///< for Asio

  /// The engine of a loop, made at the first call. @param loop  of an io_context
  static transfer_engine& find(boost::asio::any_io_executor const& loop);

  /// @param context  an io_context; use `find` instead
  explicit transfer_engine(boost::asio::execution_context& context);
  ~transfer_engine() override;

  /// Starts a transfer. @param transfer  made ready; stays the caller's, who stops it before its end
  /// @param on_end  called with how it ended, never from within `start` or `stop`
  void start(CURL* transfer, std::function<void(CURLcode)> on_end);

  /// Ends a transfer without telling; nothing happens when it does not run.
  void stop(CURL* transfer);

 private:
  struct watch;

  static int on_socket(CURL*, curl_socket_t socket, int wanted, void* engine, void*);
  static int on_time(CURLM*, long milliseconds, void* engine);
  void shutdown() override;
  void follow(curl_socket_t socket, std::shared_ptr<watch> const& followed, bool is_writing);
  void act(curl_socket_t socket);

  boost::asio::io_context& loop;
  boost::asio::steady_timer alarm;
  CURLM* library;
  std::map<curl_socket_t, std::shared_ptr<watch>> watched;
  std::map<CURL*, std::function<void(CURLcode)>> running;
};

}  // namespace tavi::simulator
