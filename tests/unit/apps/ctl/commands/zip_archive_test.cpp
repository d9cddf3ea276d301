#include "commands/zip_archive.h"

#include <cstdlib>
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

/// What a program packs, not this one.
void pack(temporary_folder const& folder, std::string const& names) {
  auto const command = "cd '" + folder.path().string() + "' && zip -q a.zip " + names;
  ASSERT_EQ(std::system(command.c_str()), 0);
}

TEST(ListedFiles, AreThoseInTheArchiveWithTheirSizesWhenUnpacked) {
  temporary_folder folder;
  folder.write("empty.log", "");
  folder.write("long.log", std::string(100'000, 'x'));
  pack(folder, "long.log empty.log");
  auto const files = list_archived_files(folder.path() / "a.zip");
  EXPECT_EQ(files, (std::vector<archived_file>{{"long.log", 100'000}, {"empty.log", 0}}));
}

TEST(ListedFiles, AreNoneInAnEmptyArchive) {
  temporary_folder folder;
  EXPECT_EQ(list_archived_files(folder.write("a.zip", end_record(0))), std::vector<archived_file>{});
}

TEST(ListedFiles, AreUnknownWhereTheListIsNoWholeOne) {
  temporary_folder folder;
  folder.write("x", "content");
  pack(folder, "x");
  auto const whole = content_of(folder.path() / "a.zip");
  auto const list_at = whole.find("PK\x01\x02");
  auto const end_at = whole.rfind("PK\x05\x06");
  auto damaged = [&](std::size_t at, char byte) {
    auto copy = whole;
    copy[at] = byte;
    return list_archived_files(folder.write("damaged.zip", copy));
  };
  EXPECT_TRUE(damaged(list_at + 4, whole[list_at + 4]).has_value());
  EXPECT_EQ(damaged(list_at + 2, 'x'), std::nullopt) << "no entry begins there";
  EXPECT_EQ(damaged(list_at + 29, '\x7f'), std::nullopt) << "the name is longer than the list";
  EXPECT_EQ(damaged(end_at + 10, '\x02'), std::nullopt) << "one entry is missing";
  EXPECT_EQ(damaged(end_at + 15, '\x7f'), std::nullopt) << "the list is longer than the file";
  EXPECT_EQ(damaged(end_at + 19, '\x7f'), std::nullopt) << "the list begins behind the file";
  EXPECT_EQ(list_archived_files(folder.write("none.zip", "PK is no archive")), std::nullopt);
}

}  // namespace
}  // namespace tavi::ctl
