#pragma once

#include <string_view>

#include "terminal/console.h"
#include "terminal/shared_output.h"

namespace tavi::ctl {

/// The console of the process: standard input, output and error.
///
/// Tables are laid out for people when the standard output is a terminal, coloured unless the environment has
/// NO_COLOR or a TERM of "dumb". What is longer than the screen is shown in a pager there.
class terminal_console : public i_console {
 public:
  /// @param output     held while a text is being written; must outlive this object
  /// @param may_page   whether a pager may be used
  terminal_console(shared_output& output, bool may_page);
  ~terminal_console() override;
  terminal_console(terminal_console const&) = delete;
  terminal_console& operator=(terminal_console const&) = delete;

  bool write(std::string_view text) override;
  [[nodiscard]] bool has_reader() const override;
  void complain(std::string_view line) override;
  void show_progress(std::string_view line) override;
  [[nodiscard]] std::size_t progress_columns() const override;
  [[nodiscard]] table_style style() const override { return layout; }
  [[nodiscard]] bool can_ask() const override;
  [[nodiscard]] bool ask(std::string_view question) override;

 private:
  void hide_progress();
  [[nodiscard]] bool is_to_be_paged(std::string_view text) const;
  [[nodiscard]] bool page(std::string_view text);

  shared_output& shared;
  table_style layout;
  bool has_pager = false;     ///< whether standard output is a terminal on which a pager is wanted
  bool has_progress = false;  ///< whether standard error is a terminal on which a line can be replaced
};

}  // namespace tavi::ctl
