#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "commands/zip_archive.h"

namespace tavi::ctl {

/// What can be told of a report's content; both are empty when it is neither an archive nor text.
struct report_contents {
  std::optional<std::vector<archived_file>> files;      ///< when it is a zip or tar archive
  std::optional<std::vector<std::string>> first_lines;  ///< when it is text: ten at most
};

/// Looks into a stored report without unpacking anything.
/// @param report  a file that can be read; what it holds decides, not its name
[[nodiscard]] report_contents look_into(std::filesystem::path const& report);

/// The files that the lines of "tar -tv" name: rights, owner, size, date, time, name; other lines are left
/// out.
[[nodiscard]] std::vector<archived_file> parse_tar_listing(std::string const& listing);

}  // namespace tavi::ctl
