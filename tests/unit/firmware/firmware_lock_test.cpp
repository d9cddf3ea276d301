#include <future>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "file_mode_hook.h"
#include "firmware_fixture.h"
#include "log_gate.h"

namespace tavi::stations_maintenance {
namespace {

using testing::IsEmpty;
using testing::Return;

/// How long an answer that must not come is waited for.
constexpr std::chrono::milliseconds vigilance{300};

struct waiting_case {
  char const* situation;
  /// Does what must wait. @return the status that the first firmware has afterwards
  status (*ask)(manager_run& run, unsigned int other);
};

void PrintTo(waiting_case const& one, std::ostream* out) {
  *out << one.situation;
}

class WhileAFileIsProcessed : public FirmwareManagerTest, public testing::WithParamInterface<waiting_case> {};

using WhileAnotherFileIsProcessed = FirmwareManagerTest;

TEST_P(WhileAFileIsProcessed, WaitsForTheOutcome) {
  ASSERT_TRUE(run.init());
  ON_CALL(run.ocpp, get_charging_station(5))
      .WillByDefault(Return(tavi::stations::charging_station{.id = 5,
                                                             .identity = "CS-005",
                                                             .vendor = "Acme",
                                                             .model = "X7",
                                                             .diagnostics_status = {},
                                                             .connected = true}));
  auto const one = run.announce("1.2");
  auto const other = run.announce("1.3");
  std::future<status> asked;
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    std::promise<void> begun;
    auto running = begun.get_future();
    asked = std::async(std::launch::async, [&, moved = std::move(begun)]() mutable {
      moved.set_value();
      return GetParam().ask(run, other.id);
    });
    running.wait();
    EXPECT_EQ(asked.wait_for(vigilance), std::future_status::timeout);
    return 0;
  });

  manager.on_file_uploaded(manager_run::token_of(one), "fw.bin", run.given_uploaded("fw.bin", "content"));

  ASSERT_TRUE(hook.has_run());
  EXPECT_EQ(asked.get(), status::available);
}

TEST_F(WhileAnotherFileIsProcessed, AFirmwareIsAnnouncedAndAFailedUploadForgottenAtOnce) {
  ASSERT_TRUE(run.init());
  auto const failed = run.announce("1.1");
  manager.set_failed_upload(failed.id, status::failed);
  auto const one = run.announce("1.2");
  std::future<void> asked;
  file_mode_hook const hook(file_mode_hook::call::by_name, [&] {
    asked = std::async(std::launch::async, [&] {
      EXPECT_EQ(run.announce("1.3").code, store_firmware_result::announced);
      EXPECT_EQ(manager.delete_firmware(failed.id), delete_firmware_result::deleted);
    });
    EXPECT_EQ(asked.wait_for(patience), std::future_status::ready);
    return 0;
  });
  manager.on_file_uploaded(manager_run::token_of(one), "fw.bin", run.given_uploaded("fw.bin", "content"));
  ASSERT_TRUE(hook.has_run());
  asked.get();
}

status status_of_first(manager_run& run) {
  return run.manager.get_firmware_from_id(1).value().status;
}

INSTANTIATE_TEST_SUITE_P(
    Each, WhileAFileIsProcessed,
    testing::Values(
        waiting_case{"QueryById", [](manager_run& run, unsigned int) { return status_of_first(run); }},
        waiting_case{"QueryOfAll",
                     [](manager_run& run, unsigned int) {
                       return run.manager.get_all_firmwares().value().at(0).status;
                     }},
        waiting_case{"QueryForAStation",
                     [](manager_run& run, unsigned int) {
                       return run.manager.get_available_firmware_for_station(5).value().at(0).status;
                     }},
        waiting_case{"QueryOfItsToken",
                     [](manager_run& run, unsigned int) {
                       return run.manager.is_my_token("token 1") ? status::being_processed
                                                                 : status_of_first(run);
                     }},
        waiting_case{"DeletionOfAnother",
                     [](manager_run& run, unsigned int other) {
                       return run.manager.delete_firmware(other) == delete_firmware_result::deleted
                                  ? status_of_first(run)
                                  : status::none;
                     }}),
    [](auto const& tested) { return std::string(tested.param.situation); });

class EndOfAnAnnouncement : public FirmwareManagerTest {};

TEST_F(EndOfAnAnnouncement, KeepsOthersWaitingAndComesBeforeTheEndOfTheRow) {
  ASSERT_TRUE(run.init({.timeout = std::chrono::seconds(0)}));
  log_gate const gate;
  auto const one = run.announce("1");
  EXPECT_TRUE(gate.wait_for_arrival(patience));
  // The announcement cannot end before its time-out, which is held up, has been noted.
  auto deletion = std::async(std::launch::async, [&] { return manager.delete_firmware(one.id); });
  std::future<bool> asked;
  do {
    asked = std::async(std::launch::async, [&] { return manager.is_my_token("token 1"); });
  } while (asked.wait_for(vigilance) == std::future_status::ready && asked.get());

  EXPECT_TRUE(asked.valid()) << "the token was unknown before its announcement had ended";
  auto const rows = run.database.create_query("SELECT count() FROM FirmwareTable;");
  EXPECT_TRUE(rows->execute());
  EXPECT_EQ(rows->get_uint32(0), 1U);
  gate.open();
  EXPECT_FALSE(asked.valid() && asked.get());
  EXPECT_EQ(deletion.get(), delete_firmware_result::deleted);
  EXPECT_THAT(run.row_ids(), IsEmpty());
  EXPECT_THAT(run.listed(), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
