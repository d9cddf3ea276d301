#include "web_connection.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace tavi::simulator {

namespace asio = boost::asio;
using boost::system::error_code;

web_connection::web_connection(asio::any_io_executor loop, station_pace const& limits)
    : pace(limits), resolver(loop), tcp(loop) {
}

asio::awaitable<error_code> web_connection::open(web_location const& server) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  auto const addresses = co_await resolver.async_resolve(server.host, server.port, token);
  if (!error && !cancelled) {
    tcp.expires_after(pace.connect_time);
    co_await tcp.async_connect(addresses, token);
  }
  if (!error && cancelled) {
    error = asio::error::operation_aborted;
  }
  co_return error;
}

void web_connection::cancel() {
  cancelled = true;
  resolver.cancel();
  tcp.close();
}

}  // namespace tavi::simulator
