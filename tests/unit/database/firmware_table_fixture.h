#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "faulty_database.h"
#include "firmware_table.h"
#include "log_capture.h"
#include "mura_common/database.h"
#include "stations_model_table.h"
#include "tavi/stations/station_model_provider.h"
#include "temporary_folder.h"

namespace tavi::stations_maintenance {

/// The firmware table and the models it refers to, in a real database file that can be told to fail.
class firmware_table_fixture : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(real.open(folder.path() / "firmware.db")); }

  /// The models A, B and C, with the ids 1, 2 and 3; the table of firmwares is not there yet.
  void given_models() {
    ASSERT_TRUE(models.initTable());
    ASSERT_TRUE(models.add_stations_models({{"A", "Acme", {}}, {"B", "Acme", {}}, {"C", "Acme", {}}}));
    log.clear();
  }

  void given_ready_tables() {
    given_models();
    ASSERT_TRUE(table.initTable());
    log.clear();
  }

  /// Announces a firmware. @return its id
  unsigned int given_placeholder(std::vector<std::string> const& names,
                                 std::optional<std::string> const& version = "1.0") {
    unsigned int id = 0;
    EXPECT_EQ(table.add_firmware(version, names, id), firmware_table::success);
    return id;
  }

  /// Announces and stores a firmware. @return its id
  unsigned int given_stored(std::vector<std::string> const& names) {
    auto const id = given_placeholder(names);
    EXPECT_TRUE(table.update_stored_firmware_info(id, "1.0", "/store/fw", 10, "abcd"));
    return id;
  }

  void run(std::string const& sql) {
    auto const query = real.create_query(sql);
    ASSERT_TRUE(query && query->execute()) << sql << ": " << real.last_error();
  }

  /// The first column of every row; NULL as "NULL".
  std::vector<std::string> texts_from_database(std::string const& sql) {
    auto const query = real.create_query(sql);
    EXPECT_TRUE(query && query->execute()) << sql << ": " << real.last_error();
    return mura_common::fetchRows(*query,
                                  [](auto const& row) { return row.is_null(0) ? "NULL" : row.get_text(0); });
  }

  std::vector<std::string> stored_ids() {
    return texts_from_database("SELECT id FROM FirmwareTable ORDER BY id");
  }

  /// Every association as "firmware:model", in the order in which they were made.
  std::vector<std::string> stored_associations() {
    return texts_from_database(
        "SELECT firmware_id || ':' || model_id FROM FirmwareModelsRelation ORDER BY id");
  }

  temporary_folder folder;
  log_capture log;
  mura_common::sqlite_database real;
  faulty_database database{real};
  stations_model_table models{database};
  firmware_table table{database, models};
};

}  // namespace tavi::stations_maintenance
