#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

/// An OCPP 1.6 service whose stations are a list in memory; connected ones take every request. Regular files
/// are delivered from wherever they lie.
class fake_ocpp_1_6_service : public tavi::ocpp1_6::i_req_resp_ocpp_1_6_service_handler {
 public:
  using station = tavi::stations::charging_station;

  /// While set, every operation throws.
  std::atomic<bool> is_failing = false;

  void add(station added) {
    std::lock_guard const lock(guard);
    stations.push_back(std::move(added));
  }

  std::optional<station> on_get_charging_station(unsigned int const& station_id) override {
    std::lock_guard const lock(guard);
    fail_if_told();
    auto const found = find(station_id);
    return found == stations.end() ? std::nullopt : std::optional<station>(*found);
  }

  std::vector<station> on_get_charging_stations() override {
    std::lock_guard const lock(guard);
    fail_if_told();
    return stations;
  }

  int on_request_diagnostics_upload(unsigned int const& station_id, std::string const& /*location*/,
                                    unsigned int& request) override {
    std::lock_guard const lock(guard);
    fail_if_told();
    auto const found = find(station_id);
    if (found == stations.end()) {
      return 1;
    }
    if (!found->connected) {
      return 2;
    }
    request = ++last_request;
    return 0;
  }

  int on_request_firmware_update(unsigned int const& station_id, std::string const& path,
                                 unsigned int& request) override {
    std::error_code ignored;
    auto const is_file = std::filesystem::is_regular_file(path, ignored);
    unsigned int number = 0;
    auto const answer = on_request_diagnostics_upload(station_id, path, number);
    if (answer == 0 && !is_file) {
      return 3;
    }
    request = answer == 0 ? number : request;
    return answer;
  }

 private:
  [[nodiscard]] std::vector<station>::const_iterator find(unsigned int id) const {
    return std::find_if(stations.begin(), stations.end(),
                        [&](station const& known) { return known.id == id; });
  }
  void fail_if_told() const {
    if (is_failing) {
      throw std::runtime_error("told to fail");
    }
  }

  std::mutex guard;
  std::vector<station> stations;
  unsigned int last_request = 0;
};
