#include "firmware/firmware_folders.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include <spdlog/spdlog.h>

#include "firmware/firmware_file.h"
#include "request_text.h"

namespace tavi::site::firmware {
namespace {

namespace fs = std::filesystem;

bool is_below(fs::path const& file, fs::path const& folder) {
  std::error_code error;
  auto const real = fs::canonical(folder, error);
  if (error) {
    return false;
  }
  // By components: "/store" holds nothing of "/store-old".
  return std::mismatch(real.begin(), real.end(), file.begin(), file.end()).first == real.end();
}

std::optional<fs::path> refuse(std::string const& path, std::string_view reason) {
  spdlog::warn("[firmware_server] {} is not delivered: {}", http::escape_for_log(path, 500), reason);
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<fs::path>> parse_firmware_folders(std::string const& text) {
  std::vector<fs::path> folders;
  for (std::size_t begin = 0; !text.empty() && begin <= text.size();) {
    auto const end = std::min(text.find(':', begin), text.size());
    fs::path folder = text.substr(begin, end - begin);
    if (!folder.is_absolute()) {
      return std::nullopt;
    }
    folders.push_back(std::move(folder));
    begin = end + 1;
  }
  return folders;
}

std::optional<fs::path> find_deliverable(std::vector<fs::path> const& folders, std::string const& path) {
  // To the system the path would end at a zero byte.
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
    return refuse(path, "an absolute path is expected");
  }
  std::error_code error;
  auto file = fs::canonical(path, error);
  if (error) {
    return refuse(path, error.message());
  }
  if (std::none_of(folders.begin(), folders.end(),
                   [&](auto const& folder) { return is_below(file, folder); })) {
    return refuse(path, "it lies in none of the configured folders");
  }
  if (!firmware_file::open(file, error)) {
    return refuse(path, error.message());
  }
  return file;
}

}  // namespace tavi::site::firmware
