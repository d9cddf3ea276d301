#include "uploads/multipart_parser.h"

#include <algorithm>

#include "uploads/header_parameters.h"

namespace tavi::site {
namespace {

constexpr std::size_t header_limit = 8 * 1024;
// Blanks that may follow a boundary on its line.
constexpr std::size_t padding_limit = 256;
constexpr std::string_view line_end = "\r\n";

bool is_same_field(std::string_view name, std::string_view lower_name) {
  return std::equal(
      name.begin(), name.end(), lower_name.begin(), lower_name.end(), [](char left, char right) {
        return (left >= 'A' && left <= 'Z' ? static_cast<char>(left - 'A' + 'a') : left) == right;
      });
}

}  // namespace

// A boundary begins with the end of the line before it; the first one has no such line.
multipart_parser::multipart_parser(std::string_view boundary)
    : delimiter("\r\n--" + std::string(boundary)), pending(line_end) {
}

multipart_parser::state multipart_parser::feed(std::string_view chunk, std::string& file) {
  if (current == state::reading) {
    pending += chunk;
    while (current == state::reading && step(file)) {
    }
  }
  return current;
}

/// Whether there may be more to do with what is pending.
bool multipart_parser::step(std::string& file) {
  switch (position) {
    case place::between:
      return skip_or_copy(nullptr);
    case place::file:
      return skip_or_copy(&file);
    case place::after_boundary:
      return read_boundary_end();
    case place::header:
      return read_header();
    case place::epilogue:
      break;
  }
  return false;
}

bool multipart_parser::skip_or_copy(std::string* file) {
  auto const found = pending.find(delimiter);
  auto const is_found = found != std::string::npos;
  // What could be the beginning of a boundary waits for the next piece.
  auto const certain = is_found ? found : pending.size() - std::min(pending.size(), delimiter.size() - 1);
  if (!is_found && certain < dropped) {
    return false;
  }
  if (file != nullptr && certain > dropped) {
    file->append(pending, dropped, certain - dropped);
  }
  dropped = 0;
  pending.erase(0, is_found ? certain + delimiter.size() : certain);
  if (is_found) {
    position = place::after_boundary;
  }
  return is_found;
}

bool multipart_parser::read_boundary_end() {
  if (pending.starts_with("--")) {
    position = place::epilogue;
    current = state::complete;
    pending.clear();
    return false;
  }
  if (pending.empty() || pending == "-") {
    return false;
  }
  auto const end = pending.find_first_not_of(" \t");
  if (end == std::string::npos) {
    return pending.size() > padding_limit ? fail() : false;
  }
  if (pending.compare(end, std::string::npos, "\r") == 0) {
    return false;
  }
  if (pending.compare(end, line_end.size(), line_end) != 0) {
    return fail();
  }
  // The line end stays: it is also the one before an empty header's blank line.
  pending.erase(0, end);
  position = place::header;
  is_file_part = false;
  return true;
}

bool multipart_parser::read_header() {
  auto const end = pending.find("\r\n\r\n");
  if (std::min(end, pending.size()) > header_limit) {
    return fail();
  }
  if (end == std::string::npos) {
    return false;
  }
  std::string_view rest(pending.data(), end);
  while (!rest.empty()) {
    rest.remove_prefix(line_end.size());
    auto const line = rest.substr(0, rest.find(line_end));
    read_field(line);
    rest.remove_prefix(line.size());
  }
  // The last line end stays, and is no content: a boundary that follows at once belongs to an empty part.
  pending.erase(0, end + line_end.size());
  dropped = line_end.size();
  position = is_file_part ? place::file : place::between;
  return true;
}

void multipart_parser::read_field(std::string_view line) {
  auto const colon = line.find(':');
  if (is_file_found || !is_same_field(line.substr(0, colon), "content-disposition")) {
    return;
  }
  auto const given = find_file_name(parse_header_value(line.substr(std::min(colon, line.size() - 1) + 1)));
  if (given) {
    is_file_found = true;
    is_file_part = true;
    name = *given;
  }
}

bool multipart_parser::fail() {
  current = state::broken;
  pending.clear();
  return false;
}

}  // namespace tavi::site
