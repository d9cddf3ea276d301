#include "token_target.h"

#include <algorithm>
#include <optional>

#include "request_text.h"

namespace tavi::http {
namespace {

namespace beast_http = boost::beast::http;

std::optional<token_target> parse(std::string_view prefix, std::string_view target) {
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

std::string join(std::vector<beast_http::verb> const& methods) {
  std::string names;
  for (auto const method : methods) {
    auto const name = beast_http::to_string(method);
    names.append(names.empty() ? "" : ", ").append(name.data(), name.size());
  }
  return names;
}

}  // namespace

std::variant<token_target, http_answer> find_token_target(request_header const& header,
                                                          token_location const& location) {
  auto const target = header.target();
  auto const found = parse(location.prefix, {target.data(), target.size()});
  http_answer refusal;
  if (!found) {
    refusal.status = beast_http::status::bad_request;
    refusal.text = std::string(location.what) + " location malformed";
    return refusal;
  }
  auto const& methods = location.methods;
  if (std::find(methods.begin(), methods.end(), header.method()) == methods.end()) {
    refusal.status = beast_http::status::method_not_allowed;
    refusal.text = location.usage;
    refusal.allow = join(methods);
    return refusal;
  }
  return *found;
}

}  // namespace tavi::http
