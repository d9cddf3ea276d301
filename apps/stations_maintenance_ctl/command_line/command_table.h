#pragma once

#include <vector>

#include "command_line/command_record.h"

namespace tavi::ctl {

/// Everything that the command line offers. Parser, help, manual page and completions are made from it: an
/// option or a command that is added here is in all of them.
[[nodiscard]] program_record const& command_table();

/// The commands of the group "config".
[[nodiscard]] std::vector<command_record> make_config_records();
/// The commands of the group "firmware".
[[nodiscard]] std::vector<command_record> make_firmware_records();
/// The commands of the group "reports".
[[nodiscard]] std::vector<command_record> make_report_records();

}  // namespace tavi::ctl
