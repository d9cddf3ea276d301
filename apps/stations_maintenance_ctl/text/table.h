#pragma once

#include <string>
#include <vector>

namespace tavi::ctl {

/// One column of a table.
struct table_column {
  std::string title;              ///< above the column on a terminal
  bool is_right_aligned = false;  ///< for numbers and sizes
};

/// One cell in the two forms in which it is shown.
struct table_cell {
  std::string readable;  ///< on a terminal
  std::string exact;     ///< for programs

  /// The same text in both forms.
  table_cell(std::string text) : readable(text), exact(std::move(text)) {}
  /// A rounded form and the exact one.
  table_cell(std::string rounded, std::string precise)
      : readable(std::move(rounded)), exact(std::move(precise)) {}
};

/// How a table is laid out.
struct table_style {
  bool is_aligned = false;   ///< titles and aligned readable cells; otherwise exact cells, tabs between
  bool is_coloured = false;  ///< titles stand out; only with `is_aligned`
};

/// Records in rows, for people or for programs.
///
/// Each cell is made harmless to terminals; an empty one becomes "-", so that every line has every field.
class table {
 public:
  /// @param shown  from left to right, at least one
  explicit table(std::vector<table_column> shown) : columns(std::move(shown)) {}

  /// Adds one row. @param cells  one for each column
  void add(std::vector<table_cell> cells) { rows.push_back(std::move(cells)); }

  /// All rows, a line each. Without rows there are no titles either.
  [[nodiscard]] std::string text(table_style const& style) const;

 private:
  std::vector<table_column> columns;
  std::vector<std::vector<table_cell>> rows;
};

/// Names and values below each other: aligned for people, a tab between for programs.
[[nodiscard]] std::string lay_out_record(std::vector<std::pair<std::string, table_cell>> const& fields,
                                         table_style const& style);

}  // namespace tavi::ctl
