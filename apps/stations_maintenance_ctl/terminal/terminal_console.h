#pragma once

#include <mutex>
#include <string_view>

#include "terminal/console.h"

namespace tavi::ctl {

/// The console of the process: standard input, output and error.
///
/// Tables are laid out for people when the standard output is a terminal, coloured unless the environment has
/// NO_COLOR or a TERM of "dumb".
class terminal_console : public i_console {
 public:
  /// @param output  held while a text is being written; must outlive this object
  explicit terminal_console(std::mutex& output);
  ~terminal_console() override;
  terminal_console(terminal_console const&) = delete;
  terminal_console& operator=(terminal_console const&) = delete;

  bool write(std::string_view text) override;
  [[nodiscard]] bool has_reader() const override;
  void complain(std::string_view line) override;
  void show_progress(std::string_view line) override;
  [[nodiscard]] table_style style() const override { return layout; }
  [[nodiscard]] bool can_ask() const override;
  [[nodiscard]] bool ask(std::string_view question) override;

 private:
  std::mutex& writing;
  table_style layout;
  bool has_progress = false;         ///< whether standard error is a terminal on which a line can be replaced
  bool is_showing_progress = false;  ///< whether there is a line to be replaced
};

}  // namespace tavi::ctl
