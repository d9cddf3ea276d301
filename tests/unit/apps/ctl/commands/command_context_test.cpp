#include "commands/command_context.h"

#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using mura_common::call_failure;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ExplainedFailure : public ctl_test {
 protected:
  exit_code explain(call_failure failure, std::string const& reason = "") {
    return explain_failure(context, "listing", {failure, reason});
  }
};

TEST_F(ExplainedFailure, TellsATimeOut) {
  EXPECT_EQ(explain(call_failure::timed_out), exit_code::time_out);
  EXPECT_THAT(console.complaints,
              ElementsAre("listing: the stations maintenance service gave no answer in time: it is busy with "
                          "another request, or hangs. Look at its log"));
}

TEST_F(ExplainedFailure, TellsALostConnection) {
  EXPECT_EQ(explain(call_failure::connection_lost), exit_code::not_reachable);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("ended before it answered. It may have done it")));
}

TEST_F(ExplainedFailure, TellsAServiceThatIsAway) {
  EXPECT_EQ(explain(call_failure::not_reached), exit_code::not_reachable);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("went away before the request reached it")));
}

TEST_F(ExplainedFailure, TellsARefusalWithItsReasonMadeHarmless) {
  EXPECT_EQ(explain(call_failure::refused, "failed: \x1b"), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("answered with an error (failed: \\x1b)")));
}

TEST_F(ExplainedFailure, TellsAnAnswerThatIsNone) {
  EXPECT_EQ(explain(call_failure::malformed), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("Are both of the same version?")));
}

TEST(NoAnswer, IsWhatATimeOutAndALostConnectionCameTo) {
  EXPECT_TRUE(has_no_answer(exit_code::time_out));
  EXPECT_TRUE(has_no_answer(exit_code::not_reachable));
  EXPECT_FALSE(has_no_answer(exit_code::failed));
  EXPECT_FALSE(has_no_answer(exit_code::done));
}

}  // namespace
}  // namespace tavi::ctl
