#pragma once

namespace tavi::ctl {

/// As it stands before every line of the standard error.
inline constexpr char const* const program_name = "stations_maintenance_ctl";

}  // namespace tavi::ctl
