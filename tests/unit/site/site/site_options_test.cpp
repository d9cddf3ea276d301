#include "site_options.h"

#include <ostream>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site {
namespace {

using namespace std::chrono_literals;

TEST(SiteOptions, ShippedConfigurationIsReadAndSaysTheDefaults) {
  log_capture const log;
  auto const options = read_site_options(SITE_CONFIGURATION);
  ASSERT_TRUE(options.has_value());
  site_options const defaults;
  EXPECT_EQ(options->address, defaults.address);
  EXPECT_EQ(options->port, defaults.port);
  EXPECT_EQ(options->advertised_address, defaults.advertised_address);
  EXPECT_EQ(options->is_accepting_unknown, defaults.is_accepting_unknown);
  EXPECT_EQ(options->station_limit, defaults.station_limit);
  EXPECT_EQ(options->heartbeat, defaults.heartbeat);
  EXPECT_EQ(options->session.call_time_out, defaults.session.call_time_out);
  EXPECT_EQ(options->session.idle_time_out, defaults.session.idle_time_out);
  EXPECT_EQ(options->uploads.upload.max_bytes, defaults.uploads.upload.max_bytes);
  EXPECT_EQ(options->uploads.spool_budget_bytes, defaults.uploads.spool_budget_bytes);
  EXPECT_EQ(options->uploads.tokens.life_time, defaults.uploads.tokens.life_time);
  EXPECT_EQ(options->uploads.upload.idle_time, defaults.uploads.upload.idle_time);
  EXPECT_EQ(options->uploads.upload.total_time, defaults.uploads.upload.total_time);
  EXPECT_EQ(options->firmware.folders, defaults.firmware.folders);
  EXPECT_EQ(options->firmware.tokens.life_time, defaults.firmware.tokens.life_time);
  EXPECT_EQ(options->firmware.times.idle_time, defaults.firmware.times.idle_time);
  EXPECT_EQ(options->firmware.times.total_time, defaults.firmware.times.total_time);
  EXPECT_EQ(options->update.retries, defaults.update.retries);
  EXPECT_EQ(options->update.retry_interval, defaults.update.retry_interval);
  EXPECT_EQ(options->event_log_bytes, defaults.event_log_bytes);
  EXPECT_EQ(options->event_log_files, defaults.event_log_files);
  EXPECT_TRUE(log.lines().empty());
}

/// The shipped configuration with one line changed.
struct changed_line {
  char const* name;
  std::string line;         ///< as shipped
  std::string replacement;  ///< instead of it
  std::string key;          ///< that the log names
};

void PrintTo(changed_line const& row, std::ostream* out) {
  *out << row.name << ": " << row.replacement;
}

class site_configuration : public testing::Test {
 protected:
  /// Reads the shipped configuration after a change.
  [[nodiscard]] std::optional<site_options> read_changed(std::string const& line,
                                                         std::string const& replacement) const {
    auto text = content_of(SITE_CONFIGURATION);
    auto const at = text.find("\n" + line + "\n");
    EXPECT_NE(at, std::string::npos) << line;
    text.replace(at + 1, line.size(), replacement);
    return read_site_options(folder.write("site.toml", text));
  }

  log_capture log;
  temporary_folder folder;
};

class refused_configuration : public site_configuration, public testing::WithParamInterface<changed_line> {};

TEST_P(refused_configuration, IsRefusedWithALineThatNamesTheKey) {
  EXPECT_EQ(read_changed(GetParam().line, GetParam().replacement).has_value(), false);
  EXPECT_TRUE(log.holds(spdlog::level::err, GetParam().key));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, refused_configuration,
    testing::Values(
        changed_line{"NoAddress", "address = \"127.0.0.1\"", "", "site.address"},
        changed_line{"AddressIsANumber", "address = \"127.0.0.1\"", "address = 5", "site.address"},
        changed_line{"NoPort", "port = 8180", "", "site.port"},
        changed_line{"PortTooLarge", "port = 8180", "port = 65536", "site.port"},
        changed_line{"PortBelowZero", "port = 8180", "port = -1", "site.port"},
        changed_line{"UnknownChoice", "unknown = \"accept\"", "unknown = \"maybe\"", "stations.unknown"},
        changed_line{"NoStations", "max_stations = 1000", "max_stations = 0", "stations.max_stations"},
        changed_line{"NoHeartbeat", "heartbeat_interval = 300", "heartbeat_interval = 0",
                     "stations.heartbeat_interval"},
        changed_line{"CallTimeOutTooLong", "call_time_out = 10", "call_time_out = 16",
                     "stations.call_time_out"},
        changed_line{"SizeIsText", "max_spool_size_mib = 2048", "max_spool_size_mib = \"2G\"",
                     "uploads.max_spool_size_mib"},
        changed_line{"NoFolders", "folders = \"\"", "", "firmware.folders"},
        changed_line{"FoldersAreAList", "folders = \"\"", "folders = [\"/store\"]", "firmware.folders"},
        changed_line{"FolderIsRelative", "folders = \"\"", "folders = \"/a:store\"", "firmware.folders"},
        changed_line{"TooManyRetries", "retries = 3", "retries = 101", "firmware.retries"},
        changed_line{"NoRetryInterval", "retry_interval = 60", "retry_interval = 0",
                     "firmware.retry_interval"},
        changed_line{"FirmwareTokensLiveTooLong", "token_life_time = 86400", "token_life_time = 2592001",
                     "firmware.token_life_time"},
        changed_line{"NoOlderFilesKey", "max_older_files = 5", "", "event_log.max_older_files"},
        changed_line{"NoToml", "[event_log]", "[event_log", "site.toml"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(site_configuration, ValuesOfTheFileAreTaken) {
  EXPECT_EQ(read_changed("port = 8180", "port = 0").value().port, 0);
  EXPECT_FALSE(read_changed("unknown = \"accept\"", "unknown = \"refuse\"").value().is_accepting_unknown);
  EXPECT_EQ(read_changed("call_time_out = 10", "call_time_out = 15").value().session.call_time_out, 15s);
  EXPECT_EQ(read_changed("max_spool_size_mib = 2048", "max_spool_size_mib = 8192")
                .value()
                .uploads.spool_budget_bytes,
            8192ULL * 1024 * 1024);
}

TEST_F(site_configuration, FoldersAreAPathEach) {
  auto const options = read_changed("folders = \"\"", "folders = \"/var/store:/srv/more firmware\"").value();
  EXPECT_EQ(options.firmware.folders,
            (std::vector<std::filesystem::path>{"/var/store", "/srv/more firmware"}));
}

TEST_F(site_configuration, UnknownKeyIsNamedWithTheNearestOne) {
  EXPECT_TRUE(read_changed("port = 8180", "port = 8180\nadress = \"::\"").has_value());
  EXPECT_TRUE(
      log.holds(spdlog::level::warn, "'site.adress' is not known here, did you mean 'site.address'?"));
}

TEST_F(site_configuration, MissingFileIsRefused) {
  EXPECT_FALSE(read_site_options(folder.path() / "none.toml").has_value());
  EXPECT_TRUE(log.holds(spdlog::level::err, "none.toml"));
}

}  // namespace
}  // namespace tavi::site
