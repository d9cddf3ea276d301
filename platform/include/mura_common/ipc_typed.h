#pragma once

#include <array>
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
#include "mura_common/ipc_interface.h"

/// Operations and events by member function: its type says what travels, the table of its interface by which
/// name (`ipc_interface`).
///
/// Parameters by value or by const reference are arguments; non-const references are out-parameters, which
/// travel back with the result. Include from source files only.
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

template <typename Interface, typename Result, typename... Parameters>
nlohmann::json carry_out(Interface& handler, Result (Interface::*method)(Parameters...),
                         nlohmann::json const& arguments) {
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

template <typename... Parameters, typename... Given>
nlohmann::json arguments_from(Given const&... given) {
  auto arguments = nlohmann::json::array();
  (append_argument<Parameters>(arguments, given), ...);
  return arguments;
}

template <typename Interface, typename Result, typename... Parameters, typename... Given>
  requires(sizeof...(Parameters) == sizeof...(Given))
call_result<Result> send_request(request_client& client, char const* name,
                                 Result (Interface::* /*operation*/)(Parameters...), Given&... given) {
  nlohmann::json body;
  auto outcome = client.call(name, arguments_from<Parameters...>(given...), body);
  if (outcome.failure != call_failure::none) {
    return {std::nullopt, outcome.failure, std::move(outcome.reason)};
  }
  try {
    return {result_from<Result, Parameters...>(body, given...)};
  } catch (malformed_value const& error) {
    report_malformed_reply(name, error.what());
    return {std::nullopt, call_failure::malformed};
  }
}

template <typename Interface, typename... Parameters>
void hand_over(Interface& handler, void (Interface::*event)(Parameters...), nlohmann::json const& arguments) {
  static_assert(out_count<Parameters...> == 0, "nothing travels back from an event");
  std::apply([&](auto const&... value) { (handler.*event)(value...); },
             parameters_from<Parameters...>(arguments));
}

template <typename Interface, typename... Parameters, typename... Given>
  requires(sizeof...(Parameters) == sizeof...(Given))
bool send_event(publisher& events, char const* name, void (Interface::* /*event*/)(Parameters...),
                Given const&... given) {
  static_assert(out_count<Parameters...> == 0, "nothing travels back from an event");
  return events.publish(name, arguments_from<Parameters...>(given...));
}

template <typename Method>
struct interface_of;
template <typename Interface, typename Result, typename... Parameters>
struct interface_of<Result (Interface::*)(Parameters...)> {
  using type = Interface;
};

}  // namespace ipc_detail

/// The interface that a member function belongs to.
template <auto Method>
using interface_of = typename ipc_detail::interface_of<decltype(Method)>::type;

/// The name by which an operation or event travels. Does not compile for one that does not stand exactly once
/// in its interface's table.
template <auto Method>
inline constexpr char const* name_of =
    std::get<ipc_operation<Method>>(ipc_interface<interface_of<Method>>::operations).name;

/// Lets `handler` answer every operation of its interface's table; out-parameters are blank when it is called.
/// @param server   a stopped server
/// @param handler  must outlive the server
template <typename Interface>
void bind_operations(request_server& server, std::type_identity_t<Interface>& handler) {
  auto const bind_one = [&]<auto Method>(ipc_operation<Method> const& operation) {
    server.add(operation.name, [&handler](nlohmann::json const& arguments) {
      return ipc_detail::carry_out(handler, Method, arguments);
    });
  };
  std::apply([&](auto const&... operation) { (bind_one(operation), ...); },
             ipc_interface<Interface>::operations);
}

/// Calls an operation.
/// @tparam Method  its member function in the service's interface
/// @param client   of the service
/// @param given    one for each parameter, out-parameters as variables
/// @return the result or why there is none (a line is logged); out-parameters are unchanged then
template <auto Method, typename... Given>
[[nodiscard]] auto try_call(request_client& client, Given&&... given) {
  return ipc_detail::send_request(client, name_of<Method>, Method, given...);
}

/// As `try_call`, for callers to whom every failure is the same. @return the result; absent when there is none
template <auto Method, typename... Given>
[[nodiscard]] auto call(request_client& client, Given&&... given) {
  return try_call<Method>(client, given...).value;
}

/// Hands one event over to `handler`. @throws malformed_value when the arguments are not what it takes
template <auto Method>
void deliver(interface_of<Method>& handler, nlohmann::json const& arguments) {
  ipc_detail::hand_over(handler, Method, arguments);
}

/// Hands every event of one kind over to `handler`, which must outlive the subscription.
/// @return as `subscription::subscribe`
template <auto Method>
[[nodiscard]] bool bind_event(subscription& events, interface_of<Method>& handler) {
  return events.subscribe(
      name_of<Method>, [&handler](nlohmann::json const& arguments) { deliver<Method>(handler, arguments); });
}

/// Publishes an event. @param given  one for each parameter @return as `publisher::publish`
template <auto Method, typename... Given>
bool publish(publisher& events, Given const&... given) {
  return ipc_detail::send_event(events, name_of<Method>, Method, given...);
}

}  // namespace mura_common
