#include "report_export.h"

#include <algorithm>
#include <cstddef>

#include <spdlog/spdlog.h>

#include "mura_common/zipper.h"

namespace tavi::stations_maintenance {

namespace {

/// Most files that the archiver is given at once.
constexpr std::size_t batch_size = 50;

}  // namespace

bool report_export::write(std::vector<std::string> const& paths, std::string const& destination) const {
  if (paths.empty()) {
    spdlog::warn("[diagnostic_manager] No diagnostic report to export");
  }
  auto result = false;
  for (std::size_t first = 0; first < paths.size(); first += batch_size) {
    auto const end = std::min(first + batch_size, paths.size());
    mura_common::zipper zipper(zip_command, zsh_command);
    for (auto index = first; index < end; ++index) {
      zipper.add_file(paths[index]);
    }
    // One batch in the archive is an export, whatever became of the others.
    result = zipper.zip_from_folder_cd_workdir(working_dir, destination) || result;
  }
  return result;
}

}  // namespace tavi::stations_maintenance
