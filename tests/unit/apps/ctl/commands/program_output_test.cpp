#include "commands/program_output.h"

#include <gtest/gtest.h>

namespace tavi::ctl {
namespace {

TEST(ProgramOutput, IsWhatTheProgramWrites) {
  EXPECT_EQ(output_of({"printf", "%s-%s", "a b", "*"}, 1000), "a b-*");
}

TEST(ProgramOutput, IsWithoutWhatItComplains) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(output_of({"sh", "-c", "echo out; echo complaint >&2"}, 1000), "out\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ProgramOutput, IsNoneWhenTheProgramFails) {
  EXPECT_EQ(output_of({"sh", "-c", "echo out; exit 3"}, 1000), std::nullopt);
}

TEST(ProgramOutput, IsNoneWhenThereIsNoSuchProgram) {
  EXPECT_EQ(output_of({"no_such_program_here"}, 1000), std::nullopt);
}

TEST(ProgramOutput, EndsAProgramThatWritesTooMuch) {
  auto const output = output_of({"yes"}, 100);
  ASSERT_TRUE(output.has_value());
  EXPECT_TRUE(output->starts_with("y\ny\n"));
}

TEST(ProgramOutput, LeavesTheProgramNothingToRead) {
  EXPECT_EQ(output_of({"cat"}, 100), "");
}

}  // namespace
}  // namespace tavi::ctl
