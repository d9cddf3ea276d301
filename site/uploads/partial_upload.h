#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

namespace tavi::site::uploads {

/// Bytes in the spool: what is there and what is promised to uploads that are going on.
struct spool_budget {
  std::uint64_t limit = 0;
  std::uint64_t used = 0;
};

/// Where the files of an upload stand in the spool.
struct spool_paths {
  std::filesystem::path part;     ///< while it is received
  std::filesystem::path data;     ///< when it is whole
  std::filesystem::path sidecar;  ///< what is known about it
};

/// The paths for an upload. @param id  of the spool's own making
[[nodiscard]] spool_paths make_spool_paths(std::filesystem::path const& folder, std::string const& id);

/// A file of the spool that is being received.
///
/// It is partial until `commit` succeeded; destroyed before that, it leaves nothing behind. Made by the
/// spool. One thread at a time.
class partial_upload {
 public:
  /// Takes over an open file. @param descriptor  of the file at the "part" path, open for writing
  partial_upload(std::filesystem::path const& folder, std::string given_id, int descriptor,
                 std::shared_ptr<spool_budget> shared_budget);
  ~partial_upload();
  partial_upload(partial_upload const&) = delete;
  partial_upload& operator=(partial_upload const&) = delete;

  /// Raises the room that is set aside to `bytes`; never lowers it. @return false when there is not so much
  [[nodiscard]] bool reserve(std::uint64_t bytes);

  /// Appends bytes. @return why not all of them were written; nothing more should be written then
  [[nodiscard]] std::error_code write(std::string_view bytes);

  /// Makes the file and what is known about it durable, and gives it its final name, in this order. Blocks as
  /// long as the disk needs; may be called on another thread than the rest.
  /// @param sidecar  what is known about the file, see `write_sidecar`
  /// @return why it failed; nothing stands under the final name then
  [[nodiscard]] std::error_code commit(std::string_view sidecar);

  /// Gives room back that was set aside and is not needed by the bytes written. @return those
  std::uint64_t settle();

  /// Bytes written so far.
  [[nodiscard]] std::uint64_t size() const { return written; }

  /// Under which the spool knows it.
  [[nodiscard]] std::string const& id() const { return own_id; }

  /// Where it stands after `commit`; absolute.
  [[nodiscard]] std::filesystem::path const& file_path() const { return paths.data; }

 private:
  std::error_code publish(std::string_view sidecar);

  std::string own_id;
  std::filesystem::path folder;
  spool_paths paths;
  int file;
  std::shared_ptr<spool_budget> budget;
  std::uint64_t reserved = 0;
  std::uint64_t written = 0;
  bool is_committed = false;
  bool is_settled = false;
};

}  // namespace tavi::site::uploads
