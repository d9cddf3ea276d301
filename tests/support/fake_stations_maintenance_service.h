#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

/// A stations maintenance service whose stations, firmware and reports are lists in memory.
class fake_stations_maintenance_service
    : public tavi::stations_maintenance::i_req_resp_stations_maintenance_service_handler {
 public:
  using configuration = tavi::stations_maintenance::stations_maintenance_configuration;
  using firmware = tavi::stations_maintenance::station_firmware_info;
  using firmware_desc = tavi::stations_maintenance::station_firmware_desc;
  using firmware_status = tavi::stations_maintenance::station_firmware_status;
  using report = tavi::stations_maintenance::diagnostic_report_info;
  using report_filter = tavi::stations_maintenance::diagnostic_report_filter;
  using report_type = tavi::stations_maintenance::diagnostic_report_type;

  /// A station; reports are asked of connected ones only.
  struct station {
    std::string model;
    bool connected = true;
  };

  using store_result = tavi::stations_maintenance::store_firmware_result;
  using delete_result = tavi::stations_maintenance::delete_firmware_result;
  using delete_reports_result = tavi::stations_maintenance::delete_reports_result;
  using generation_result = tavi::stations_maintenance::generation_result;

  static constexpr std::size_t firmware_limit = 5;

  /// While set, every operation throws.
  std::atomic<bool> is_failing = false;
  /// The token of every location; set before requests come.
  std::string upload_token = "token";

  void add(unsigned int id, station added) {
    auto const turn = enter();
    stations[id] = std::move(added);
  }
  void add(report added) {
    auto const turn = enter();
    reports.push_back(std::move(added));
  }
  void add(firmware added) {
    auto const turn = enter();
    next_id = std::max(next_id, added.id + 1);
    firmwares.push_back(std::move(added));
  }

  /// The ids of what was exported, export after export.
  std::vector<std::int32_t> exported() {
    auto const turn = enter();
    return exported_ids;
  }

  std::optional<configuration> on_get_configuration() override {
    auto const turn = enter();
    return in_force;
  }

  bool on_set_configuration(configuration const& wanted) override {
    auto const turn = enter();
    if (wanted.period_for_automatic_generation.count() < 0) {
      return false;
    }
    in_force = wanted.periodic_generation_enabled ? wanted : configuration{};
    in_force.periodic_generation_enabled = in_force.max_periodic_report_per_station != 0;
    return true;
  }

  std::optional<std::vector<firmware>> on_get_firmwares() override {
    auto const turn = enter();
    return firmwares;
  }

  store_result on_store_firmware(firmware_desc const& desc, std::string& out_text,
                                 unsigned int& out_value) override {
    auto const turn = enter();
    if (desc.models.empty()) {
      return store_result::model_refused;
    }
    if (firmwares.size() >= firmware_limit) {
      return store_result::limit_reached;
    }
    if (desc.version && (desc.version->empty() || has_version(desc))) {
      return store_result::version_refused;
    }
    out_value = next_id++;
    out_text = "/upload/" + upload_token;
    firmwares.push_back(
        {out_value, desc.version.value_or(""), "", 0, "", desc.models, firmware_status::pending_upload});
    return store_result::announced;
  }

  std::optional<firmware> on_get_firmware(unsigned int const& firmware_id) override {
    auto const turn = enter();
    auto const found = std::find_if(firmwares.begin(), firmwares.end(), has_id(firmware_id));
    return found == firmwares.end() ? std::nullopt : std::optional(*found);
  }

  delete_result on_delete_firmware(unsigned int const& firmware_id) override {
    auto const turn = enter();
    return std::erase_if(firmwares, has_id(firmware_id)) == 0 ? delete_result::unknown_firmware
                                                              : delete_result::deleted;
  }

  std::optional<std::vector<firmware>> on_get_charging_station_firmware(
      unsigned int const& station_id) override {
    auto const turn = enter();
    auto const found = stations.find(station_id);
    if (found == stations.end()) {
      return std::nullopt;
    }
    auto fitting = firmwares;
    std::erase_if(fitting, [&](firmware const& one) {
      return one.status != firmware_status::available || !fits(one.models, found->second.model);
    });
    return fitting;
  }

  delete_reports_result on_delete_diagnostic_reports(report_filter const& filter) override {
    auto const turn = enter();
    return std::erase_if(reports, is_chosen(filter)) == 0 ? delete_reports_result::none_matched
                                                          : delete_reports_result::deleted;
  }

  std::optional<std::vector<report>> on_get_diagnostic_reports() override {
    auto const turn = enter();
    return reports;
  }

  bool on_export_diagnostic_reports(report_filter const& filter, std::string const& destination) override {
    auto const turn = enter();
    auto const before = exported_ids.size();
    for (auto const& one : reports) {
      if (!destination.empty() && is_chosen(filter)(one)) {
        exported_ids.push_back(static_cast<std::int32_t>(one.diagnostic_id));
      }
    }
    return exported_ids.size() == before;
  }

  std::optional<std::vector<report>> on_get_station_diagnostic_reports(
      unsigned int const& station_id) override {
    auto const turn = enter();
    if (!stations.contains(station_id)) {
      return std::nullopt;
    }
    auto of_station = reports;
    std::erase_if(of_station, [&](report const& one) { return one.station_id != station_id; });
    return of_station;
  }

  generation_result on_generate_station_diagnostic_report(unsigned int const& station_id,
                                                          report_type const& type,
                                                          unsigned int& request_out) override {
    auto const turn = enter();
    if (type != report_type::periodic && type != report_type::manual) {
      return generation_result::failed;
    }
    auto const found = stations.find(station_id);
    if (found == stations.end()) {
      return generation_result::unknown_station;
    }
    if (!found->second.connected) {
      return generation_result::not_connected;
    }
    request_out = ++last_request;
    return generation_result::accepted;
  }

  std::string on_get_diagnostics_folder_path() override {
    auto const turn = enter();
    return std::string("diagnostic_reports");
  }

  std::string on_get_working_directory() override {
    auto const turn = enter();
    return "/var/lib/stations";
  }

  /// Every file lies where its path says, as in an absolute folder.
  std::optional<std::string> on_get_firmware_file(unsigned int const& firmware_id) override {
    auto const turn = enter();
    auto const found = std::find_if(firmwares.begin(), firmwares.end(), has_id(firmware_id));
    return found == firmwares.end() || found->path.empty() ? std::nullopt : std::optional(found->path);
  }

 private:
  [[nodiscard]] std::unique_lock<std::mutex> enter() {
    std::unique_lock lock(guard);
    if (is_failing) {
      throw std::runtime_error("told to fail");
    }
    return lock;
  }
  static std::function<bool(firmware const&)> has_id(unsigned int id) {
    return [id](firmware const& one) { return one.id == id; };
  }
  static std::function<bool(report const&)> is_chosen(report_filter const& filter) {
    return [&filter](report const& one) {
      auto const& ids = filter.diagnostic_ids;
      return std::find(ids.begin(), ids.end(), static_cast<std::int32_t>(one.diagnostic_id)) != ids.end();
    };
  }
  static bool fits(std::vector<std::string> const& models, std::string const& model) {
    return std::find(models.begin(), models.end(), model) != models.end();
  }
  [[nodiscard]] bool has_version(firmware_desc const& desc) const {
    return std::any_of(firmwares.begin(), firmwares.end(), [&](firmware const& stored) {
      return stored.status == firmware_status::available && stored.version == *desc.version &&
             std::any_of(desc.models.begin(), desc.models.end(),
                         [&](std::string const& model) { return fits(stored.models, model); });
    });
  }

  std::mutex guard;
  configuration in_force{10, true, std::chrono::seconds(86400)};
  std::map<unsigned int, station> stations;
  std::vector<firmware> firmwares;
  std::vector<report> reports;
  std::vector<std::int32_t> exported_ids;
  unsigned int next_id = 1;
  unsigned int last_request = 0;
};
