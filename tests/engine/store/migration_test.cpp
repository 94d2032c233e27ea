// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/schema/schema.h"
#include "engine/sql/counter.h"
#include "engine/store/digest.h"
#include "engine/store/migration.h"
#include "platform/TimeText.h"
#include "tests/engine/store/former_file.h"
#include "tests/engine/store/killed_opening.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/stored_record.h"
#include "tests/engine/store/version1_file.h"
#include "tests/engine/watched_device.h"
#include "tests/engine/write/import/every_kind.h"

// Files of older schemas with so many values that these go into chunks and blocks.
namespace orvspc::engine::store {
using namespace sql;
using namespace catalogue;

namespace {

class MigrationTest : public StoreTest {
 protected:
  void SetUp() override {
    RunSql(Path(), kVersion1File);
    RunSql(Path(),
           "INSERT INTO job VALUES(7001, 'J', 1);"
           "INSERT INTO context(id, job) VALUES(7001, 7001);"
           "DELETE FROM measurement; DELETE FROM subgroup_descriptor; DELETE FROM comment;"
           "DELETE FROM subgroup; DELETE FROM stream;"
           "INSERT INTO stream VALUES(1, 1, 1, 1), (2, 1, 1, 2), (3, 1, 2, 1)");
    const auto db = OpenAnother(Path());
    Transaction transaction(*db, TransactionKind::Write);
    std::mt19937 random(1);
    for (std::int32_t id = 1; id <= kSubgroups; ++id) {
      const auto time = 1'000'000 + Below(random, 5000);
      const int process = 1 + Below(random, 2);
      const auto label = "S" + std::to_string(id);
      Query(*db, "INSERT INTO subgroup(id, part, process, label, time) VALUES(?1, 1, ?2, ?3, ?4)",
            id, process, label, time)
          .Run();
      Add(*db, random, process == 1 ? 1 : 3, {time, id});
      if (process == 1 && id % 3 == 0) Add(*db, random, 2, {time, id});
    }
    transaction.Commit();
  }

  void Add(Connection& db, std::mt19937& random, std::int64_t stream, const RecordKey& key) {
    auto record = RandomRecord(random, key);
    record.batch = record.entry = 0;
    record.context = Below(random, 2) * 7001;
    WriteFormerRecord(db, stream, record);
    written_[stream][key] = std::move(record);
  }

  // That every value and name is there.
  void ExpectAll() {
    Opened()->ReadOrThrow([&](Connection& db) {
      for (const auto& [stream, records] : written_) {
        std::map<RecordKey, StoredRecord> read;
        ForEachRecord(db, stream, [&](const RecordView& record) {
          EXPECT_TRUE(read.emplace(record.Key(), CopyOf(record)).second);
        });
        EXPECT_EQ(read, records);
      }
      const auto labels = ReadLabels(db, 1, INT32_MAX);
      ASSERT_EQ(labels.size(), static_cast<std::size_t>(kSubgroups));
      for (std::int32_t i = 0; i < kSubgroups; ++i) {
        const auto& [id, label] = labels[static_cast<std::size_t>(i)];
        EXPECT_EQ(id, i + 1);
        EXPECT_EQ(label, "S" + std::to_string(id));
      }
      EXPECT_GT(Query(db, "SELECT count(*) FROM subgroup_block").RunForInt(), 9);
      EXPECT_GT(Query(db, "SELECT count(*) FROM measurement_chunk").RunForInt(), 3);
    });
  }

  // The file of schema 1 that was made becomes one of schema 2.
  void MakeVersion2() {
    const auto db = OpenAnother(Path());
    Transaction transaction(*db, TransactionKind::Write);
    db->Define(std::string(schema::Versions()[1].text));
    db->SetMark(schema::kApplicationId, 2);
    transaction.Commit();
  }
  // Schema, values and names of a file of schema 1 or 2.
  static std::string ContentOf(const std::string& path) {
    const auto db = OpenAnother(path);
    std::string content = std::to_string(db->Mark().version) + "\n";
    for (const char* sql :
         {"SELECT stream || ' ' || time || ' ' || subgroup || ' ' || hex(packed) FROM measurement "
          "ORDER BY stream, time, subgroup",
          "SELECT id || ' ' || label || ' ' || time FROM subgroup ORDER BY id"}) {
      for (Query query(*db, sql); query.Step();) content.append(query.Text(0)).append("\n");
    }
    return content;
  }
  // The names of its backups, without the name of the file.
  std::vector<std::string> Backups() const {
    const std::filesystem::path file = Path();
    const auto start = file.filename().string() + ".";
    std::vector<std::string> names;
    for (const auto& each : std::filesystem::directory_iterator(file.parent_path())) {
      const auto name = each.path().filename().string();
      if (name.starts_with(start)) names.push_back(name.substr(start.size()));
    }
    std::ranges::sort(names);
    return names;
  }
  using Names = std::vector<std::string>;

  static constexpr std::int32_t kSubgroups = 3000;
  std::map<std::int64_t, std::map<RecordKey, StoredRecord>> written_;
};

TEST_F(MigrationTest, EveryValueAndNameComesForward) { ExpectAll(); }

// Everything that imports of every kind make, in a file as releases with schema 2 wrote it.
TEST_F(MigrationTest, AFileWithRowsInEveryTableComesForwardWithItsDigest) {
  const auto wanted = folder_.File("wanted.db"), former = folder_.File("former.db");
  const auto samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
  for (const auto* name : {"piston-rings", "radiators", "juice-cans"}) {
    QualityDatabase::ImportInto(wanted, samples + name + ".csv", ImportKind::Values);
  }
  for (const auto& [kind, text] : import::kEveryKind) {
    WriteFile(folder_.File("in.csv"), text);
    QualityDatabase::ImportInto(wanted, folder_.File("in.csv"), kind);
  }
  const auto digest_of = [](const std::string& path) {
    const auto db = OpenConnection(path, false);
    Transaction reading(*db, TransactionKind::Read);
    return DigestOf(*db);
  };
  WriteFormerFile(wanted, former, 2);
  OpenDatabase(former);
  EXPECT_EQ(OpenAnother(former)->Mark().version, schema::kSchemaVersion);
  const auto expected = digest_of(wanted);
  EXPECT_GT(expected.measurements, 70);
  EXPECT_EQ(digest_of(former), expected);
}

// Rows of tables that the schema copies, and values, changed or lost on their way.
TEST_F(MigrationTest, WhatDiffersIsARefusalAndTheFileStaysAsItWas) {
  RunSql(Path(),
         "INSERT INTO control_limit SELECT 2, part, process, test, 5, mean, sp, spl, sw, swl, "
         "start, finish, chart_word, status, rule, replaced_by, who, made FROM control_limit;"
         "INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(1, 7, 1, 5, 'kept');"
         "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) VALUES(7, 1, 0)");
  const auto content = [&] {
    auto text = ContentOf(Path());
    const auto db = OpenAnother(Path());
    for (Query query(*db,
                     "SELECT 'limit ' || id || ' ' || mean || ' ' || who FROM control_limit "
                     "UNION ALL SELECT 'note ' || id || note FROM comment "
                     "UNION ALL SELECT 'item ' || subgroup FROM subgroup_descriptor");
         query.Step();) {
      text.append(query.Text(0)).append("\n");
    }
    return text;
  };
  const auto former = content();
  const auto failure_with = [&](const std::string& fault) -> std::string {
    try {
      sql::sqlite::OpenFile(Path(), false, [&](Connection& db) {
        WatchMigrations([&](const std::string&, int percent) {
          if (percent == 4) db.Execute(fault);
        });
        BringFileForward(db, Path());
      });
      return {};
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  };
  for (const std::string fault :
       {"UPDATE control_limit SET mean = mean + 1e-9 WHERE id = 2",
        "UPDATE control_limit SET who = who || ' '", "DELETE FROM control_limit WHERE id = 1",
        "UPDATE control_limit SET id = 3 WHERE id = 2", "UPDATE comment SET note = 'other'",
        "DELETE FROM comment",
        "INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(2, 7, 1, 5, 'new')",
        "UPDATE subgroup_descriptor SET tsno = 1", "DELETE FROM subgroup_descriptor"}) {
    EXPECT_EQ(failure_with(fault), "what the new schema holds differs from what the old one held")
        << fault;
    EXPECT_TRUE(content() == former) << fault;
    EXPECT_EQ(Backups(), Names{}) << fault;
  }
  EXPECT_EQ(failure_with("SELECT 1"), "");
  WatchMigrations({});
  EXPECT_EQ(Backups(), Names{"v1"});
  ExpectAll();
}

// Killed at a random moment and opened again, until it is through.
TEST_F(MigrationTest, AKillLeavesTheFormerFileOrAllOfTheNewOne) {
  std::filesystem::copy_file(Path(), folder_.File("old.db"));
  const auto start = std::chrono::steady_clock::now();
  Db();
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  const auto version = [&] { return OpenAnother(Path())->Mark().version; };
  std::mt19937 random(2);
  int former = 0;
  for (int round = 0; round < 12; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    db_.reset();
    for (const char* end : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(Path() + end);
    }
    std::filesystem::copy_file(folder_.File("old.db"), Path());
    for (int kills = 1 + Below(random, 2); kills > 0; --kills) {
      OpenAndKill(Path(), random, whole);
      former += version() == 1 ? 1 : 0;
    }
    ExpectAll();
    if (HasFatalFailure()) return;
    EXPECT_EQ(version(), schema::kSchemaVersion);
  }
  EXPECT_GT(former, 0);  // else no kill came in time
}

// One of them does it, and the others wait for it.
TEST_F(MigrationTest, ThreeProgramsThatOpenItAtOnceAreAllServed) {
  std::filesystem::copy_file(Path(), folder_.File("old.db"));
  for (int round = 0; round < 8; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 3; ++i) {
      const auto child = fork();
      if (child == 0) {
        close(go[1]);
        char byte = 0;
        while (read(go[0], &byte, 1) > 0) continue;
        const auto begin = std::chrono::steady_clock::now();
        const auto failure = FailureOf([&] { OpenDatabase(Path()); });
        // On a device that is busy it may take longer than they wait.
        const bool is_late = std::chrono::steady_clock::now() - begin > std::chrono::seconds(5);
        const bool is_excused = is_late && failure.find("locked") != std::string::npos;
        _exit(failure.empty() || is_excused ? 0 : 1);
      }
      children.push_back(child);
    }
    close(go[0]);
    close(go[1]);  // all are off
    for (const auto child : children) {
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    ExpectAll();
    EXPECT_TRUE(std::filesystem::exists(Path() + ".v1"));
    EXPECT_FALSE(std::filesystem::exists(Path() + ".v1-2"));
    db_.reset();
    for (const char* end : {"", "-wal", "-shm", "-journal", ".v1"}) {
      std::filesystem::remove(Path() + end);
    }
    std::filesystem::copy_file(folder_.File("old.db"), Path());
  }
}

// As a program does that brings it forward and has no memory left for its pages.
TEST_F(MigrationTest, WhoFindsItLockedByTheOneThatBringsItForwardWaits) {
  sqlite3* const holder = OpenBare(Path());
  ASSERT_EQ(
      sqlite3_exec(holder, "PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE; CREATE TABLE held(x)",
                   nullptr, nullptr, nullptr),
      SQLITE_OK);
  std::string failure;
  std::atomic<bool> has_said = false, is_open = false;
  std::vector<int> told;
  std::thread opener([&] {
    WatchMigrations([&](const std::string& path, int percent) {
      EXPECT_EQ(path, Path());
      if (told.empty() || told.back() != percent) told.push_back(percent);
      has_said = true;
    });
    failure = FailureOf([&] { OpenDatabase(Path()); });
    is_open = true;
    WatchMigrations({});
  });
  while (!has_said && !is_open) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_FALSE(is_open) << "still waiting";
  sqlite3_close(holder);
  opener.join();
  EXPECT_EQ(failure, "");
  ASSERT_FALSE(told.empty());
  EXPECT_LT(told.front(), 0);
  EXPECT_EQ(told.back(), 100);
  ExpectAll();
}

TEST_F(MigrationTest, TheFormerFileIsKeptAndANoteNamesIt) {
  for (const std::string version : {"1", "2"}) {
    if (version == "2") {
      db_.reset();
      std::filesystem::rename(Path() + ".v1", Path());
      MakeVersion2();
    }
    const auto former = ContentOf(Path());
    TakeNotes();
    Db();
    const auto notes = TakeNotes();
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_EQ(notes[0].code, "brought-forward");
    EXPECT_EQ(notes[0].text, Path() + " was brought forward from schema " + version +
                                 " to 4; the former file is kept as " + Path() + ".v" + version +
                                 ".");
    EXPECT_EQ(Backups(), Names{"v" + version});
    EXPECT_TRUE(ContentOf(Path() + ".v" + version) == former) << version;
    ExpectAll();
  }
}

TEST_F(MigrationTest, WhoMayNotReadTheFileMayNotReadItsBackup) {
  namespace fs = std::filesystem;
  for (const auto rights :
       {fs::perms::owner_read | fs::perms::owner_write,
        fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read,
        fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read}) {
    db_.reset();
    fs::permissions(Path(), rights);
    fs::copy_file(Path(), folder_.File("old.db"));
    Db();
    EXPECT_EQ(fs::status(Path() + ".v1").permissions(), rights);
    Data().CopyTo(folder_.File("copy.db"));
    EXPECT_EQ(fs::status(folder_.File("copy.db")).permissions(), rights);
    db_.reset();
    for (const auto& made : {Path(), Path() + ".v1", folder_.File("copy.db")}) fs::remove(made);
    fs::rename(folder_.File("old.db"), Path());
  }
}

TEST_F(MigrationTest, TheBackupOfAFileBehindALinkIsBesideTheFile) {
  namespace fs = std::filesystem;
  const auto folder = folder_.File("links");
  fs::create_directory(folder);
  const auto link = folder + "/link.db";
  fs::create_symlink(Path(), link);
  TakeNotes();
  OpenDatabase(link);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].text, link + " was brought forward from schema 1 to " +
                               std::to_string(schema::kSchemaVersion) +
                               "; the former file is kept as " + Path() + ".v1.");
  EXPECT_EQ(Backups(), Names{"v1"});
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
  ExpectAll();
}

TEST_F(MigrationTest, NothingIsLeftOfABackupThatFails) {
  WriteFile(Path() + ".v1.new-journal", "of a program that was killed");
  {
    WatchedDevice device(static_cast<std::int64_t>(std::filesystem::file_size(Path()) / 2));
    EXPECT_EQ(FailureOf([&] { OpenDatabase(Path()); }),
              Path() + ": there is no room left on the device");
  }
  EXPECT_EQ(Backups(), Names{});
  ExpectAll();
}

// Its flush is the last step but a few: those of the commit.
TEST_F(MigrationTest, ABackupThatTheDeviceDoesNotKeepIsARefusal) {
  std::filesystem::remove(Path());
  RunSql(Path(), kVersion1File);
  std::filesystem::copy_file(Path(), folder_.File("old.db"));
  struct Opening {
    bool failed_step;
    std::string failure;
  };
  const auto open = [&](int step) {
    std::filesystem::copy_file(folder_.File("old.db"), Path(),
                               std::filesystem::copy_options::overwrite_existing);
    FailStep(step);
    auto failure = FailureOf([&] { OpenDatabase(Path()); });
    return Opening{FailStep(0), std::move(failure)};
  };
  int last = 1;
  for (int next = 1 << 14; next > 0; next /= 2) {
    if (open(last + next).failed_step) last += next;
  }
  const auto wanted = Path() + ": its backup " + Path() + ".v1 cannot be written: ";
  int refusals = 0;
  for (int step = last; step > last - 30; --step) {
    for (const auto& name : Backups()) std::filesystem::remove(Path() + "." + name);
    const auto opening = open(step);
    ASSERT_TRUE(opening.failed_step);
    if (!opening.failure.starts_with(wanted)) continue;
    ++refusals;
    EXPECT_EQ(OpenAnother(Path())->Mark().version, 1);
    EXPECT_EQ(Backups(), Names{});
  }
  EXPECT_EQ(refusals, 1);
}

// These files have no checksums on their pages.
TEST_F(MigrationTest, ABackupThatIsNotWhatTheFileIsIsARefusal) {
  const auto former = ContentOf(Path());
  const auto pages = std::filesystem::file_size(Path()) / 4096;
  ASSERT_GT(pages, 20U);
  for (const std::size_t garbled : {std::size_t{1}, pages / 2, pages}) {
    for (const std::size_t place : {101U, 4095U}) {
      std::size_t written = 0;
      std::string failure;
      {
        WatchedDevice device;
        device.on_write = [&](std::string_view name, std::span<std::byte> data) {
          if (!name.ends_with(".v1.new") || data.size() != 4096) return SQLITE_OK;
          if (++written == garbled) data[place] ^= std::byte{1};
          return SQLITE_OK;
        };
        failure = FailureOf([&] { OpenDatabase(Path()); });
      }
      EXPECT_EQ(failure,
                Path() + ": its backup " + Path() + ".v1 cannot be made: what was written differs")
          << garbled << " " << place;
      EXPECT_EQ(Backups(), Names{});
      EXPECT_EQ(ContentOf(Path()), former);
    }
  }
  ExpectAll();
}

TEST_F(MigrationTest, ABackupThatIsTheSameServesAgain) {
  std::filesystem::copy_file(Path(), folder_.File("old.db"));
  for (int round = 0; round < 2; ++round) {
    db_.reset();
    std::filesystem::copy_file(folder_.File("old.db"), Path(),
                               std::filesystem::copy_options::overwrite_existing);
    TakeNotes();
    Db();
    EXPECT_TRUE(TakeNotes()[0].text.ends_with("q.db.v1.")) << round;
    EXPECT_EQ(Backups(), Names{"v1"}) << round;
  }
  ExpectAll();
}

TEST_F(MigrationTest, AnothersFileWithTheNameOfTheBackupStays) {
  WriteFile(Path() + ".v1", "somebody's");
  const auto former = ContentOf(Path());
  TakeNotes();
  Db();
  EXPECT_TRUE(TakeNotes()[0].text.ends_with("q.db.v1-2."));
  EXPECT_EQ(Backups(), (Names{"v1", "v1-2"}));
  EXPECT_TRUE(ContentOf(Path() + ".v1-2") == former);
  std::string text;
  std::getline(std::ifstream(Path() + ".v1"), text);
  EXPECT_EQ(text, "somebody's");
}

TEST_F(MigrationTest, WithoutRoomForTwoTheFileStaysAsItWas) {
  const auto former = ContentOf(Path());
  const auto size = std::filesystem::file_size(Path());
  const auto folder = std::filesystem::path(Path()).parent_path();
  // With a hole at its end it is larger than what is free.
  std::filesystem::resize_file(Path(), std::filesystem::space(folder).available);
  const auto failure = FailureOf([&] { OpenDatabase(Path()); });
  const std::string reason = Path() + ": is of an older release; to bring it forward needs ";
  ASSERT_TRUE(failure.starts_with(reason)) << failure;
  const std::regex amounts(R"re([0-9]+(\.[0-9] GB| MB), [0-9]+(\.[0-9] GB| MB) free on )re");
  std::smatch match;
  const auto rest = failure.substr(reason.size());
  EXPECT_TRUE(std::regex_search(rest, match, amounts) && match.position() == 0 &&
              match.suffix() == folder.string())
      << failure;
  EXPECT_EQ(Backups(), Names{});
  std::filesystem::resize_file(Path(), size);
  EXPECT_TRUE(ContentOf(Path()) == former);
  ExpectAll();
}

// Nothing is written that the device could not hold.
TEST_F(MigrationTest, ChecksumsWaitForRoomForAWholeFile) {
  sql::sqlite::OpenFile(Path(), false, [&](Connection& db) { BringFileForward(db, Path()); });
  const auto size = std::filesystem::file_size(Path());
  const auto folder = std::filesystem::path(Path()).parent_path();
  const auto reserved = [&] {
    std::ifstream file(Path(), std::ios::binary);
    return file.seekg(20).get();
  };
  // With a hole at its end it is larger than what is free.
  std::filesystem::resize_file(Path(), std::filesystem::space(folder).available);
  OpenDatabase(Path());
  EXPECT_EQ(reserved(), 0);
  std::filesystem::resize_file(Path(), size);
  OpenDatabase(Path());
  EXPECT_EQ(reserved(), sql::sqlite::kReservedBytes);
  ExpectAll();
}

// The next program with room for them gives it its checksums.
TEST_F(MigrationTest, AFileWithoutRoomForChecksumsIsUsedWithoutThem) {
  sql::sqlite::OpenFile(Path(), false, [&](Connection& db) { BringFileForward(db, Path()); });
  const auto reserved = [&] {
    constexpr int kReservedAt = 20;
    std::ifstream file(Path(), std::ios::binary);
    file.seekg(kReservedAt);
    return file.get();
  };
  EXPECT_EQ(reserved(), 0);
  {
    WatchedDevice device(150'000);
    ExpectAll();
    Data().Set("time_zone", "+02:00");
    db_.reset();
  }
  EXPECT_EQ(reserved(), 0);
  ExpectAll();
  EXPECT_EQ(Data().Setting("time_zone"), "+02:00");
  db_.reset();
  EXPECT_EQ(reserved(), sql::sqlite::kReservedBytes);
}

// Nobody waits for a writer in order to give the file checksums, and who opens it only to read is
// not made to.
TEST_F(MigrationTest, ChecksumsWaitForNobody) {
  sql::sqlite::OpenFile(Path(), false, [&](Connection& db) { BringFileForward(db, Path()); });
  const auto reserved = [&] {
    std::ifstream file(Path(), std::ios::binary);
    return file.seekg(20).get();
  };
  sqlite3* const holder = OpenBare(Path());
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto begin = std::chrono::steady_clock::now();
  ExpectAll();
  // Who waits for a writer does so for a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
  db_.reset();
  sqlite3_close(holder);
  EXPECT_EQ(reserved(), 0);
  ExpectAll();
  db_.reset();
  EXPECT_EQ(reserved(), sql::sqlite::kReservedBytes);
}

TEST(RoomText, HasMoreThatIsNeededThanIsFree) {
  const struct {
    std::int64_t needed, available;
    const char* text;
  } kRows[] = {{1'400'000'000, 900'000'000, "needs 1.4 GB, 900 MB free"},
               {1'400'000'001, 1'400'000'000, "needs 1.5 GB, 1.4 GB free"},
               {1'000'000'000, 999'999'999, "needs 1.0 GB, 999 MB free"},
               {60'000'000, 59'999'999, "needs 60 MB, 59 MB free"},
               {60'000'001, 60'000'000, "needs 61 MB, 60 MB free"},
               {300'000, 299'999, "needs 1 MB, 0 MB free"},
               {1, 0, "needs 1 MB, 0 MB free"}};
  for (const auto& row : kRows) EXPECT_EQ(RoomText(row.needed, row.available), row.text);
}

TEST_F(MigrationTest, AFileThatAnotherProgramHasOpenStaysAsItWas) {
  {
    const auto holder = OpenAnother(Path());
    EXPECT_EQ(holder->Mark().version, 1);
    EXPECT_EQ(FailureOf([&] { OpenDatabase(Path()); }), Path() + ": is locked by another program");
    EXPECT_EQ(holder->Mark().version, 1);
    EXPECT_EQ(Backups(), Names{});
  }
  ExpectAll();
  EXPECT_EQ(Backups(), Names{"v1"});
}

TEST_F(MigrationTest, WhatComesLaterGoesBesideIt) {
  const auto key = written_[1].begin()->first;
  const auto time = platform::IsoText(key.time);
  Import("part,process,test,subgroup,time,value\nRing,Press A,Width,S" +
         std::to_string(key.subgroup) + "," + time + ",1\nRing,Press A,Width,New," + time + ",2\n");
  Opened()->ReadOrThrow([&](Connection& db) {
    const auto stream = Query(db, "SELECT max(id) FROM stream").RunForInt();
    std::vector<std::int32_t> subgroups;
    ForEachRecord(db, *stream,
                  [&](const RecordView& each) { subgroups.push_back(each.Subgroup()); });
    EXPECT_EQ(subgroups, (std::vector<std::int32_t>{key.subgroup, kSubgroups + 1}));
  });
}

// Nothing but their rows says that they are there: they are found by these, in the file and in a
// copy of it, also once many others have come.
TEST_F(MigrationTest, ASubgroupWithoutMeasurementsIsFoundByWhatComesLater) {
  const std::vector<std::int32_t> ids{1, 700, 701, 1500, kSubgroups - 1};
  std::string of_them = "part,process,test,subgroup,time,value\n", others = of_them;
  for (const auto id : ids) {
    const auto subgroup = std::to_string(id);
    RunSql(Path(), "DELETE FROM measurement WHERE subgroup = " + subgroup);
    for (auto& [stream, records] : written_) {
      std::erase_if(records, [&](const auto& each) { return each.first.subgroup == id; });
    }
    const auto db = OpenAnother(Path());
    Query query(*db,
                "SELECT p.name, s.time FROM subgroup s JOIN process p ON p.id = s.process "
                "WHERE s.id = ?1",
                id);
    ASSERT_TRUE(query.Step());
    of_them.append("Ring,").append(query.Text(0)).append(",Width,S" + subgroup + ",");
    of_them += platform::IsoText(query.Int(1)) + ",1\n";
  }
  for (int i = 0; i < 1000; ++i) {
    others += "Ring,Press A,Depth,Later," + platform::IsoText(2'000'000 + i) + ",2\n";
  }
  ExpectAll();
  EXPECT_EQ(Import(others).subgroups, 1000);
  Data().CopyTo(folder_.File("copy.db"));
  for (const auto& path : {Path(), folder_.File("copy.db")}) {
    SCOPED_TRACE(path);
    WriteFile(folder_.File("in.csv"), of_them);
    const auto report =
        QualityDatabase::ImportInto(path, folder_.File("in.csv"), ImportKind::Values);
    EXPECT_EQ(report.subgroups, 0) << "stored a second time";
    const auto db = OpenAnother(path);
    Transaction reading(*db, TransactionKind::Read);
    std::vector<std::int32_t> found;
    for (Query streams(*db,
                       "SELECT s.id FROM stream s JOIN test t ON t.id = s.test "
                       "WHERE t.name = 'Width'");
         streams.Step();) {
      ForEachRecord(*db, streams.Int64(0),
                    [&](const RecordView& each) { found.push_back(each.Subgroup()); });
    }
    std::ranges::sort(found);
    EXPECT_EQ(found, ids);
    // Each once, whatever is sealed.
    const auto labels = ReadLabels(*db, 1, INT32_MAX);
    EXPECT_EQ(labels.size(), kSubgroups + 1000U);
    EXPECT_TRUE(std::ranges::is_sorted(labels));
    EXPECT_LT(Query(*db, "SELECT count(*) FROM subgroup").RunForInt(), 3 * 256);
  }
}

TEST_F(MigrationTest, IdentifiersGoOnAboveTheHighestThatWereThere) {
  Db();
  RunSql(Path(), "DELETE FROM job WHERE id = 7001");
  Import("part,process,test,subgroup,time,value,job\nNew,Press A,Width,New,2024-01-01,2,New\n");
  EXPECT_EQ(Id(ItemKind::Job, "New"), 7002);
  EXPECT_EQ(Id(ItemKind::Part, "New"), 2);
  Opened()->ReadOrThrow([](Connection& db) {
    EXPECT_EQ(LastId(db, "context"), 7002);
    EXPECT_EQ(LastId(db, "subgroup"), kSubgroups + 1);
    EXPECT_EQ(LastId(db, "stream"), 4);
  });
}

TEST_F(MigrationTest, ADamagedValueIsNamedAndTheFileStaysAsItWas) {
  const auto state = [&] {
    const auto db = OpenAnother(Path());
    return std::pair(db->Mark().version,
                     Query(*db, "SELECT count(*) FROM measurement").RunForInt());
  };
  const auto before = state();
  for (const char* damage : {"packed = zeroblob(40)", "time = time + 1"}) {
    RunSql(Path(), "CREATE TABLE kept AS SELECT * FROM measurement WHERE subgroup = 1700");
    RunSql(Path(), "UPDATE measurement SET " + std::string(damage) + " WHERE subgroup = 1700");
    const auto failure = FailureOf([&] { OpenDatabase(Path()); });
    EXPECT_NE(failure.find("is damaged: the values of subgroup 1700"), std::string::npos)
        << failure;
    EXPECT_EQ(state(), before);
    RunSql(Path(),
           "DELETE FROM measurement WHERE subgroup = 1700;"
           "INSERT INTO measurement SELECT * FROM kept; DROP TABLE kept");
  }
  EXPECT_EQ(FailureOf([&] { OpenDatabase(Path()); }), "");
}

TEST_F(MigrationTest, ABackupThatWasThereBeforeStaysWhenItFails) {
  const auto backup = Path() + ".v1";
  RunSql(Path(), "UPDATE measurement SET packed = zeroblob(40) WHERE subgroup = 1700");
  EXPECT_NE(FailureOf([&] { OpenDatabase(Path()); }), "");
  EXPECT_FALSE(std::filesystem::exists(backup)) << "its own";
  sqlite::BackUp(Path(), backup);
  EXPECT_NE(FailureOf([&] { OpenDatabase(Path()); }), "");
  EXPECT_TRUE(std::filesystem::exists(backup));
  EXPECT_FALSE(std::filesystem::exists(backup + "-2")) << "was not the same";
}

}  // namespace
}  // namespace orvspc::engine::store
