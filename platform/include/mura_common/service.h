#pragma once

#include <memory>
#include <string>

#include "mura_common/config.h"
#include "mura_common/database.h"
#include "mura_common/export.h"

namespace mura_common::service {

/// Base of a service that a host process drives: options, working directory, configuration, database, hooks.
///
/// States: constructed; initialised once `init` returned true; running between `start` and `stop`; `start`
/// may follow `stop` again. A failed step leaves the service where the failure happened; the host then
/// destroys it, or repeats `start` or `stop`. A hook fails when it returns false or throws a std::exception,
/// which is logged and goes no further. While a hook other than `do_stop` runs, no request and no event of
/// the service is being handled (see `delivery_lane`). The host calls `init`, `start` and `stop` from one
/// thread.
class MURA_COMMON_EXPORT service {
 public:
  /// @param name          of the service: names its configuration file, database file and delivery lane
  /// @param has_database  whether `init` opens a database
  service(std::string name, bool has_database);
  virtual ~service();
  service(service const&) = delete;
  service& operator=(service const&) = delete;

  /// Reads the options, prepares the surroundings, then calls `do_pre_init` and `do_init`.
  ///
  /// Options: `--working-dir DIR` (made, with its parents, when it is missing; becomes the current directory
  /// of the process, because relative storage paths are resolved against both; default: the current
  /// directory), `--config-dir DIR` (must exist; default: the working directory), `--database FILE` (default:
  /// `<working-dir>/<name>.db`; a service without a database ignores it). Reads `<config-dir>/<name>.toml`.
  /// Relative option values are resolved against the current directory at the call.
  /// @param argc, argv  as `main` gets them
  /// @return false, with a line in the log, when an option is unknown, given twice, or lacks its value (a
  ///         second line then has the usage), a directory or the configuration cannot be used, the database
  ///         cannot be opened, a hook failed, or `init` was called before
  virtual bool init(int argc, char const** argv);

  /// Calls `do_start`.
  /// @return its result; without calling it, false when `init` has not succeeded, and true when the service
  ///         is running already
  virtual bool start();

  /// Calls `do_stop`.
  /// @param reason  the number of the signal that asked for the stop, 0 for any other reason; logged
  /// @return the hook's result, the service still counting as running when it is false; true without calling
  ///         it when the service is not running
  virtual bool stop(int reason);

  /// The name given to the constructor.
  [[nodiscard]] virtual std::string const& name() const;
  /// Absolute path of the working directory, without links in it; empty before `init`.
  [[nodiscard]] virtual std::string const& working_dir() const;
  /// Absolute path of the configuration directory; empty before `init`.
  [[nodiscard]] virtual std::string const& config_dir() const;
  /// The configuration; has no parameters before `init`.
  [[nodiscard]] virtual IConfigParameterProvider& config();
  /// The database. May be called, and the reference kept, before `init`: until then it creates no query.
  [[nodiscard]] virtual IDatabase& database();
  /// Absolute path of the database file; empty before `init` and for a service without a database.
  [[nodiscard]] virtual std::string const& database_path() const;

  /// Why `init` would refuse a command line for its options alone, with the option that was probably meant.
  /// @param argc, argv  as `main` gets them
  /// @return empty when it would not
  [[nodiscard]] static std::string find_wrong_usage(int argc, char const** argv);
  /// The usage line and a line for each option of `init`, for a host's `--help`.
  /// @param program  the name that the usage line begins with
  [[nodiscard]] static std::string usage(std::string const& program);

 protected:
  /// Runs first in `init`, when options, configuration and database are ready. The base's does nothing.
  virtual bool do_pre_init();
  /// Runs last in `init`. The base's does nothing.
  virtual bool do_init();
  /// Runs in `start`. The base's does nothing.
  virtual bool do_start();
  /// Runs in `stop`. The base's does nothing.
  virtual bool do_stop();

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace mura_common::service
