#include "token_target.h"

#include "request_text.h"

namespace tavi::http {

std::optional<token_target> parse_token_target(std::string_view prefix, std::string_view target) {
  if (!target.starts_with(prefix)) {
    return std::nullopt;
  }
  target.remove_prefix(prefix.size());
  target = target.substr(0, target.find_first_of("?#"));
  auto const slash = target.find('/');
  auto const token = percent_decode(target.substr(0, slash));
  auto const name = percent_decode(slash == std::string_view::npos ? "" : target.substr(slash + 1));
  if (!token || token->empty() || !name) {
    return std::nullopt;
  }
  return token_target{*token, *name};
}

}  // namespace tavi::http
