#include <fstream>
#include <iostream>
#include <string>

#include "command_line/command_table.h"
#include "command_line/completion_script.h"
#include "command_line/manual_page.h"

namespace {

bool write_file(std::string const& path, std::string const& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  if (!file) {
    std::cerr << "stations_maintenance_ctl_pages: cannot write " << path << '\n';
  }
  return !file.fail();
}

}  // namespace

/// Writes the manual page and the completions into the folder that is named.
int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: stations_maintenance_ctl_pages FOLDER\n";
    return 2;
  }
  auto const& program = tavi::ctl::command_table();
  auto const folder = std::string(argv[1]) + '/';
  auto const is_written =
      write_file(folder + "stations_maintenance_ctl.1",
                 tavi::ctl::make_manual_page(program, STATIONS_MAINTENANCE_VERSION)) &&
      write_file(folder + "stations_maintenance_ctl.bash", tavi::ctl::make_bash_completion(program)) &&
      write_file(folder + "_stations_maintenance_ctl", tavi::ctl::make_zsh_completion(program)) &&
      write_file(folder + "stations_maintenance_ctl.fish", tavi::ctl::make_fish_completion(program));
  return is_written ? 0 : 1;
}
