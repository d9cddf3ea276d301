#include "site_options.h"

#include <limits>
#include <vector>

#include <spdlog/spdlog.h>

#include "firmware/firmware_folders.h"
#include "mura_common/config.h"

namespace tavi::site {

namespace {

constexpr std::uint64_t mebibyte = 1024 * 1024;
constexpr unsigned int a_day = 24 * 60 * 60;

/// Takes values out of a configuration and remembers whether each was what its key takes.
class option_reader {
 public:
  explicit option_reader(std::filesystem::path read_file) : file(std::move(read_file)) {}

  bool load() { return config.load(file); }
  /// To be called when every key has been read.
  void check_keys() const { config.check_keys(); }
  [[nodiscard]] bool is_valid() const { return valid; }

  std::string read_text(std::string const& key) {
    auto const entry = config.getParam<std::string>(key);
    if (!entry.has_value()) {
      refuse(key, "a text");
      return {};
    }
    return entry->value();
  }

  std::vector<std::filesystem::path> read_folders(std::string const& key) {
    auto const entry = config.getParam<std::string>(key);
    auto const folders = entry.has_value() ? firmware::parse_firmware_folders(entry->value()) : std::nullopt;
    if (!folders.has_value()) {
      refuse(key, "absolute paths separated by \":\", or \"\"");
    }
    return folders.value_or(std::vector<std::filesystem::path>());
  }

  bool read_choice(std::string const& key, std::string const& chosen, std::string const& other) {
    auto const entry = config.getParam<std::string>(key);
    if (!entry.has_value() || (entry->value() != chosen && entry->value() != other)) {
      refuse(key, fmt::format("\"{}\" or \"{}\"", chosen, other));
      return false;
    }
    return entry->value() == chosen;
  }

  unsigned int read_number(std::string const& key, unsigned int least, unsigned int most) {
    auto const entry = config.getParam<unsigned int>(key);
    if (!entry.has_value() || entry->value() < least || entry->value() > most) {
      refuse(key, fmt::format("a whole number from {} to {}", least, most));
      return least;
    }
    return entry->value();
  }

  std::chrono::seconds read_seconds(std::string const& key, unsigned int most = a_day) {
    return std::chrono::seconds(read_number(key, 1, most));
  }

  std::uint64_t read_mebibytes(std::string const& key) {
    return read_number(key, 1, std::numeric_limits<std::int32_t>::max()) * mebibyte;
  }

 private:
  void refuse(std::string const& key, std::string const& expected) {
    valid = false;
    spdlog::error("[site_options] {}: {} is missing or wrong, expected {}", file.string(), key, expected);
  }

  std::filesystem::path file;
  mura_common::toml_config config;
  bool valid = true;
};

void read_firmware(option_reader& reader, site_options& options) {
  options.firmware.folders = reader.read_folders("firmware.folders");
  options.firmware.tokens.life_time = reader.read_seconds("firmware.token_life_time", 30 * a_day);
  options.firmware.times.idle_time = reader.read_seconds("firmware.idle_time_out");
  options.firmware.times.total_time = reader.read_seconds("firmware.total_time_out");
  options.update.retries = reader.read_number("firmware.retries", 0, 100);
  options.update.retry_interval = reader.read_seconds("firmware.retry_interval");
}

}  // namespace

std::optional<site_options> read_site_options(std::filesystem::path const& file) {
  option_reader reader(file);
  if (!reader.load()) {
    return std::nullopt;
  }
  site_options options;
  options.address = reader.read_text("site.address");
  options.port = static_cast<std::uint16_t>(
      reader.read_number("site.port", 0, std::numeric_limits<std::uint16_t>::max()));
  options.advertised_address = reader.read_text("site.advertised_address");
  options.is_accepting_unknown = reader.read_choice("stations.unknown", "accept", "refuse");
  options.station_limit = reader.read_number("stations.max_stations", 1, 100'000);
  options.heartbeat = reader.read_seconds("stations.heartbeat_interval");
  // The controller's services give up on the site after 20 s; a station must have failed before.
  options.session.call_time_out = reader.read_seconds("stations.call_time_out", 15);
  options.session.idle_time_out = reader.read_seconds("stations.idle_time_out");
  options.uploads.upload.max_bytes = reader.read_mebibytes("uploads.max_file_size_mib");
  options.uploads.spool_budget_bytes = reader.read_mebibytes("uploads.max_spool_size_mib");
  options.uploads.tokens.life_time = reader.read_seconds("uploads.token_life_time");
  options.uploads.upload.idle_time = reader.read_seconds("uploads.idle_time_out");
  options.uploads.upload.total_time = reader.read_seconds("uploads.total_time_out");
  options.event_log_bytes = reader.read_mebibytes("event_log.max_file_size_mib");
  options.event_log_files = reader.read_number("event_log.max_older_files", 0, 1000);
  read_firmware(reader, options);
  reader.check_keys();
  return reader.is_valid() ? std::optional(options) : std::nullopt;
}

}  // namespace tavi::site
