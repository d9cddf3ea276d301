#include "mura_common/service.h"

#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include <spdlog/spdlog.h>

#include "mura_common/delivery.h"
#include "mura_common/file.h"
#include "service/service_options.h"

namespace mura_common::service {
namespace {

namespace fs = std::filesystem;

enum class progress { constructed, init_begun, initialised, running };

/// The path of a folder, absolute and with links resolved, so that the working directory reads the same as
/// the process's current one.
std::optional<fs::path> existing_folder(char const* purpose, fs::path const& path) {
  std::error_code error;
  auto resolved = fs::canonical(path, error);
  if (!error && !fs::is_directory(resolved, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (error) {
    spdlog::error("[service] {} directory '{}' cannot be used: {}; expected an existing directory", purpose,
                  path.string(), error.message());
    return std::nullopt;
  }
  return resolved;
}

/// Makes a working directory that is missing, and has it last: what is kept in it is only as durable as the
/// directories above it. @return false, with a line in the log, when it cannot be made
bool make_working_folder(fs::path const& path) {
  std::error_code error;
  if (!fs::create_directories(path, error)) {
    if (error) {
      spdlog::error("[service] working directory '{}' cannot be made: {}", path.string(), error.message());
    }
    return !error;
  }
  // Nobody is to take a mistyped name, or a disk that is not there, for an empty site.
  spdlog::warn("[service] working directory '{}' was missing and has been made", path.string());
  for (auto above = fs::absolute(path, error); above.has_relative_path(); above = above.parent_path()) {
    static_cast<void>(flush_folder(above.parent_path(), error));
  }
  return true;
}

/// What follows the program's name.
std::vector<std::string> arguments_of(int argc, char const** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

/// Calls a hook; one that throws has failed.
template <typename Hook>
bool is_hook_content(std::string const& service_name, char const* hook_name, Hook hook) {
  try {
    if (hook()) {
      return true;
    }
    // Whatever failed has said so already; a second line would only push the first one away.
    spdlog::debug("[service] {}: {} failed", service_name, hook_name);
  } catch (std::exception const& failure) {
    spdlog::error("[service] {}: {} failed with the exception '{}'", service_name, hook_name, failure.what());
  }
  return false;
}

}  // namespace

struct [[gnu::visibility("hidden")]] service::members {
  members(std::string own_name, bool wants_database)
      : name(std::move(own_name)), has_database(wants_database), lane(delivery_lane_of(name)) {}

  /// Settles every path while relative ones still mean what the caller meant.
  [[nodiscard]] bool resolve(service_options const& options);
  [[nodiscard]] bool enter_working_dir() const;

  std::string const name;
  bool const has_database;
  std::shared_ptr<delivery_lane> const lane;
  progress reached = progress::constructed;
  std::string working_dir;
  std::string config_dir;
  std::string database_path;
  toml_config configuration;
  sqlite_database database;
};

bool service::members::resolve(service_options const& options) {
  auto const given_configs =
      options.config_dir ? existing_folder("configuration", *options.config_dir) : std::nullopt;
  if (options.config_dir && !given_configs) {
    return false;
  }
  if (!make_working_folder(options.working_dir)) {
    return false;
  }
  auto const working = existing_folder("working", options.working_dir);
  if (!working) {
    return false;
  }
  auto const& configs = given_configs ? given_configs : working;
  working_dir = working->string();
  config_dir = configs->string();
  if (has_database) {
    std::error_code error;
    auto const file =
        fs::absolute(options.database ? fs::path(*options.database) : *working / (name + ".db"), error);
    if (error) {
      spdlog::error("[service] the database file '{}' cannot be found: {}", *options.database,
                    error.message());
      return false;
    }
    database_path = file.string();
  }
  return true;
}

bool service::members::enter_working_dir() const {
  std::error_code error;
  fs::current_path(working_dir, error);
  if (error) {
    spdlog::error("[service] working directory '{}' cannot be entered: {}", working_dir, error.message());
  }
  return !error;
}

service::service(std::string name, bool has_database)
    : own(std::make_unique<members>(std::move(name), has_database)) {
}

service::~service() = default;

bool service::init(int argc, char const** argv) {
  if (own->reached != progress::constructed) {
    spdlog::error("[service] {}: init was called again, expected once for each object", own->name);
    return false;
  }
  own->reached = progress::init_begun;

  std::string refusal;
  auto const options = parse_service_options(arguments_of(argc, argv), refusal);
  if (!options) {
    spdlog::error("[service] {}: {}", own->name, refusal);
    spdlog::info("[service] {}", usage_line(argc > 0 ? argv[0] : own->name));
    return false;
  }
  if (!own->resolve(*options) || !own->enter_working_dir() ||
      !own->configuration.load(fs::path(own->config_dir) / (own->name + ".toml")) ||
      (own->has_database && !own->database.open(own->database_path))) {
    return false;
  }

  std::lock_guard const turn(*own->lane);
  if (!is_hook_content(own->name, "do_pre_init", [this] { return do_pre_init(); }) ||
      !is_hook_content(own->name, "do_init", [this] { return do_init(); })) {
    return false;
  }
  own->configuration.check_keys();
  own->configuration.check_saving();
  own->reached = progress::initialised;
  return true;
}

bool service::start() {
  if (own->reached == progress::running) {
    return true;
  }
  if (own->reached != progress::initialised) {
    spdlog::error("[service] {} cannot start, expected a successful init before", own->name);
    return false;
  }
  std::lock_guard const turn(*own->lane);
  if (!is_hook_content(own->name, "do_start", [this] { return do_start(); })) {
    return false;
  }
  own->reached = progress::running;
  return true;
}

bool service::stop(int reason) {
  if (reason != 0) {
    spdlog::info("[service] {} stops because of signal {}", own->name, reason);
  } else {
    spdlog::info("[service] {} stops", own->name);
  }
  if (own->reached != progress::running) {
    return true;
  }
  // The lane stays free: whoever stops a server waits for its request in progress, which needs the lane.
  if (!is_hook_content(own->name, "do_stop", [this] { return do_stop(); })) {
    return false;
  }
  own->reached = progress::initialised;
  return true;
}

std::string const& service::name() const {
  return own->name;
}

std::string const& service::working_dir() const {
  return own->working_dir;
}

std::string const& service::config_dir() const {
  return own->config_dir;
}

IConfigParameterProvider& service::config() {
  return own->configuration;
}

IDatabase& service::database() {
  return own->database;
}

std::string const& service::database_path() const {
  return own->database_path;
}

std::string service::find_wrong_usage(int argc, char const** argv) {
  std::string refusal;
  static_cast<void>(parse_service_options(arguments_of(argc, argv), refusal));
  return refusal;
}

std::string service::usage(std::string const& program) {
  return usage_line(program) +
         "\n"
         "  --working-dir DIR  the directory to work in, made when it is missing, and made the current one "
         "(default: the current directory)\n"
         "  --config-dir DIR   the directory of the configuration files (default: the working directory)\n"
         "  --database FILE    the database (default: the file in the working directory named after the "
         "service, with .db)\n";
}

bool service::do_pre_init() {
  return true;
}

bool service::do_init() {
  return true;
}

bool service::do_start() {
  return true;
}

bool service::do_stop() {
  return true;
}

}  // namespace mura_common::service
