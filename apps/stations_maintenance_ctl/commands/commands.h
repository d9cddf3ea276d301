#pragma once

#include "commands/command_context.h"
#include "commands/exit_code.h"
#include "commands/options.h"

namespace tavi::ctl {

/// Carries a command out: writes its result to the console, tells what went wrong, and gives the exit code.
exit_code run_command(command_context& context, config_get_options const& options);
/// See above.
exit_code run_command(command_context& context, config_set_options const& options);
/// See above.
exit_code run_command(command_context& context, firmware_list_options const& options);
/// See above.
exit_code run_command(command_context& context, firmware_show_options const& options);
/// Announces a firmware, uploads its file and waits until the service has taken it. An announcement whose
/// upload fails or is given up is taken back.
exit_code run_command(command_context& context, firmware_add_options const& options);
/// See above.
exit_code run_command(command_context& context, firmware_delete_options const& options);
/// See above.
exit_code run_command(command_context& context, firmware_available_options const& options);
/// See above.
exit_code run_command(command_context& context, reports_list_options const& options);
/// Asks stations for reports and, if wanted, waits until they are filed.
exit_code run_command(command_context& context, reports_generate_options const& options);
/// See above.
exit_code run_command(command_context& context, reports_delete_options const& options);
/// See above.
exit_code run_command(command_context& context, reports_export_options const& options);
/// See above.
/// Shows what is in a report. This user has to be allowed to read the file.
exit_code run_command(command_context& context, reports_show_options const& options);
/// Copies a report. As for showing it; the copy has mode 0640, and stands there whole or not at all.
exit_code run_command(command_context& context, reports_get_options const& options);
/// See above.
exit_code run_command(command_context& context, reports_folder_options const& options);
/// Shows events until the user ends it.
exit_code run_command(command_context& context, watch_options const& options);

}  // namespace tavi::ctl
