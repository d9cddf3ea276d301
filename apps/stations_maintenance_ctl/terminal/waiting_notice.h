#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "terminal/console.h"

namespace tavi::ctl {

/// Tells whoever sits at a terminal that something takes long, as long as this object lives: a line of
/// progress after a while, then anew every second. Where no progress is shown it does nothing.
class waiting_notice {
 public:
  /// Gives the line. @param elapsed  since the waiting began
  using line_maker = std::function<std::string(std::chrono::seconds elapsed)>;

  /// @param target   shows the line; must outlive this object
  /// @param make     called on a thread of this object
  /// @param silence  before the first line
  waiting_notice(i_console& target, line_maker make,
                 std::chrono::milliseconds silence = std::chrono::seconds(2));
  /// Takes the line away.
  ~waiting_notice();
  waiting_notice(waiting_notice const&) = delete;
  waiting_notice& operator=(waiting_notice const&) = delete;

 private:
  void tell(std::chrono::milliseconds silence);

  i_console& console;
  line_maker make_line;
  std::mutex guard;
  std::condition_variable changed;
  bool is_over = false;
  bool has_told = false;
  std::thread teller;
};

}  // namespace tavi::ctl
