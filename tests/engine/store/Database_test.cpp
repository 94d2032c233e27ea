// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <set>

#include "engine/schema/schema.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/version1_file.h"

namespace orvspc::engine::store {
using namespace sql;
using namespace catalogue;
using namespace import;

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
  // What work returns or fails with, run as another user, since the superuser may write anywhere.
  static std::string AsAnotherUser(const std::function<std::string()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    const auto child = fork();
    if (child == 0) {
      if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
      std::string text;
      const auto failure = FailureOf([&] { text = work(); });
      text += failure;
      _exit(write(ends[1], text.data(), text.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    std::string text;
    char piece[1000];
    for (ssize_t size = 0; (size = read(ends[0], piece, sizeof piece)) > 0;)
      text.append(piece, static_cast<std::size_t>(size));
    close(ends[0]);
    EXPECT_TRUE(Succeeded(child));
    return text;
  }
  // The names of the parts.
  static std::string AnotherUserReads(const std::string& path) {
    return AsAnotherUser([&] {
      std::string names;
      for (const auto& part : QualityDatabase(OpenDatabase(path)).CountedItems(ItemKind::Part))
        names += part.name + " " + std::to_string(part.subgroups) + " ";
      return names;
    });
  }
  // Why another user cannot write in three ways.
  static void ExpectAnotherUserIsRefused(const std::string& path, const std::string& reason) {
    const auto may_not = path + ": may not be written to";
    EXPECT_EQ(AsAnotherUser([&] {
                QualityDatabase(OpenDatabase(path)).Set("time_zone", "+02:00");
                return std::string("was written");
              }),
              may_not);
    EXPECT_EQ(AsAnotherUser([&] {
                ImportCsv("/dev/null", *OpenDatabase(path), ImportKind::Values);
                return std::string("was written");
              }),
              may_not);
    EXPECT_EQ(AsAnotherUser([&] {
                OpenDatabase(path, true);
                return std::string("was opened to be written");
              }),
              path + ": " + reason);
  }
  static std::set<std::string> FilesBeside(const std::string& path) {
    std::set<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()))
      names.insert(entry.path().filename());
    return names;
  }
  static bool Succeeded(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  void Remove() {
    for (const char* end : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(Path() + end);
    }
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

TEST_F(OpenDatabaseTest, ANegativeSchemaIsRefused) {
  Db();
  db_.reset();
  RunSql(Path(), "PRAGMA user_version=-1");
  EXPECT_NE(OpeningFailure(Path()).find("negative version"), std::string::npos);
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
  sqlite3* const holder = OpenBare(Path());
  ASSERT_EQ(
      sqlite3_exec(holder, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; CREATE TABLE held(x)",
                   nullptr, nullptr, nullptr),
      SQLITE_OK);
  EXPECT_NE(OpeningFailure(Path()).find("locked"), std::string::npos);
  sqlite3_close(holder);
  EXPECT_EQ(OpeningFailure(Path()), "");
}

// A file that may not be written to, and one in a folder that may not.
class ReadOnlyTest : public OpenDatabaseTest {
 protected:
  struct Kind {
    mode_t file, folder;
    const char* reason;
  };
  static constexpr Kind kKinds[] = {{0444, 0777, "may not be written to"},
                                    {0666, 0555, "its folder may not be written to"},
                                    {0444, 0555, "may not be written to"}};

  ~ReadOnlyTest() override { chmod(Folder().c_str(), 0777); }

  std::filesystem::path Folder() const { return std::filesystem::path(Path()).parent_path(); }
  // What SQLite makes beside the file has the rights of the file.
  void Allow(const Kind& kind) {
    ASSERT_EQ(chmod(Folder().c_str(), 0777), 0);
    for (const char* end : {"", "-wal", "-shm"}) chmod((Path() + end).c_str(), kind.file);
    ASSERT_EQ(chmod(Folder().c_str(), kind.folder), 0);
  }
  void ImportSubgroup(int number) {
    const auto day = std::to_string(number);
    Import("part,process,test,subgroup,time,value\nA,P,T," + day + ",2024-01-0" + day + ",5\n");
  }
  // Leaves what a program leaves that dies after it has committed.
  void CommitAndDie(int number) {
    const auto child = fork();
    if (child == 0) {
      const auto connection = OpenAnother(Path());
      connection->PrepareBulk();
      connection->Execute("INSERT INTO part(id, name) VALUES(" + std::to_string(number) + ", 'B')");
      kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    ASSERT_GT(std::filesystem::file_size(Path() + "-wal"), 0U);
  }
};

TEST_F(ReadOnlyTest, ItIsReadAndNothingIsMadeBesideIt) {
  ImportSubgroup(1);
  db_.reset();
  for (const auto& kind : kKinds) {
    Allow(kind);
    const auto files = FilesBeside(Path());
    EXPECT_EQ(AnotherUserReads(Path()), "A 1 ") << kind.reason;
    EXPECT_EQ(FilesBeside(Path()), files) << kind.reason;
    ExpectAnotherUserIsRefused(Path(), kind.reason);
    EXPECT_EQ(FilesBeside(Path()), files) << kind.reason;
  }
}

TEST_F(ReadOnlyTest, ItIsReadBesideAProgramThatWrites) {
  ImportSubgroup(1);
  int number = 1;
  for (const auto& kind : kKinds) {
    // The log is empty, then it is not.
    Allow(kind);
    EXPECT_EQ(AnotherUserReads(Path()), "A " + std::to_string(number) + " ") << kind.reason;
    QualityDatabase(db_).Set("time_zone", "+0" + std::to_string(number) + ":00");
    EXPECT_GT(std::filesystem::file_size(Path() + "-wal"), 0U);
    const auto zone = [&] { return QualityDatabase(OpenDatabase(Path())).Setting("time_zone"); };
    EXPECT_EQ(AsAnotherUser(zone), "+0" + std::to_string(number) + ":00") << kind.reason;
    ExpectAnotherUserIsRefused(Path(), kind.reason);
    ImportSubgroup(++number);
  }
}

TEST_F(ReadOnlyTest, TheLogOfAProgramThatDiedIsReadWithItsIndex) {
  ImportSubgroup(1);
  db_.reset();
  CommitAndDie(7);
  for (const auto& kind : kKinds) {
    Allow(kind);
    const auto files = FilesBeside(Path());
    ASSERT_TRUE(files.contains("q.db-shm"));
    EXPECT_EQ(AnotherUserReads(Path()), "A 1 B 0 ") << kind.reason;
    EXPECT_EQ(FilesBeside(Path()), files) << kind.reason;
  }
}

TEST_F(ReadOnlyTest, WithoutTheIndexOfALogSomebodyWhoMayWriteIsAskedFor) {
  ImportSubgroup(1);
  db_.reset();
  CommitAndDie(7);
  std::filesystem::remove(Path() + "-shm");
  for (const auto& kind : kKinds) {
    Allow(kind);
    EXPECT_EQ(AnotherUserReads(Path()),
              Path() +
                  ": may not be written to, and only who may can read its log (-wal): open it once "
                  "as a user who may write it and its folder");
    EXPECT_FALSE(FilesBeside(Path()).contains("q.db-shm"));
  }
  Allow({0666, 0777, ""});
  OpenDatabase(Path());
  Allow(kKinds[2]);
  EXPECT_EQ(AnotherUserReads(Path()), "A 1 B 0 ");
}

TEST_F(ReadOnlyTest, AnEmptyLogWithoutIndexIsNone) {
  ImportSubgroup(1);
  db_.reset();
  WriteFile(Path() + "-wal", "");
  for (const auto& kind : kKinds) {
    Allow(kind);
    EXPECT_EQ(AnotherUserReads(Path()), "A 1 ") << kind.reason;
  }
}

TEST_F(ReadOnlyTest, AnOlderSchemaIsRefusedSinceItCannotComeForward) {
  RunSql(Path(), kVersion1File);
  for (const auto& kind : kKinds) {
    Allow(kind);
    EXPECT_EQ(AnotherUserReads(Path()),
              Path() +
                  ": was made by an older release (schema 1) and may not be written to, so it "
                  "cannot be brought forward");
  }
}

TEST_F(ReadOnlyTest, WhatIsNoDatabaseIsRefusedAsElsewhere) {
  const auto refused = [&](const std::string& reason) {
    Allow(kKinds[2]);
    EXPECT_EQ(AnotherUserReads(Path()), Path() + ": " + reason);
    Allow({0666, 0777, ""});
  };
  WriteFile(Path(), "");
  refused("is empty and no quality database");
  WriteFile(Path(), std::string(5000, 'x'));
  refused("is no database file");
}

TEST_F(OpenDatabaseTest, ALinkIsJudgedByTheFolderOfItsTarget) {
  namespace fs = std::filesystem;
  const fs::path top = fs::path(Path()).parent_path();
  ASSERT_EQ(chmod(top.c_str(), 0777), 0);
  for (const char* name : {"open", "closed"}) {
    fs::create_directory(top / name);
    OpenDatabase(top / name / "q.db", true);
    ASSERT_EQ(chmod((top / name / "q.db").c_str(), 0666), 0);
  }
  fs::create_symlink("../open/q.db", top / "closed" / "to-open");
  fs::create_symlink("../closed/q.db", top / "open" / "to-closed");
  fs::create_symlink("to-closed", top / "open" / "twice");
  ASSERT_EQ(chmod((top / "open").c_str(), 0777), 0);
  ASSERT_EQ(chmod((top / "closed").c_str(), 0555), 0);
  const auto write = [&](const fs::path& path) {
    return AsAnotherUser([&] {
      QualityDatabase(OpenDatabase(path, true)).Set("time_zone", "+02:00");
      return std::string("written");
    });
  };
  EXPECT_EQ(write(top / "closed" / "to-open"), "written");
  for (const char* name : {"to-closed", "twice"}) {
    const auto path = (top / "open" / name).string();
    EXPECT_EQ(AnotherUserReads(path), "") << "opened, but empty";
    EXPECT_EQ(write(path), path + ": its folder may not be written to");
  }
  ASSERT_EQ(chmod((top / "closed").c_str(), 0777), 0);
  // A link to what is yet to be made.
  fs::create_symlink("no/q.db", top / "astray");
  EXPECT_NE(OpeningFailure(top / "astray", true).find("no folder"), std::string::npos);
  fs::create_symlink("open/new.db", top / "new");
  EXPECT_EQ(OpeningFailure(top / "new", true), "");
  EXPECT_TRUE(fs::exists(top / "open" / "new.db"));
}

TEST_F(OpenDatabaseTest, AKillWhileItIsBeingMadeLeavesAFileThatCanBeMade) {
  int unmade = 0;
  for (int delay = 0; delay < 6000; delay += 150) {
    const auto child = fork();
    if (child == 0) {
      OpenDatabase(Path(), true);
      _exit(0);
    }
    usleep(static_cast<useconds_t>(delay));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (!OpeningFailure(Path()).empty()) ++unmade;
    EXPECT_EQ(OpeningFailure(Path(), true), "") << delay << " microseconds";
    EXPECT_EQ(OpeningFailure(Path()), "") << delay << " microseconds";
    Remove();
  }
  EXPECT_GT(unmade, 0);  // else no kill came in time
}

// What SQLite leaves of a file whose first transaction was none of ours.
TEST_F(OpenDatabaseTest, AFileWithoutMarkAndTableIsMadeADatabase) {
  for (const char* sql : {"PRAGMA journal_mode=WAL", "CREATE TABLE t(x); DROP TABLE t"}) {
    RunSql(Path(), sql);
    EXPECT_NE(OpeningFailure(Path()).find("is empty"), std::string::npos) << sql;
    EXPECT_EQ(OpeningFailure(Path(), true), "") << sql;
    EXPECT_EQ(OpeningFailure(Path()), "") << sql;
    Remove();
  }
  RunSql(Path(), "PRAGMA user_version=3");
  EXPECT_NE(OpeningFailure(Path(), true).find("no quality database"), std::string::npos);
}

class SchemaTest : public StoreTest {
 protected:
  void SetUp() override { RunSql(Path(), kVersion1File); }
  std::int32_t Version() {
    std::int32_t version = -1;
    Opened()->ReadOrThrow([&](Connection& db) {
      Query query(db, "PRAGMA user_version");
      if (query.Step()) version = query.Int(0);
    });
    return version;
  }
};

TEST_F(SchemaTest, AFileOfVersion1ComesForwardWithAllThatItHolds) {
  EXPECT_EQ(Version(), schema::kSchemaVersion);
  FlatSelection all;
  const auto data = Select(all.info, all.Filter());
  ASSERT_EQ(data.subgroups.size(), 4u);
  EXPECT_EQ(data.values, (std::vector<double>{74.030, 74.002, 3.0, 1.0, 73.995, 0.0}));
  EXPECT_EQ(data.subgroups[0].Job, 1);
  EXPECT_EQ(Opened()->SpecLimits(1, 1).size(), 1u);
  EXPECT_EQ(Opened()->ControlLimits(1, 1, 1).size(), 1u);
  EXPECT_EQ(Opened()->Opportunities(1, 2).size(), 1u);
  EXPECT_EQ(Opened()->Setting("time_zone", ""), "+01:00");
  EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1), (1u << 1) | (1u << 20));
  EXPECT_EQ(Data().Groups(ItemKind::Defect).size(), 1u);
  EXPECT_EQ(Data().Descriptors().size(), 2u);
}

TEST_F(SchemaTest, AFileBroughtForwardHasTheTablesOfANewOne) {
  const auto tables = [](EmbeddedDatabase& database) {
    std::vector<std::string> found;
    SqlStoreOf(database)->ReadOrThrow([&](Connection& db) {
      Query query(db,
                  "SELECT m.name || '.' || c.name || ' ' || c.type FROM sqlite_master m, "
                  "pragma_table_info(m.name) c WHERE m.type = 'table' ORDER BY 1");
      while (query.Step()) found.emplace_back(query.Text(0));
    });
    return found;
  };
  const auto fresh = OpenDatabase(folder_.File("new.db"), true);
  EXPECT_EQ(tables(Db()), tables(*fresh));
  EXPECT_GT(tables(*fresh).size(), 100u);
}

TEST_F(SchemaTest, AFileOfVersion1TakesWhatOnlyVersion2Holds) {
  Db();
  RunSql(Path(),
         "INSERT INTO company(id, name) VALUES(1, 'Works'); UPDATE process SET company = 1;"
         "INSERT INTO state_code(id, name, type) VALUES(1, 'running', 2000);"
         "INSERT INTO state_log VALUES(1, 0, 1)");
  Reopen();
  EXPECT_EQ(Data().Find(ItemKind::Company, "Works"), 1);
  EXPECT_EQ(Data().Name(ItemKind::StateCode, 1), "running");
}

TEST_F(SchemaTest, AnInterruptedStepForwardLeavesVersion1) {
  RunSql(Path(), "CREATE TABLE cac_code(x)");  // in the way of the second half
  EXPECT_NE(FailureOf([&] { OpenDatabase(Path()); }), "");
  RunSql(Path(), "DROP TABLE cac_code");
  EXPECT_EQ(Version(), schema::kSchemaVersion);
}

TEST_F(OpenDatabaseTest, TwoProgramsThatMakeItAtOnceAreBothServed) {
  constexpr int kRounds = 40;
  for (int round = 0; round < kRounds; ++round) {
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    pid_t children[2];
    for (auto& child : children) {
      child = fork();
      if (child != 0) continue;
      close(go[1]);
      char byte = 0;
      while (read(go[0], &byte, 1) > 0) continue;
      _exit(FailureOf([&] { OpenDatabase(Path(), true); }).empty() ? 0 : 1);
    }
    close(go[0]);
    close(go[1]);  // both are off
    for (const auto child : children) EXPECT_TRUE(Succeeded(child)) << "round " << round;
    EXPECT_EQ(OpeningFailure(Path()), "") << "round " << round;
    Remove();
  }
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
  Data().Set("sigma_estimator", "pooled");
  EXPECT_EQ(Opened()->Setting("sigma_estimator", "mvlue"), "pooled");
  Data().Set("sigma_estimator", "unweighted");
  Reopen();
  EXPECT_EQ(Opened()->Setting("sigma_estimator", "mvlue"), "unweighted");
  EXPECT_NE(FailureOf([&] { Data().Set("time_zone", "Europe/Vienna"); }), "");
  Data().Set("time_zone", "+02:00");
}

TEST_F(OpenDatabaseTest, AWriteThroughAnotherConnectionIsSeenAtOnce) {
  const auto other = OpenDatabase((Db(), Path()));
  EXPECT_EQ(Opened()->Setting("time_zone", "-"), "-");
  QualityDatabase(other).Set("time_zone", "+02:00");
  EXPECT_EQ(Opened()->Setting("time_zone", "-"), "+02:00");
}

TEST(Notes, AreBoundedForHostsThatNeverTakeThem) {
  TakeNotes();
  for (std::size_t i = 0; i <= kMaxNotes; ++i) AddNote("code", std::to_string(i));
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), kMaxNotes / 2 + 2);
  EXPECT_EQ(notes[0].code, "notes-cut");
  EXPECT_EQ(notes[1].text, std::to_string(kMaxNotes / 2));
  EXPECT_EQ(notes.back().text, std::to_string(kMaxNotes));
}

TEST(Notes, SayHowManyOfThemAreLeftOut) {
  TakeNotes();
  const std::size_t given = 3 * kMaxNotes + 1;
  for (std::size_t i = 0; i < given; ++i) AddNote("code", std::to_string(i));
  const auto notes = TakeNotes();
  ASSERT_GT(notes.size(), 1u);
  EXPECT_LE(notes.size(), kMaxNotes);
  const auto left_out = given - (notes.size() - 1);
  EXPECT_EQ(notes[0].text, std::to_string(left_out) + " notes that came before are left out.");
  EXPECT_EQ(notes[1].text, std::to_string(left_out)) << "the first one that is kept";
  EXPECT_EQ(std::ranges::count(notes, "notes-cut", &Note::code), 1);
}

TEST_F(OpenDatabaseTest, NotesThatAreLeftOutAreCountedForEachDatabase) {
  const std::int32_t handle = Db().ConnectionHandle();
  TakeNotes();
  {
    const NotesBelongTo closed(handle + 1);
    AddNote("code", "text");
  }
  {
    const NotesBelongTo opened(handle);
    AddNote("code", "text");
  }
  for (std::size_t i = 0; i < kMaxNotes; ++i) AddNote("code", "text");
  const auto notes = TakeNotes();
  ASSERT_GT(notes.size(), 2u);
  EXPECT_EQ(notes[0].text,
            std::to_string(kMaxNotes / 2 - 2) + " notes that came before are left out.");
  EXPECT_EQ(notes[1].text, "1 note that came before is left out.");
  EXPECT_EQ(notes[2].code, "code") << "none for a database that is closed";
}

}  // namespace
}  // namespace orvspc::engine::store
