#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "firmware_table_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class ManyFirmwares : public firmware_table_fixture {
 protected:
  void SetUp() override {
    firmware_table_fixture::SetUp();
    given_ready_tables();
  }

  /// Firmwares with the ids 1 to `count`, each for two models.
  void given_firmwares(int count) {
    auto const ids = "WITH RECURSIVE ids(id) AS (SELECT 1 UNION ALL SELECT id + 1 FROM ids LIMIT " +
                     std::to_string(count) + ") ";
    run(ids + "INSERT INTO FirmwareTable SELECT id, 'v' || id, '/store/' || id, id, 'ab' FROM ids");
    run(ids + "INSERT INTO FirmwareModelsRelation SELECT NULL, id, 1 FROM ids");
    run(ids + "INSERT INTO FirmwareModelsRelation SELECT NULL, id, 2 + id % 2 FROM ids");
  }

  /// How the database goes about the statement that begins so, one line for each table.
  std::vector<std::string> plan_of(std::string const& beginning) {
    auto const& texts = database.prepared_texts;
    auto const text = std::find_if(texts.begin(), texts.end(),
                                   [&](auto const& each) { return each.starts_with(beginning); });
    if (text == texts.end()) {
      return {};
    }
    auto const query = real.create_query("EXPLAIN QUERY PLAN " + *text);
    EXPECT_TRUE(query && query->execute()) << *text;
    return mura_common::fetchRows(*query, [](auto const& row) { return row.get_text(3); });
  }
};

TEST_F(ManyFirmwares, AreReadOneByOneWithoutWalkingThroughTheOthers) {
  for (auto const* statement :
       {"SELECT name FROM StationsModelsTable", "SELECT * FROM FirmwareTable WHERE id",
        "DELETE FROM FirmwareTable WHERE id", "SELECT id FROM StationsModelsTable"}) {
    auto const plan = plan_of(statement);
    EXPECT_THAT(plan, Not(IsEmpty())) << statement;
    EXPECT_THAT(plan, Each(Not(StartsWith("SCAN")))) << statement;
  }
}

TEST_F(ManyFirmwares, AreListedInTimeForAHundredThousand) {
  constexpr int count = 100'000;
  // A walk through all associations for each firmware would take twenty thousand million steps.
  constexpr auto far_more_than_needed = std::chrono::minutes(2);
  given_firmwares(count);
  auto const start = std::chrono::steady_clock::now();
  auto const all = table.get_all_firmwares();
  EXPECT_LT(std::chrono::steady_clock::now() - start, far_more_than_needed);
  ASSERT_TRUE(all);
  ASSERT_THAT(*all, SizeIs(count));
  EXPECT_EQ(all->back().id, 100'000U);
  EXPECT_EQ(all->back().models, (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(all->front().models, (std::vector<std::string>{"A", "C"}));
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
