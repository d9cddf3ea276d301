#include "service_hooks.h"

#include <algorithm>
#include <list>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::stations_maintenance {
namespace {

using testing::ElementsAreArray;

/// What was called, and which call is to fail.
struct recorder {
  bool take(std::string const& step) {
    taken.push_back(step);
    return step != failing;
  }
  std::vector<std::string> taken;
  std::string failing;
};

struct recorded_logger {
  recorder& calls;
  [[nodiscard]] bool init(int argument) const {
    return calls.take("init logger " + std::to_string(argument));
  }
};

struct recorded_client {
  recorder& calls;
  std::string name;
  [[nodiscard]] bool init() const { return calls.take("init " + name); }
};

struct recorded_webserver_events {
  recorder& calls;
  [[nodiscard]] bool subscribe_to_file_uploaded() const { return calls.take("file uploaded"); }
};

struct recorded_stations_events {
  recorder& calls;
  [[nodiscard]] bool subscribe_to_station_created() const { return calls.take("station created"); }
  [[nodiscard]] bool subscribe_to_station_deleted() const { return calls.take("station deleted"); }
};

struct recorded_table {
  recorder& calls;
  std::string name;
  [[nodiscard]] bool initTable() const { return calls.take("table of " + name); }
  [[nodiscard]] bool add_stations_models(std::list<std::string> const& models) const {
    return calls.take("store " + models.front());
  }
};

struct recorded_diagnostics {
  recorder& calls;
  void check_sanity() const { calls.take("check"); }
  [[nodiscard]] bool start_periodic_generation() const { return calls.take("start generation"); }
  [[nodiscard]] bool stop_periodic_generation() const { return calls.take("stop generation"); }
};

struct recorded_models {
  recorder& calls;
  bool load(std::string const& file) {
    models.push_back("models of " + file);
    return calls.take("load " + file);
  }
  [[nodiscard]] std::list<std::string> const& get_station_models() const { return models; }
  std::list<std::string> models;
};

struct recorded_requests {
  recorder& calls;
  [[nodiscard]] bool start() const { return calls.take("start requests"); }
  [[nodiscard]] bool stop() const { return calls.take("stop requests"); }
};

/// The members that the steps are taken on.
struct recorded_parts {
  recorder& calls;
  recorded_logger logger{calls};
  recorded_client ocpp{calls, "ocpp"};
  recorded_client tokens{calls, "tokens"};
  recorded_client network{calls, "network"};
  recorded_webserver_events webserver_events{calls};
  recorded_stations_events stations_events{calls};
  recorded_table reports{calls, "reports"};
  recorded_table models{calls, "models"};
  recorded_table firmwares{calls, "firmwares"};
  recorded_diagnostics diagnostics{calls};
  recorded_models supported_models{calls, {}};
  recorded_requests requests{calls};
};

/// A hook with the steps that it takes when all goes well.
struct hook {
  std::string name;
  bool (*take)(recorded_parts&);
  std::vector<std::string> steps;
  std::vector<std::string> without_result;  ///< those among the steps whose outcome does not count
};

std::vector<hook> const hooks{
    {"init",
     [](recorded_parts& parts) {
       return init_parts(
           parts, [&] { return parts.calls.take("read parameters"); }, "file");
     },
     {"init logger 0", "init ocpp", "init tokens", "init network", "file uploaded", "station deleted",
      "station created", "table of reports", "table of models", "table of firmwares", "read parameters",
      "check", "load file", "store models of file"},
     {"check", "load file"}},
    {"start",
     [](recorded_parts& parts) { return start_parts(parts); },
     {"start requests", "start generation"},
     {}},
    {"stop",
     [](recorded_parts& parts) { return stop_parts(parts); },
     {"stop requests", "stop generation"},
     {}},
};

/// A hook, and the step of it that fails; none for the hook as a whole.
struct hook_run {
  hook tried;
  std::string failing;
};

void PrintTo(hook_run const& row, std::ostream* out) {
  *out << row.tried.name << " failing at '" << row.failing << "'";
}

std::vector<hook_run> every_run() {
  std::vector<hook_run> runs;
  for (auto const& one : hooks) {
    runs.push_back({one, ""});
    for (auto const& step : one.steps) {
      runs.push_back({one, step});
    }
  }
  return runs;
}

class ServiceHook : public testing::TestWithParam<hook_run> {};

TEST_P(ServiceHook, TakesItsStepsInOrderUpToTheOneThatFails) {
  auto const& [tried, failing] = GetParam();
  recorder calls{{}, failing};
  recorded_parts parts{calls};
  auto const counts = [&tried](std::string const& step) {
    return std::find(tried.without_result.begin(), tried.without_result.end(), step) ==
           tried.without_result.end();
  };
  auto expected = tried.steps;
  auto const last = std::find(expected.begin(), expected.end(), failing);
  auto const is_ended = last != expected.end() && counts(failing);
  if (is_ended) {
    expected.erase(last + 1, expected.end());
  }
  EXPECT_EQ(tried.take(parts), !is_ended);
  EXPECT_THAT(calls.taken, ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Runs, ServiceHook, testing::ValuesIn(every_run()), [](auto const& row) {
  auto name = row.param.tried.name + "_" + (row.param.failing.empty() ? "whole" : row.param.failing);
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

}  // namespace
}  // namespace tavi::stations_maintenance
