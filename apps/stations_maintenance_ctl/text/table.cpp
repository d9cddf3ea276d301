#include "text/table.h"

#include <algorithm>
#include <cstddef>

#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

constexpr char const* const gap = "  ";

std::string shown_text(std::string const& text) {
  return text.empty() ? "-" : escape_text(text);
}

std::vector<std::string> readable_texts(std::vector<table_cell> const& cells) {
  std::vector<std::string> texts;
  std::transform(cells.begin(), cells.end(), std::back_inserter(texts),
                 [](table_cell const& cell) { return shown_text(cell.readable); });
  return texts;
}

std::string exact_line(std::vector<table_cell> const& cells) {
  std::string line;
  for (auto const& cell : cells) {
    line += (line.empty() ? "" : "\t") + shown_text(cell.exact);
  }
  return line + '\n';
}

/// Blanks at the end of a line would only be copied along.
std::string padded_line(std::vector<std::string> const& texts, std::vector<table_column> const& columns,
                        std::vector<std::size_t> const& widths) {
  std::string line;
  for (std::size_t at = 0; at < texts.size(); ++at) {
    std::string const padding(widths[at] - width_of(texts[at]), ' ');
    line += at == 0 ? "" : gap;
    if (columns[at].is_right_aligned) {
      line += padding + texts[at];
    } else {
      line += texts[at] + (at + 1 < texts.size() ? padding : "");
    }
  }
  return line;
}

}  // namespace

std::string table::text(table_style const& style) const {
  std::string result;
  if (!style.is_aligned || rows.empty()) {
    for (auto const& row : rows) {
      result += exact_line(row);
    }
    return result;
  }
  std::vector<std::vector<std::string>> lines(1);
  for (auto const& column : columns) {
    lines.front().push_back(column.title);
  }
  for (auto const& row : rows) {
    lines.push_back(readable_texts(row));
  }
  std::vector<std::size_t> widths(columns.size());
  for (auto const& line : lines) {
    for (std::size_t at = 0; at < widths.size(); ++at) {
      widths[at] = std::max(widths[at], width_of(line[at]));
    }
  }
  for (auto const& line : lines) {
    auto const padded = padded_line(line, columns, widths);
    auto const is_title = &line == &lines.front();
    result += is_title && style.is_coloured ? "\x1b[1m" + padded + "\x1b[0m\n" : padded + '\n';
  }
  return result;
}

std::string lay_out_record(std::vector<std::pair<std::string, table_cell>> const& fields,
                           table_style const& style) {
  std::string result;
  std::size_t widest = 0;
  for (auto const& [name, value] : fields) {
    widest = std::max(widest, width_of(name));
  }
  for (auto const& [name, value] : fields) {
    if (style.is_aligned) {
      auto const title = style.is_coloured ? "\x1b[1m" + name + "\x1b[0m" : name;
      result += title + std::string(widest - width_of(name), ' ') + gap + shown_text(value.readable) + '\n';
    } else {
      result += name + '\t' + shown_text(value.exact) + '\n';
    }
  }
  return result;
}

}  // namespace tavi::ctl
