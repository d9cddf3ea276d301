#include "firmware/firmware_server.h"

#include <chrono>

#include "firmware/delivery_session.h"
#include "firmware/firmware_folders.h"
#include "request_text.h"

namespace tavi::site::firmware {

using std::chrono::steady_clock;

struct firmware_server::members {
  explicit members(firmware_options const& options)
      : folders(options.folders), services(std::make_shared<firmware_services>(options)) {}

  std::vector<std::filesystem::path> const folders;
  std::shared_ptr<firmware_services> services;
};

firmware_server::firmware_server(firmware_options const& options) : own(std::make_unique<members>(options)) {
}

firmware_server::~firmware_server() {
  own->services->is_closing = true;
  // What waits for the disk comes back to the loop, or is given up together with it.
  own->services->disk.join();
}

void firmware_server::add_to(http::http_listener& listener) {
  listener.add_route("/firmware/", [services = own->services](http::http_exchange& exchange) {
    return deliver_firmware(exchange, services);
  });
}

std::optional<std::filesystem::path> firmware_server::find_file(std::string const& path) const {
  return find_deliverable(own->folders, path);
}

std::optional<firmware_location> firmware_server::make_location(unsigned int station,
                                                                std::filesystem::path const& file) {
  auto const token = own->services->tokens.make({station, file}, steady_clock::now());
  if (!token) {
    return std::nullopt;
  }
  return firmware_location{*token,
                           "/firmware/" + *token + "/" + http::percent_encode(file.filename().string())};
}

void firmware_server::withdraw(std::string const& token) {
  own->services->tokens.withdraw(token, steady_clock::now());
}

}  // namespace tavi::site::firmware
