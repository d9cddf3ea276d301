#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

#include <nlohmann/json.hpp>

#include "mura_common/ipc.h"
#include "mura_common/ipc_codec.h"

/// Operations and events by member function: its type says what travels.
///
/// Parameters by value or by const reference are arguments; non-const references are out-parameters, which
/// travel back with the result. Include from source files only. Call `bind` qualified (`mura_common::bind`),
/// because the standard library has one too.
namespace mura_common {

/// Inner workings of this header.
namespace ipc_detail {

template <typename Parameter>
inline constexpr bool is_out =
    std::is_lvalue_reference_v<Parameter> && !std::is_const_v<std::remove_reference_t<Parameter>>;

/// For each parameter its place among the arguments or, for an out-parameter, among those.
template <typename... Parameters>
constexpr auto places() {
  std::array<std::size_t, sizeof...(Parameters)> result{};
  std::array<bool, sizeof...(Parameters)> const out{is_out<Parameters>...};
  std::size_t arguments = 0;
  std::size_t outs = 0;
  for (std::size_t at = 0; at < result.size(); ++at) {
    result[at] = out[at] ? outs++ : arguments++;
  }
  return result;
}

template <typename... Parameters>
inline constexpr std::size_t out_count = (std::size_t{is_out<Parameters>} + ... + 0);

inline void expect_count(nlohmann::json const& values, std::size_t count, char const* what) {
  if (!values.is_array() || values.size() != count) {
    throw malformed_value("expected " + std::to_string(count) + " " + what + ", got " +
                          std::to_string(values.size()));
  }
}

template <typename T>
T decode_place(nlohmann::json const& values, std::size_t place, char const* what) {
  try {
    return decode<T>(values[place]);
  } catch (malformed_value const& error) {
    throw malformed_value(std::string(what) + " " + std::to_string(place + 1) + ": " + error.what());
  }
}

template <typename Parameter>
std::remove_cvref_t<Parameter> argument_or_blank(nlohmann::json const& arguments, std::size_t place) {
  if constexpr (is_out<Parameter>) {
    return {};
  } else {
    return decode_place<std::remove_cvref_t<Parameter>>(arguments, place, "argument");
  }
}

/// The values of all parameters, out-parameters blank.
template <typename... Parameters>
std::tuple<std::remove_cvref_t<Parameters>...> parameters_from(nlohmann::json const& arguments) {
  expect_count(arguments, sizeof...(Parameters) - out_count<Parameters...>, "arguments");
  constexpr auto place = places<Parameters...>();
  return [&]<std::size_t... At>(std::index_sequence<At...>) {
    static_cast<void>(place);
    return std::tuple<std::remove_cvref_t<Parameters>...>{
        argument_or_blank<Parameters>(arguments, place[At])...};
  }(std::index_sequence_for<Parameters...>{});
}

template <typename Parameter, typename Given>
void append_argument(nlohmann::json& arguments, Given const& given) {
  if constexpr (!is_out<Parameter>) {
    std::remove_cvref_t<Parameter> const& value = given;
    arguments.push_back(encode(value));
  }
}

template <typename Parameter, typename Value>
void append_out(nlohmann::json& out, Value const& value) {
  if constexpr (is_out<Parameter>) {
    out.push_back(encode(value));
  }
}

template <typename Parameter>
auto out_from(nlohmann::json const& out, std::size_t place) {
  if constexpr (is_out<Parameter>) {
    return decode_place<std::remove_cvref_t<Parameter>>(out, place, "out-parameter");
  } else {
    return std::monostate{};
  }
}

template <typename Parameter, typename Value, typename Given>
void take_out(Value&& value, Given& given) {
  if constexpr (is_out<Parameter>) {
    given = std::forward<Value>(value);
  }
}

template <typename Result, typename... Parameters, typename Method, typename Handler>
nlohmann::json carry_out(Handler& handler, Method method, nlohmann::json const& arguments) {
  auto values = parameters_from<Parameters...>(arguments);
  nlohmann::json body = {{"result", nullptr}, {"out", nlohmann::json::array()}};
  std::apply(
      [&](auto&... value) {
        if constexpr (std::is_void_v<Result>) {
          (handler.*method)(value...);
        } else {
          body["result"] = encode<std::remove_cvref_t<Result>>((handler.*method)(value...));
        }
        (append_out<Parameters>(body["out"], value), ...);
      },
      values);
  return body;
}

/// Decodes everything before it touches an out-parameter of the caller. @throws malformed_value
template <typename Result, typename... Parameters, typename... Given>
auto result_from(nlohmann::json const& body, Given&... given) {
  constexpr auto place = places<Parameters...>();
  expect_count(body.at("out"), out_count<Parameters...>, "out-parameters");
  return [&]<std::size_t... At>(std::index_sequence<At...>) {
    static_cast<void>(place);
    auto outs = std::make_tuple(out_from<Parameters>(body.at("out"), place[At])...);
    if constexpr (std::is_void_v<Result>) {
      (take_out<Parameters>(std::move(std::get<At>(outs)), given), ...);
      return std::monostate{};
    } else {
      auto result = decode<std::remove_cvref_t<Result>>(body.at("result"));
      (take_out<Parameters>(std::move(std::get<At>(outs)), given), ...);
      return result;
    }
  }(std::index_sequence_for<Parameters...>{});
}

/// Logs that a reply's body was not understood.
MURA_COMMON_EXPORT void report_malformed_reply(std::string const& operation, char const* problem);

}  // namespace ipc_detail

/// Lets a member function of `handler` answer an operation of the server.
/// @param server     a stopped server
/// @param name       of the operation
/// @param handler    must outlive the server
/// @param operation  its type decides what requests must hold; out-parameters are blank when it is called
template <typename Handler, typename Interface, typename Result, typename... Parameters>
  requires std::derived_from<Handler, Interface>
void bind(request_server& server, char const* name, Handler& handler,
          Result (Interface::*operation)(Parameters...)) {
  Interface& target = handler;
  server.add(name, [&target, operation](nlohmann::json const& arguments) {
    return ipc_detail::carry_out<Result, Parameters...>(target, operation, arguments);
  });
}

/// Calls an operation that the server bound to the same member function.
/// @param client     of the service
/// @param name       of the operation
/// @param operation  its type decides what is sent and how the reply is understood
/// @param given      one for each parameter, out-parameters as variables
/// @return the result or why there is none (a line is logged); out-parameters are unchanged then
template <typename Interface, typename Result, typename... Parameters, typename... Given>
  requires(sizeof...(Parameters) == sizeof...(Given))
[[nodiscard]] call_result<Result> try_call(request_client& client, char const* name,
                                           Result (Interface::* /*operation*/)(Parameters...),
                                           Given&&... given) {
  auto arguments = nlohmann::json::array();
  (ipc_detail::append_argument<Parameters>(arguments, given), ...);
  nlohmann::json body;
  if (auto outcome = client.call(name, arguments, body); outcome.failure != call_failure::none) {
    return {std::nullopt, outcome.failure, std::move(outcome.reason)};
  }
  try {
    return {ipc_detail::result_from<Result, Parameters...>(body, given...), call_failure::none};
  } catch (malformed_value const& error) {
    ipc_detail::report_malformed_reply(name, error.what());
    return {std::nullopt, call_failure::malformed};
  }
}

/// As `try_call`, for callers to whom every failure is the same. @return the result; absent when there is
/// none
template <typename Interface, typename Result, typename... Parameters, typename... Given>
  requires(sizeof...(Parameters) == sizeof...(Given))
[[nodiscard]] auto call(request_client& client, char const* name,
                        Result (Interface::*operation)(Parameters...), Given&&... given) {
  return try_call(client, name, operation, std::forward<Given>(given)...).value;
}

/// Hands one event over to a member function of `handler`. @throws malformed_value when the arguments are not
/// what it takes
template <typename Handler, typename Interface, typename... Parameters>
  requires std::derived_from<Handler, Interface>
void deliver(Handler& handler, void (Interface::*event)(Parameters...), nlohmann::json const& arguments) {
  static_assert(ipc_detail::out_count<Parameters...> == 0, "nothing travels back from an event");
  Interface& target = handler;
  std::apply([&](auto const&... value) { (target.*event)(value...); },
             ipc_detail::parameters_from<Parameters...>(arguments));
}

/// Hands every event of this name over to a member function of `handler`. @return as
/// `subscription::subscribe`
template <typename Handler, typename Interface, typename... Parameters>
  requires std::derived_from<Handler, Interface>
[[nodiscard]] bool bind_event(subscription& events, char const* name, Handler& handler,
                              void (Interface::*event)(Parameters...)) {
  return events.subscribe(
      name, [&handler, event](nlohmann::json const& arguments) { deliver(handler, event, arguments); });
}

/// Publishes an event that subscribers bind to the same member function. @return as `publisher::publish`
template <typename Interface, typename... Parameters, typename... Given>
  requires(sizeof...(Parameters) == sizeof...(Given))
bool publish(publisher& events, char const* name, void (Interface::* /*event*/)(Parameters...),
             Given const&... given) {
  static_assert(ipc_detail::out_count<Parameters...> == 0, "nothing travels back from an event");
  auto arguments = nlohmann::json::array();
  (ipc_detail::append_argument<Parameters>(arguments, given), ...);
  return events.publish(name, arguments);
}

}  // namespace mura_common
