#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "faulty_database.h"
#include "firmware_table.h"
#include "fw_storage_mgr.h"
#include "mock_siblings.h"
#include "mura_common/database.h"
#include "stations_model_table.h"
#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {

using status = station_firmware_status;
using texts = std::vector<std::string>;

inline void PrintTo(status one, std::ostream* out) {
  *out << "status " << static_cast<int>(one);
}

inline void PrintTo(station_firmware_info const& one, std::ostream* out) {
  *out << one.id << " '" << one.version << "' at '" << one.path << "', " << one.size << " bytes, " << one.hash
       << ", ";
  PrintTo(one.status, out);
  for (auto const& model : one.models) {
    *out << ", " << model;
  }
}

/// What `init` is given, with values that stand in nobody's way.
struct firmware_limits {
  unsigned int max_stored = 1000;
  unsigned int max_by_station = 1000;
  std::chrono::seconds timeout{3600};
};

/// What an announcement answers.
struct announcement {
  store_firmware_result code = store_firmware_result::announced;
  std::string uri = "unchanged";
  unsigned int id = 0;
};

/// One life of a manager over a folder: a real database "firmware.db" in it, its clients mocked.
///
/// The site supports the models "X7" (stations of Acme that call themselves X7 or X7-S), "Y2" and "Z3". The
/// tokens handed out are "token 1", "token 2" and so on. A restart is a further run over the same folder.
class manager_run {
 public:
  explicit manager_run(std::filesystem::path const& folder) : home(folder) {
    auto const supported = (home / "supported_stations.json").string();
    std::ofstream(supported) << R"({"stations": [
      {"name": "X7", "vendor": "Acme", "models": ["X7", "X7-S"]},
      {"name": "Y2", "vendor": "Acme", "models": ["Y2"]},
      {"name": "Z3", "vendor": "Other", "models": ["Z3"]}]})";
    if (!database.open(home / "firmware.db") || !models.initTable() || !table.initTable() ||
        !provider.load(supported) || !models.add_stations_models(provider.get_station_models())) {
      throw std::runtime_error("the run cannot begin in " + home.string());
    }
    ON_CALL(tokens, get_upload_token("fw_storage_mgr")).WillByDefault([this] {
      return std::optional("token " + std::to_string(++last_token));
    });
  }

  [[nodiscard]] bool init(firmware_limits const& limits = {}, std::string const& storage = {}) {
    return manager.init(storage.empty() ? (home / "store").string() : storage, limits.max_stored,
                        limits.max_by_station, limits.timeout);
  }

  /// Runs a statement past the tables.
  void execute(std::string const& text) {
    auto const query = database.create_query(text);
    if (query == nullptr || !query->execute()) {
      throw std::runtime_error(text + " failed: " + database.last_error());
    }
  }

  announcement announce(std::optional<std::string> const& version, texts const& of_models = {"X7"}) {
    announcement result;
    result.code = manager.on_request_add_firmware(version, of_models, result.uri, result.id);
    return result;
  }

  /// The token of an announcement.
  [[nodiscard]] static std::string token_of(announcement const& one) {
    return one.uri.substr(std::string("/upload/").size());
  }

  /// Puts a file where the web server would. @return its path
  [[nodiscard]] std::string given_uploaded(std::string const& name, std::string const& content) const {
    std::filesystem::create_directories(home / "spool");
    auto const file = home / "spool" / name;
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
  }

  /// Announces a firmware and has its file "fw.bin" arrive. @return its id
  unsigned int given_stored(std::string const& version, texts const& of_models = {"X7"},
                            std::string const& content = "content") {
    auto const one = announce(version, of_models);
    manager.on_file_uploaded(token_of(one), "fw.bin", given_uploaded("fw.bin", content));
    return one.id;
  }

  /// Adds a row with a file of this path, past the manager. @return its id
  unsigned int given_row(std::optional<std::string> const& version, std::string const& path,
                         std::string const& hash = "hash", texts const& of_models = {"X7"}) {
    unsigned int id = 0;
    table.add_firmware(version, of_models, id);
    table.update_stored_firmware_info(id, version.value_or(""), path, 1, hash);
    return id;
  }

  /// Where a firmware's file "fw.bin" lies.
  [[nodiscard]] std::string stored_file(unsigned int id, std::string const& name = "fw.bin") const {
    return (home / "store" / (std::to_string(id) + "_" + name)).string();
  }

  /// The ids of all rows.
  [[nodiscard]] std::vector<unsigned int> row_ids() {
    std::vector<unsigned int> ids;
    auto const rows = table.get_all_firmwares();
    for (auto const& row : rows.value()) {
      ids.push_back(row.id);
    }
    return ids;
  }

  /// The ids and statuses that the manager lists.
  [[nodiscard]] std::vector<std::pair<unsigned int, status>> listed() {
    std::vector<std::pair<unsigned int, status>> all;
    auto const listed_now = manager.get_all_firmwares();
    for (auto const& one : listed_now.value()) {
      all.emplace_back(one.id, one.status);
    }
    return all;
  }

  std::filesystem::path home;
  unsigned int last_token = 0;
  mura_common::sqlite_database database;
  faulty_database faults{database};
  stations_model_table models{faults};
  firmware_table table{faults, models};
  testing::NiceMock<mock_logger> logger;
  testing::NiceMock<mock_ocpp> ocpp;
  testing::NiceMock<mock_webserver_tokens> tokens;
  tavi::stations::station_model_provider provider;
  fw_storage_mgr manager{logger, ocpp, tokens, models, table, provider};
};

}  // namespace tavi::stations_maintenance
