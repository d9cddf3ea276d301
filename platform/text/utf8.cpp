#include <boost/locale/utf.hpp>

#include "mura_common/text.h"

namespace mura_common {

std::optional<std::size_t> find_foreign_byte(std::string_view text) {
  using decoder = boost::locale::utf::utf_traits<char>;
  auto const* at = text.begin();
  while (at != text.end()) {
    auto const offset = static_cast<std::size_t>(at - text.begin());
    auto const code = decoder::decode(at, text.end());
    if (code == boost::locale::utf::illegal || code == boost::locale::utf::incomplete) {
      return offset;
    }
  }
  return std::nullopt;
}

}  // namespace mura_common
