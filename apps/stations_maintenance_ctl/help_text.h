#pragma once

/// What --help says beyond the options.
namespace tavi::ctl::help {

inline constexpr char const* program =
    "Every command takes --json, --runtime-dir and --verbose too, and has a --help with examples.\n\n"
    "Exit codes:\n"
    "  0    done\n"
    "  1    the service refused or failed, in whole or in part\n"
    "  2    the command line is wrong, or a confirmation is missing\n"
    "  3    a service does not run or cannot be reached\n"
    "  4    the time was over before it was done\n"
    "  130  ended by Ctrl-C (143 by SIGTERM); watch gives 0 then\n\n"
    "Environment:\n"
    "  TAVI_RUNTIME_DIR  folder of the services' sockets (default /run/tavi)\n"
    "  NO_COLOR          when not empty: no colours\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl reports list --station 3 --newer-than 2d\n"
    "  stations_maintenance_ctl firmware add fw-2.1.0.bin --model X7-22 --version 2.1.0\n"
    "  stations_maintenance_ctl config set --period 24h";

inline constexpr char const* config_get =
    "Example:\n"
    "  stations_maintenance_ctl config get --json";

inline constexpr char const* config_set =
    "Changes only what is given, the maximum first, and shows what is in force then. A maximum above 0 "
    "allows periodic "
    "generation,\n"
    "a maximum of 0 or --disable ends it; --disable sets the period to 0 too. A value that is refused is "
    "named; what\n"
    "was set before it stays.\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl config set --period 24h\n"
    "  stations_maintenance_ctl config set --enable --max-periodic 5 --period 3600\n"
    "  stations_maintenance_ctl config set --disable";

inline constexpr char const* firmware_list =
    "Example:\n"
    "  stations_maintenance_ctl firmware list";

inline constexpr char const* firmware_show =
    "Example:\n"
    "  stations_maintenance_ctl firmware show 7";

inline constexpr char const* firmware_add =
    "Announces the firmware, uploads the file, waits until the service has taken it, and shows what it "
    "became.\n"
    "When the upload fails or is interrupted, the announcement is taken back; Ctrl-C again ends at once. "
    "Without --version the service\n"
    "keeps no firmware, because it cannot read the version from the file.\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl firmware add fw-2.1.0.bin --model X7-22 --model X9-11 --version 2.1.0\n"
    "  stations_maintenance_ctl firmware add fw.bin --model X7-22 --version 3 --address 192.168.1.10:8180";

inline constexpr char const* firmware_delete =
    "Deletes the file too; a firmware that waits for its upload waits no longer. Asks first on a "
    "terminal.\n\n"
    "Example:\n"
    "  stations_maintenance_ctl firmware delete 7 8 --yes";

inline constexpr char const* firmware_available =
    "Example:\n"
    "  stations_maintenance_ctl firmware available --station 3";

inline constexpr char const* reports_list =
    "Examples:\n"
    "  stations_maintenance_ctl reports list --station 3 --type manual\n"
    "  stations_maintenance_ctl reports list --older-than 7d --sort size --reverse\n"
    "  stations_maintenance_ctl reports list --json --newer-than 2h";

inline constexpr char const* reports_generate =
    "Asks the stations one after the other. With --wait it ends when every station that accepted has its "
    "report\n"
    "filed, with exit code 4 when --timeout is over before.\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl reports generate --station 3 --wait\n"
    "  stations_maintenance_ctl reports generate --all --wait --timeout 10m";

inline constexpr char const* reports_delete =
    "Takes ids, or the conditions of \"reports list\", or --all. Asks first on a terminal; without one, "
    "conditions\n"
    "and --all need --yes.\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl reports delete 12 15\n"
    "  stations_maintenance_ctl reports delete --older-than 90d --yes";

inline constexpr char const* reports_export =
    "Takes ids, or the conditions of \"reports list\", or --all. The service writes the archive, so it needs "
    "to be\n"
    "allowed to write there. Says how many reports the archive gained, where counting its files tells, and "
    "ends with\n"
    "exit code 1 when that is not every one.\n\n"
    "Examples:\n"
    "  stations_maintenance_ctl reports export /tmp/reports.zip 12 15\n"
    "  stations_maintenance_ctl reports export station_3.zip --station 3 --newer-than 1w";

inline constexpr char const* reports_folder =
    "A relative folder lies below the service's working directory.\n\n"
    "Example:\n"
    "  stations_maintenance_ctl reports folder";

inline constexpr char const* watch =
    "Shows the events of the stations and of the upload server, a line each, until Ctrl-C or SIGTERM\n"
    "(exit code 0), or until its reader goes away (1).\n\n"
    "Example:\n"
    "  stations_maintenance_ctl watch --json";

}  // namespace tavi::ctl::help
