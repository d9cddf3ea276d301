#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "mura_common/ipc_interface.h"

namespace tavi::stations_maintenance {

/// A firmware as it is announced, before its file is uploaded.
struct station_firmware_desc {
  std::optional<std::string> version;  ///< absent when it is not known yet; never an empty text
  std::vector<std::string> models;     ///< names of the supported station models that it fits; at least one,
                                       ///< each named once

  bool operator==(station_firmware_desc const&) const = default;
};

}  // namespace tavi::stations_maintenance

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations_maintenance::station_firmware_desc> {
  using record = tavi::stations_maintenance::station_firmware_desc;
  static constexpr std::tuple list{record_field{"version", &record::version},
                                   record_field{"models", &record::models}};
};
