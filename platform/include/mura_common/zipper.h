#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "mura_common/export.h"

namespace mura_common {

/// Packs files into a zip archive with an archiver that the operator names.
///
/// Built for one archive: constructed with the commands, given the files, then told to pack. Each packing
/// runs the archiver once, through the shell, and waits for it until the time limit. The files' names reach
/// it as arguments that no shell reads and no pattern is made of, so that any name a file can have is packed
/// as it is, and nothing in a name is ever run. The bytes of a name are stored as they are, and zip does not
/// mark them as UTF-8: a program that unpacks elsewhere may show other letters for those beyond ASCII.
/// Options for zip in the environment variables ZIP and ZIPOPT have no effect.
///
/// The archive is made in a folder of its own beside the destination (".export-" and six characters) and only
/// then given its name: what stands at the destination is the old archive or the new one, whole. A crash
/// leaves at most that folder behind. Different objects may be used by different threads; those that write
/// one archive take turns.
///
/// Packing into an archive that exists costs what packing the new files costs, and one copy of that archive,
/// made by the kernel and flushed to disk; where the file system shares blocks between files the copy is
/// free. Files whose older contents are replaced make the archiver write the whole archive anew.
class MURA_COMMON_EXPORT zipper {
 public:
  /// @param zip_command    the archiver as the shell is to read it, with options or without ("zip -9"); it
  ///                       must understand zip's own "-nw", "-g", "--" and exit codes
  /// @param shell_command  a POSIX shell or zsh, looked for in PATH; taken whole, so without options
  /// @param time_limit     how long one run of the archiver may take, at least 0; then it is killed, with all
  ///                       that it has started
  zipper(std::string zip_command, std::string shell_command,
         std::chrono::milliseconds time_limit = std::chrono::minutes(10));

  /// Adds a file to those to be packed; one that was added before is packed once. Nothing is looked up yet.
  /// @param path  absolute, or relative to the working folder. In the archive a file below the working folder
  ///              is named by its path from there, any other by its absolute path without the leading "/". No
  ///              name in an archive holds "..": a path with it is replaced by the plain one of the same
  ///              file.
  void add_file(std::string const& path);

  /// Packs the files that were added. An archive that exists gains them, or has their older contents
  /// replaced. A file that does not exist, or cannot be looked at, is left out with a warning.
  /// @param workdir      the working folder: the archiver runs in it
  /// @param destination  the archive, named as it is, ".zip" or not; a relative path begins at `workdir`. Its
  ///                     folder must exist. A symbolic link stays: the file behind it is replaced.
  /// @return true when the archiver succeeded and the archive is in place and flushed to disk. False, with a
  ///         line in the log that has the archiver's own text, when there is no file to pack or none exists,
  ///         one cannot be read, the shell or the archiver cannot be run, fails or takes too long, or
  ///         `destination` is something else than an archive; what stood there then stands there unchanged.
  ///         Only when the very last step, flushing its folder, fails, the new archive is in place despite
  ///         the answer.
  [[nodiscard]] bool zip_from_folder_cd_workdir(std::string const& workdir, std::string const& destination);

 private:
  std::string archiver;
  std::string shell;
  std::chrono::milliseconds limit;
  std::vector<std::string> files;
};

}  // namespace mura_common
