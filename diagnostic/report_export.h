#pragma once

#include <string>
#include <vector>

namespace tavi::stations_maintenance {

/// Packs files of reports into a zip archive, fifty with each call of the archiver.
struct report_export {
  std::string zip_command;  ///< the archiver
  std::string zsh_command;  ///< the shell that runs it
  std::string working_dir;  ///< where names inside the archive and a relative destination begin

  /// An archive that exists gains the files. Waits for the archiver.
  /// @return whether at least one call of the archiver succeeded: the archive may then still lack the files
  /// of another call; false too, with a line in the log, without a path
  [[nodiscard]] bool write(std::vector<std::string> const& paths, std::string const& destination) const;
};

}  // namespace tavi::stations_maintenance
