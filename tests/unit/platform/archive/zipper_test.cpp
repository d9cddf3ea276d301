#include "mura_common/zipper.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive_entries.h"
#include "child_process.h"
#include "zipper_fixture.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;
using spdlog::level::warn;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Zipper : public ZipperTest {};

TEST_F(Zipper, NamesFilesFromTheWorkingFolder) {
  auto const first = in_workdir("reports/station_1/a.log", "first");
  in_workdir("b.log", "second");
  EXPECT_TRUE(pack({first, "b.log"}, archive));
  EXPECT_THAT(archive_entries(archive),
              ElementsAre(Pair("reports/station_1/a.log", "first"), Pair("b.log", "second")));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
}

TEST_F(Zipper, NamesAFileFromElsewhereByItsWholePath) {
  auto const outside = folder.write("elsewhere/a.log", "outside").string();
  // Only the beginning of its name is that of the working folder.
  auto const neighbour = folder.write("workshop/b.log", "neighbour").string();
  EXPECT_TRUE(pack({outside, neighbour}, archive));
  EXPECT_THAT(archive_entries(archive),
              ElementsAre(Pair(outside.substr(1), "outside"), Pair(neighbour.substr(1), "neighbour")));
}

struct named_workdir {
  char const* name;
  char const* text;
  char const* file;
};

class WorkdirName : public Zipper, public testing::WithParamInterface<named_workdir> {};

TEST_P(WorkdirName, IsTakenFromNamesThatBeginWithIt) {
  in_workdir("reports/a.log", "content");
  child_process child([&] {
    fs::current_path(folder.path());
    zipper tested("zip", "sh");
    tested.add_file(GetParam().file);
    return tested.zip_from_folder_cd_workdir(GetParam().text, archive) ? 0 : 1;
  });
  ASSERT_EQ(child.wait(), 0);
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("reports/a.log", "content")));
}

INSTANTIATE_TEST_SUITE_P(Each, WorkdirName,
                         testing::Values(named_workdir{"Relative", "work", "work/reports/a.log"},
                                         named_workdir{"WithSlash", "work/", "work/reports/a.log"},
                                         named_workdir{"WithDot", "./work", "./work/reports/a.log"},
                                         named_workdir{"DoubledSlashes", "work", "work//reports//a.log"},
                                         named_workdir{"FileBelowIt", "work", "reports/a.log"}),
                         [](auto const& tested) { return std::string(tested.param.name); });

TEST_F(Zipper, BeginsARelativeDestinationAtTheWorkingFolder) {
  in_workdir("a.log", "content");
  EXPECT_TRUE(pack({"a.log"}, "packed.zip"));
  EXPECT_THAT(archive_entries(workdir / "packed.zip"), ElementsAre(Pair("a.log", "content")));
}

struct roundabout_path {
  char const* situation;
  char const* path;  ///< from the working folder, or with "/" before it below the test's folder
  char const* name;  ///< in the archive; with "/" before it below the test's folder
};

class RoundaboutPath : public Zipper, public testing::WithParamInterface<roundabout_path> {
 protected:
  [[nodiscard]] std::string in_test_folder(std::string const& path) const {
    return path.starts_with("/") ? folder.path().string() + path : path;
  }
};

TEST_P(RoundaboutPath, LeavesNoWayToAParentInTheArchive) {
  in_workdir("reports/a.log", "inside");
  in_workdir("sub/b.log", "inside");
  folder.write("beside/reports/a.log", "beside");
  auto const name = in_test_folder(GetParam().name);
  EXPECT_TRUE(pack({in_test_folder(GetParam().path)}, archive));
  auto const is_inside = name == GetParam().name;
  EXPECT_THAT(archive_entries(archive),
              ElementsAre(Pair(is_inside ? name : name.substr(1), is_inside ? "inside" : "beside")));
}

INSTANTIATE_TEST_SUITE_P(
    Each, RoundaboutPath,
    testing::Values(
        roundabout_path{"BesideTheWorkingFolder", "../beside/reports/a.log", "/beside/reports/a.log"},
        roundabout_path{"BesideItByItsWholePath", "/work/../beside/reports/a.log", "/beside/reports/a.log"},
        roundabout_path{"ThroughAnotherFolder", "sub/../reports/a.log", "reports/a.log"},
        roundabout_path{"ThroughAnotherFolderByItsWholePath", "/work/sub/../reports/a.log", "reports/a.log"},
        roundabout_path{"OutAndBackIn", "../work/reports/a.log", "reports/a.log"},
        roundabout_path{"OutAndBackInByItsWholePath", "/beside/../work/reports/a.log", "reports/a.log"},
        roundabout_path{"WithDots", "./reports/./a.log", "reports/a.log"}),
    [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(Zipper, FollowsALinkBeforeItGoesToTheParent) {
  folder.write("far/deep/b.log", "far");
  auto const meant = folder.write("far/a.log", "meant");
  in_workdir("a.log", "only its path without the dots looks the same");
  in_workdir("gone.log", "another");
  fs::create_directory_symlink(folder.path() / "far/deep", workdir / "link");
  EXPECT_TRUE(pack({"link/../a.log", "link/../gone.log"}, archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair(fs::canonical(meant).string().substr(1), "meant")));
  EXPECT_TRUE(log.holds(warn, "[zipper] file link/../gone.log does not exist and is left out"));
}

TEST_F(Zipper, LeavesOutAFileThatCannotBeLookedAtAndSaysWhy) {
  in_workdir("a", "content");
  fs::create_symlink("itself", workdir / "itself");
  EXPECT_TRUE(pack({"a", "itself", "itself/../a"}, archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a", "content")));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn,
                                   "[zipper] file itself cannot be looked at and is left out: Too many "
                                   "levels of symbolic links"},
                          log_line{warn,
                                   "[zipper] file itself/../a cannot be looked at and is left out: Too many "
                                   "levels of symbolic links"}));
}

struct odd_name {
  char const* situation;
  std::string name;
};

class OddName : public Zipper, public testing::WithParamInterface<odd_name> {};

TEST_P(OddName, ArrivesUnharmedAndIsNeverRun) {
  auto const& name = GetParam().name;
  in_workdir(name, "content");
  // What a pattern would match as well must stay out.
  in_workdir("ab", "another");
  EXPECT_TRUE(pack({(workdir / name).string()}, archive)) << testing::PrintToString(log.lines());
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair(name, "content")));
  EXPECT_FALSE(fs::exists(workdir / "RUN"));
}

TEST_P(OddName, IsNoPatternWhenItsFileIsMissing) {
  auto const& name = GetParam().name;
  in_workdir("ab", "another");
  ASSERT_TRUE(pack({"ab"}, archive));
  in_workdir("ab", "changed");
  in_workdir("c", "third");
  EXPECT_TRUE(pack({name, "c"}, archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("ab", "another"), Pair("c", "third")));
  EXPECT_FALSE(fs::exists(workdir / "RUN"));
}

TEST_P(OddName, MayBeTheDestinationsAndThatOfAFileBelowTheWorkingFolder) {
  auto const& name = GetParam().name;
  in_workdir(name, "content");
  EXPECT_TRUE(pack({name}, (exports / name).string()));
  EXPECT_THAT(names_in_exports(), ElementsAre(name));
  fs::rename(exports / name, archive);
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair(name, "content")));
  EXPECT_FALSE(fs::exists(workdir / "RUN"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, OddName,
    testing::Values(odd_name{"Dash", "-"}, odd_name{"Option", "-m"}, odd_name{"LongOption", "--out=RUN"},
                    odd_name{"EndOfOptions", "--"}, odd_name{"At", "@"}, odd_name{"Blanks", " a  b "},
                    odd_name{"SingleQuote", "it's"}, odd_name{"DoubleQuote", "\"a\""},
                    odd_name{"Newline", "a\nb"}, odd_name{"Tab", "a\tb"}, odd_name{"Control", "\x01\x7f"},
                    odd_name{"Brackets", "[ab]b"}, odd_name{"OpenBracket", "a["}, odd_name{"Star", "a*"},
                    odd_name{"QuestionMark", "a?"}, odd_name{"Backslash", "a\\b"},
                    odd_name{"BackslashAtEnd", "ab\\"},
                    odd_name{"Umlaut",
                             "Pr\xc3\xbc"
                             "fung.log"},
                    odd_name{"Chinese", "\xe6\x97\xa5\xe6\x9c\xac"}, odd_name{"NoUtf8", "\xff\xfe"},
                    odd_name{"Dollar", "$HOME"}, odd_name{"Substitution", "$(touch RUN)"},
                    odd_name{"Backquotes", "`touch RUN`"}, odd_name{"Separator", "; touch RUN #"},
                    odd_name{"Pipe", "| touch RUN"}, odd_name{"Assignment", "A=b"}, odd_name{"Tilde", "~"},
                    odd_name{"Longest", std::string(200, 'x')}),
    [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(Zipper, TakesAWorkingFolderWithAnAwkwardName) {
  auto const awkward = folder.path() / "-a b'\n$(touch RUN)[x]";
  fs::create_directory(awkward);
  std::ofstream(awkward / "a.log") << "content";
  zipper tested("zip", "sh");
  tested.add_file((awkward / "a.log").string());
  EXPECT_TRUE(tested.zip_from_folder_cd_workdir(awkward.string(), "packed"));
  fs::rename(awkward / "packed", archive);
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a.log", "content")));
  EXPECT_EQ(std::distance(fs::directory_iterator(awkward), fs::directory_iterator()), 1);
}

TEST_F(Zipper, AddsToAnArchiveAndReplacesWhatItHasAlready) {
  in_workdir("a", "first");
  in_workdir("b", "second");
  ASSERT_TRUE(pack({"a", "b"}, archive));
  in_workdir("b", "changed");
  in_workdir("c", "third");
  EXPECT_TRUE(pack({"b", "c"}, archive));
  EXPECT_THAT(archive_entries(archive),
              ElementsAre(Pair("a", "first"), Pair("b", "changed"), Pair("c", "third")));
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
}

TEST_F(Zipper, PacksAFileOnceThatWasAddedTwice) {
  auto const file = in_workdir("a", "content");
  EXPECT_TRUE(pack({file, "a", file}, archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a", "content")));
}

TEST_F(Zipper, PacksTheSameFilesAgainWhenAskedAgain) {
  in_workdir("a", "content");
  zipper tested("zip", "sh");
  tested.add_file("a");
  EXPECT_TRUE(tested.zip_from_folder_cd_workdir(workdir.string(), archive));
  EXPECT_TRUE(tested.zip_from_folder_cd_workdir(workdir.string(), (exports / "second.zip").string()));
  EXPECT_THAT(archive_entries(exports / "second.zip"), ElementsAre(Pair("a", "content")));
}

TEST_F(Zipper, PacksEmptyAndLargeFiles) {
  std::string large(3'000'000, '\0');
  for (std::size_t index = 0; index < large.size(); ++index) {
    large[index] = static_cast<char>((index * index) >> 7U);
  }
  in_workdir("empty", "");
  in_workdir("large", large);
  EXPECT_TRUE(pack({"empty", "large"}, archive));
  EXPECT_TRUE(archive_entries(archive) ==
              (std::vector<std::pair<std::string, std::string>>{{"empty", ""}, {"large", large}}));
}

TEST_F(Zipper, KeepsTheMeaningOfALinkAtTheDestination) {
  in_workdir("a", "first");
  in_workdir("b", "second");
  auto const real = folder.path() / "real.zip";
  ASSERT_TRUE(pack({"a"}, real.string()));
  fs::create_symlink(real, archive);
  EXPECT_TRUE(pack({"b"}, archive));
  EXPECT_TRUE(fs::is_symlink(archive));
  EXPECT_THAT(archive_entries(real), ElementsAre(Pair("a", "first"), Pair("b", "second")));
}

TEST_F(Zipper, LeavesOtherNamesOfTheOlderArchiveAsTheyWere) {
  in_workdir("a", "first");
  in_workdir("b", "second");
  ASSERT_TRUE(pack({"a"}, archive));
  fs::create_hard_link(archive, exports / "kept.zip");
  EXPECT_TRUE(pack({"b"}, archive));
  EXPECT_THAT(archive_entries(exports / "kept.zip"), ElementsAre(Pair("a", "first")));
}

TEST_F(Zipper, KeepsThePermissionsOfTheOlderArchive) {
  in_workdir("a", "first");
  ASSERT_TRUE(pack({"a"}, archive));
  fs::permissions(archive, fs::perms{0600});
  ASSERT_TRUE(pack({"a"}, archive));
  EXPECT_EQ(fs::status(archive).permissions(), fs::perms{0600});
}

TEST_F(Zipper, LetsTheOwnersGroupReadANewArchiveWhateverTheMask) {
  in_workdir("a", "first");
  for (mode_t const mask : {0077U, 0000U}) {
    fs::remove(archive);
    auto const before = ::umask(mask);
    EXPECT_TRUE(pack({"a"}, archive));
    ::umask(before);
    EXPECT_EQ(fs::status(archive).permissions(), fs::perms{0640});
  }
}

TEST_F(Zipper, LeavesOutAFileThatIsMissingAndWarns) {
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a", "gone\nb"}, archive));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a", "content")));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn, "[zipper] file gone b does not exist and is left out"}));
}

}  // namespace
}  // namespace mura_common
