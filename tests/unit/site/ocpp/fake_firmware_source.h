#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ocpp/firmware_source.h"

/// Has one file, "/store/1_x7.bin", and makes locations out of numbers.
class fake_firmware_source : public tavi::site::ocpp::firmware_source {
 public:
  std::optional<std::filesystem::path> find_file(std::string const& path) override {
    return path == "/store/1_x7.bin" ? std::optional<std::filesystem::path>(path) : std::nullopt;
  }

  std::optional<tavi::site::ocpp::firmware_offer> make_offer(unsigned int station,
                                                             std::filesystem::path const& file) override {
    std::lock_guard const lock(guard);
    if (is_out_of_tokens) {
      return std::nullopt;
    }
    offered.push_back(std::to_string(station) + " " + file.string());
    auto const token = "t" + std::to_string(offered.size());
    return tavi::site::ocpp::firmware_offer{"http://site/firmware/" + token + "/1_x7.bin", token};
  }

  void withdraw(std::string const& token) override {
    std::lock_guard const lock(guard);
    taken_back.push_back(token);
  }

  /// Station and file of every offer, in order.
  [[nodiscard]] std::vector<std::string> offers() const {
    std::lock_guard const lock(guard);
    return offered;
  }

  /// Tokens of the offers that were withdrawn.
  [[nodiscard]] std::vector<std::string> withdrawn() const {
    std::lock_guard const lock(guard);
    return taken_back;
  }

  bool is_out_of_tokens = false;  ///< set before the site starts

 private:
  mutable std::mutex guard;
  std::vector<std::string> offered;
  std::vector<std::string> taken_back;
};
