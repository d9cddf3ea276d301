#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include "diagnostics_archive.h"
#include "diagnostics_request.h"
#include "file_upload.h"
#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// One answer to GetDiagnostics being carried out: `prepare`, then `upload`, then `discard`.
///
/// Lives as long as its coroutines. Used on the event loop's thread.
class diagnostics_job : public std::enable_shared_from_this<diagnostics_job> {
 public:
  /// @param loop      runs the job
  /// @param asked     what the central system wants
  /// @param name      of the archive
  /// @param settings  the station's work folder and pace
  diagnostics_job(boost::asio::any_io_executor loop, diagnostics_request asked, std::string name,
                  station_options const& settings);

  /// Checks the location and makes the archive. @return empty when ready to upload; otherwise why not
  [[nodiscard]] boost::asio::awaitable<std::string> prepare(diagnostics_material material);

  /// Uploads, with as many further tries as the request grants. After `prepare` only.
  /// @return the last outcome
  [[nodiscard]] boost::asio::awaitable<upload_outcome> upload();

  /// Breaks off whatever runs; the job then ends as failed.
  void cancel();

  /// Removes the archive.
  void discard() { archive.discard(); }

  /// The archive's name, as the central system was told.
  [[nodiscard]] std::string const& file_name() const { return file; }

 private:
  diagnostics_request request;
  std::string file;
  std::string identity;
  std::optional<web_location> target;
  diagnostics_archive archive;
  file_upload transfer;
  boost::asio::steady_timer pause;
  bool is_cancelled = false;
};

}  // namespace tavi::simulator
