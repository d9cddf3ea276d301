#pragma once

#include <chrono>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pending_upload.h"
#include "stations_maintenance/station_firmware_info.h"

namespace tavi::stations_maintenance {

class firmware_table;

/// The firmware uploads that are awaited, those that failed, and the mutex that guards both.
///
/// Only a view reaches them, so whoever works on them has said whether the mutex is held meanwhile. An upload
/// is awaited from its announcement until its file is stored, it fails, or its firmware is deleted; a failed
/// one is remembered until it is forgotten on request. Both live in memory only.
class announced_uploads {
 public:
  class view;

  /// @param firmwares  the rows of the announced firmware; must outlive this
  explicit announced_uploads(firmware_table& firmwares);

  /// Waits until nobody holds the mutex. @return a view that holds it as long as it lives
  [[nodiscard]] view lock();
  /// A view that holds nothing: for work that only the service's turn keeps apart from that of others.
  [[nodiscard]] view without_lock();

 private:
  firmware_table& firmware_db;
  std::list<pending_upload> pending_uploads;
  std::vector<station_firmware_info> failed_uploads;
  std::mutex pending_mutex;
};

/// What can be seen of the uploads, and done with them. Must not outlive them.
class announced_uploads::view {
 public:
  /// The awaited upload with exactly this token, whatever its status; null when there is none.
  [[nodiscard]] pending_upload* find(std::string const& token) const;
  /// The awaited upload of a firmware; null when there is none.
  [[nodiscard]] pending_upload* find(unsigned int firmware_id) const;
  /// The failed uploads in the order of their failure.
  [[nodiscard]] std::vector<station_firmware_info> const& failed() const { return uploads.failed_uploads; }
  /// Whether a firmware of this version, byte for byte, is stored for one of the models; awaited ones do not
  /// count, even overdue, and a model that cannot be looked up has none.
  [[nodiscard]] bool is_stored(std::string const& version, std::vector<std::string> const& models) const;

  /// Awaits the file of an announced firmware from now on.
  void await(std::chrono::milliseconds timeout, std::string const& token, unsigned int firmware_id,
             std::optional<std::string> const& version, std::vector<std::string> const& models);
  /// Awaits a firmware's file no longer, if it did.
  void forget(unsigned int firmware_id);
  /// Makes an announced firmware a failed upload: remembers it with this status, removes its row and ends its
  /// time-out. Without row and announcement nothing is remembered. A row that cannot be removed stays, with a
  /// line in the log.
  void fail(unsigned int firmware_id, station_firmware_status status);
  /// Forgets the failed upload of a firmware. @return false when there is none
  bool forget_failed(unsigned int firmware_id);

 private:
  friend class announced_uploads;
  view(announced_uploads& of, std::unique_lock<std::mutex> lock);

  announced_uploads& uploads;
  std::unique_lock<std::mutex> held;
};

}  // namespace tavi::stations_maintenance
