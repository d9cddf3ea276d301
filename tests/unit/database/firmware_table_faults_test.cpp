#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "firmware_table_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::err;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

class FaultyFirmwareTable : public firmware_table_fixture {};

TEST_F(FaultyFirmwareTable, FailsQuietlyBeforeItIsReady) {
  given_models();
  unsigned int id = 5;
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::failure);
  EXPECT_EQ(id, 5U);
  EXPECT_FALSE(table.update_stored_firmware_info(1, "1.0", "/p", 1, "ab"));
  EXPECT_FALSE(table.get_firmware(1));
  EXPECT_FALSE(table.get_all_firmwares());
  EXPECT_FALSE(table.get_firmware_from_model("Z"));
  EXPECT_THAT(table.models_associated_to_firmware(1), IsEmpty());
  EXPECT_EQ(table.nb_stored_firmware(), firmware_table::failure);
  EXPECT_EQ(table.nb_stored_firmware_for_model("A"), firmware_table::failure);
  EXPECT_FALSE(table.remove_firmware(1));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FaultyFirmwareTable, LeavesTheFlagAloneBeforeItIsReady) {
  for (auto const before : {false, true}) {
    auto failed = before;
    EXPECT_EQ(table.associate_models_to_firmware(1, {}, failed), firmware_table::failure);
    EXPECT_EQ(failed, before);
  }
}

TEST_F(FaultyFirmwareTable, SaysFailureWithEveryBitSet) {
  EXPECT_EQ(firmware_table::success, 0U);
  EXPECT_EQ(firmware_table::unknown_model, 3U);
  EXPECT_EQ(firmware_table::association_error, 4U);
  EXPECT_EQ(firmware_table::failure, 4294967295U);
}

TEST_F(FaultyFirmwareTable, AddsNothingWithoutTheStatementThatTellsTheId) {
  given_models();
  database.refuse_to_prepare("SELECT max(id)");
  ASSERT_FALSE(table.init());
  log.clear();
  unsigned int id = 5;
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::failure);
  EXPECT_THAT(stored_ids(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FaultyFirmwareTable, KeepsThePlaceholderWithoutTheStatementThatAssociates) {
  given_models();
  database.refuse_to_prepare("INSERT INTO FirmwareModelsRelation");
  ASSERT_FALSE(table.init());
  log.clear();
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::failure);
  EXPECT_EQ(id, 1U);
  EXPECT_THAT(stored_ids(), ElementsAre("1"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FaultyFirmwareTable, KeepsThePlaceholderWhoseIdItCannotRead) {
  given_ready_tables();
  database.hide_rows_of("SELECT max(id)");
  unsigned int id = 5;
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::failure);
  EXPECT_EQ(id, 5U);
  EXPECT_THAT(stored_ids(), SizeIs(1));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[firmware_table] Fail to execute query to get the last added firmware ID"}));
}

TEST_F(FaultyFirmwareTable, KeepsAFirmwareOfWhichALaterAssociationFails) {
  given_ready_tables();
  run("CREATE TRIGGER refusal BEFORE INSERT ON FirmwareModelsRelation WHEN NEW.model_id = 2 "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END");
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"A", "B", "C"}, id), firmware_table::association_error);
  EXPECT_THAT(table.models_associated_to_firmware(id), ElementsAre("A"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err,
                           "[firmware_table] Failed to add association between firmware with id 1 and model "
                           "B: refused"}));
}

TEST_F(FaultyFirmwareTable, KeepsAPlaceholderThatItCannotRemoveAgain) {
  given_ready_tables();
  database.fail_to_execute("DELETE FROM FirmwareTable WHERE id=?;");
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {}, id), firmware_table::unknown_model);
  EXPECT_THAT(stored_ids(), ElementsAre("1"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[firmware_table] Force remove firmware id 1 after model association failure"},
          log_line{err, "[firmware_table] Failed to delete firmware with id: 1"}));
}

TEST_F(FaultyFirmwareTable, TakesACountWithoutARowForAFailure) {
  given_ready_tables();
  database.hide_rows_of("SELECT count()");
  EXPECT_EQ(table.nb_stored_firmware(), firmware_table::failure);
  EXPECT_EQ(table.nb_stored_firmware_for_model("A"), firmware_table::failure);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{err, "[firmware_table] Failed to execute query to get the number of stored software"},
          log_line{err, "[firmware_table] Failed to execute query to get the numer of stored software"}));
}

TEST_F(FaultyFirmwareTable, ListsFirmwaresWhoseModelsItCannotRead) {
  given_ready_tables();
  given_stored({"A"});
  database.fail_to_execute("SELECT name");
  log_line const line{err, "[firmware_table] Failed to get associated models with firmware id : 1"};
  auto const one = table.get_firmware(1);
  ASSERT_TRUE(one);
  EXPECT_THAT(one->models, IsEmpty());
  EXPECT_THAT(table.get_all_firmwares(), Optional(ElementsAre(*one)));
  EXPECT_THAT(table.get_firmware_from_model("A"), Optional(ElementsAre(*one)));
  EXPECT_THAT(log.lines(), ElementsAre(line, line, line));
}

TEST_F(FaultyFirmwareTable, TakesAListThatBreaksOffForAFailure) {
  given_ready_tables();
  given_stored({"A", "B"});
  given_stored({"A"});
  database.break_after_first_row_of("SELECT * FROM FirmwareTable;");
  EXPECT_FALSE(table.get_all_firmwares());
  database.break_after_first_row_of("SELECT FirmwareTable.*");
  EXPECT_FALSE(table.get_firmware_from_model("A"));
  database.break_after_first_row_of("SELECT name");
  EXPECT_THAT(table.models_associated_to_firmware(1), IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[firmware_table] Failed to get all firmware"},
                  log_line{err, "[firmware_table] Failed to get associated firmwares with model : A"},
                  log_line{err, "[firmware_table] Failed to get associated models with firmware id : 1"}));
  database.heal();
  EXPECT_THAT(table.get_all_firmwares(), Optional(SizeIs(2)));
  EXPECT_THAT(table.get_firmware_from_model("A"), Optional(SizeIs(2)));
}

/// What fails around an announcement.
class FailingTransaction : public FaultyFirmwareTable, public testing::WithParamInterface<char const*> {};

TEST_P(FailingTransaction, AnnouncesNothing) {
  given_ready_tables();
  database.fail_to_execute(GetParam());
  unsigned int id = 0;
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::failure);
  EXPECT_THAT(stored_ids(), IsEmpty());
  EXPECT_THAT(stored_associations(), IsEmpty());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[firmware_table] Fail to execute query to add firmware"}));
  database.heal();
  EXPECT_EQ(table.add_firmware("1.0", {"A"}, id), firmware_table::success);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingTransaction, testing::Values("BEGIN", "COMMIT"),
                         [](auto const& tested) { return std::string(tested.param); });

/// One operation whose statement fails. What it answers is checked by `answers_failure`, what it logs by the
/// lines, and what is left by the number of rows.
struct failing_firmware_operation {
  char const* name;
  char const* statement;
  std::function<bool(firmware_table&)> answers_failure;
  std::vector<log_line> lines;
  std::size_t rows_left = 1;
};

void PrintTo(failing_firmware_operation const& operation, std::ostream* out) {
  *out << operation.name;
}

class FailingFirmwareOperation : public FaultyFirmwareTable,
                                 public testing::WithParamInterface<failing_firmware_operation> {};

TEST_P(FailingFirmwareOperation, LogsItsLinesAnswersFailureAndWorksAgainLater) {
  given_ready_tables();
  given_stored({"A"});
  log.clear();
  database.fail_to_execute(GetParam().statement);
  EXPECT_TRUE(GetParam().answers_failure(table));
  EXPECT_EQ(log.lines(), GetParam().lines);
  EXPECT_THAT(stored_ids(), SizeIs(GetParam().rows_left));

  database.heal();
  log.clear();
  EXPECT_FALSE(GetParam().answers_failure(table));
  EXPECT_FALSE(GetParam().answers_failure(table));
  EXPECT_THAT(log.lines(), IsEmpty());
}

/// Whether announcing a firmware for two models gives this code.
std::function<bool(firmware_table&)> adding_gives(std::uint32_t code) {
  return [code](firmware_table& table) {
    unsigned int id = 0;
    return table.add_firmware("2.0", {"A", "B"}, id) == code;
  };
}

std::vector<failing_firmware_operation> failing_announcements() {
  log_line const forced{err, "[firmware_table] Force remove firmware id 2 after model association failure"};
  return {
      {"Insert",
       "INSERT INTO FirmwareTable",
       adding_gives(4294967295U),
       {{err, "[firmware_table] Fail to execute query to add firmware"}}},
      {"MaxId",
       "SELECT max(",
       adding_gives(4294967295U),
       {{err, "[firmware_table] Fail to execute query to get the last added firmware ID"}},
       2},
      {"ModelId",
       "SELECT id FROM StationsModelsTable",
       adding_gives(4),
       {{err, "[stations_model_table] Failed to execute query to get model 'A'"}, forced}},
      {"Associate",
       "INSERT INTO FirmwareModelsRelation",
       adding_gives(4),
       {{err,
         "[firmware_table] Failed to add association between firmware with id 2 and model A: disk I/O error"},
        forced}},
  };
}

std::vector<failing_firmware_operation> failing_firmware_operations() {
  return {
      {"Update",
       "UPDATE",
       [](auto& t) { return !t.update_stored_firmware_info(1, "2.0", "/p", 1, "ab"); },
       {{err, "[firmware_table] Failed to update firmware with id 1"}}},
      {"Get",
       "SELECT * FROM FirmwareTable WHERE id=?;",
       [](auto& t) { return !t.get_firmware(1); },
       {{err, "[firmware_table] Failed to get firmware with id: 1"}}},
      {"All",
       "SELECT * FROM FirmwareTable;",
       [](auto& t) { return !t.get_all_firmwares(); },
       {{err, "[firmware_table] Failed to get all firmware"}}},
      {"OfModel",
       "SELECT FirmwareTable.*",
       [](auto& t) { return !t.get_firmware_from_model("A"); },
       {{err, "[firmware_table] Failed to get associated firmwares with model : A"}}},
      {"IdForOfModel",
       "SELECT id FROM StationsModelsTable",
       [](auto& t) { return !t.get_firmware_from_model("A"); },
       {{err, "[stations_model_table] Failed to execute query to get model 'A'"}}},
      {"ModelsOf",
       "SELECT name",
       [](auto& t) { return t.models_associated_to_firmware(1).empty(); },
       {{err, "[firmware_table] Failed to get associated models with firmware id : 1"}}},
      {"Count",
       "SELECT count() FROM FirmwareTable WHERE path",
       [](auto& t) { return t.nb_stored_firmware() == 4294967295U; },
       {{err, "[firmware_table] Failed to execute query to get the number of stored software"}}},
      {"CountForModel",
       "SELECT count() FROM FirmwareTable INNER",
       [](auto& t) { return t.nb_stored_firmware_for_model("A") == 4294967295U; },
       {{err, "[firmware_table] Failed to execute query to get the numer of stored software"}}},
      {"Remove",
       "DELETE FROM FirmwareTable WHERE id=?;",
       [](auto& t) { return !t.remove_firmware(1); },
       {{err, "[firmware_table] Failed to delete firmware with id: 1"}}},
  };
}

INSTANTIATE_TEST_SUITE_P(Announcement, FailingFirmwareOperation, testing::ValuesIn(failing_announcements()),
                         [](auto const& tested) { return std::string(tested.param.name); });
INSTANTIATE_TEST_SUITE_P(Each, FailingFirmwareOperation, testing::ValuesIn(failing_firmware_operations()),
                         [](auto const& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace tavi::stations_maintenance
