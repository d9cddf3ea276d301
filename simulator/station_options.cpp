#include "station_options.h"

#include <algorithm>

namespace tavi::simulator {
namespace {

constexpr std::size_t longest_identity = 48;

bool is_identity_character(char c) {
  auto const is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  auto const is_digit = c >= '0' && c <= '9';
  return is_letter || is_digit || std::string_view("*-_=:+|@.").find(c) != std::string_view::npos;
}

}  // namespace

bool is_station_identity(std::string_view text) {
  return !text.empty() && text.size() <= longest_identity && text != "." && text != ".." &&
         std::all_of(text.begin(), text.end(), is_identity_character);
}

}  // namespace tavi::simulator
