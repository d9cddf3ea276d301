#include "mura_common/text.h"

#include <array>
#include <ctime>

namespace mura_common {

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.starts_with(prefix);
}

std::string toHexString(std::span<std::uint8_t const> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (auto const byte : bytes) {
    text += digits[byte >> 4U];
    text += digits[byte & 0x0FU];
  }
  return text;
}

std::string to_local_iso8601(std::int64_t seconds_since_epoch) {
  auto const moment = static_cast<std::time_t>(seconds_since_epoch);
  std::tm local{};
  if (localtime_r(&moment, &local) == nullptr) {
    return {};
  }
  std::array<char, 64> text{};
  auto const length = std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%S%z", &local);
  return {text.data(), length};
}

}  // namespace mura_common
