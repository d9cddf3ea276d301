#include "commands/archive_count.h"

#include <ostream>

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace tavi::ctl {
namespace {

/// The record at the end of an archive of `count` files, with a comment behind it.
std::string end_record(unsigned int count, std::string const& comment = "") {
  std::string end("PK\x05\x06", 4);
  end.resize(22, '\0');
  end[10] = static_cast<char>(count & 0xFFU);
  end[11] = static_cast<char>(count >> 8U);
  end[20] = static_cast<char>(comment.size() & 0xFFU);
  end[21] = static_cast<char>(comment.size() >> 8U);
  return end + comment;
}

struct count_case {
  char const* name;
  std::string content;
  std::optional<std::uint32_t> count;
};

void PrintTo(count_case const& row, std::ostream* out) {
  *out << row.name;
}

class ArchivedFiles : public testing::TestWithParam<count_case> {};

TEST_P(ArchivedFiles, AreCountedByTheRecordAtTheEnd) {
  temporary_folder folder;
  EXPECT_EQ(count_archived_files(folder.write("a.zip", GetParam().content)), GetParam().count);
}

std::string const noise(100'000, 'x');

INSTANTIATE_TEST_SUITE_P(
    EveryKind, ArchivedFiles,
    testing::Values(count_case{"None", end_record(0), 0}, count_case{"One", end_record(1), 1},
                    count_case{"BehindMuchContent", noise + end_record(300), 300},
                    count_case{"Most", end_record(65534), 65534},
                    count_case{"MoreThanTheRecordCounts", end_record(65535), std::nullopt},
                    count_case{"WithAComment", end_record(7, "made today"), 7},
                    count_case{"WithTheLongestComment", end_record(7, std::string(65535, 'c')), 7},
                    count_case{"WithARecordInTheComment", end_record(7, end_record(9) + "x"), 7},
                    count_case{"OnlyASignature", std::string("PK\x05\x06", 4), std::nullopt},
                    count_case{"CutOff", noise + end_record(7).substr(0, 21), std::nullopt},
                    count_case{"SomethingBehind", end_record(7) + "x", std::nullopt},
                    count_case{"NoArchive", noise, std::nullopt}, count_case{"Empty", "", std::nullopt}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(ArchivedFiles, OfNoFileAreNotCounted) {
  temporary_folder folder;
  EXPECT_EQ(count_archived_files(folder.path() / "none.zip"), std::nullopt);
  EXPECT_EQ(count_archived_files(folder.path()), std::nullopt);
}

}  // namespace
}  // namespace tavi::ctl
