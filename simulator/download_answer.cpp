#include "download_answer.h"

#include <algorithm>
#include <charconv>

#include "request_fields.h"

namespace tavi::simulator {
namespace {

/// "bytes first-last/total".
struct content_range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t total = 0;
};

char to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool begins_with(std::string_view text, std::string_view lower_case) {
  return text.size() >= lower_case.size() &&
         std::equal(lower_case.begin(), lower_case.end(), text.begin(),
                    [](char wanted, char c) { return to_lower(c) == wanted; });
}

/// Takes a number and the character behind it, 0 for the end, off the front of a text.
bool take_number(std::string_view& text, char end, std::uint64_t& number) {
  auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
  bool const is_ended = end == '\0' ? text.empty() : text.starts_with(end);
  text.remove_prefix(end != '\0' && is_ended ? 1 : 0);
  return error == std::errc() && is_ended;
}

std::optional<content_range> parse_content_range(std::string_view text) {
  constexpr std::string_view unit = "bytes ";
  if (!begins_with(text, unit)) {
    return std::nullopt;
  }
  text.remove_prefix(unit.size());
  content_range range;
  bool const is_whole = take_number(text, '-', range.first) && take_number(text, '/', range.last) &&
                        take_number(text, '\0', range.total);
  return is_whole && range.first <= range.last && range.last < range.total ? std::optional(range)
                                                                           : std::nullopt;
}

download_decision give_up(std::string reason) {
  return {download_step::give_up, std::move(reason), {}};
}

download_decision try_again(std::string reason) {
  return {download_step::try_again, std::move(reason), {}};
}

download_decision judge_whole(download_head const& head) {
  if (!head.length && !head.is_chunked) {
    return give_up("the server does not tell how long the file is");
  }
  if (head.length == std::uint64_t{0}) {
    return give_up("the file is empty");
  }
  if (head.length.value_or(0) > largest_firmware) {
    return give_up("the file is larger than a firmware can be");
  }
  return {download_step::take_whole, {}, head.length};
}

download_decision judge_part(download_head const& head, download_state const& state) {
  auto const range = parse_content_range(head.content_range);
  if (state.bytes == 0 || !range) {
    return try_again("the server sent a part that was not asked for");
  }
  bool const is_rest = range->first == state.bytes && range->last + 1 == range->total;
  bool const is_same_file =
      (head.tag.empty() || head.tag == state.tag) && state.total.value_or(range->total) == range->total;
  if (!is_rest || !is_same_file || range->total > largest_firmware) {
    return try_again("the server sent another part than was asked for");
  }
  bool const is_length_right = head.length ? *head.length == range->last - range->first + 1 : head.is_chunked;
  if (!is_length_right) {
    return try_again("the part is not as long as the server says");
  }
  return {download_step::take_rest, {}, range->total};
}

}  // namespace

download_decision judge_download(download_head const& head, download_state const& state) {
  auto const answer = "the server answered with status " + std::to_string(head.status);
  if (head.status == 416 || is_worth_retrying(head.status)) {
    return try_again(answer);
  }
  if (head.status != 200 && head.status != 206) {
    return give_up(answer);
  }
  if (begins_with(head.content_type, "text/html")) {
    return give_up("the server sent a web page");
  }
  return head.status == 200 ? judge_whole(head) : judge_part(head, state);
}

bool is_web_page(std::string_view beginning) {
  beginning.remove_prefix(std::min(beginning.find_first_not_of(" \t\r\n"), beginning.size()));
  return begins_with(beginning, "<!doctype html") || begins_with(beginning, "<html");
}

bool is_strong_tag(std::string_view tag) {
  return tag.size() > 2 && tag.front() == '"' && tag.back() == '"';
}

}  // namespace tavi::simulator
