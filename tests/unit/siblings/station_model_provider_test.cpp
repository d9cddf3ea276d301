#include "tavi/stations/station_model_provider.h"

#include <string>

#include <gmock/gmock.h>

#include "log_capture.h"
#include "temporary_folder.h"

namespace {

using tavi::stations::station_model;
using tavi::stations::station_model_provider;

constexpr char const* const two_kinds = R"({"stations": [
  {"name": "X7-22", "vendor": "Acme", "models": ["X7-22", "X7-22-S"]},
  {"name": "Post", "vendor": "Other", "models": ["X7-22"]}]})";

/// Read before main begins, as another library's objects may do.
std::string const name_at_start = station_model_provider::DEFAULT_SUPPORTED_STATIONS_FILE;

class StationModelProvider : public testing::Test {
 protected:
  bool load(std::string const& content) { return provider.load(folder.write("stations.json", content)); }

  temporary_folder folder;
  log_capture log;
  station_model_provider provider;
};

TEST_F(StationModelProvider, KnowsItsFilesNameBeforeMainBegins) {
  EXPECT_EQ(name_at_start, "supported_stations.json");
}

TEST_F(StationModelProvider, KnowsNothingAtFirst) {
  EXPECT_TRUE(provider.get_station_models().empty());
  EXPECT_EQ(provider.find_station_model("Acme", "X7-22"), nullptr);
}

TEST_F(StationModelProvider, ReadsTheKindsInTheFilesOrder) {
  ASSERT_TRUE(load(two_kinds));
  EXPECT_THAT(provider.get_station_models(),
              testing::ElementsAre(station_model{"X7-22", "Acme", {"X7-22", "X7-22-S"}},
                                   station_model{"Post", "Other", {"X7-22"}}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StationModelProvider, TakesAFileWithoutStationsAndSaysSo) {
  EXPECT_TRUE(load(R"({"stations": []})"));
  EXPECT_TRUE(provider.get_station_models().empty());
  EXPECT_TRUE(log.holds(spdlog::level::err, "stations.json lists no stations"));
}

struct lookup {
  char const* vendor;
  char const* model;
  char const* name;
};

TEST_F(StationModelProvider, FindsAKindByVendorAndModelExactly) {
  ASSERT_TRUE(load(two_kinds));
  for (auto const& row :
       {lookup{"Acme", "X7-22", "X7-22"}, lookup{"Acme", "X7-22-S", "X7-22"},
        lookup{"Other", "X7-22", "Post"}, lookup{"acme", "X7-22", nullptr}, lookup{"Acme", "X7", nullptr},
        lookup{"Other", "X7-22-S", nullptr}, lookup{"", "", nullptr}, lookup{"Acme", "X7-22 ", nullptr}}) {
    auto const* const found = provider.find_station_model(row.vendor, row.model);
    ASSERT_EQ(found != nullptr, row.name != nullptr) << row.vendor << ' ' << row.model;
    if (found != nullptr) {
      EXPECT_EQ(*found, row.name);
    }
  }
}

TEST_F(StationModelProvider, TakesASiteThatSupportsNothing) {
  EXPECT_TRUE(load(R"({"stations": []})"));
  EXPECT_TRUE(provider.get_station_models().empty());
}

TEST_F(StationModelProvider, IgnoresFurtherMembers) {
  EXPECT_TRUE(load(R"({"by": "me", "stations": [{"name":"A","vendor":"B","models":["C"],"connectors":2}]})"));
}

TEST_F(StationModelProvider, ReplacesWhatItReadBefore) {
  ASSERT_TRUE(load(two_kinds));
  ASSERT_TRUE(load(R"({"stations": [{"name": "A", "vendor": "B", "models": ["C"]}]})"));
  EXPECT_EQ(provider.find_station_model("Acme", "X7-22"), nullptr);
  ASSERT_NE(provider.find_station_model("B", "C"), nullptr);
}

TEST_F(StationModelProvider, RefusesAFileThatIsNotThere) {
  auto const missing = (folder.path() / "missing.json").string();
  EXPECT_FALSE(provider.load(missing));
  EXPECT_TRUE(log.holds(spdlog::level::err, missing));
}

TEST_F(StationModelProvider, RefusesAFolder) {
  EXPECT_FALSE(provider.load(folder.path()));
}

struct unusable {
  char const* name;
  std::string content;
  char const* reason;
};

void PrintTo(unusable const& row, std::ostream* out) {
  *out << row.name;
}

class UnusableStations : public StationModelProvider, public testing::WithParamInterface<unusable> {};

TEST_P(UnusableStations, LeaveNoKindKnownAndSayWhatIsWrong) {
  ASSERT_TRUE(load(two_kinds));
  EXPECT_FALSE(load(GetParam().content));
  EXPECT_TRUE(provider.get_station_models().empty());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(spdlog::level::err, (folder.path() / "stations.json").string()));
  EXPECT_THAT(log.lines().front().text, testing::HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, UnusableStations,
    testing::Values(
        unusable{"Empty", "", "no JSON"}, unusable{"NoJson", "stations", "no JSON"},
        unusable{"CutOff", R"({"stations": [)", "no JSON"}, unusable{"Array", "[]", "\"stations\""},
        unusable{"Deep", std::string(100'000, '['), "no JSON"}, unusable{"NoStations", "{}", "\"stations\""},
        unusable{"StationsObject", R"({"stations": {}})", "array"},
        unusable{"StationIsText", R"({"stations": ["x"]})", "stations[0]"},
        unusable{"NoName", R"({"stations": [{"vendor":"B","models":["C"]}]})", "\"name\""},
        unusable{"NoVendor", R"({"stations": [{"name":"A","models":["C"]}]})", "\"vendor\""},
        unusable{"NoModels", R"({"stations": [{"name":"A","vendor":"B"}]})", "\"models\""},
        unusable{"EmptyName", R"({"stations": [{"name":"","vendor":"B","models":["C"]}]})",
                 "stations[0].name"},
        unusable{"VendorIsNumber", R"({"stations": [{"name":"A","vendor":1,"models":["C"]}]})",
                 "stations[0].vendor"},
        unusable{"ModelsIsText", R"({"stations": [{"name":"A","vendor":"B","models":"C"}]})",
                 "stations[0].models"},
        unusable{"ModelsAreEmpty", R"({"stations": [{"name":"A","vendor":"B","models":[]}]})",
                 "stations[0].models"},
        unusable{"ModelIsNumber", R"({"stations": [{"name":"A","vendor":"B","models":[1]}]})",
                 "stations[0].models"},
        unusable{"SecondIsWrong", R"({"stations": [{"name":"A","vendor":"B","models":["C"]}, 1]})",
                 "stations[1]"},
        unusable{
            "SameName",
            R"({"stations": [{"name":"A","vendor":"B","models":["C"]},{"name":"A","vendor":"D","models":["E"]}]})",
            "\"A\" twice"},
        unusable{
            "SameKind",
            R"({"stations": [{"name":"A","vendor":"B","models":["C"]},{"name":"D","vendor":"B","models":["C"]}]})",
            "\"C\" of vendor \"B\" twice"},
        unusable{"SameModelInOne", R"({"stations": [{"name":"A","vendor":"B","models":["C","C"]}]})",
                 "twice"},
        unusable{"SameMember", R"({"stations": [], "stations": []})", "\"stations\" twice"}),
    [](auto const& row) { return row.param.name; });

}  // namespace
