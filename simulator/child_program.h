#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

namespace tavi::simulator {

/// A program run beside the event loop, without a shell; killed when this object goes away before it has
/// ended.
class child_program {
 public:
  /// @param loop  waits for the program
  explicit child_program(boost::asio::any_io_executor loop);
  ~child_program();
  child_program(child_program const&) = delete;
  child_program& operator=(child_program const&) = delete;

  /// Runs the program to its end, with empty standard input. One at a time.
  /// @param arguments  the program, looked for in PATH, and its arguments, passed on as they are
  /// @param output     file for what it prints
  /// @param errors     file for its error text
  /// @return empty when it ended with 0; otherwise why it could not be started, or how it ended and the
  /// beginning of its error text. The files stay in either case.
  [[nodiscard]] boost::asio::awaitable<std::string> run(std::vector<std::string> arguments,
                                                        std::filesystem::path output,
                                                        std::filesystem::path errors);

  /// Kills the program that runs, so that `run` ends soon.
  void kill();

 private:
  void reap(int& status);

  boost::asio::any_io_executor executor;
  pid_t process = 0;  ///< 0 when none runs
};

}  // namespace tavi::simulator
