#include "mura_common/zipper.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

#include "archive/archive_draft.h"
#include "mura_common/program_run.h"

namespace mura_common {

namespace fs = std::filesystem;

namespace {

/// The part of `file` below `folder`; empty when it does not lie below it. Names are compared, not places: a
/// folder has the name under which the files were added.
fs::path path_below(fs::path const& folder, fs::path const& file) {
  auto const bare = folder.has_filename() ? folder : folder.parent_path();
  auto const [folder_rest, file_rest] = std::mismatch(bare.begin(), bare.end(), file.begin(), file.end());
  fs::path below;
  if (folder_rest == bare.end()) {
    for (auto part = file_rest; part != file.end(); ++part) {
      below /= *part;
    }
  }
  return below;
}

/// Where a file lies, absolute and without "." or "..", which an archive's names must not hold.
/// @param workdir  absolute
/// @param error    set when that cannot be told
fs::path place_of(fs::path const& workdir, fs::path const& file, std::error_code& error) {
  auto const whole = workdir / file;
  auto const plain = whole.lexically_normal();
  // Behind a link ".." leads elsewhere than its text says.
  std::error_code differs;
  if (std::find(whole.begin(), whole.end(), "..") == whole.end() || fs::equivalent(whole, plain, differs)) {
    return plain;
  }
  return fs::canonical(whole, error);
}

/// The name that the archiver is given: from the working folder where it can be, and never beginning with a
/// "-" or "@", which mean something to it. It drops the leading "./" or "/" by itself.
/// @param given_workdir  as the names of files below it begin
/// @param workdir        the same, absolute
std::string name_for_archiver(fs::path const& given_workdir, fs::path const& workdir, std::string const& file,
                              std::error_code& error) {
  auto const below_given = path_below(given_workdir, file);
  auto const place = place_of(workdir, below_given.empty() ? fs::path(file) : below_given, error);
  auto const below = path_below(workdir.lexically_normal(), place);
  return below.empty() ? place.string() : "./" + below.string();
}

/// One line of a text that strangers had a hand in.
std::string one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](char letter) { return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f; }, ' ');
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

bool has_nul(std::string const& text) {
  return text.find('\0') != std::string::npos;
}

/// The names for the archiver. A missing file's is none of them: the archiver would take it for a pattern of
/// names that it has packed before.
std::vector<std::string> names_to_pack(fs::path const& given_workdir, fs::path const& workdir,
                                       std::vector<std::string> const& files) {
  std::vector<std::string> names;
  for (auto const& file : files) {
    std::error_code error;
    auto name = name_for_archiver(given_workdir, workdir, file, error);
    if (!error && fs::exists(workdir / name, error)) {
      names.push_back(std::move(name));
    } else if (!error || error == std::errc::no_such_file_or_directory) {
      spdlog::warn("[zipper] file {} does not exist and is left out", one_line(file));
    } else {
      spdlog::warn("[zipper] file {} cannot be looked at and is left out: {}", one_line(file),
                   error.message());
    }
  }
  return names;
}

/// What the shell is to run. The names are its arguments: it hands them on unread. Options for the archiver
/// in the two variables would change what it does: "-m" deletes what it has packed.
std::string script_for(std::string const& archiver) {
  return "unset ZIP ZIPOPT; " + archiver + " \"$@\"";
}

}  // namespace

zipper::zipper(std::string zip_command, std::string shell_command, std::chrono::milliseconds time_limit)
    : archiver(std::move(zip_command)), shell(std::move(shell_command)), limit(time_limit) {
}

void zipper::add_file(std::string const& path) {
  files.push_back(path);
}

bool zipper::zip_from_folder_cd_workdir(std::string const& workdir, std::string const& destination) {
  auto const refuse = [&](std::string const& reason) {
    spdlog::error("[zipper] cannot pack {} files into {}: {}", files.size(), one_line(destination),
                  one_line(reason));
    return false;
  };
  if (archiver.find_first_not_of(" \t\n") == std::string::npos) {
    return refuse("no archiver is named");
  }
  if (files.empty()) {
    return refuse("there is no file to pack");
  }
  // Cut at such a byte, a name would be another file's.
  if (has_nul(destination) || std::any_of(files.begin(), files.end(), has_nul)) {
    return refuse("a name holds a byte that no file's name can hold");
  }
  std::error_code error;
  auto const absolute = fs::absolute(workdir, error);
  archive_draft draft;
  if (error || !draft.prepare(absolute / destination, error)) {
    return refuse(error.message());
  }
  auto const names = names_to_pack(workdir, absolute, files);
  if (names.empty()) {
    return refuse("none of the files exists");
  }
  // Grown, an archive that exists is not written anew for every batch of files.
  std::vector<std::string> arguments{shell, "-c", script_for(archiver),  shell,
                                     "-nw", "-g", draft.path().string(), "--"};
  arguments.insert(arguments.end(), names.begin(), names.end());
  auto const failure = run_program(std::move(arguments), absolute, limit);
  if (!failure.empty()) {
    return refuse(failure);
  }
  return draft.publish(error) || refuse("the archive cannot be put in place: " + error.message());
}

}  // namespace mura_common
