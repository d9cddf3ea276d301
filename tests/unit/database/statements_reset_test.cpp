#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_table.h"
#include "firmware_table_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using testing::IsEmpty;

constexpr auto kind = diagnostic_report_type::manual;

/// The three tables, and one row or more of each, in a database that tells which statements were not reset.
class tables_fixture : public firmware_table_fixture {
 public:
  void given_tables_with_rows() {
    given_ready_tables();
    ASSERT_TRUE(reports.initTable());
    for (auto const* const path : {"/a", "/b"}) {
      ASSERT_TRUE(reports.insert_diagnostic_report(7, "name", kind, 1));
      ASSERT_TRUE(reports.update_full_path_query(*reports.get_max_diagnostic_id(7), path));
    }
    given_stored({"A", "B"});
    given_stored({"A"});
  }

  diagnostic_table reports{database};
  using firmware_table_fixture::models;
  using firmware_table_fixture::table;
};

/// One operation of a table: with rows to find (1), and with none (0).
struct operation {
  char const* name;
  std::function<void(tables_fixture&, bool has_rows)> call;
};

void PrintTo(operation const& tested, std::ostream* out) {
  *out << tested.name;
}

class Operation : public tables_fixture, public testing::WithParamInterface<operation> {
 protected:
  void call(bool has_rows) {
    GetParam().call(*this, has_rows);
    EXPECT_THAT(database.not_reset, IsEmpty());
  }
};

TEST_P(Operation, ResetsEveryStatementHoweverItEnds) {
  given_tables_with_rows();
  EXPECT_THAT(database.not_reset, IsEmpty());
  std::vector<std::function<void()>> const faults{
      [] {},
      [this] { database.hide_rows_of(""); },
      [this] { database.break_after_first_row_of(""); },
      [this] { database.fail_to_execute("FirmwareModelsRelation"); },
      [this] { database.fail_to_execute("SELECT"); },
      [this] { database.fail_to_execute(""); },
  };
  for (auto const& arrange : faults) {
    arrange();
    call(false);
    call(true);
    database.heal();
  }
}

unsigned int station(bool has_rows) {
  return has_rows ? 7 : 8;
}

std::vector<operation> report_operations() {
  return {
      {"Insert", [](auto& t, bool) { t.reports.insert_diagnostic_report(8, "name", kind, 1); }},
      {"MaxId", [](auto& t, bool has_rows) { t.reports.get_max_diagnostic_id(station(has_rows)); }},
      {"UpdatePath", [](auto& t, bool has_rows) { t.reports.update_full_path_query(has_rows, "/c"); }},
      {"AllPaths", [](auto& t, bool) { t.reports.get_all_diagnostics_path(); }},
      {"All", [](auto& t, bool) { t.reports.get_all_diagnostics(); }},
      {"OfStation", [](auto& t, bool has_rows) { t.reports.get_diagnostics_of_station(station(has_rows)); }},
      {"Oldest", [](auto& t, bool) { t.reports.get_oldest_diagnostic({}, {}); }},
      {"OldestOfStation",
       [](auto& t, bool has_rows) { t.reports.get_oldest_diagnostic(has_rows ? 7 : 8, {}); }},
      {"OldestOfType",
       [](auto& t, bool has_rows) { t.reports.get_oldest_diagnostic(has_rows ? 7 : 8, kind); }},
      {"Count",
       [](auto& t, bool has_rows) { t.reports.count_stored_diagnostic_reports(station(has_rows), kind); }},
      {"ChosenPaths",
       [](auto& t, bool has_rows) {
         t.reports.get_list_of_diagnostics_path({has_rows, 2});
       }},
      {"DeleteOfStation",
       [](auto& t, bool has_rows) { t.reports.delete_diagnostic_reports_for_station(station(has_rows)); }},
      {"DeleteByPath",
       [](auto& t, bool has_rows) { t.reports.delete_diagnostic_report_for_path(has_rows ? "/a" : "/z"); }},
      {"DeleteMany",
       [](auto& t, bool) {
         auto deletions = t.reports.begin_deletions();
         static_cast<void>(deletions.commit());
       }},
  };
}

std::vector<operation> firmware_operations() {
  return {
      {"Add",
       [](auto& t, bool has_rows) {
         unsigned int id = 0;
         t.table.add_firmware("1.0", {has_rows ? "A" : "unknown"}, id);
       }},
      {"AddForNothing",
       [](auto& t, bool) {
         unsigned int id = 0;
         t.table.add_firmware({}, {}, id);
       }},
      {"Associate",
       [](auto& t, bool has_rows) {
         bool failed = false;
         t.table.associate_models_to_firmware(has_rows, {"A", "B"}, failed);
       }},
      {"Update",
       [](auto& t, bool has_rows) { t.table.update_stored_firmware_info(has_rows, "1", "/p", 1, "ab"); }},
      {"Get", [](auto& t, bool has_rows) { t.table.get_firmware(has_rows); }},
      {"AllFirmwares", [](auto& t, bool) { t.table.get_all_firmwares(); }},
      {"OfModel", [](auto& t, bool has_rows) { t.table.get_firmware_from_model(has_rows ? "A" : "C"); }},
      {"ModelsOf", [](auto& t, bool has_rows) { t.table.models_associated_to_firmware(has_rows); }},
      {"CountFirmwares", [](auto& t, bool) { t.table.nb_stored_firmware(); }},
      {"CountOfModel",
       [](auto& t, bool has_rows) { t.table.nb_stored_firmware_for_model(has_rows ? "A" : "C"); }},
      {"Remove", [](auto& t, bool has_rows) { t.table.remove_firmware(has_rows); }},
      {"AddModels",
       [](auto& t, bool has_rows) {
         t.models.add_stations_models({{has_rows ? "A" : "D", "Acme", {}}, {"E", "Acme", {}}});
       }},
      {"ModelId",
       [](auto& t, bool has_rows) {
         int id = 0;
         t.models.get_model_id(has_rows ? "A" : "unknown", id);
       }},
      {"InitReports", [](auto& t, bool) { static_cast<void>(t.reports.initTable()); }},
      {"InitModels", [](auto& t, bool) { static_cast<void>(t.models.initTable()); }},
      {"InitFirmwares", [](auto& t, bool) { static_cast<void>(t.table.initTable()); }},
  };
}

INSTANTIATE_TEST_SUITE_P(OfReports, Operation, testing::ValuesIn(report_operations()),
                         [](auto const& tested) { return std::string(tested.param.name); });
INSTANTIATE_TEST_SUITE_P(OfFirmwares, Operation, testing::ValuesIn(firmware_operations()),
                         [](auto const& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace tavi::stations_maintenance
