#include "uploads/multipart_parser.h"

#include <algorithm>

#include "uploads/header_parameters.h"

namespace tavi::site::uploads {
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
    // Once for all the parts of a chunk, because what follows is moved each time.
    pending.erase(0, begin);
    begin = 0;
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
  auto const text = rest();
  auto const found = text.find(delimiter);
  auto const is_found = found != std::string::npos;
  // What could be the beginning of a boundary waits for the next piece.
  auto const certain = is_found ? found : text.size() - std::min(text.size(), delimiter.size() - 1);
  if (!is_found && certain < dropped) {
    return false;
  }
  if (file != nullptr && certain > dropped) {
    file->append(text.substr(dropped, certain - dropped));
  }
  dropped = 0;
  begin += is_found ? certain + delimiter.size() : certain;
  if (is_found) {
    position = place::after_boundary;
  }
  return is_found;
}

bool multipart_parser::read_boundary_end() {
  auto const text = rest();
  if (text.starts_with("--")) {
    position = place::epilogue;
    current = state::complete;
    begin = pending.size();
    return false;
  }
  if (text.empty() || text == "-") {
    return false;
  }
  auto const end = text.find_first_not_of(" \t");
  if (end == std::string::npos) {
    return text.size() > padding_limit ? fail() : false;
  }
  if (text.substr(end) == "\r") {
    return false;
  }
  if (!text.substr(end).starts_with(line_end)) {
    return fail();
  }
  // The line end stays: it is also the one before an empty header's blank line.
  begin += end;
  position = place::header;
  is_file_part = false;
  return true;
}

bool multipart_parser::read_header() {
  auto const text = rest();
  auto const end = text.find("\r\n\r\n");
  if (std::min(end, text.size()) > header_limit) {
    return fail();
  }
  if (end == std::string::npos) {
    return false;
  }
  auto fields = text.substr(0, end);
  while (!fields.empty()) {
    fields.remove_prefix(line_end.size());
    auto const line = fields.substr(0, fields.find(line_end));
    read_field(line);
    fields.remove_prefix(line.size());
  }
  // The last line end stays, and is no content: a boundary that follows at once belongs to an empty part.
  begin += end + line_end.size();
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
  begin = pending.size();
  return false;
}

}  // namespace tavi::site::uploads
