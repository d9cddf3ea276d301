#include "firmware/firmware_request.h"

#include <optional>
#include <string>
#include <string_view>

#include <boost/beast/http/field.hpp>
#include <boost/beast/http/verb.hpp>
#include <fmt/format.h>

namespace tavi::site::firmware {
namespace {

namespace beast_http = boost::beast::http;

/// The values of all fields of a name, joined as HTTP has it; none when there is no such field, which an
/// empty one is not.
std::optional<std::string> values_of(http::request_header const& header, beast_http::field name) {
  std::optional<std::string> values;
  auto const [begin, end] = header.equal_range(name);
  for (auto field = begin; field != end; ++field) {
    std::string const value(field->value().data(), field->value().size());
    values = values ? *values + "," + value : value;
  }
  return values;
}

delivery_plan make_plan(beast_http::status status, file_state const& file) {
  delivery_plan plan;
  plan.head.status = status;
  // Whoever keeps the answer on its way would keep a firmware that only this station may have.
  plan.head.fields = {{beast_http::field::etag, file.tag},
                      {beast_http::field::accept_ranges, "bytes"},
                      {beast_http::field::cache_control, "private, no-store"}};
  return plan;
}

delivery_plan plan_whole(file_state const& file) {
  auto plan = make_plan(beast_http::status::ok, file);
  plan.head.fields.emplace_back(beast_http::field::content_type, "application/octet-stream");
  plan.head.content_length = file.size;
  plan.body = {0, file.size};
  return plan;
}

delivery_plan plan_part(file_state const& file, byte_range const& range) {
  auto plan = make_plan(beast_http::status::partial_content, file);
  plan.head.fields.emplace_back(beast_http::field::content_type, "application/octet-stream");
  plan.head.fields.emplace_back(
      beast_http::field::content_range,
      fmt::format("bytes {}-{}/{}", range.first, range.first + range.count - 1, file.size));
  plan.head.content_length = range.count;
  plan.body = range;
  return plan;
}

delivery_plan plan_nothing(file_state const& file) {
  auto plan = make_plan(beast_http::status::range_not_satisfiable, file);
  plan.head.fields.emplace_back(beast_http::field::content_range, fmt::format("bytes */{}", file.size));
  plan.head.content_length = 0;
  return plan;
}

range_finding find_wanted_range(http::request_header const& header, file_state const& file) {
  // A weak tag or a date is not this one: a part is sent only to whoever holds the rest of the very same file.
  auto const if_range = values_of(header, beast_http::field::if_range);
  if (if_range && *if_range != file.tag) {
    return {};
  }
  return find_range(values_of(header, beast_http::field::range).value_or(""), file.size);
}

}  // namespace

delivery_plan plan_delivery(http::request_header const& header, file_state const& file) {
  if (header.method() == beast_http::verb::head) {
    auto plan = plan_whole(file);
    plan.body = {};
    return plan;
  }
  auto const wanted = find_wanted_range(header, file);
  if (wanted.kind == range_kind::unsatisfiable) {
    return plan_nothing(file);
  }
  return wanted.kind == range_kind::part ? plan_part(file, wanted.range) : plan_whole(file);
}

}  // namespace tavi::site::firmware
