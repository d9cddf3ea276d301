#include "mura_common/text.h"

namespace mura_common {

bool is_json_deeper_than(std::string_view json, std::size_t levels) {
  std::size_t depth = 0;
  bool in_string = false;
  for (std::size_t at = 0; at < json.size() && depth <= levels; ++at) {
    char const c = json[at];
    if (in_string) {
      at += c == '\\' ? 1U : 0U;
      in_string = c != '"';
    } else if (c == '"') {
      in_string = true;
    } else if (c == '[' || c == '{') {
      ++depth;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return depth > levels;
}

}  // namespace mura_common
