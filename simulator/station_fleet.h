#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>

#include "simulated_station.h"

namespace tavi::simulator {

/// Several simulated stations on one event loop, alike but for identity, serial number and work folder.
class station_fleet {
 public:
  /// @param loop   outlives the fleet; a single thread runs it
  /// @param model  every station's settings; its work folder gets one folder for each station
  /// @param names  the stations' identities
  station_fleet(boost::asio::io_context& loop, station_options const& model,
                std::vector<std::string> const& names);

  /// Starts every station. @return false when one of them refuses to start; the others are stopped then
  [[nodiscard]] bool start();

  /// Stops every station; see `simulated_station::stop`.
  void stop();

 private:
  std::vector<std::unique_ptr<simulated_station>> stations;
};

/// `count` identities, counted on from the number at the end of the first, its leading zeros kept: "CS-009"
/// is followed by "CS-010".
///
/// Pure. @return the first alone when `count` is 1; nothing when there is no number, of at most 9 digits, to
/// count on from
[[nodiscard]] std::vector<std::string> count_identities(std::string const& first, unsigned int count);

}  // namespace tavi::simulator
