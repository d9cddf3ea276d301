#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tavi::stations_maintenance {

/// A firmware as it is announced, before its file is uploaded.
struct station_firmware_desc {
  std::optional<std::string> version;  ///< absent when it is not known yet; never an empty text
  std::vector<std::string> models;     ///< names of the supported station models that it fits; at least one,
                                       ///< each named once

  bool operator==(station_firmware_desc const&) const = default;
};

}  // namespace tavi::stations_maintenance
