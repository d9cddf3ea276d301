#pragma once

#include <unistd.h>

#include <utility>

namespace mura_common {

/// Owns one open file descriptor and closes it at its end; may own none.
class file_descriptor {
 public:
  /// Takes over `opened`, as a system call returned it; a negative one means that there is none.
  explicit file_descriptor(int opened = -1) noexcept : number(opened) {}
  ~file_descriptor() { close(); }
  file_descriptor(file_descriptor const&) = delete;
  file_descriptor& operator=(file_descriptor const&) = delete;
  file_descriptor(file_descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  file_descriptor& operator=(file_descriptor&& other) noexcept {
    if (this != &other) {
      close();
      number = std::exchange(other.number, -1);
    }
    return *this;
  }

  /// Whether a descriptor is owned.
  [[nodiscard]] bool is_open() const noexcept { return number >= 0; }

  /// The descriptor, still owned; negative when there is none.
  [[nodiscard]] int get() const noexcept { return number; }

 private:
  void close() noexcept {
    if (number >= 0) {
      ::close(number);
    }
  }

  int number;
};

}  // namespace mura_common
