#include "station_fleet.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace tavi::simulator {
namespace {

constexpr std::size_t longest_serial = 25;  // characters, as OCPP has it
constexpr std::size_t most_digits = 9;

}  // namespace

station_fleet::station_fleet(boost::asio::io_context& loop, station_options const& model,
                             std::vector<std::string> const& names) {
  for (auto const& name : names) {
    auto options = model;
    options.identity = name;
    options.serial = name.substr(0, longest_serial);
    options.work_folder = model.work_folder / name;
    stations.push_back(std::make_unique<simulated_station>(loop, std::move(options)));
  }
}

bool station_fleet::start() {
  auto const is_started = [](auto const& station) { return station->start(); };
  if (std::all_of(stations.begin(), stations.end(), is_started)) {
    return true;
  }
  stop();
  return false;
}

void station_fleet::stop() {
  for (auto const& station : stations) {
    station->stop();
  }
}

std::vector<std::string> count_identities(std::string const& first, unsigned int count) {
  if (count == 1) {
    return {first};
  }
  auto const last_other = first.find_last_not_of("0123456789");
  auto const begin = last_other == std::string::npos ? 0 : last_other + 1;
  auto const digits = first.substr(begin);
  if (digits.empty() || digits.size() > most_digits) {
    return {};
  }
  std::vector<std::string> names;
  std::uint64_t const number = std::stoul(digits);
  for (std::uint64_t offset = 0; offset < count; ++offset) {
    names.push_back(fmt::format("{}{:0{}}", first.substr(0, begin), number + offset, digits.size()));
  }
  return names;
}

}  // namespace tavi::simulator
