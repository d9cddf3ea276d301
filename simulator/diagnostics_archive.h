#pragma once

#include <filesystem>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

namespace tavi::simulator {

/// What a station puts into its diagnostics.
struct diagnostics_material {
  std::filesystem::path journal;  ///< copied as station.log
  std::string configuration;      ///< becomes configuration.json
  std::string status;             ///< becomes status.json
};

/// A gzipped tar archive with a station's diagnostics, and the folder that it was made in.
///
/// Both lie in a folder named "diagnostics" within the work folder, which is emptied before and removed by
/// `discard` and by the destructor.
class diagnostics_archive {
 public:
  /// @param loop         waits for tar
  /// @param work_folder  of the station
  /// @param file_name    of the archive, without folder
  diagnostics_archive(boost::asio::any_io_executor loop, std::filesystem::path const& work_folder,
                      std::string const& file_name);
  ~diagnostics_archive();
  diagnostics_archive(diagnostics_archive const&) = delete;
  diagnostics_archive& operator=(diagnostics_archive const&) = delete;

  /// Makes the archive, which may take a minute. @return empty when it is there; otherwise why not, for the log
  [[nodiscard]] boost::asio::awaitable<std::string> make(diagnostics_material material);

  /// Removes the archive and everything it was made of; not while `make` runs.
  void discard();

  /// Where the archive lies once it is made.
  [[nodiscard]] std::filesystem::path const& path() const { return archive; }

 private:
  [[nodiscard]] std::string gather(diagnostics_material const& material) const;

  std::filesystem::path folder;
  std::filesystem::path content;
  std::filesystem::path archive;
  boost::asio::any_io_executor executor;
};

}  // namespace tavi::simulator
