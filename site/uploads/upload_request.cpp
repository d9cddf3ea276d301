#include "uploads/upload_request.h"

#include <string_view>

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/verb.hpp>

#include "uploads/header_parameters.h"

namespace tavi::site::uploads {
namespace {

namespace beast = boost::beast;
namespace beast_http = boost::beast::http;

std::string_view value_of(http::request_header const& header, beast_http::field field) {
  auto const value = header[field];
  return {value.data(), value.size()};
}

bool is_equal(std::string_view left, std::string_view right) {
  return beast::iequals(beast::string_view(left.data(), left.size()),
                        beast::string_view(right.data(), right.size()));
}

http::http_answer make_refusal(beast_http::status status, std::string const& text) {
  http::http_answer refusal;
  refusal.status = status;
  refusal.text = text;
  return refusal;
}

}  // namespace

std::variant<announced_body, http::http_answer> find_announced_body(http::request_header const& header,
                                                                    std::optional<std::uint64_t> declared,
                                                                    upload_limits const& limits) {
  announced_body body;
  body.bytes = declared;
  auto const coding = value_of(header, beast_http::field::transfer_encoding);
  if (!coding.empty() && !is_equal(coding, "chunked")) {
    return make_refusal(beast_http::status::not_implemented, "of transfer codings only chunked is known");
  }
  if (coding.empty() && !declared) {
    return make_refusal(beast_http::status::length_required, "length of the file missing");
  }
  if (declared && *declared > limits.max_bytes) {
    return make_refusal(beast_http::status::payload_too_large, "file too large");
  }
  auto const expectation = value_of(header, beast_http::field::expect);
  body.is_awaiting_continue = header.version() >= 11 && is_equal(expectation, "100-continue");
  if (header.version() >= 11 && !expectation.empty() && !body.is_awaiting_continue) {
    return make_refusal(beast_http::status::expectation_failed, "of expectations only 100-continue is met");
  }
  auto const type = parse_header_value(value_of(header, beast_http::field::content_type));
  if (header.method() == beast_http::verb::post && type.kind == "multipart/form-data") {
    body.boundary = find_boundary(type);
    if (!body.boundary) {
      return make_refusal(beast_http::status::bad_request, "multipart body without a usable boundary");
    }
  }
  return body;
}

}  // namespace tavi::site::uploads
