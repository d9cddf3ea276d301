#include "commands/report_contents.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include "commands/program_output.h"
#include "mura_common/text.h"
#include "text/plain_text.h"
#include "text/quantity_text.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t beginning_size = 4096;
constexpr std::size_t most_lines = 10;
/// More than anybody reads, and less than a hostile archive could fill the memory with.
constexpr std::size_t most_listing = 16 * 1024 * 1024;

std::string read_beginning(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(beginning_size, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

/// The whole lines of a text; its last one, which may have been cut, only when it is the only one.
std::vector<std::string> lines_of(std::string const& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; lines.size() < most_lines && std::getline(stream, line);) {
    if (!stream.eof() || lines.empty() || text.size() < beginning_size) {
      lines.push_back(line);
    }
  }
  return lines;
}

/// Whether this is the beginning of a text; a character that is cut at the end does not count.
bool is_text(std::string const& beginning) {
  std::size_t const longest_rest = beginning.size() == beginning_size ? 3 : 0;
  for (std::size_t rest = 0; rest <= longest_rest; ++rest) {
    if (mura_common::is_utf8(std::string_view(beginning).substr(0, beginning.size() - rest))) {
      return beginning.find('\0') == std::string::npos;
    }
  }
  return false;
}

/// What stands before the next blank, which is taken away with all blanks behind it.
std::string take_field(std::string& line) {
  auto const end = std::min(line.find(' '), line.size());
  auto field = line.substr(0, end);
  line.erase(0, std::min(line.find_first_not_of(' ', end), line.size()));
  return field;
}

}  // namespace

std::vector<archived_file> parse_tar_listing(std::string const& listing) {
  std::istringstream lines(listing);
  std::vector<archived_file> files;
  for (std::string line; std::getline(lines, line);) {
    take_field(line);
    take_field(line);
    auto const size = parse_number(take_field(line), std::numeric_limits<std::uint64_t>::max());
    take_field(line);
    take_field(line);
    if (size && !line.empty()) {
      files.push_back({line, *size});
    }
  }
  return files;
}

report_contents look_into(std::filesystem::path const& report) {
  auto const beginning = read_beginning(report);
  if (beginning.starts_with("PK")) {
    if (auto files = list_archived_files(report)) {
      return {std::move(files), std::nullopt};
    }
  }
  if (is_text(beginning)) {
    return {std::nullopt, lines_of(beginning)};
  }
  // It finds out by itself how the archive is compressed.
  auto const listing = output_of({"tar", "-tvf", std::filesystem::absolute(report).string()}, most_listing);
  return {listing ? std::optional(parse_tar_listing(*listing)) : std::nullopt, std::nullopt};
}

}  // namespace tavi::ctl
