#pragma once

/// How interfaces and records are called in messages. Light enough for the headers that declare them;
/// ipc_typed.h makes requests and events of it, ipc_codec.h JSON.
namespace mura_common {

/// An operation or event of an interface.
/// @tparam Method  the member function that takes it
template <auto Method>
struct ipc_operation {
  char const* name;  ///< by which it travels
};

/// The one table of an interface, for whoever answers or publishes and whoever calls or subscribes. To be
/// specialised beside the interface, with two constants:
/// `static constexpr char const* service = "weather_service";`: the name under which the service is found
/// `static constexpr std::tuple operations{ipc_operation<&i_weather::on_get_wind>{"get_wind"}, ...};`
template <typename Interface>
struct ipc_interface;

/// One field of a record: its name in messages and the member that holds it.
template <typename Record, typename T>
struct record_field {
  char const* name;    ///< key in the JSON object
  T Record::*content;  ///< the member
};

template <typename Record, typename T>
record_field(char const*, T Record::*) -> record_field<Record, T>;

/// The one table of a record that travels, for both directions. To be specialised beside the record, with a
/// constant: `static constexpr std::tuple list{record_field{"id", &my_record::id}, ...};`
template <typename Record>
struct record_fields;

}  // namespace mura_common
