#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "text/table.h"

namespace tavi::ctl {

/// Where a command writes to and whom it may ask.
class i_console {
 public:
  virtual ~i_console() = default;

  /// Writes a whole text to the standard output, which is never cut in its middle by an interruption.
  /// @return whether it could be written; when false the reason was told, unless the reader has just gone
  virtual bool write(std::string_view text) = 0;
  /// Whether what is written may still be read: false once the reader of a pipe has gone.
  [[nodiscard]] virtual bool has_reader() const = 0;
  /// Writes one line to the standard error, after the program's name. @param line  harmless to a terminal
  virtual void complain(std::string_view line) = 0;
  /// Shows how far something has come, on a line of its own that the next call writes over; an empty text
  /// takes it away. Nothing is shown where nobody would see it move. May be called from any thread.
  /// @param line  one column a character; what the terminal has no columns for is cut off
  virtual void show_progress(std::string_view line) = 0;
  /// Columns that such a line may have now; 0 where nothing is shown.
  [[nodiscard]] virtual std::size_t progress_columns() const = 0;
  /// How records are laid out on the standard output.
  [[nodiscard]] virtual table_style style() const = 0;
  /// Whether somebody sits there who can be asked.
  [[nodiscard]] virtual bool can_ask() const = 0;
  /// Asks and waits for the answer. Only when `can_ask`. @return whether it was yes
  [[nodiscard]] virtual bool ask(std::string_view question) = 0;
};

}  // namespace tavi::ctl
