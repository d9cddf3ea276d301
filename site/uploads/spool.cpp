#include "uploads/spool.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string_view>
#include <utility>

#include <openssl/rand.h>
#include <spdlog/spdlog.h>

#include "mura_common/text.h"

namespace tavi::site::uploads {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t id_bytes = 16;
constexpr mode_t data_mode = 0640;

bool is_id(std::string_view text) {
  return text.size() == 2 * id_bytes && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// The ids of everything in the folder that the spool has named.
std::set<std::string> find_ids(fs::path const& folder, std::error_code& error) {
  std::set<std::string> ids;
  for (fs::directory_iterator place(folder, error), end; !error && place != end; place.increment(error)) {
    auto const id = place->path().stem().string();
    auto const kind = place->path().extension();
    if (is_id(id) && (kind == ".part" || kind == ".upload" || kind == ".json")) {
      ids.insert(id);
    }
  }
  return ids;
}

std::error_code make_folder(fs::path const& folder) {
  std::error_code error;
  if (fs::create_directories(folder, error)) {
    // Whoever takes a file away needs to write to the folder; the file itself need only be readable.
    fs::permissions(folder, fs::perms::owner_all | fs::perms::group_all, error);
  }
  if (!error && !fs::is_directory(folder)) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (!error && ::access(folder.c_str(), R_OK | W_OK | X_OK) != 0) {
    error = {errno, std::generic_category()};
  }
  return error;
}

/// The whole content of a file; what was read of it when there is an error.
std::string read_file(fs::path const& path, std::error_code& error) {
  std::string content;
  auto const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    error = {errno, std::generic_category()};
    return content;
  }
  std::array<char, 4096> chunk;
  auto count = ::read(file, chunk.data(), chunk.size());
  while (count > 0) {
    content.append(chunk.data(), static_cast<std::size_t>(count));
    count = ::read(file, chunk.data(), chunk.size());
  }
  error = count < 0 ? std::error_code(errno, std::generic_category()) : std::error_code();
  ::close(file);
  return content;
}

}  // namespace

spool::spool(fs::path spool_folder, std::uint64_t budget_bytes)
    : folder(std::move(spool_folder)), budget(std::make_shared<spool_budget>()) {
  budget->limit = budget_bytes;
}

std::optional<std::vector<finished_upload>> spool::open(clock_reading const& now) {
  std::error_code error;
  folder = fs::absolute(folder, error);
  if (!error) {
    error = make_folder(folder);
  }
  auto const ids = error ? std::set<std::string>() : find_ids(folder, error);
  if (error) {
    spdlog::error("[spool] folder {} cannot be used: {}", folder.string(), error.message());
    return std::nullopt;
  }
  std::vector<finished_upload> finished;
  for (auto const& id : ids) {
    auto const upload = recover(id, now, error);
    if (error) {
      spdlog::error("[spool] leaves upload {} in {} until the next start, it cannot be read: {}", id,
                    folder.string(), error.message());
      continue;
    }
    if (!upload) {
      spdlog::info("[spool] removes what is left of upload {} in {}", id, folder.string());
      remove(id);
      continue;
    }
    waiting.emplace(id, upload->bytes);
    budget->used += upload->bytes;
    finished.push_back(*upload);
  }
  return finished;
}

std::optional<finished_upload> spool::recover(std::string const& id, clock_reading const& now,
                                              std::error_code& error) const {
  auto const paths = make_spool_paths(folder, id);
  auto const kind = fs::symlink_status(paths.data, error);
  auto const bytes = fs::is_regular_file(kind) ? fs::file_size(paths.data, error) : 0;
  auto const text = fs::is_regular_file(kind) && !error ? read_file(paths.sidecar, error) : std::string();
  // An upload was acknowledged, so it is given up only when it is certain that nothing is known about it.
  if (error == std::errc::no_such_file_or_directory) {
    error.clear();
    return std::nullopt;
  }
  auto upload = error ? std::nullopt : read_sidecar(text, now);
  if (upload) {
    upload->id = id;
    upload->file_path = paths.data;
    upload->bytes = bytes;
  }
  return upload;
}

std::unique_ptr<partial_upload> spool::begin(std::error_code& error) {
  std::array<std::uint8_t, id_bytes> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
    error = std::make_error_code(std::errc::resource_unavailable_try_again);
    return nullptr;
  }
  auto const id = mura_common::toHexString(bytes);
  auto const part = make_spool_paths(folder, id).part;
  auto const file = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, data_mode);
  if (file < 0) {
    error = {errno, std::generic_category()};
    return nullptr;
  }
  auto upload = std::make_unique<partial_upload>(folder, id, file, budget);
  // The mode that was asked for is cut by the process's mask, but who takes the file away may be in the group.
  if (::fchmod(file, data_mode) != 0) {
    error = {errno, std::generic_category()};
    return nullptr;
  }
  error.clear();
  return upload;
}

bool spool::reserve(partial_upload& upload, std::uint64_t bytes) {
  if (upload.reserve(bytes)) {
    return true;
  }
  forget_taken();
  return upload.reserve(bytes);
}

void spool::adopt(partial_upload& upload) {
  waiting.emplace(upload.id(), upload.settle());
}

bool spool::is_there(finished_upload const& upload) {
  std::error_code error;
  auto const kind = fs::symlink_status(upload.file_path, error).type();
  // An upload is given up only when its file is known to be gone.
  return kind != fs::file_type::not_found;
}

void spool::remove(std::string const& id) {
  auto const paths = make_spool_paths(folder, id);
  std::error_code ignored;
  fs::remove(paths.part, ignored);
  fs::remove(paths.data, ignored);
  fs::remove(paths.sidecar, ignored);
  auto const place = waiting.find(id);
  if (place != waiting.end()) {
    budget->used -= place->second;
    waiting.erase(place);
  }
}

void spool::forget_taken() {
  std::vector<std::string> taken;
  for (auto const& [id, bytes] : waiting) {
    std::error_code error;
    if (fs::symlink_status(make_spool_paths(folder, id).data, error).type() == fs::file_type::not_found) {
      taken.push_back(id);
    }
  }
  for (auto const& id : taken) {
    remove(id);
  }
}

}  // namespace tavi::site::uploads
