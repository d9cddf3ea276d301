#include "command_line/command_table.h"
#include "command_line/record_making.h"

namespace tavi::ctl {

namespace {

command_record make_firmware_list() {
  auto made =
      make_command<firmware_list_options>("firmware", "list", "Lists stored, announced and failed firmware");
  made.details = {
      "Stored and announced firmware come first, then those whose upload failed. Their status is available, "
      "pending_upload, being_processed, without_version or failed."};
  made.options = {make_option<firmware_list_options>("--limit", value::limit, &firmware_list_options::limit,
                                                     "List the first only")};
  made.examples = {{"", "stations_maintenance_ctl firmware list"}};
  return made;
}

command_record make_firmware_show() {
  using options = firmware_show_options;
  auto made = make_command<options>("firmware", "show", "Shows one firmware");
  made.options = {make_required<options>("ID", value::firmware_id, &options::id, "Id of the firmware")};
  made.examples = {{"", "stations_maintenance_ctl firmware show 7"}};
  return made;
}

command_record make_firmware_add() {
  using options = firmware_add_options;
  auto made = make_command<options>("firmware", "add", "Uploads a firmware");
  made.details = {
      "Announces the firmware for the station models named, uploads the file to the controller's web server, "
      "waits until the service has taken it, and shows what it became. The stored SHA-256 is compared with "
      "that of the file.",
      "When the upload fails or is interrupted, the announcement is taken back; a second Ctrl-C ends at once "
      "and leaves it to the service's upload time-out.",
      "The service cannot read a version from the file: what has none is uploaded and then discarded, so "
      "--version has to be given. With --no-version it is uploaded all the same, to try the way there."};
  made.options = {
      make_required<options>("FILE", value::file, &options::file, "File to upload"),
      make_required<options>("--model", value::model, &options::models,
                             "Station model that it fits; may be repeated"),
      make_option<options>("--version", value::version, &options::version, "Version of the firmware"),
      make_flag<options>("--no-version", &options::no_version,
                         "Upload it without a version, though it is discarded then"),
      make_option<options>("--address", value::address, &options::address,
                           "Web server, as HOST:PORT; otherwise the network service is asked"),
      make_option<options>("--timeout", value::patience, &options::time_out,
                           "Time for the service to take the uploaded file (default 60s)"),
  };
  made.rules = {{{{"--version"}, {"--no-version"}},
                 "without a version the uploaded firmware is discarded",
                 "--version, or --no-version if that is wanted"}};
  made.examples = {
      {"", "stations_maintenance_ctl firmware add fw-2.1.0.bin --model X7-22 --model X9-11 --version 2.1.0"},
      {"",
       "stations_maintenance_ctl firmware add fw.bin --model X7-22 --version 3 --address 192.168.1.10:8180"},
  };
  return made;
}

command_record make_firmware_delete() {
  using options = firmware_delete_options;
  auto made = make_command<options>("firmware", "delete", "Deletes firmware");
  made.details = {
      "Deletes the file too; a firmware that waits for its upload waits no longer, and one whose upload "
      "failed is forgotten. Asks first on a terminal."};
  made.options = {
      make_required<options>("ID", value::firmware_id, &options::ids, "Ids of the firmware"),
      make_flag<options>("--yes", &options::yes, "Do not ask"),
  };
  made.examples = {{"", "stations_maintenance_ctl firmware delete 7 8 --yes"}};
  return made;
}

command_record make_firmware_available() {
  using options = firmware_available_options;
  auto made =
      make_command<options>("firmware", "available", "Lists the complete firmware that fits a station");
  made.options = {
      make_required<options>("--station", value::station, &options::station, "Number of the station"),
      make_option<options>("--limit", value::limit, &options::limit, "List the first only")};
  made.examples = {{"", "stations_maintenance_ctl firmware available --station 3"}};
  return made;
}

}  // namespace

std::vector<command_record> make_firmware_records() {
  return {make_firmware_list(), make_firmware_show(), make_firmware_add(), make_firmware_delete(),
          make_firmware_available()};
}

}  // namespace tavi::ctl
