#include "mura_common/service.h"

#include <filesystem>
#include <functional>
#include <future>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "mura_common/delivery.h"
#include "temporary_folder.h"
#include "without_privileges.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;

constexpr auto error_level = spdlog::level::err;

/// A service that notes its hooks, and does in them what the test asks for.
class noting_service : public service::service {
 public:
  explicit noting_service(bool has_database = true) : service("tested", has_database) {}

  std::vector<std::string> calls;
  std::function<bool(std::string const& hook)> in_hook = [](std::string const&) { return true; };

 protected:
  bool do_pre_init() override { return note("do_pre_init"); }
  bool do_init() override { return note("do_init"); }
  bool do_start() override { return note("do_start"); }
  bool do_stop() override { return note("do_stop"); }

 private:
  bool note(std::string const& hook) {
    calls.push_back(hook);
    return in_hook(hook);
  }
};

/// Whether another thread could handle a request of the service now.
bool is_lane_free() {
  return std::async(std::launch::async,
                    [] {
                      auto const lane = delivery_lane_of("tested");
                      std::unique_lock const turn(*lane, std::try_to_lock);
                      return turn.owns_lock();
                    })
      .get();
}

class ServiceBase : public testing::Test {
 public:
  ~ServiceBase() override { fs::current_path(original); }

 protected:
  ServiceBase() {
    root = fs::canonical(folder.path());
    fs::current_path(root);
    folder.write("work/tested.toml", "[a]\nb = 5\n");
  }

  static bool init(service::service& service, std::vector<std::string> const& arguments) {
    std::vector<char const*> pointers{"program"};
    for (auto const& argument : arguments) {
      pointers.push_back(argument.c_str());
    }
    return service.init(static_cast<int>(pointers.size()), pointers.data());
  }
  static bool init_in_work(service::service& service) { return init(service, {"--working-dir", "work"}); }

  fs::path const original = fs::current_path();
  temporary_folder folder;
  fs::path root;
  log_capture log;
};

TEST_F(ServiceBase, KnowsOnlyItsNameBeforeInit) {
  noting_service service;
  EXPECT_EQ(service.name(), "tested");
  EXPECT_EQ(service.working_dir(), "");
  EXPECT_EQ(service.config_dir(), "");
  EXPECT_EQ(service.database_path(), "");
  EXPECT_FALSE(service.config().getParam<unsigned int>("a.b").has_value());
  EXPECT_EQ(service.database().create_query("select 1"), nullptr);
}

TEST_F(ServiceBase, RunsItsHooksInOrder) {
  noting_service service;
  ASSERT_TRUE(init_in_work(service));
  EXPECT_EQ(service.calls, (std::vector<std::string>{"do_pre_init", "do_init"}));
  ASSERT_TRUE(service.start());
  ASSERT_TRUE(service.stop(0));
  EXPECT_EQ(service.calls, (std::vector<std::string>{"do_pre_init", "do_init", "do_start", "do_stop"}));
}

TEST_F(ServiceBase, WarnsOfKeysThatNoHookAskedForAndOfAFileThatItMayNotSave) {
  folder.write("configs/tested.toml", "[a]\nb = 5\nbb = 6\n");
  fs::permissions(root, fs::perms(0755));
  fs::permissions(root / "work", fs::perms(0777));
  fs::permissions(root / "configs", fs::perms(0555));
  noting_service service(false);
  service.in_hook = [&](std::string const&) {
    return service.config().getParam<unsigned int>("a.b").has_value();
  };
  {
    without_privileges const user;
    EXPECT_TRUE(init(service, {"--working-dir", "work", "--config-dir", "configs"}));
  }
  EXPECT_TRUE(log.holds(spdlog::level::warn, "'a.bb' is not known here, did you mean 'a.b'?"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "changes at run time will not be saved"));
  EXPECT_FALSE(log.holds(spdlog::level::warn, "'a.b' is not known"));
}

TEST_F(ServiceBase, StartsAndStopsAgain) {
  noting_service service;
  ASSERT_TRUE(init_in_work(service));
  service.calls.clear();
  EXPECT_TRUE(service.start() && service.stop(0) && service.start() && service.stop(0));
  EXPECT_EQ(service.calls, (std::vector<std::string>{"do_start", "do_stop", "do_start", "do_stop"}));
}

TEST_F(ServiceBase, HasHooksThatDoNothing) {
  service::service plain("tested", false);
  EXPECT_TRUE(init_in_work(plain));
  EXPECT_TRUE(plain.start());
  EXPECT_TRUE(plain.stop(0));
}

TEST_F(ServiceBase, MakesTheWorkingDirectoryTheCurrentOne) {
  noting_service service;
  service.in_hook = [&](std::string const&) {
    EXPECT_EQ(fs::current_path(), root / "work");
    return true;
  };
  ASSERT_TRUE(init_in_work(service));
  EXPECT_EQ(fs::current_path(), root / "work");
  EXPECT_EQ(service.working_dir(), root / "work");
  EXPECT_EQ(service.config_dir(), root / "work");
  EXPECT_EQ(service.database_path(), root / "work/tested.db");
  EXPECT_TRUE(fs::exists(root / "work/tested.db"));
}

TEST_F(ServiceBase, MakesAWorkingDirectoryThatIsMissing) {
  noting_service service;
  ASSERT_TRUE(init(service, {"--working-dir", "new/below", "--config-dir", "work"}));
  EXPECT_EQ(service.working_dir(), root / "new/below");
  EXPECT_TRUE(fs::exists(root / "new/below/tested.db"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "working directory 'new/below' was missing and has been made"));
}

TEST_F(ServiceBase, ResolvesLinksInTheWorkingDirectory) {
  fs::create_directory_symlink(root / "work", root / "link");
  noting_service service;
  ASSERT_TRUE(init(service, {"--working-dir", "link"}));
  EXPECT_EQ(service.working_dir(), fs::current_path());
}

TEST_F(ServiceBase, ResolvesRelativePathsBeforeTheCurrentDirectoryChanges) {
  folder.write("configs/tested.toml", "[a]\nb = 9\n");
  fs::create_directories(root / "data");
  noting_service service;
  ASSERT_TRUE(init(service, {"--working-dir=work", "--config-dir", "configs", "--database", "data/x.db"}));
  EXPECT_EQ(service.config_dir(), root / "configs");
  EXPECT_EQ(service.database_path(), root / "data/x.db");
  EXPECT_TRUE(fs::exists(root / "data/x.db"));
  EXPECT_EQ(service.config().getParam<unsigned int>("a.b").value().value(), 9U);
}

TEST_F(ServiceBase, WorksInTheCurrentDirectoryUnlessToldOtherwise) {
  folder.write("tested.toml", "");
  noting_service service;
  ASSERT_TRUE(init(service, {}));
  EXPECT_EQ(service.working_dir(), root);
}

TEST_F(ServiceBase, SavesItsConfigurationWhereItWasRead) {
  noting_service service;
  ASSERT_TRUE(init_in_work(service));
  service.config().getParam<unsigned int>("a.b").value().set(6);
  EXPECT_TRUE(service.config().save());
  EXPECT_EQ(content_of(root / "work/tested.toml"), "[a]\nb = 6\n");
}

TEST_F(ServiceBase, OpensTheDatabaseBehindAReferenceKeptFromBefore) {
  noting_service service;
  auto& database = service.database();
  bool could_query_in_pre_init = false;
  service.in_hook = [&](std::string const& hook) {
    could_query_in_pre_init =
        could_query_in_pre_init || (hook == "do_pre_init" && database.create_query("select 1"));
    return true;
  };
  ASSERT_TRUE(init_in_work(service));
  EXPECT_TRUE(could_query_in_pre_init);
}

TEST_F(ServiceBase, LetsADerivedClassKeepStatementsToItsEnd) {
  class keeping_service : public noting_service {
   public:
    std::unique_ptr<IQuery> query;
    ~keeping_service() override { EXPECT_TRUE(query->execute()); }
  };
  keeping_service service;
  ASSERT_TRUE(init_in_work(service));
  service.query = service.database().create_query("select 1");
  ASSERT_NE(service.query, nullptr);
}

TEST_F(ServiceBase, OpensNoDatabaseWhenItHasNone) {
  noting_service service(false);
  ASSERT_TRUE(init(service, {"--working-dir", "work", "--database", "x.db"}));
  EXPECT_EQ(service.database_path(), "");
  EXPECT_EQ(service.database().create_query("select 1"), nullptr);
  EXPECT_FALSE(fs::exists(root / "x.db"));
  EXPECT_FALSE(fs::exists(root / "work/tested.db"));
}

struct refused_line {
  char const* name;
  std::vector<std::string> arguments;
  std::string explanation;
};

void PrintTo(refused_line const& row, std::ostream* out) {
  *out << row.name;
}

class RefusedCommandLine : public ServiceBase, public testing::WithParamInterface<refused_line> {};

TEST_P(RefusedCommandLine, IsExplainedAndFollowedByTheUsage) {
  noting_service service;
  std::vector<char const*> line{"program"};
  for (auto const& argument : GetParam().arguments) {
    line.push_back(argument.c_str());
  }
  EXPECT_NE(service::service::find_wrong_usage(static_cast<int>(line.size()), line.data()), "");
  EXPECT_FALSE(init(service, GetParam().arguments));
  EXPECT_TRUE(service.calls.empty());
  EXPECT_EQ(fs::current_path(), root);
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_NE(log.lines()[0].text.find(GetParam().explanation), std::string::npos) << log.lines()[0].text;
  EXPECT_TRUE(log.holds(spdlog::level::info,
                        "usage: program [--working-dir DIR] [--config-dir DIR] [--database FILE]"));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, RefusedCommandLine,
    testing::Values(
        refused_line{"UnknownOption", {"--working-dir", "work", "--verbose"}, "--verbose"},
        refused_line{"UnknownShortOption", {"--working-dir", "work", "-v"}, "-v"},
        refused_line{"AbbreviatedOption", {"--working", "work"}, "--working"},
        refused_line{"MistypedOption",
                     {"--working-dir", "work", "--confg-dir=work"},
                     "\"--confg-dir=work\" is not known here: did you mean \"--config-dir\"?"},
        refused_line{"HelpIsTheHostsOwn", {"--help"}, "--help"},
        refused_line{"StrayArgument", {"--working-dir", "work", "stray"}, "stray"},
        refused_line{"ValueMissingAtTheEnd", {"--working-dir"}, "--working-dir"},
        refused_line{"ValueMissingBeforeAnother",
                     {"--working-dir", "--config-dir", "work"},
                     "--working-dir: expected a path, found the option --config-dir"},
        refused_line{
            "ValueMissingBeforeTheLast", {"--working-dir", "--database"}, "found the option --database"},
        refused_line{"EmptyValue", {"--working-dir", ""}, "--working-dir"},
        refused_line{"EmptyDatabase", {"--working-dir", "work", "--database", ""}, "--database"},
        refused_line{"GivenTwice", {"--working-dir", "work", "--working-dir", "work"}, "--working-dir"}),
    [](auto const& row) { return std::string(row.param.name); });

class RefusedSurroundings : public ServiceBase {
 protected:
  void expect_refusal(std::vector<std::string> const& arguments, std::string const& named) {
    noting_service service;
    EXPECT_FALSE(init(service, arguments));
    EXPECT_TRUE(service.calls.empty());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.holds(error_level, named)) << log.lines()[0].text;
    EXPECT_FALSE(service.start());
  }
};

TEST_F(RefusedSurroundings, WorkingDirectoryCannotBeMade) {
  expect_refusal({"--working-dir", "work/tested.toml/below"}, "working directory 'work/tested.toml/below'");
  EXPECT_EQ(fs::current_path(), root);
}

TEST_F(RefusedSurroundings, NoWorkingDirectoryIsMadeForAConfigurationThatIsMissing) {
  expect_refusal({"--working-dir", "new", "--config-dir", "nowhere"}, "configuration directory 'nowhere'");
  EXPECT_FALSE(fs::exists(root / "new"));
}

TEST_F(RefusedSurroundings, WorkingDirectoryIsAFile) {
  expect_refusal({"--working-dir", "work/tested.toml"}, "working directory 'work/tested.toml'");
  EXPECT_EQ(fs::current_path(), root);
}

TEST_F(RefusedSurroundings, ConfigurationDirectoryIsMissing) {
  expect_refusal({"--working-dir", "work", "--config-dir", "nowhere"}, "configuration directory 'nowhere'");
  EXPECT_EQ(fs::current_path(), root);
}

TEST_F(RefusedSurroundings, ConfigurationFileIsMissing) {
  fs::create_directory(root / "empty");
  expect_refusal({"--working-dir", "work", "--config-dir", "empty"}, (root / "empty/tested.toml").string());
}

TEST_F(RefusedSurroundings, ConfigurationFileIsBroken) {
  folder.write("work/tested.toml", "[a\n");
  expect_refusal({"--working-dir", "work"}, (root / "work/tested.toml").string() + ": line 1");
}

TEST_F(RefusedSurroundings, DatabaseIsNone) {
  std::string const text(4096, 'x');
  folder.write("work/tested.db", text);
  expect_refusal({"--working-dir", "work"}, (root / "work/tested.db").string());
  EXPECT_EQ(content_of(root / "work/tested.db"), text);
}

TEST_F(RefusedSurroundings, FolderOfTheDatabaseIsMissing) {
  expect_refusal({"--working-dir", "work", "--database", "nowhere/x.db"}, (root / "nowhere/x.db").string());
}

struct failing_hook {
  char const* name;
  bool throws;
};

void PrintTo(failing_hook const& row, std::ostream* out) {
  *out << row.name << (row.throws ? " throws" : " returns false");
}

class FailingHook : public ServiceBase, public testing::WithParamInterface<failing_hook> {
 protected:
  FailingHook() {
    service.in_hook = [this](std::string const& hook) {
      if (!is_failing || hook != GetParam().name) {
        return true;
      }
      if (GetParam().throws) {
        throw std::runtime_error("out of paper");
      }
      return false;
    };
  }

  /// Goes as far as the service lets it. @return the call that failed
  std::string drive() {
    if (!init_in_work(service)) {
      return "init";
    }
    if (!service.start()) {
      return "start";
    }
    return service.stop(0) ? "" : "stop";
  }

  bool is_failing = true;
  noting_service service;
};

TEST_P(FailingHook, EndsTheStepThatCalledIt) {
  std::string const hook = GetParam().name;
  EXPECT_EQ(drive(), hook == "do_start" ? "start" : hook == "do_stop" ? "stop" : "init");
  EXPECT_EQ(service.calls.back(), hook);
  EXPECT_TRUE(log.holds(GetParam().throws ? error_level : spdlog::level::debug, hook + " failed"));
  EXPECT_EQ(log.holds(error_level, "out of paper"), GetParam().throws);
  EXPECT_TRUE(is_lane_free());
}

TEST_P(FailingHook, LeavesTheServiceWhereItWas) {
  std::string const hook = GetParam().name;
  drive();
  is_failing = false;
  service.calls.clear();
  if (hook == "do_start") {
    EXPECT_TRUE(service.stop(0));
    EXPECT_TRUE(service.start());
    EXPECT_EQ(service.calls, std::vector<std::string>{"do_start"});
  } else if (hook == "do_stop") {
    EXPECT_TRUE(service.stop(0));
    EXPECT_EQ(service.calls, std::vector<std::string>{"do_stop"});
  } else {
    EXPECT_FALSE(service.start());
    EXPECT_TRUE(service.stop(0));
    EXPECT_FALSE(init_in_work(service));
    EXPECT_TRUE(service.calls.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(Hooks, FailingHook,
                         testing::Values(failing_hook{"do_pre_init", false},
                                         failing_hook{"do_pre_init", true}, failing_hook{"do_init", false},
                                         failing_hook{"do_init", true}, failing_hook{"do_start", false},
                                         failing_hook{"do_start", true}, failing_hook{"do_stop", false},
                                         failing_hook{"do_stop", true}),
                         [](auto const& row) {
                           return std::string(row.param.name) +
                                  (row.param.throws ? "_throws" : "_returns_false");
                         });

TEST_F(ServiceBase, HoldsItsLaneDuringEveryHookButStop) {
  noting_service service;
  std::vector<std::pair<std::string, bool>> free;
  service.in_hook = [&](std::string const& hook) {
    free.emplace_back(hook, is_lane_free());
    return true;
  };
  ASSERT_TRUE(init_in_work(service));
  EXPECT_TRUE(is_lane_free());
  ASSERT_TRUE(service.start());
  EXPECT_TRUE(is_lane_free());
  ASSERT_TRUE(service.stop(0));
  EXPECT_EQ(free, (std::vector<std::pair<std::string, bool>>{
                      {"do_pre_init", false}, {"do_init", false}, {"do_start", false}, {"do_stop", true}}));
}

TEST_F(ServiceBase, DoesNotStartBeforeInit) {
  noting_service service;
  EXPECT_FALSE(service.start());
  EXPECT_TRUE(log.holds(error_level, "tested cannot start"));
  EXPECT_TRUE(service.calls.empty());
}

TEST_F(ServiceBase, HasNothingToStopBeforeStart) {
  noting_service service;
  EXPECT_TRUE(service.stop(0));
  ASSERT_TRUE(init_in_work(service));
  EXPECT_TRUE(service.stop(0));
  ASSERT_TRUE(service.start());
  EXPECT_TRUE(service.stop(0));
  EXPECT_TRUE(service.stop(0));
  EXPECT_EQ(service.calls, (std::vector<std::string>{"do_pre_init", "do_init", "do_start", "do_stop"}));
}

TEST_F(ServiceBase, RefusesASecondInitAndGoesOn) {
  noting_service service;
  ASSERT_TRUE(init_in_work(service));
  EXPECT_FALSE(init(service, {"--working-dir", root.string()}));
  EXPECT_EQ(fs::current_path(), root / "work");
  EXPECT_EQ(service.calls.size(), 2U);
  EXPECT_TRUE(service.start());
}

TEST_F(ServiceBase, StartsOnceOnly) {
  noting_service service;
  ASSERT_TRUE(init_in_work(service));
  EXPECT_TRUE(service.start() && service.start());
  EXPECT_EQ(service.calls, (std::vector<std::string>{"do_pre_init", "do_init", "do_start"}));
}

TEST_F(ServiceBase, LogsWhyItStops) {
  noting_service service;
  EXPECT_TRUE(service.stop(15));
  EXPECT_TRUE(log.holds(spdlog::level::info, "tested stops because of signal 15"));
  log.clear();
  EXPECT_TRUE(service.stop(0));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].text, "[service] tested stops");
}

TEST_F(ServiceBase, TakesACommandLineWithoutAnything) {
  folder.write("tested.toml", "");
  noting_service service;
  EXPECT_TRUE(service.init(0, nullptr));
  EXPECT_EQ(service.working_dir(), root);
}

TEST(ServiceUsage, NamesTheProgramAndEveryOption) {
  auto const text = service::service::usage("maintenance");
  EXPECT_EQ(text.find("usage: maintenance [--working-dir DIR]"), 0U);
  for (std::string const option : {"  --working-dir DIR", "  --config-dir DIR", "  --database FILE"}) {
    EXPECT_NE(text.find("\n" + option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace mura_common
