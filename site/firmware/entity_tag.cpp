#include "firmware/entity_tag.h"

#include <algorithm>
#include <cstddef>

#include "request_text.h"

namespace tavi::site {
namespace {

constexpr std::string_view separators = " \t,";

bool is_in_list(std::string_view list, std::string_view tag, bool is_weak_enough) {
  list = http::trim(list, separators);
  if (list == "*") {
    return true;
  }
  while (!list.empty()) {
    auto const is_weak = list.starts_with("W/");
    list.remove_prefix(is_weak ? 2 : 0);
    // A comma may stand inside the quotes.
    auto const end = list.starts_with('"') ? list.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
      return false;
    }
    if (list.substr(0, end + 1) == tag && (!is_weak || is_weak_enough)) {
      return true;
    }
    list.remove_prefix(end + 1);
    list.remove_prefix(std::min(list.find_first_not_of(separators), list.size()));
  }
  return false;
}

}  // namespace

bool is_range_condition_met(std::string_view if_range, std::string_view tag) {
  return if_range == tag;
}

bool is_tag_matched(std::string_view field, std::string_view tag) {
  return is_in_list(field, tag, false);
}

bool is_tag_matched_weakly(std::string_view field, std::string_view tag) {
  return is_in_list(field, tag, true);
}

}  // namespace tavi::site
