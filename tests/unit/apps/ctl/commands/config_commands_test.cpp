#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Return;

class ConfigCommands : public ctl_test {
 protected:
  /// The service has `before`, is to be set to `wanted`, answers `is_taken` and has `after` then.
  void expect_change(configuration const& before, configuration const& wanted, bool is_taken,
                     configuration const& after) {
    InSequence const order;
    EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(before));
    EXPECT_CALL(handler, on_set_configuration(wanted)).WillOnce(Return(is_taken));
    EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(after));
  }

  /// As `expect_change`, in two steps, both of which are taken.
  void expect_changes(configuration const& before, configuration const& first, configuration const& wanted) {
    InSequence const order;
    EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(before));
    EXPECT_CALL(handler, on_set_configuration(first)).WillOnce(Return(true));
    EXPECT_CALL(handler, on_set_configuration(wanted)).WillOnce(Return(true));
    EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(wanted));
  }
};

TEST_F(ConfigCommands, GetShowsTheConfiguration) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 3600s}));
  EXPECT_EQ(run_command(context, config_get_options{}), exit_code::done);
  EXPECT_EQ(console.output,
            "max_periodic_report_per_station\t5\nperiodic_generation_enabled\ttrue\n"
            "period_for_automatic_generation\t3600\n");
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, GetWritesJson) {
  context.is_json = true;
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{0, false, 0s}));
  EXPECT_EQ(run_command(context, config_get_options{}), exit_code::done);
  EXPECT_EQ(document()["periodic_generation_enabled"], false);
}

TEST_F(ConfigCommands, GetFailsWhenTheServiceHasNone) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, config_get_options{}), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_EQ(console.complaints.size(), 1U);
}

TEST_F(ConfigCommands, GetFailsWhenTheServiceAnswersWithAnError) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(testing::Throw(std::runtime_error("told to fail")));
  EXPECT_EQ(run_command(context, config_get_options{}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("answered with an error (failed: ")));
}

TEST_F(ConfigCommands, GetFailsWhenTheOutputCannotBeWritten) {
  console.is_writable = false;
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 3600s}));
  EXPECT_EQ(run_command(context, config_get_options{}), exit_code::failed);
}

TEST_F(ConfigCommands, SetChangesOnlyWhatIsGiven) {
  expect_change({5, true, 3600s}, {5, true, 86400s}, true, {5, true, 86400s});
  config_set_options options;
  options.period = 24h;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("period_for_automatic_generation\t86400\n"));
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, SetKeepsThePeriodWhenTheMaximumBecomesZero) {
  expect_change({5, true, 3600s}, {0, true, 3600s}, true, {0, false, 3600s});
  config_set_options options;
  options.max_periodic = 0;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, SetTakesAMaximumWhenGenerationWasOff) {
  expect_change({0, false, 3600s}, {7, true, 3600s}, true, {7, true, 3600s});
  config_set_options options;
  options.max_periodic = 7;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, SetWarnsThatAPeriodAloneSwitchesNothingOn) {
  expect_change({0, false, 0s}, {0, true, 60s}, true, {0, false, 60s});
  config_set_options options;
  options.period = 60s;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("give --max-periodic")));
}

TEST_F(ConfigCommands, SetWarnsThatAMaximumWithoutAPeriodSwitchesNothingOn) {
  expect_change({0, false, 0s}, {4, true, 0s}, true, {4, true, 0s});
  config_set_options options;
  options.max_periodic = 4;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("give --period")));
}

TEST_F(ConfigCommands, SetDoesNotWarnOfWhatWasWanted) {
  expect_change({7, true, 3600s}, {7, true, 0s}, true, {7, true, 0s});
  config_set_options options;
  options.period = 0s;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, DisableDropsMaximumAndPeriod) {
  expect_changes({5, true, 3600s}, {0, true, 3600s}, {0, false, 0s});
  config_set_options options;
  options.disable = true;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, EnableWithBothValuesGiven) {
  expect_changes({0, false, 0s}, {5, true, 0s}, {5, true, 60s});
  EXPECT_EQ(run_command(context, config_set_options{5, 60s, true, false}), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, EnableNeedsAMaximum) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{0, false, 60s}));
  EXPECT_EQ(run_command(context, config_set_options{{}, {}, true, false}), exit_code::usage);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("--max-periodic above 0")));
}

TEST_F(ConfigCommands, EnableNeedsAPeriod) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 0s}));
  EXPECT_EQ(run_command(context, config_set_options{{}, {}, true, false}), exit_code::usage);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("--period above 0")));
}

TEST_F(ConfigCommands, EnableAloneSendsWhatIsThereAlready) {
  expect_change({5, true, 60s}, {5, true, 60s}, true, {5, true, 60s});
  EXPECT_EQ(run_command(context, config_set_options{{}, {}, true, false}), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ConfigCommands, SetSendsAValueThatIsInForceAlready) {
  expect_change({5, true, 60s}, {5, true, 60s}, true, {5, true, 60s});
  EXPECT_EQ(run_command(context, config_set_options{{}, 60s, false, false}), exit_code::done);
}

TEST_F(ConfigCommands, RefusedMaximumIsNamedAndThePeriodIsNotSentAtAll) {
  expect_change({5, true, 3600s}, {1001, true, 3600s}, false, {5, true, 3600s});
  EXPECT_EQ(run_command(context, config_set_options{1001, 60s, false, false}), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("did not take the maximum 1001: it, or the other value, may")));
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("In force now: a maximum of 5 and a period of 1h")));
}

TEST_F(ConfigCommands, RefusedPeriodIsNamedBesideTheMaximumThatWasTaken) {
  InSequence const order;
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 3600s}));
  EXPECT_CALL(handler, on_set_configuration(configuration{6, true, 3600s})).WillOnce(Return(true));
  EXPECT_CALL(handler, on_set_configuration(configuration{6, true, 5s})).WillOnce(Return(false));
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{6, true, 3600s}));
  EXPECT_EQ(run_command(context, config_set_options{6, 5s, false, false}), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("did not take the period 5s: it, or the other value, may")));
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("In force now: a maximum of 6 and a period of 1h")));
}

TEST_F(ConfigCommands, DisableThatIsRefusedNamesTheMaximum) {
  expect_change({5, true, 3600s}, {0, true, 3600s}, false, {5, true, 3600s});
  EXPECT_EQ(run_command(context, config_set_options{{}, {}, false, true}), exit_code::failed);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("did not take the maximum 0: it, or the other value, may")));
}

TEST_F(ConfigCommands, ValueInForceThatWasAnsweredWithAFailureIsNotCalledRefused) {
  expect_change({5, true, 3600s}, {5, true, 60s}, false, {5, true, 60s});
  EXPECT_EQ(run_command(context, config_set_options{{}, 60s, false, false}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("took the period 1m, but could not restart")));
}

TEST_F(ConfigCommands, SetStopsAtARequestThatIsAnsweredWithAnError) {
  EXPECT_CALL(handler, on_get_configuration).WillOnce(Return(configuration{5, true, 3600s}));
  EXPECT_CALL(handler, on_set_configuration).WillOnce(testing::Throw(std::runtime_error("told to fail")));
  EXPECT_EQ(run_command(context, config_set_options{6, 60s, false, false}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("setting the maximum 6: the stations")));
}

}  // namespace
}  // namespace tavi::ctl
