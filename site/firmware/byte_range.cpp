#include "firmware/byte_range.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "request_text.h"

namespace tavi::site::firmware {
namespace {

/// "a-b", "a-" or "-n" as it is written; at least one of the two is there.
struct range_spec {
  std::optional<std::uint64_t> first;
  std::optional<std::uint64_t> last;
};

bool is_unit_bytes(std::string_view text) {
  constexpr std::string_view unit = "bytes";
  return std::equal(text.begin(), text.end(), unit.begin(), unit.end(), [](char c, char wanted) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) == wanted;
  });
}

/// A number beyond 64 bits lies beyond every file, so the largest one stands for it.
std::optional<std::uint64_t> read_number(std::string_view text) {
  std::uint64_t number = 0;
  auto const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, number);
  if (stop != end || error == std::errc::invalid_argument) {
    return std::nullopt;
  }
  return error == std::errc() ? number : std::numeric_limits<std::uint64_t>::max();
}

std::optional<range_spec> read_spec(std::string_view text) {
  auto const dash = text.find('-');
  if (dash == std::string_view::npos || text.size() < 2) {
    return std::nullopt;
  }
  range_spec spec{read_number(text.substr(0, dash)), read_number(text.substr(dash + 1))};
  bool const is_first_broken = dash > 0 && !spec.first;
  bool const is_last_broken = dash + 1 < text.size() && !spec.last;
  bool const is_backwards = spec.first && spec.last && *spec.last < *spec.first;
  return is_first_broken || is_last_broken || is_backwards ? std::nullopt : std::optional(spec);
}

/// The one stretch that a list names. @return empty when it names none, several, or something else
std::optional<range_spec> read_only_spec(std::string_view list) {
  std::optional<range_spec> only;
  while (!list.empty()) {
    auto const end = std::min(list.find(','), list.size());
    auto const element = http::trim(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
    if (element.empty()) {
      continue;
    }
    auto const spec = read_spec(element);
    if (!spec || only) {
      return std::nullopt;
    }
    only = spec;
  }
  return only;
}

range_finding apply(range_spec const& spec, std::uint64_t size) {
  if (!spec.first) {
    auto const count = std::min(*spec.last, size);
    if (*spec.last == 0) {
      return {range_kind::unsatisfiable, {}};
    }
    return count == 0 ? range_finding() : range_finding{range_kind::part, {size - count, count}};
  }
  if (*spec.first >= size) {
    return {range_kind::unsatisfiable, {}};
  }
  auto const last = std::min(spec.last.value_or(size - 1), size - 1);
  return {range_kind::part, {*spec.first, last - *spec.first + 1}};
}

}  // namespace

range_finding find_range(std::string_view field, std::uint64_t size) {
  field = http::trim(field);
  auto const equals = field.find('=');
  if (equals == std::string_view::npos || !is_unit_bytes(field.substr(0, equals))) {
    return {};
  }
  auto const spec = read_only_spec(field.substr(equals + 1));
  return spec ? apply(*spec, size) : range_finding();
}

}  // namespace tavi::site::firmware
