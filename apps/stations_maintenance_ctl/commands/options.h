#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "commands/report_choice.h"
#include "text/record_text.h"

namespace tavi::ctl {

/// `config get`
struct config_get_options {};

/// `config set`: what is to be changed, at least one of them.
struct config_set_options {
  std::optional<std::uint32_t> max_periodic;   ///< most periodic reports kept for a station
  std::optional<std::chrono::seconds> period;  ///< between two periodic generations
  bool enable = false;                         ///< switch periodic generation on
  bool disable = false;                        ///< switch periodic generation off; excludes everything else
};

/// `firmware list`
struct firmware_list_options {
  std::optional<std::uint32_t> limit = {};  ///< most that are listed
};

/// `firmware show`
struct firmware_show_options {
  std::uint32_t id = 0;  ///< of the firmware
};

/// `firmware add`
struct firmware_add_options {
  std::filesystem::path file;          ///< to upload
  std::vector<std::string> models;     ///< that it fits, at least one
  std::optional<std::string> version;  ///< not empty
  bool no_version = false;             ///< there is none, and that is wanted; excludes a version
  std::optional<std::string> address;  ///< of the web server; from the network service when absent
  std::chrono::seconds time_out{60};   ///< for the service to take the uploaded file
};

/// `firmware delete`
struct firmware_delete_options {
  std::vector<std::uint32_t> ids;  ///< at least one
  bool yes = false;                ///< do not ask
};

/// `firmware available`
struct firmware_available_options {
  std::uint32_t station = 0;                ///< that is to be updated
  std::optional<std::uint32_t> limit = {};  ///< most that are listed
};

/// `reports list`
struct reports_list_options {
  report_choice choice;                     ///< which are listed
  report_order order = report_order::id;    ///< what they are sorted by
  bool reverse = false;                     ///< largest first
  std::optional<std::uint32_t> limit = {};  ///< most that are listed, the first of this order
  std::optional<time_form> time = {};       ///< how moments are told; as suits people or programs when absent
};

/// `reports generate`
struct reports_generate_options {
  std::vector<std::uint32_t> stations;                           ///< to be asked, unless `all`
  bool all = false;                                              ///< ask every station of the site
  diagnostic_report_type type = diagnostic_report_type::manual;  ///< which limit the reports count against
  bool wait = false;                                             ///< until the reports are filed
  std::chrono::seconds time_out{300};                            ///< of the waiting
};

/// Reports chosen by their ids or by conditions, never by both.
struct report_target {
  std::vector<std::uint32_t> ids;  ///< when not empty, the choice is empty and `all` false
  report_choice choice;            ///< every report when empty, which takes `all`
  bool all = false;                ///< every report of the site
};

/// `reports delete`
struct reports_delete_options {
  report_target target;                ///< what is deleted
  bool yes = false;                    ///< do not ask
  std::chrono::seconds time_out{600};  ///< of one request
};

/// `reports export`
struct reports_export_options {
  std::filesystem::path destination;   ///< ends in ".zip"
  report_target target;                ///< what is exported
  bool append = false;                 ///< an existing archive gains the reports
  std::chrono::seconds time_out{600};  ///< of one request
};

/// `reports show`
struct reports_show_options {
  std::uint32_t id = 0;  ///< of the report
};

/// `reports get`
struct reports_get_options {
  std::uint32_t id = 0;  ///< of the report
  std::optional<std::filesystem::path>
      file;            ///< to be made, or a folder for it; here under the report's name if absent
  bool force = false;  ///< replace a file that exists
};

/// `reports folder`
struct reports_folder_options {};

/// `watch`
struct watch_options {
  std::vector<std::string> events;      ///< names of those to be shown; all when empty
  std::vector<std::uint32_t> stations;  ///< only what these stations tell; everything when empty
};

/// What the user asked for.
using command_options =
    std::variant<config_get_options, config_set_options, firmware_list_options, firmware_show_options,
                 firmware_add_options, firmware_delete_options, firmware_available_options,
                 reports_list_options, reports_generate_options, reports_delete_options,
                 reports_export_options, reports_show_options, reports_get_options, reports_folder_options,
                 watch_options>;

}  // namespace tavi::ctl
