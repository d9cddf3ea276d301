#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {

/// Where the reports lie on disk, and the only truth about their sizes.
///
/// `<working dir>/<storage directory>/station_<id>/periodic_reports/` and `.../manual_reports/`; a report's
/// file there is `<diagnostic id>_<uploaded name>`. Holds texts only: nothing is looked at before it is asked
/// for. While no storage directory is set, no directory is made or removed: the paths would begin in the
/// current directory, which holds whatever it holds.
class report_tree {
 public:
  /// @param working         an absolute `storage` stands for itself, whatever this is
  /// @param storage         directory of the reports, as it was configured
  /// @param station_prefix  what the name of a station's directory has before the station's number
  report_tree(std::string working, std::string storage, std::string station_prefix);

  /// Directory of the reports, as it was configured.
  [[nodiscard]] std::string const& get_storage_directory() const { return storage_directory; }
  /// The directory of a station.
  [[nodiscard]] std::string get_station_directory(unsigned int station_id) const;
  /// The directory of a station's reports of one type, with "/" at its end; the station's own for any other
  /// value.
  [[nodiscard]] std::string get_type_directory(unsigned int station_id, diagnostic_report_type type) const;
  /// The file of a report. @param index  its `diagnostic_id`; empty for a name without a number before it
  [[nodiscard]] std::string get_report_file(unsigned int station_id, diagnostic_report_type type,
                                            std::optional<int> index, std::string const& file_name) const;

  /// Makes the storage directory, unless it exists. A relative one is looked for in the current directory,
  /// but made below the working directory. @return false, with a line in the log, when it could not be made
  [[nodiscard]] bool make_root() const;
  /// Makes the directories of a station, unless its own exists already. @return whether all of them were made
  bool make_station_directories(unsigned int station_id) const;
  /// Removes the directory of a station with all that is in it, as far as possible.
  void remove_station_directory(unsigned int station_id) const;

  /// Bytes of all regular files, a link counting by what it points to; a tree that cannot be opened is empty.
  /// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end
  [[nodiscard]] std::uint64_t total_size() const;
  /// Everything that is no directory, in the order of the walk. What cannot be looked at counts as a file; a
  /// tree that cannot be opened is empty.
  /// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end
  [[nodiscard]] std::vector<std::string> files() const;

 private:
  [[nodiscard]] bool is_known(unsigned int station_id) const;

  std::string working_dir;
  std::string storage_directory;
  std::string station_dir_prefix;
};

}  // namespace tavi::stations_maintenance
