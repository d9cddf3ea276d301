#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ocpp/stations_file.h"
#include "tavi/stations/charging_station.h"

namespace tavi::site::ocpp {

/// Knows the site's stations: who has which number, what each told about itself, who is connected.
///
/// Numbers and models are kept in a file that is replaced durably. A number is kept before it is given, and
/// never given to a second identity; models are kept with the next `save_changes`, so that many stations that
/// boot at once do not cost a write each. Whether a station is connected and its diagnostics status live in
/// memory only: after a restart no station is connected and none is taken to be uploading. Not synchronised:
/// belongs to the site's event loop.
class station_registry {
 public:
  /// Only stores its arguments.
  /// @param path   the file; its folder must exist when it is loaded
  /// @param limit  how many stations the site may have
  station_registry(std::filesystem::path path, std::size_t limit);

  /// Reads the file; a missing one means a site without stations.
  /// @return false, with one line in the log, when it cannot be read or understood; it is left untouched
  [[nodiscard]] bool load();

  /// The number of a station. @return empty when no station has this identity
  [[nodiscard]] std::optional<unsigned int> find(std::string const& identity) const;

  /// Whether the site may have a further station.
  [[nodiscard]] bool has_room() const;

  /// Makes a new station known, durably.
  /// @param identity  see `is_identity`; not known yet
  /// @return its number; empty, with one line in the log, when the site has all the stations it may have or
  ///         the file cannot be written: nothing has changed then
  [[nodiscard]] std::optional<unsigned int> add(std::string const& identity);

  /// One station. @return empty when there is none with this number
  [[nodiscard]] std::optional<tavi::stations::charging_station> get(unsigned int id) const;

  /// All stations, ascending by number.
  [[nodiscard]] std::vector<tavi::stations::charging_station> get_all() const;

  /// Notes what a station calls itself; in force at once, and kept with the next `save_changes`.
  /// @param id  a known station
  void set_model(unsigned int id, std::string const& vendor, std::string const& model);

  /// Whether something was noted that the file does not hold yet.
  [[nodiscard]] bool has_changes() const;

  /// Writes what the file does not hold yet, durably; nothing when there is none.
  /// @return false, with one line in the log, when the file cannot be written; the changes stay in force and
  ///         wait for the next time
  bool save_changes();

  /// Notes a diagnostics status. @param id  a known station @return whether it is another one than before
  bool set_diagnostics_status(unsigned int id, tavi::stations::station_diagnostics_status status);

  /// Notes whether a station is online. @param id  a known station
  void set_connected(unsigned int id, bool is_connected);

  /// A transaction number that was never given before, restarts included.
  /// @return empty, with one line in the log, when the file cannot be written or no number is left
  [[nodiscard]] std::optional<std::int32_t> make_transaction_id();

 private:
  [[nodiscard]] bool save(unsigned int next_station, std::int32_t next_transaction);

  std::filesystem::path path;
  std::size_t limit;
  std::map<unsigned int, tavi::stations::charging_station> stations;
  std::map<std::string, unsigned int> numbers;
  unsigned int next_station = 1;
  std::int32_t next_transaction = 1;
  std::int32_t reserved_transaction = 1;
  bool is_changed = false;
};

}  // namespace tavi::site::ocpp
