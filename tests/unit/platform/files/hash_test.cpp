#include "mura_common/hash.h"

#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include "mura_common/text.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

struct hash_row {
  char const* name;
  Sha2::Type type;
  std::string content;
  char const* expected;
};

class KnownFileHash : public testing::TestWithParam<hash_row> {};

TEST_P(KnownFileHash, IsComputed) {
  temporary_folder const folder;
  auto const file = folder.write("file", GetParam().content);
  EXPECT_EQ(toHexString(computeFileHash(GetParam().type, file)), GetParam().expected);
}

std::string const million_letters(1000000, 'a');

INSTANTIATE_TEST_SUITE_P(
    All, KnownFileHash,
    testing::Values(
        hash_row{"EmptyFile", Sha2::Type::sha256, "",
                 "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        hash_row{"ShortFile256", Sha2::Type::sha256, "abc",
                 "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        hash_row{"ShortFile384", Sha2::Type::sha384, "abc",
                 "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c"
                 "825a7"},
        hash_row{
            "ShortFile512", Sha2::Type::sha512, "abc",
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
            "454d4423643ce80e2a9ac94fa54ca49f"},
        hash_row{"ManyPieces256", Sha2::Type::sha256, million_letters,
                 "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        hash_row{"ManyPieces384", Sha2::Type::sha384, million_letters,
                 "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b07b8b3dc38ecc4ebae97ddd87f3"
                 "d8985"},
        hash_row{
            "ManyPieces512", Sha2::Type::sha512, million_letters,
            "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973ebde0ff244877ea60a4cb0432ce577c31b"
            "eb009c5c2c49aa2e4eadb217ad8cc09b"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(FileHash, FollowsALink) {
  temporary_folder const folder;
  folder.write("file", "abc");
  std::filesystem::create_symlink("file", folder.path() / "link");
  EXPECT_EQ(computeFileHash(Sha2::Type::sha256, folder.path() / "link"),
            computeFileHash(Sha2::Type::sha256, folder.path() / "file"));
}

TEST(FileHash, HasTheLengthOfItsType) {
  temporary_folder const folder;
  auto const file = folder.write("file", "abc");
  EXPECT_EQ(computeFileHash(Sha2::Type::sha256, file).size(), 32U);
  EXPECT_EQ(computeFileHash(Sha2::Type::sha384, file).size(), 48U);
  EXPECT_EQ(computeFileHash(Sha2::Type::sha512, file).size(), 64U);
}

TEST(FileHash, IsEmptyForWhatIsNoReadableFile) {
  temporary_folder const folder;
  std::filesystem::create_symlink("nowhere", folder.path() / "link");
  ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  for (auto const& path :
       {folder.path() / "missing", folder.path(), folder.path() / "link", folder.path() / "pipe",
        std::filesystem::path("/dev/null"), std::filesystem::path()}) {
    EXPECT_TRUE(computeFileHash(Sha2::Type::sha256, path).empty()) << path;
  }
}

TEST(FileHash, IsEmptyForAFileThatFailsWhileItIsRead) {
  // Of this file of the kernel the first bytes, at address zero, cannot be read.
  EXPECT_TRUE(computeFileHash(Sha2::Type::sha256, "/proc/self/mem").empty());
}

TEST(FileHash, IsEmptyForAnUnknownType) {
  temporary_folder const folder;
  auto const file = folder.write("file", "abc");
  EXPECT_TRUE(computeFileHash(static_cast<Sha2::Type>(3), file).empty());
  EXPECT_TRUE(computeFileHash(static_cast<Sha2::Type>(-1), file).empty());
}

}  // namespace
}  // namespace mura_common
