#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "firmware/firmware_server.h"
#include "ocpp/firmware_source.h"

namespace tavi::site {

/// Offers the files of a firmware server under the address by which stations reach it.
class firmware_offers : public ocpp::firmware_source {
 public:
  /// Only stores its argument. @param delivering  outlives the offers
  explicit firmware_offers(firmware::firmware_server& delivering) : server(delivering) {}

  /// Sets the address that every later location begins with; before the event loop runs.
  /// @param host  host:port, see `make_advertised_address`
  void set_address(std::string host) { address = std::move(host); }

  std::optional<std::filesystem::path> find_file(std::string const& path) override {
    return server.find_file(path);
  }

  std::optional<ocpp::firmware_offer> make_offer(unsigned int station_id,
                                                 std::filesystem::path const& file) override {
    auto const made = server.make_location(station_id, file);
    if (!made.has_value()) {
      return std::nullopt;
    }
    return ocpp::firmware_offer{"http://" + address + made->target, made->token};
  }

  void withdraw(std::string const& token) override { server.withdraw(token); }

 private:
  firmware::firmware_server& server;
  std::string address;
};

}  // namespace tavi::site
