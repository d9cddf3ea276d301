#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mura_common/database.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"
#include "service_fixture.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using spdlog::level::info;
using tavi::logger::log_subtype;
using testing::Return;

constexpr char timeout_line[] = "[fw_storage_mgr] Timeout for the upload of firmware with token abc";

/// A running service, asked over IPC for firmware, and the web server that announces uploaded files.
class ServiceFirmware : public ServiceTest {
 protected:
  void SetUp() override {
    ON_CALL(tokens, get_upload_token("fw_storage_mgr")).WillByDefault(Return("abc"));
    ON_CALL(ocpp, get_charging_station(3))
        .WillByDefault(Return(tavi::stations::charging_station{.id = 3,
                                                               .identity = "CS-003",
                                                               .vendor = "Acme",
                                                               .model = "X7-22-S",
                                                               .diagnostics_status = {},
                                                               .connected = true}));
    ASSERT_TRUE(uploads.start());
    ASSERT_TRUE(init());
    ASSERT_TRUE(service.start());
  }

  /// Announces a firmware for the only supported model. @return its id, which the service must give
  [[nodiscard]] unsigned int announce(std::string const& version) {
    std::string uri;
    unsigned int id = 0;
    EXPECT_EQ(client.store_firmware({version, {"X7-22"}}, uri, id).value, store_firmware_result::announced);
    EXPECT_EQ(uri, "/upload/abc");
    return id;
  }

  /// Announces an uploaded file again and again, as the web server does, until a log line shows that it was
  /// taken.
  [[nodiscard]] bool is_taken(std::string const& name, std::string const& line) {
    auto const file = folder.write("spool/upload", "firmware image").string();
    auto const deadline = std::chrono::steady_clock::now() + 60s;
    while (std::chrono::steady_clock::now() < deadline) {
      uploads.publish_file_uploaded("abc", name, file);
      if (log.wait_for(info, line, 50ms)) {
        return true;
      }
    }
    return false;
  }

  [[nodiscard]] std::vector<station_firmware_info> available_for(unsigned int station) {
    return client.get_charging_station_firmware(station).value.value().value();
  }

  tavi::webserver_token::pub_webserver_token_service uploads;
  req_resp_stations_maintenance_service client{{.start = 60s, .query = 60s, .station = 60s}};
};

TEST_F(ServiceFirmware, GoesFromItsAnnouncementToTheStationsItFits) {
  EXPECT_CALL(logger, send_functional_log(13, log_subtype::firmware_available,
                                          "New firmware available version: 2.1 id=1 for models: X7-22"));
  auto const id = announce("2.1");
  EXPECT_TRUE(available_for(3).empty());
  ASSERT_TRUE(is_taken("fw.bin", "[fw_storage_mgr] firmware with id 1 added to DB and remove from pending"));
  auto const available = available_for(3);
  ASSERT_EQ(available.size(), 1U);
  EXPECT_EQ(available[0].id, id);
  EXPECT_EQ(available[0].version, "2.1");
  EXPECT_EQ(available[0].status, station_firmware_status::available);
  EXPECT_EQ(available[0].path, "/firmware/1_fw.bin");
  EXPECT_EQ(client.get_working_directory().value, std::filesystem::canonical(folder.path()).string());
  EXPECT_EQ(client.get_firmware_file(id).value.value(),
            (std::filesystem::canonical(folder.path()) / "firmware/1_fw.bin").string());
  EXPECT_EQ(content_of(folder.path() / "firmware/1_fw.bin"), "firmware image");
}

TEST_F(ServiceFirmware, IsHandledInTheServicesTurnByRequestAndEventAlike) {
  auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
  // Asked on a thread of its own, because whoever holds the turn must not try to take it again.
  auto const is_turn_taken = [&] {
    return std::async(std::launch::async,
                      [&] {
                        if (!lane->try_lock()) {
                          return true;
                        }
                        lane->unlock();
                        return false;
                      })
        .get();
  };
  std::atomic<bool> in_request = false;
  std::atomic<bool> in_event = false;
  EXPECT_CALL(tokens, get_upload_token).WillOnce([&] {
    in_request = is_turn_taken();
    return std::optional<std::string>("abc");
  });
  EXPECT_CALL(logger, send_functional_log).WillOnce([&] {
    in_event = is_turn_taken();
    return true;
  });
  static_cast<void>(announce("2.1"));
  ASSERT_TRUE(is_taken("fw.bin", "firmware with id 1 added to DB"));
  EXPECT_TRUE(in_request);
  EXPECT_TRUE(in_event);
}

TEST_F(ServiceFirmware, IsStillThereAfterARestart) {
  static_cast<void>(announce("2.1"));
  ASSERT_TRUE(is_taken("fw.bin", "firmware with id 1 added to DB"));
  ASSERT_TRUE(service.stop(0));
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  EXPECT_EQ(available_for(3).size(), 1U);
}

TEST_F(ServiceFirmware, IsForgottenAtARestartWhenItsFileHasNotArrived) {
  auto const id = announce("2.1");
  EXPECT_TRUE(client.get_firmware(id).value.value().has_value());
  ASSERT_TRUE(service.stop(0));
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  EXPECT_TRUE(log.holds(info, "[fw_storage_mgr] Cleanup firmware 1 that has no file"));
  EXPECT_FALSE(client.get_firmware(id).value.value().has_value());
}

TEST_F(ServiceFirmware, EndsTheStartWhenNobodyCanTellWhetherItsFileIsThere) {
  static_cast<void>(announce("2.1"));
  ASSERT_TRUE(service.stop(0));
  auto const query = service.database().create_query("UPDATE FirmwareTable SET path = ?");
  ASSERT_TRUE(query && query->bind_text(0, "/" + std::string(1000, 'x')) && query->execute());
  stations_maintenance_service next(logger, ocpp, tokens, network);
  EXPECT_CALL(ocpp, get_charging_stations()).Times(0);
  EXPECT_FALSE(init(next));
  EXPECT_TRUE(log.holds(spdlog::level::err, "do_init failed with the exception"));
}

TEST_F(ServiceFirmware, IsRefusedForAModelThatTheSiteDoesNotSupport) {
  std::string uri;
  unsigned int id = 0;
  EXPECT_EQ(client.store_firmware({"2.1", {"Y2"}}, uri, id).value, store_firmware_result::model_refused);
}

TEST_F(ServiceFirmware, KeepsToTheConfiguredLimit) {
  ASSERT_TRUE(service.stop(0));
  given_configuration("max_firmware_stored", "max_firmware_stored = 1");
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  static_cast<void>(announce("2.1"));
  ASSERT_TRUE(is_taken("fw.bin", "firmware with id 1 added to DB"));
  std::string uri;
  unsigned int id = 0;
  EXPECT_EQ(client.store_firmware({"2.2", {"X7-22"}}, uri, id).value, store_firmware_result::limit_reached);
  EXPECT_TRUE(
      log.holds(spdlog::level::err,
                "[fw_storage_mgr] Maximum number of stored firmware has been reached. maximum=1, current=1"));
}

TEST_F(ServiceFirmware, FailsAfterTheConfiguredTime) {
  ASSERT_TRUE(service.stop(0));
  given_configuration("upload_timeout", "upload_timeout = 1");
  stations_maintenance_service next(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(next));
  ASSERT_TRUE(next.start());
  auto const id = announce("2.1");
  ASSERT_TRUE(log.wait_for(spdlog::level::err, timeout_line, 60s));
  // The line comes first, the status right after it.
  auto seen = station_firmware_status::none;
  for (auto const deadline = std::chrono::steady_clock::now() + 60s;
       seen != station_firmware_status::failed && std::chrono::steady_clock::now() < deadline;) {
    seen = client.get_firmware(id).value.value().value().status;
  }
  EXPECT_EQ(seen, station_firmware_status::failed);
}

TEST_F(ServiceFirmware, IsKeptByAServiceThatEndsUntilTheRequestBeingHandledHasEnded) {
  ASSERT_TRUE(service.stop(0));
  given_configuration("upload_timeout", "upload_timeout = 1");
  auto next = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(*next));
  ASSERT_TRUE(next->start());
  std::promise<void> begun;
  std::promise<void> may_end;
  EXPECT_CALL(ocpp, get_charging_station(4)).WillOnce([&] {
    begun.set_value();
    may_end.get_future().wait();
    return std::optional<tavi::stations::charging_station>();
  });
  static_cast<void>(announce("2.1"));
  auto request = std::async(std::launch::async, [&] { return client.get_charging_station_firmware(4); });
  begun.get_future().wait();
  auto end = std::async(std::launch::async, [&] { next.reset(); });
  // Only a firmware manager that is still there lets the time-out of its upload expire.
  EXPECT_TRUE(log.wait_for(spdlog::level::err, timeout_line, 60s));
  may_end.set_value();
  EXPECT_EQ(request.get().failure, mura_common::call_failure::none);
  end.wait();
}

}  // namespace
}  // namespace tavi::stations_maintenance
