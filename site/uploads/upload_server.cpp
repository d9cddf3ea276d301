#include "uploads/upload_server.h"

#include <chrono>
#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <spdlog/spdlog.h>

#include "request_text.h"
#include "uploads/upload_session.h"

namespace tavi::site::uploads {

namespace asio = boost::asio;
using std::chrono::steady_clock;

struct upload_server::members : std::enable_shared_from_this<upload_server::members> {
  members(asio::io_context& loop, upload_options const& options, announcement tell)
      : services(std::make_shared<upload_services>(options)),
        schedule(options.intervals),
        timer(loop),
        announce(std::move(tell)) {}

  void follow(finished_upload const& upload);
  void announce_due();
  void wait_for_next();

  std::shared_ptr<upload_services> services;
  announcer schedule;
  asio::steady_timer timer;
  announcement announce;
};

void upload_server::members::follow(finished_upload const& upload) {
  schedule.add(upload, steady_clock::now());
  announce_due();
}

void upload_server::members::announce_due() {
  auto const due = schedule.take_due(steady_clock::now(), &spool::is_there);
  for (auto const& upload : due.to_announce) {
    announce(upload);
  }
  for (auto const& upload : due.taken) {
    services->files.remove(upload.id);
  }
  for (auto const& upload : due.expired) {
    spdlog::warn("[upload_server] removes a file of {} bytes, token {}: {} has not taken it in time",
                 upload.bytes, http::shorten_token(upload.token), http::escape_for_log(upload.owner));
    services->files.remove(upload.id);
  }
  wait_for_next();
}

void upload_server::members::wait_for_next() {
  auto const next = schedule.next_due();
  if (!next) {
    timer.cancel();
    return;
  }
  timer.expires_at(*next);
  timer.async_wait([weak = weak_from_this()](boost::system::error_code error) {
    auto const self = weak.lock();
    if (!error && self) {
      self->announce_due();
    }
  });
}

upload_server::upload_server(asio::io_context& loop, upload_options const& options, announcement announce)
    : own(std::make_shared<members>(loop, options, std::move(announce))) {
  own->services->on_finished = [weak = std::weak_ptr(own)](finished_upload const& upload) {
    if (auto const self = weak.lock()) {
      self->follow(upload);
    }
  };
}

upload_server::~upload_server() {
  own->timer.cancel();
  own->services->is_closing = true;
  // What waits for the disk comes back to the loop, or is given up together with it.
  own->services->disk.join();
}

bool upload_server::start() {
  clock_reading const now;
  auto const left = own->services->files.open(now);
  if (!left) {
    return false;
  }
  for (auto const& upload : *left) {
    spdlog::info("[upload_server] a file of {} bytes, token {}, still waits for {}", upload.bytes,
                 http::shorten_token(upload.token), http::escape_for_log(upload.owner));
    own->services->tokens.restore_spent(upload.token, now.steady);
    own->schedule.add(upload, now.steady);
  }
  own->wait_for_next();
  return true;
}

void upload_server::add_to(http::http_listener& listener) {
  listener.add_route("/upload/", [services = own->services](http::http_exchange& exchange) {
    return receive_upload(exchange, services);
  });
}

std::optional<std::string> upload_server::make_token(std::string const& owner) {
  return own->services->tokens.make(owner, steady_clock::now());
}

}  // namespace tavi::site::uploads
