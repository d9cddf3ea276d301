#include "tavi/file_name.h"

#include <algorithm>

namespace tavi {

namespace {

constexpr std::string_view gap = "...";
constexpr std::size_t ending_size = 64;
constexpr std::size_t beginning_size = file_name_limit - ending_size - gap.size();
/// A character has at most three bytes after its first; longer runs are no UTF-8 and may be cut anywhere.
constexpr std::size_t longest_continuation = 3;

bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

bool is_control(char byte) {
  auto const value = static_cast<unsigned char>(byte);
  return value < 0x20 || value == 0x7f;
}

std::string shortened(std::string_view name) {
  auto const first_cut = beginning_size;
  auto const last_cut = name.size() - ending_size;
  std::size_t back = 0;
  while (back < longest_continuation && is_continuation(name[first_cut - back])) {
    ++back;
  }
  std::size_t forth = 0;
  while (forth < longest_continuation && is_continuation(name[last_cut + forth])) {
    ++forth;
  }
  return std::string(name.substr(0, first_cut - back)).append(gap).append(name.substr(last_cut + forth));
}

}  // namespace

std::string harmless_file_name(std::string_view given) {
  auto const name = given.substr(given.find_last_of("/\\") + 1);
  if (name == "." || name == ".." || std::any_of(name.begin(), name.end(), is_control)) {
    return {};
  }
  return name.size() > file_name_limit ? shortened(name) : std::string(name);
}

}  // namespace tavi
