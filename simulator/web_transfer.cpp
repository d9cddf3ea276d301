#include "web_transfer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "transfer_engine.h"

namespace tavi::simulator {

namespace asio = boost::asio;
using steady_clock = std::chrono::steady_clock;

namespace {

struct closing {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

using field_list = std::unique_ptr<curl_slist, closing>;

field_list make_fields(std::vector<std::string> const& fields) {
  field_list list;
  for (auto const& field : fields) {
    auto* const longer = curl_slist_append(list.get(), field.c_str());
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

}  // namespace

struct web_transfer::members {
  members(asio::any_io_executor const& loop, station_pace const& limits)
      : pace(limits), engine(transfer_engine::find(loop)), alarm(loop), handle(curl_easy_init()) {}

  void set_up(std::string const& url, web_request const& wanted, curl_slist* fields);
  void on_progress() { deadline = steady_clock::now() + pace.transfer_time; }
  static std::size_t take_head(char const* line, std::size_t, std::size_t size, void* context);
  static std::size_t take_body(char const* piece, std::size_t, std::size_t size, void* context);
  static std::size_t give_body(char* space, std::size_t, std::size_t size, void* context);

  station_pace pace;
  transfer_engine& engine;
  asio::steady_timer alarm;
  std::unique_ptr<CURL, closing> handle;
  web_request const* request = nullptr;
  steady_clock::time_point deadline;
  std::optional<CURLcode> end;
  bool has_head = false;
  bool is_cancelled = false;
};

void web_transfer::members::set_up(std::string const& url, web_request const& wanted, curl_slist* fields) {
  auto* const curl = handle.get();
  curl_easy_reset(curl);
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "charging_station_simulator");
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(pace.connect_time.count()));
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, fields);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, take_head);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, take_body);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
  if (wanted.upload_bytes) {
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(*wanted.upload_bytes));
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, give_body);
    curl_easy_setopt(curl, CURLOPT_READDATA, this);
  }
}

std::size_t web_transfer::members::take_head(char const* line, std::size_t, std::size_t size, void* context) {
  auto& self = *static_cast<members*>(context);
  self.on_progress();
  bool const is_last = std::string_view(line, size).find_first_not_of("\r\n") == std::string_view::npos;
  long status = 0;
  curl_easy_getinfo(self.handle.get(), CURLINFO_RESPONSE_CODE, &status);
  // Not after the header of an answer that goes before the answer, nor again after what follows the body.
  if (!is_last || status < 200 || std::exchange(self.has_head, true) || !self.request->on_head) {
    return size;
  }
  return self.request->on_head() ? size : 0;
}

std::size_t web_transfer::members::take_body(char const* piece, std::size_t, std::size_t size,
                                             void* context) {
  auto& self = *static_cast<members*>(context);
  self.on_progress();
  return !self.request->on_body || self.request->on_body({piece, size}) ? size : 0;
}

std::size_t web_transfer::members::give_body(char* space, std::size_t, std::size_t size, void* context) {
  auto& self = *static_cast<members*>(context);
  self.on_progress();
  return self.request->on_sending(space, size).value_or(CURL_READFUNC_ABORT);
}

web_transfer::web_transfer(asio::any_io_executor const& loop, station_pace const& limits)
    : own(std::make_unique<members>(loop, limits)) {
}

web_transfer::~web_transfer() {
  own->engine.stop(own->handle.get());
}

asio::awaitable<std::string> web_transfer::run(web_location server, web_request const& request) {
  auto* const curl = own->handle.get();
  auto const fields = make_fields(request.fields);
  own->request = &request;
  own->has_head = false;
  own->end.reset();
  own->set_up("http://" + host_field(server) + server.path, request, fields.get());
  own->on_progress();
  own->deadline += own->pace.connect_time;
  if (own->is_cancelled) {
    co_return std::string("the station was stopped");
  }
  own->engine.start(curl, [this](CURLcode result) {
    own->end = result;
    own->alarm.cancel();
  });
  while (!own->end) {
    boost::system::error_code ignored;
    own->alarm.expires_at(own->deadline);
    co_await own->alarm.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    if (!own->end && steady_clock::now() >= own->deadline) {
      own->engine.stop(curl);
      own->end = CURLE_OPERATION_TIMEDOUT;
    }
  }
  if (own->is_cancelled) {
    co_return std::string("the station was stopped");
  }
  if (*own->end == CURLE_OK && own->has_head) {
    co_return std::string();
  }
  // The library is content with a header that is cut short.
  auto const failure = *own->end == CURLE_OK ? CURLE_GOT_NOTHING : *own->end;
  curl_off_t connected = 0;
  curl_easy_getinfo(curl, CURLINFO_CONNECT_TIME_T, &connected);
  auto const what =
      connected > 0 ? "the transfer broke off: " : "cannot connect to " + host_field(server) + ": ";
  co_return what + curl_easy_strerror(failure);
}

void web_transfer::cancel() {
  own->is_cancelled = true;
  own->engine.stop(own->handle.get());
  own->end = CURLE_ABORTED_BY_CALLBACK;
  own->alarm.cancel();
}

bool web_transfer::is_cancelled() const {
  return own->is_cancelled;
}

unsigned int web_transfer::status() const {
  long status = 0;
  curl_easy_getinfo(own->handle.get(), CURLINFO_RESPONSE_CODE, &status);
  return own->has_head ? static_cast<unsigned int>(status) : 0;
}

std::string web_transfer::field(char const* name) const {
  curl_header* found = nullptr;
  auto const error = curl_easy_header(own->handle.get(), name, 0, CURLH_HEADER, -1, &found);
  return error == CURLHE_OK ? found->value : std::string();
}

}  // namespace tavi::simulator
