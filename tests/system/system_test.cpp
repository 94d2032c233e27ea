// SPDX-License-Identifier: Apache-2.0
#include "system/system.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "system/Sha256.h"
#include "tests/host/TemporaryFolder.h"

namespace orvspc::system {
namespace {

// The test cases 1, 2 and 6 of RFC 4231.
TEST(Hmac, IsThatOfItsStandard) {
  EXPECT_EQ(HexOf(HmacSha256(std::string(20, '\x0b'), "Hi There")),
            "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
  EXPECT_EQ(HexOf(HmacSha256("Jefe", "what do ya want for nothing?")),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(HexOf(HmacSha256(std::string(131, '\xaa'),
                             "Test Using Larger Than Block-Size Key - Hash Key First")),
            "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

class SystemTest : public testing::Test {
 protected:
  std::string Made(const std::string& name, std::string_view text = "") {
    auto path = folder_.File(name);
    std::ofstream(PathOf(path), std::ios::binary) << text;
    return path;
  }
  host::TemporaryFolder folder_;
};

TEST_F(SystemTest, PathsAreUtf8) {
  const std::string text =
      "Ma\xc3\x9f"
      "e/\xe2\x91\xa0.csv";
  EXPECT_EQ(TextOf(PathOf(text)), text);
  EXPECT_EQ(TextOf(PathOf(text).filename()), "\xe2\x91\xa0.csv");
}

TEST_F(SystemTest, KindsAndSizes) {
  const auto file = StateOf(Made("a.csv", "12345"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->kind, FileKind::Plain);
  EXPECT_EQ(file->size, 5);
  EXPECT_EQ(StateOf(folder_.Path()).value().kind, FileKind::Folder);
  EXPECT_EQ(StateOf("/dev/null").value().kind, FileKind::Other);
  errno = 0;
  EXPECT_FALSE(StateOf(folder_.File("missing")));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(SystemTest, OpensToRead) {
  const auto path = Made("a.csv", "a\r\n");
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenToRead(path), &std::fclose);
  ASSERT_NE(file, nullptr);
  char bytes[8] = {};
  EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, file.get()), 3U);
  EXPECT_STREQ(bytes, "a\r\n");
  EXPECT_EQ(OpenToRead(folder_.File("missing")), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(SystemTest, MakesAFileOnce) {
  const auto path = folder_.File("new");
  EXPECT_TRUE(MakeFile(path));
  EXPECT_EQ(StateOf(path).value().size, 0);
  EXPECT_FALSE(MakeFile(path));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_FALSE(MakeFile(folder_.File("missing/new")));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(SystemTest, AFileLikeAnotherHasItsRights) {
  namespace fs = std::filesystem;
  const auto like = folder_.File("like"), path = folder_.File("new");
  ASSERT_TRUE(MakeFile(like));
  constexpr auto kOwner = fs::perms::owner_read | fs::perms::owner_write;
  for (const auto rights : {kOwner, kOwner | fs::perms::group_write | fs::perms::others_read}) {
    fs::permissions(PathOf(like), rights);
    fs::remove(PathOf(path));
    EXPECT_TRUE(MakeFileLike(path, like));
    EXPECT_EQ(fs::status(PathOf(path)).permissions(), fs::status(PathOf(like)).permissions());
    EXPECT_FALSE(MakeFileLike(path, like)) << "it is there";
  }
  EXPECT_FALSE(MakeFileLike(folder_.File("other"), folder_.File("missing")));
}

TEST_F(SystemTest, RenamesToAFreeNameAlone) {
  const auto from = Made("from", "1"), to = folder_.File("to");
  EXPECT_TRUE(RenameToFree(from, to));
  EXPECT_FALSE(IsThere(from));
  EXPECT_EQ(StateOf(to).value().size, 1);
  const auto other = Made("other", "22");
  EXPECT_FALSE(RenameToFree(other, to));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(StateOf(to).value().size, 1);
  EXPECT_TRUE(IsThere(other));
}

TEST_F(SystemTest, FlushesFilesAndFolders) {
  EXPECT_TRUE(Flush(Made("a")));
  EXPECT_FALSE(Flush(folder_.File("missing")));
  EXPECT_EQ(errno, ENOENT);
  const Folder folder(folder_.Path());
  EXPECT_TRUE(folder.IsUsable());
  EXPECT_TRUE(folder.Flush());
  EXPECT_FALSE(Folder(folder_.File("missing")).IsUsable());
}

TEST(SystemProgramTest, WordsBehindTheProgram) {
  char name[] = "orvspc", word[] = "--db";
  char* words[] = {name, word};
  EXPECT_EQ(CommandLine(2, words), std::vector<std::string>{"--db"});
  EXPECT_TRUE(std::filesystem::exists(ProgramFile()));
}

TEST(SystemProgramTest, AShellReadsOnBehindItsContinuation) {
  const std::string command = std::string("[ a ") + ShellContinuation() + "\n = a ]";
  EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(SystemProgramTest, WordsOfAShell) {
  EXPECT_EQ(ShellWord("q.db"), "q.db");
  EXPECT_EQ(ShellWord(""), "''");
  EXPECT_EQ(ShellWord("Piston ring"), "'Piston ring'");
  EXPECT_EQ(ShellWord("it's"), "'it'\\''s'");
}

}  // namespace
}  // namespace orvspc::system
