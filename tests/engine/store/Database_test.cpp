// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine {
namespace {

class OpenDatabaseTest : public StoreTest {
 protected:
  std::string OpeningFailure(const std::string& path, bool create = false) {
    auto failure = FailureOf([&] { OpenDatabase(path, create); });
    if (!failure.empty()) {
      EXPECT_EQ(failure.rfind(path + ": ", 0), 0u) << failure;
    }
    return failure;
  }
};

TEST_F(OpenDatabaseTest, WhatIsNotThereIsRefusedAndNotMade) {
  EXPECT_NE(OpeningFailure(Path()).find("no such file"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(Path()));
  EXPECT_NE(OpeningFailure(folder_.File("no/q.db"), true).find("no folder"), std::string::npos);
  EXPECT_NE(OpeningFailure(folder_.File("no/q.db")).find("no such file"), std::string::npos);
}

TEST_F(OpenDatabaseTest, ForeignFilesAreRefused) {
  EXPECT_NE(OpeningFailure(folder_.File("."), true).find("is a folder"), std::string::npos);
  const auto text = folder_.File("text");
  WriteFile(text, std::string(5000, 'x'));
  EXPECT_NE(OpeningFailure(text).find("no database file"), std::string::npos);
  EXPECT_NE(OpeningFailure(text, true).find("no database file"), std::string::npos);
  const auto other = folder_.File("other.db");
  RunSql(other, "CREATE TABLE t(x)");
  EXPECT_NE(OpeningFailure(other, true).find("no quality database"), std::string::npos);
  const auto empty = folder_.File("empty");
  WriteFile(empty, "");
  EXPECT_NE(OpeningFailure(empty).find("is empty"), std::string::npos);
}

TEST_F(OpenDatabaseTest, ANewerSchemaIsRefused) {
  Db();
  db_.reset();
  RunSql(Path(), "PRAGMA user_version=99");
  EXPECT_NE(OpeningFailure(Path()).find("newer release"), std::string::npos);
}

TEST_F(OpenDatabaseTest, ALockedFileIsRefused) {
  Db();
  db_.reset();
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(
      sqlite3_exec(holder, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; CREATE TABLE held(x)",
                   nullptr, nullptr, nullptr),
      SQLITE_OK);
  EXPECT_NE(OpeningFailure(Path()).find("locked"), std::string::npos);
  sqlite3_close(holder);
  EXPECT_EQ(OpeningFailure(Path()), "");
}

// Run as another user, since the superuser may write anywhere.
TEST_F(OpenDatabaseTest, AFileOrFolderThatMayNotBeWrittenToIsRefused) {
  Db();
  db_.reset();
  const auto folder = std::filesystem::path(Path()).parent_path();
  const auto refused = [&](const std::string& reason) {
    const auto child = fork();
    if (child == 0) {
      if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
      const auto failure = FailureOf([&] { OpenDatabase(Path()); });
      _exit(failure.find(reason) != std::string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  };
  ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
  EXPECT_TRUE(refused("may not be written to"));
  ASSERT_EQ(chmod(Path().c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
  EXPECT_TRUE(refused("its folder may not be written to"));
  ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
}

TEST_F(OpenDatabaseTest, CreateOpensWhatIsThere) {
  Import("part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  db_ = OpenDatabase(Path(), true);
  EXPECT_EQ(Id(ItemKind::Part, "A"), 1);
}

TEST_F(OpenDatabaseTest, AClosedHandleIsRefused) {
  const auto handle = Db().ConnectionHandle();
  EXPECT_NE(StoreOf(handle), nullptr);
  db_.reset();
  EXPECT_EQ(StoreOf(handle), nullptr);
  EXPECT_EQ(StoreOf(0), nullptr);
  EXPECT_NE(Db().ConnectionHandle(), handle);
}

TEST_F(OpenDatabaseTest, DatabaseValueSwaps) {
  EXPECT_EQ(Db().DatabaseValue(7), 0);
  EXPECT_EQ(Db().DatabaseValue(9), 7);
  EXPECT_EQ(Db().DatabaseValue(0), 9);
}

TEST_F(OpenDatabaseTest, TheFirstFailureIsKeptUntilItIsTaken) {
  EXPECT_FALSE(Db().TakeFailure());
  Opened()->Fail(5, "cause");
  Opened()->Fail(6, "consequence");
  const auto failure = Db().TakeFailure();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->number, 5);
  EXPECT_EQ(failure->description, "cause");
  EXPECT_FALSE(Db().TakeFailure());
}

TEST_F(OpenDatabaseTest, NotesAreTakenOnce) {
  TakeNotes();
  AddNote("code", "text", "stream");
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "code");
  EXPECT_TRUE(TakeNotes().empty());
}

TEST_F(OpenDatabaseTest, SettingsAreReadBackAndCheckedWhereTheyAreUsed) {
  EXPECT_EQ(Opened()->Setting("sigma_estimator", "mvlue"), "mvlue");
  StoreSetting(Db(), "sigma_estimator", "pooled");
  EXPECT_EQ(Opened()->Setting("sigma_estimator", "mvlue"), "pooled");
  StoreSetting(Db(), "sigma_estimator", "unweighted");
  Reopen();
  EXPECT_EQ(Opened()->Setting("sigma_estimator", "mvlue"), "unweighted");
  EXPECT_NE(FailureOf([&] { StoreSetting(Db(), "time_zone", "Europe/Vienna"); }), "");
  StoreSetting(Db(), "time_zone", "+02:00");
}

TEST_F(OpenDatabaseTest, AWriteThroughAnotherConnectionIsSeenAtOnce) {
  const auto other = OpenDatabase((Db(), Path()));
  EXPECT_EQ(Opened()->Setting("k", "-"), "-");
  StoreSetting(*other, "k", "v");
  EXPECT_EQ(Opened()->Setting("k", "-"), "v");
}

}  // namespace
}  // namespace orvspc::engine
