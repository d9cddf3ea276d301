#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <limits>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "mura_common/export.h"
#include "mura_common/ipc_interface.h"

/// How values travel between services: one JSON form for each type, checked strictly where it arrives.
///
/// Include from source files only; it brings the whole JSON library with it.
namespace mura_common {

/// Thrown where a JSON value is not what the receiving type takes; the text says what was expected and never
/// repeats the value.
class MURA_COMMON_EXPORT malformed_value : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// A record for which `record_fields` was specialised.
template <typename T>
concept described_record = requires { record_fields<T>::list; };

/// How `T` travels; defined for bool, whole numbers, enumerations, text, durations, optional, vector, list
/// and described records. `encode` makes JSON of a value and never throws for its content; `decode` throws
/// `malformed_value`.
template <typename T>
struct json_codec;

/// The JSON form of a value.
template <typename T>
[[nodiscard]] nlohmann::json encode(T const& value) {
  return json_codec<T>::encode(value);
}

/// The value that a JSON form stands for. @throws malformed_value
template <typename T>
[[nodiscard]] T decode(nlohmann::json const& form) {
  return json_codec<T>::decode(form);
}

/// Throws `malformed_value` for a form of the wrong kind.
[[noreturn]] inline void refuse_value(std::string const& expected, nlohmann::json const& form) {
  throw malformed_value("expected " + expected + ", got " + form.type_name());
}

template <>
struct json_codec<bool> {
  static nlohmann::json encode(bool value) { return value; }
  static bool decode(nlohmann::json const& form) {
    if (!form.is_boolean()) {
      refuse_value("true or false", form);
    }
    return form.get<bool>();
  }
};

template <std::integral T>
struct json_codec<T> {
  static nlohmann::json encode(T value) { return value; }
  static T decode(nlohmann::json const& form) {
    if (form.is_number_unsigned()) {
      return checked(form.get<std::uint64_t>());
    }
    if (form.is_number_integer()) {
      return checked(form.get<std::int64_t>());
    }
    refuse_value(expectation(), form);
  }

 private:
  static std::string expectation() {
    return "a whole number from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
           std::to_string(std::numeric_limits<T>::max());
  }
  template <typename Wide>
  static T checked(Wide number) {
    if (!std::in_range<T>(number)) {
      throw malformed_value("expected " + expectation() + ", got one outside");
    }
    return static_cast<T>(number);
  }
};

/// By number. Numbers without an enumerator are taken as they are: a newer service may know more of them.
template <typename T>
  requires std::is_enum_v<T>
struct json_codec<T> {
  using number = std::underlying_type_t<T>;
  static nlohmann::json encode(T value) { return json_codec<number>::encode(static_cast<number>(value)); }
  static T decode(nlohmann::json const& form) { return static_cast<T>(json_codec<number>::decode(form)); }
};

/// As text; bytes that are not UTF-8 are replaced when the message is written.
template <>
struct json_codec<std::string> {
  static nlohmann::json encode(std::string const& value) { return value; }
  static std::string decode(nlohmann::json const& form) {
    if (!form.is_string()) {
      refuse_value("a text", form);
    }
    return form.get<std::string>();
  }
};

/// By the count of its own unit.
template <typename Count, typename Period>
struct json_codec<std::chrono::duration<Count, Period>> {
  using duration = std::chrono::duration<Count, Period>;
  static nlohmann::json encode(duration value) { return json_codec<Count>::encode(value.count()); }
  static duration decode(nlohmann::json const& form) { return duration(json_codec<Count>::decode(form)); }
};

/// null when absent; an optional of an optional has no such form and does not compile.
template <typename T>
struct json_codec<std::optional<T>> {
  static nlohmann::json encode(std::optional<T> const& value) {
    return value ? json_codec<T>::encode(*value) : nlohmann::json(nullptr);
  }
  static std::optional<T> decode(nlohmann::json const& form) {
    if (form.is_null()) {
      return std::nullopt;
    }
    return json_codec<T>::decode(form);
  }
};
template <typename T>
struct json_codec<std::optional<std::optional<T>>>;

/// What vector and list have in common.
template <typename Sequence>
struct json_sequence_codec {
  static nlohmann::json encode(Sequence const& values) {
    auto form = nlohmann::json::array();
    for (auto const& value : values) {
      form.push_back(json_codec<typename Sequence::value_type>::encode(value));
    }
    return form;
  }
  static Sequence decode(nlohmann::json const& form) {
    if (!form.is_array()) {
      refuse_value("an array", form);
    }
    Sequence values;
    for (auto const& element : form) {
      values.push_back(json_codec<typename Sequence::value_type>::decode(element));
    }
    return values;
  }
};

template <typename T>
struct json_codec<std::vector<T>> : json_sequence_codec<std::vector<T>> {};
template <typename T>
struct json_codec<std::list<T>> : json_sequence_codec<std::list<T>> {};

/// An object with one member for each field. Further members are ignored, so that a newer service may add
/// some; a missing one is malformed.
template <described_record T>
struct json_codec<T> {
  static nlohmann::json encode(T const& record) {
    auto form = nlohmann::json::object();
    std::apply([&](auto const&... field) { (encode_field(form, record, field), ...); },
               record_fields<T>::list);
    return form;
  }
  static T decode(nlohmann::json const& form) {
    if (!form.is_object()) {
      refuse_value("an object", form);
    }
    T record{};
    std::apply([&](auto const&... field) { (decode_field(form, record, field), ...); },
               record_fields<T>::list);
    return record;
  }

 private:
  template <typename Content>
  static void encode_field(nlohmann::json& form, T const& record, record_field<T, Content> const& field) {
    form[field.name] = json_codec<Content>::encode(record.*field.content);
  }
  template <typename Content>
  static void decode_field(nlohmann::json const& form, T& record, record_field<T, Content> const& field) {
    auto const found = form.find(field.name);
    if (found == form.end()) {
      throw malformed_value(std::string("field \"") + field.name + "\" is missing");
    }
    try {
      record.*field.content = json_codec<Content>::decode(*found);
    } catch (malformed_value const& error) {
      throw malformed_value(std::string("field \"") + field.name + "\": " + error.what());
    }
  }
};

}  // namespace mura_common
