// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <filesystem>
#include <random>
#include <string>

#include "engine/QualityDatabase.h"
#include "engine/schema/schema.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/store/digest.h"
#include "engine/store/migration.h"
#include "engine/write/log/Json.h"
#include "tests/engine/store/former_file.h"
#include "tests/engine/store/killed_opening.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/write/import/every_kind.h"

// Files of schema 3, which have no log, with rows in every table.
namespace orvspc::engine::store {
namespace {

class FormerSchema3Test : public StoreTest {
 protected:
  void SetUp() override {
    const auto wanted = folder_.File("wanted.db");
    const auto samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
    for (const auto* name : {"piston-rings", "radiators", "juice-cans"}) {
      QualityDatabase::ImportInto(wanted, samples + name + ".csv", ImportKind::Values);
    }
    for (const auto& [kind, text] : import::kEveryKind) {
      WriteFile(folder_.File("in.csv"), text);
      QualityDatabase::ImportInto(wanted, folder_.File("in.csv"), kind);
    }
    expected_ = DigestIn(wanted);
    WriteVersion3File(wanted, Path());
    ASSERT_EQ(VersionOf(Path()), 3);
  }
  static DatabaseDigest DigestIn(const std::string& path) {
    const auto db = OpenConnection(path, false);
    Transaction reading(*db, TransactionKind::Read);
    return DigestOf(*db);
  }
  static std::int32_t VersionOf(const std::string& path) {
    return OpenAnother(path)->Mark().version;
  }
  void ExpectForward() {
    Reopen();
    EXPECT_EQ(VersionOf(Path()), schema::kSchemaVersion);
    EXPECT_EQ(DigestIn(Path()), expected_);
    const auto entries = Data().Log();
    ASSERT_EQ(entries.size(), 1U);
    const auto after = log::ReadJson(entries[0].after);
    EXPECT_EQ(after["digest"], expected_.all);
    EXPECT_EQ(after["uuid"], Data().LogHead().uuid);
  }

  DatabaseDigest expected_;
};

TEST_F(FormerSchema3Test, EverythingComesForwardAndTheLogBeginsWithItsDigest) {
  TakeNotes();
  ExpectForward();
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].text, Path() +
                               " was brought forward from schema 3 to 4; the former file is "
                               "kept as " +
                               Path() + ".v3.");
  EXPECT_EQ(VersionOf(Path() + ".v3"), 3);
  const auto check = Data().VerifyLog({.with_data = true, .anchors = {}});
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.records, 0);
  EXPECT_EQ(check.unproved, expected_.measurements);
  ASSERT_EQ(check.notes.size(), 1U);
}

TEST_F(FormerSchema3Test, ItGrowsAndIsProvedFromThenOn) {
  Import("part,process,test,subgroup,time,value\nNew,P,T,1,2024-01-01,5\n");
  ChangeOptions options;
  options.reason = "trial run";
  const auto part = Data().Find(ItemKind::Part, "New");
  ASSERT_TRUE(part);
  // One that was there before the log, and the new one.
  Data().ChangeFlag({1}, std::nullopt, 1, options);
  const auto check = Data().VerifyLog({.with_data = true, .anchors = {}});
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records + check.unproved, expected_.measurements + 1);
  EXPECT_GE(check.records, 2);
}

TEST_F(FormerSchema3Test, LimitsThatDifferAreARefusalAndTheFileStaysAsItWas) {
  const auto content = [&] {
    const auto db = OpenAnother(Path());
    std::string text = std::to_string(db->Mark().version);
    for (Query query(*db, "SELECT id || ' ' || mean || ' ' || status FROM control_limit");
         query.Step();) {
      text.append("\n").append(query.Text(0));
    }
    return text;
  };
  const auto former = content();
  ASSERT_GT(former.size(), 10U);
  for (const std::string fault :
       {"UPDATE control_limit SET mean = mean + 1 WHERE id = 1", "DELETE FROM control_limit"}) {
    std::string failure;
    try {
      sql::sqlite::OpenFile(Path(), false, [&](Connection& db) {
        WatchMigrations([&](const std::string&, int percent) {
          if (percent == 4) db.Execute(fault);
        });
        BringFileForward(db, Path());
      });
    } catch (const std::runtime_error& error) {
      failure = error.what();
    }
    EXPECT_EQ(failure, "what the new schema holds differs from what the old one held") << fault;
    EXPECT_EQ(content(), former) << fault;
    EXPECT_FALSE(std::filesystem::exists(Path() + ".v3")) << fault;
  }
  WatchMigrations({});
  ExpectForward();
}

// Its page is whole.
TEST_F(FormerSchema3Test, ADamagedChunkIsNamedAndTheFileStaysAsItWas) {
  RunSql(Path(),
         "CREATE TABLE kept AS SELECT * FROM measurement_chunk;"
         "UPDATE measurement_chunk SET packed = CAST(substr(packed, 1, 99) || x'ff' || "
         "substr(packed, 101) AS BLOB)");
  const auto failure = FailureOf([&] { OpenDatabase(Path()); });
  EXPECT_EQ(failure.find(Path() + ": The values of "), 0U) << failure;
  EXPECT_NE(failure.find(" are damaged: their checksum does not fit"), std::string::npos)
      << failure;
  EXPECT_EQ(VersionOf(Path()), 3);
  EXPECT_FALSE(std::filesystem::exists(Path() + ".v3"));
  RunSql(Path(),
         "DELETE FROM measurement_chunk; INSERT INTO measurement_chunk SELECT * FROM kept;"
         "DROP TABLE kept");
  ExpectForward();
}

// Values stay where they are, so that the backup is all that it takes.
TEST_F(FormerSchema3Test, ItNeedsRoomForItsBackupAlone) {
  const auto folder = std::filesystem::path(Path()).parent_path();
  const auto size = std::filesystem::file_size(Path());
  // Larger by a hole at its end.
  std::filesystem::resize_file(Path(), std::filesystem::space(folder).available / 3 * 2);
  EXPECT_EQ(FailureOf([&] { OpenDatabase(Path()); }), "");
  if (std::filesystem::file_size(Path()) > size) std::filesystem::resize_file(Path(), size);
  db_.reset();
  std::filesystem::remove(Path());
  std::filesystem::copy_file(Path() + ".v3", Path());
  std::filesystem::resize_file(Path(), std::filesystem::space(folder).available);
  const auto failure = FailureOf([&] { OpenDatabase(Path()); });
  EXPECT_NE(failure.find("is of an older release; to bring it forward needs "), std::string::npos)
      << failure;
}

TEST_F(FormerSchema3Test, AKillLeavesTheFormerFileOrAllOfTheNewOne) {
  const auto old = folder_.File("old.db");
  std::filesystem::copy_file(Path(), old);
  const auto start = std::chrono::steady_clock::now();
  OpenDatabase(Path());
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  std::mt19937 random(3);
  int former = 0;
  for (int round = 0; round < 12; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    db_.reset();
    for (const char* end : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(Path() + end);
    std::filesystem::copy_file(old, Path());
    OpenAndKill(Path(), random, whole);
    former += VersionOf(Path()) == 3 ? 1 : 0;
    ExpectForward();
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(former, 0);  // else no kill came in time
}

}  // namespace
}  // namespace orvspc::engine::store
