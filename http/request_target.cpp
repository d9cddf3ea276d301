#include "request_target.h"

#include <algorithm>

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/field.hpp>

namespace tavi::http {

std::string to_origin_form(std::string_view target) {
  constexpr std::string_view scheme = "http://";
  auto const beginning = target.substr(0, scheme.size());
  auto const is_absolute = boost::beast::iequals({beginning.data(), beginning.size()}, scheme.data());
  auto const end = std::min(target.find_first_of("/?#", scheme.size()), target.size());
  if (!is_absolute || end == scheme.size()) {
    return std::string(target);
  }
  auto const rest = target.substr(end);
  return rest.starts_with('/') ? std::string(rest) : "/" + std::string(rest);
}

bool has_proper_host(request_header const& header) {
  auto const count = header.count(boost::beast::http::field::host);
  return count == 1 || (count == 0 && header.version() < 11);
}

}  // namespace tavi::http
