#include "uploads/partial_upload.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "mura_common/file.h"

namespace tavi::site::uploads {
namespace {

constexpr mode_t sidecar_mode = 0600;

std::error_code last_error() {
  return {errno, std::generic_category()};
}

std::error_code write_new_file(std::filesystem::path const& path, std::string_view text) {
  auto const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, sidecar_mode);
  if (file < 0) {
    return last_error();
  }
  std::error_code error;
  if (mura_common::write_all(file, text, error) && ::fsync(file) != 0) {
    error = last_error();
  }
  ::close(file);
  return error;
}

}  // namespace

spool_paths make_spool_paths(std::filesystem::path const& folder, std::string const& id) {
  return {folder / (id + ".part"), folder / (id + ".upload"), folder / (id + ".json")};
}

partial_upload::partial_upload(std::filesystem::path const& spool_folder, std::string given_id,
                               int descriptor, std::shared_ptr<spool_budget> shared_budget)
    : own_id(std::move(given_id)),
      folder(spool_folder),
      paths(make_spool_paths(spool_folder, own_id)),
      file(descriptor),
      budget(std::move(shared_budget)) {
}

partial_upload::~partial_upload() {
  if (file >= 0) {
    ::close(file);
  }
  if (!is_committed) {
    ::unlink(paths.part.c_str());
  }
  if (!is_settled) {
    budget->used -= reserved;
  }
}

bool partial_upload::reserve(std::uint64_t bytes) {
  if (bytes <= reserved) {
    return true;
  }
  auto const more = bytes - reserved;
  if (budget->used > budget->limit || more > budget->limit - budget->used) {
    return false;
  }
  budget->used += more;
  reserved = bytes;
  return true;
}

std::error_code partial_upload::write(std::string_view bytes) {
  std::error_code error;
  if (mura_common::write_all(file, bytes, error)) {
    written += bytes.size();
  }
  return error;
}

std::error_code partial_upload::commit(std::string_view sidecar) {
  auto const error = ::fsync(file) == 0 ? std::error_code() : last_error();
  ::close(std::exchange(file, -1));
  if (error) {
    return error;
  }
  return publish(sidecar);
}

std::error_code partial_upload::publish(std::string_view sidecar) {
  auto error = write_new_file(paths.sidecar, sidecar);
  if (!error && ::rename(paths.part.c_str(), paths.data.c_str()) != 0) {
    error = last_error();
  }
  if (!error && mura_common::flush_folder(folder, error)) {
    is_committed = true;
    return {};
  }
  // What is whole only in memory must not be found after a restart as if it had been acknowledged.
  ::unlink(paths.data.c_str());
  ::unlink(paths.sidecar.c_str());
  return error;
}

std::uint64_t partial_upload::settle() {
  budget->used -= reserved;
  budget->used += written;
  is_settled = true;
  return written;
}

}  // namespace tavi::site::uploads
