#include "commands/deletion_question.h"

#include <stdexcept>

#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using ::testing::Return;

class DeletionQuestion : public ctl_test {};

TEST_F(DeletionQuestion, NamesTheOnlyReport) {
  EXPECT_EQ(deletion_question({report_of(12, 3)}), "Delete report 12 (log_12.tar.gz of station 3, 1000 B)?");
}

TEST_F(DeletionQuestion, NamesEachOfAFewReports) {
  EXPECT_EQ(deletion_question({report_of(1, 3), report_of(2, 4)}),
            "  report 1 (log_1.tar.gz of station 3, 1000 B)\n"
            "  report 2 (log_2.tar.gz of station 4, 1000 B)\n"
            "Delete 2 reports (2.0 KiB)?");
}

TEST_F(DeletionQuestion, NamesTheFirstTenOfManyReports) {
  std::vector<report> reports;
  for (std::uint32_t id = 1; id <= 12; ++id) {
    reports.push_back(report_of(id, 1));
  }
  auto const question = deletion_question(reports);
  EXPECT_THAT(question, ::testing::HasSubstr(
                            "  report 10 (log_10.tar.gz of station 1, 1000 B)\n  and 2 more\nDelete 12"));
  EXPECT_EQ(question.find("report 11"), std::string::npos);
}

TEST_F(DeletionQuestion, MakesNamesOfStationsHarmless) {
  auto hostile = report_of(1, 1);
  hostile.diagnostic_name = "\x1b[2J";
  EXPECT_EQ(deletion_question({hostile}), "Delete report 1 (\\x1b[2J of station 1, 1000 B)?");
}

TEST_F(DeletionQuestion, SaysOfFirmwareWhatItHas) {
  firmware announced;
  announced.id = 7;
  firmware stored;
  stored.id = 8;
  stored.version = "2\n1";
  stored.size = 5;
  stored.path = "/firmware/fw.bin";
  EXPECT_CALL(handler, on_get_firmware(7)).WillOnce(Return(announced));
  EXPECT_CALL(handler, on_get_firmware(8)).WillOnce(Return(stored));
  EXPECT_EQ(deletion_question(context, {7, 8}).value,
            "  firmware 7 (no file yet, no version, 0 B)\n"
            "  firmware 8 (fw.bin, version 2\\x0a1, 5 B)\n"
            "Delete firmware 7, 8?");
}

TEST_F(DeletionQuestion, IsNotAskedWhenTheServiceDoesNotTellWhatItHas) {
  EXPECT_CALL(handler, on_get_firmware).WillOnce(testing::Throw(std::runtime_error("out of order")));
  auto const question = deletion_question(context, {7, 8});
  EXPECT_FALSE(question.value);
  EXPECT_EQ(question.code, exit_code::failed);
  EXPECT_EQ(console.complaints.size(), 1U);
}

}  // namespace
}  // namespace tavi::ctl
