// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/ChecksumVfs.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/sqlite/flipped_bit.h"
#include "engine/sql/sqlite/pages.h"
#include "tests/engine/watched_device.h"

namespace orvspc::engine::sql::sqlite {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 4096;

class ChecksumVfsTest : public testing::Test {
 protected:
  ChecksumVfsTest() {
    std::string pattern = (fs::temp_directory_path() / "orvspc-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    folder_ = pattern;
  }
  ~ChecksumVfsTest() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  std::string Path() const { return folder_ / "q.db"; }
  std::unique_ptr<Connection> Open(const std::string& path) {
    return OpenFile(path, true, [](Connection&) {});
  }
  std::unique_ptr<Connection> Open() { return Open(Path()); }

  // Runs SQL on a file without our layer.
  static void RunBare(const std::string& path, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    sqlite3_close(db);
  }

  static std::string Bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  static void Write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }

  // Rows over some thirty pages: an index, texts with overflow pages, pages that are free again.
  static void Fill(Connection& db) {
    db.Execute(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT UNIQUE, long TEXT);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400)"
        "INSERT INTO t SELECT i, 'name ' || i, printf('%.*c', 20 + i * i % 9000, 'x') FROM n "
        "WHERE i % 7 = 0 OR i < 300;"
        "DELETE FROM t WHERE id BETWEEN 100 AND 150");
  }
  // All that the file holds, as text, or why it cannot be read.
  std::string Content(const std::string& path) {
    try {
      const auto db = Open(path);
      std::string text;
      Query query(*db, "SELECT id, name, long FROM t ORDER BY name");
      while (query.Step()) {
        text += std::to_string(query.Int64(0)) + " " + std::string(query.Text(1)) + " " +
                std::string(query.Text(2)) + "\n";
      }
      return text;
    } catch (const SqlError& error) {
      failure_ = error.Which();
      return error.what();
    }
  }
  // How many pages do not match.
  static std::size_t Unmatched(const std::string& bytes) {
    std::size_t unmatched = 0;
    for (std::size_t at = 0; at < bytes.size(); at += kPage) {
      const auto* const page = reinterpret_cast<const std::byte*>(bytes.data() + at);
      auto sum = PageChecksum({page, kPage - 8}, static_cast<std::uint32_t>(at / kPage + 1));
      bool matches = true;
      for (std::size_t i = kPage - 8; i < kPage; ++i, sum >>= 8)
        matches = matches && page[i] == static_cast<std::byte>(sum & 0xff);
      if (!matches) ++unmatched;
    }
    return unmatched;
  }

  fs::path folder_;
  SqlError::Kind failure_ = SqlError::Kind::Other;
};

TEST_F(ChecksumVfsTest, EveryChangedByteIsNoticedOrHarmless) {
  Fill(*Open());
  const auto bytes = Bytes(Path());
  const auto content = Content(Path());
  ASSERT_GT(bytes.size(), 20 * kPage);
  EXPECT_EQ(bytes[20], 8);
  EXPECT_EQ(Unmatched(bytes), 0U);
  std::mt19937 random(1);
  std::size_t noticed = 0, read = 0;
  std::set<std::size_t> places;
  for (std::size_t i = 0; i < 100; ++i) places.insert(i);  // the header
  for (int i = 0; i < 300; ++i) places.insert(random() % bytes.size());
  for (const auto place : places) {
    auto damaged = bytes;
    damaged[place] = static_cast<char>(damaged[place] ^ (1 << random() % 8));
    Write(Path(), damaged);
    const auto found = Content(Path());
    if (found == content) {
      ++read;
      continue;
    }
    ++noticed;
    if (place < 16) {
      EXPECT_EQ(failure_, SqlError::Kind::NotADatabase) << place;
      continue;
    }
    EXPECT_EQ(failure_, SqlError::Kind::Damaged) << place << ": " << found;
    const auto page = std::to_string(place / kPage + 1);
    // Whichever page comes first, unless the size of all pages is another.
    if (place >= 100) {
      EXPECT_EQ(found, "page " + page + " does not match its checksum") << place;
    }
  }
  EXPECT_GT(noticed, places.size() / 2);
  EXPECT_GT(read, 0U) << "the pages that are free";
}

TEST_F(ChecksumVfsTest, AHeaderThatNoLongerSaysReservedIsDamaged) {
  Fill(*Open());
  const auto bytes = Bytes(Path());
  for (int value = 0; value < 256; ++value) {
    if (value == 8) continue;
    auto damaged = bytes;
    damaged[20] = static_cast<char>(value);
    Write(Path(), damaged);
    EXPECT_EQ(Content(Path()), "page 1 does not match its checksum") << value;
  }
}

TEST_F(ChecksumVfsTest, PagesInEachOthersPlaceAreDamaged) {
  Fill(*Open());
  auto bytes = Bytes(Path());
  std::swap_ranges(bytes.begin() + 4 * kPage, bytes.begin() + 5 * kPage, bytes.begin() + 5 * kPage);
  Write(Path(), bytes);
  EXPECT_NE(Content(Path()).find("does not match its checksum"), std::string::npos);
  EXPECT_EQ(failure_, SqlError::Kind::Damaged);
}

TEST_F(ChecksumVfsTest, AFileThatIsCutIsNoticed) {
  Fill(*Open());
  const auto bytes = Bytes(Path());
  std::mt19937 random(2);
  for (int i = 0; i < 60; ++i) {
    // Half of them within the last page, whose rest SQLite takes for zeros.
    const auto cut = 1 + random() % (i % 2 == 0 ? kPage - 1 : bytes.size() - 2);
    Write(Path(), bytes.substr(0, bytes.size() - cut));
    Content(Path());
    EXPECT_TRUE(failure_ == SqlError::Kind::Damaged || failure_ == SqlError::Kind::NotADatabase)
        << cut;
    failure_ = SqlError::Kind::Other;
  }
}

TEST_F(ChecksumVfsTest, AFileWithoutReservedBytesIsReadAndWrittenAsItIs) {
  RunBare(Path(), "PRAGMA journal_mode=WAL; CREATE TABLE t(id, name, long)");
  Open()->Execute("INSERT INTO t VALUES(1, 'a', printf('%.*c', 20000, 'x'))");
  const auto bytes = Bytes(Path());
  EXPECT_EQ(bytes[20], 0);
  EXPECT_NE(Unmatched(bytes), 0U);
  RunBare(Path(), "INSERT INTO t VALUES(2, 'b', printf('%.*c', 20000, 'y'))");
  EXPECT_EQ(Content(Path()),
            "1 a " + std::string(20000, 'x') + "\n2 b " + std::string(20000, 'y') + "\n");
}

// Deliberate: its pages cannot be told from damaged ones.
TEST_F(ChecksumVfsTest, WhatAProgramWithoutTheLayerWritesIsDamaged) {
  Fill(*Open());
  RunBare(Path(), "UPDATE t SET long = 'short' WHERE id = 7");
  EXPECT_NE(Content(Path()).find("does not match its checksum"), std::string::npos);
}

TEST_F(ChecksumVfsTest, AProgramWithoutTheLayerMayRead) {
  Fill(*Open());
  const auto bytes = Bytes(Path());
  RunBare(Path(), "SELECT sum(length(long)) FROM t; PRAGMA integrity_check");
  EXPECT_EQ(Bytes(Path()), bytes);
}

TEST_F(ChecksumVfsTest, EveryPageHasItsChecksumHoweverItWasWritten) {
  for (const std::string mode : {"WAL", "DELETE", "TRUNCATE"}) {
    for (const int cache : {5, 200}) {
      const auto path = (folder_ / (mode + std::to_string(cache))).string();
      const auto db = Open(path);
      db->Execute("PRAGMA journal_mode=" + mode +
                  ";PRAGMA synchronous=OFF;PRAGMA cache_size=" + std::to_string(cache));
      Fill(*db);
      std::mt19937 random(static_cast<unsigned>(cache));
      for (int round = 0; round < 60; ++round) {
        db->Execute("BEGIN");
        for (int i = 0; i < 8; ++i) {
          const auto id = std::to_string(random() % 500), size = std::to_string(random() % 30000);
          db->Execute("INSERT OR REPLACE INTO t VALUES(" + id + ", 'name " + id +
                      "', printf('%.*c', " + size + ", 'z'))");
          db->Execute("DELETE FROM t WHERE id = " + std::to_string(random() % 500));
          db->Execute("UPDATE t SET long = long || 'more' WHERE id % 17 = 3");
        }
        db->Execute(round % 5 == 4 ? "ROLLBACK" : "COMMIT");
        if (round % 20 == 19) db->EmptyLog();
        ASSERT_EQ(Query(*db, "SELECT count(*) FROM t WHERE length(long) < 0").RunForInt(), 0);
      }
      db->EmptyLog();
      EXPECT_EQ(Unmatched(Bytes(path)), 0U) << mode << cache;
      Query check(*db, "PRAGMA integrity_check");
      ASSERT_TRUE(check.Step());
      EXPECT_EQ(check.Text(0), "ok");
    }
  }
}

// --- One flipped bit in a blob -------------------------------------------------------------------

// Rows of a table, of one in the order of its key with inner pages, and a row over several pages;
// each blob has bytes of its own. Beside them texts as long.
class FlippedBitTest : public ChecksumVfsTest {
 protected:
  static constexpr int kRows = 200;

  FlippedBitTest() {
    const auto db = Open();
    db->Execute(
        "CREATE TABLE by_number(id INTEGER PRIMARY KEY, name TEXT, packed BLOB, more INTEGER);"
        "CREATE TABLE by_key(stream, time, packed BLOB, PRIMARY KEY(stream, time)) WITHOUT ROWID");
    db->Execute("BEGIN");
    for (int i = 0; i < kRows; ++i) {
      Query(*db, "INSERT INTO by_number VALUES(?1, ?2, ?3, 5)", i + 1,
            "text of row " + std::to_string(i), BlobOf('n', i))
          .Run();
      Query(*db, "INSERT INTO by_key VALUES(?1, ?2, ?3)", i % 3, i, BlobOf('k', i)).Run();
    }
    db->Execute("COMMIT");
    db->EmptyLog();
    bytes_ = Bytes(Path());
  }

  static std::string TextOf(char table, int row) {
    std::string text = table + std::to_string(row) + "-";
    while (text.size() < (row == 50 ? 9000U : 60U)) text += "abcdef";
    return text;
  }
  static std::vector<std::byte> BlobOf(char table, int row) {
    const auto text = TextOf(table, row);
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
  }
  static constexpr std::pair<char, std::string_view> kTables[] = {
      {'n', "SELECT id - 1, packed FROM by_number ORDER BY id"},
      {'k', "SELECT time, packed FROM by_key ORDER BY stream, time"}};

  // The rows whose blobs are not what was written, as "n17"; or why a table cannot be read.
  std::string Changed() {
    std::string changed;
    const auto db = Open();
    for (const auto& [table, text] : kTables) {
      try {
        int rows = 0;
        for (Query query(*db, text); query.Step(); ++rows) {
          const auto blob = query.Blob(1);
          if (std::ranges::equal(blob, BlobOf(table, query.Int(0)))) continue;
          changed += table + std::to_string(query.Int(0));
        }
        EXPECT_EQ(rows, kRows);
      } catch (const SqlError& error) {
        EXPECT_EQ(error.Which(), SqlError::Kind::Damaged);
        changed += error.what();
      }
    }
    return changed;
  }
  std::string ChangedAfter(std::initializer_list<std::size_t> places) {
    auto damaged = bytes_;
    for (const auto place : places) damaged[place] = static_cast<char>(damaged[place] ^ 32);
    Write(Path(), damaged);
    return Changed();
  }
  static std::string Refusal(std::size_t place) {
    return "page " + std::to_string(place / kPage + 1) + " does not match its checksum";
  }

  std::string bytes_;
};

TEST_F(FlippedBitTest, OnlyTheRowOfTheBlobIsNotAsItWas) {
  EXPECT_EQ(Changed(), "");
  std::mt19937 random(4);
  for (int i = 0; i < 24; ++i) {
    const char table = i % 2 == 0 ? 'n' : 'k';
    const int row = static_cast<int>(random() % kRows);
    if (row == 50) continue;
    const auto text = TextOf(table, row);
    const auto at = bytes_.find(text);
    ASSERT_NE(at, std::string::npos);
    // The first and the last byte, too.
    for (const auto place : {at, at + text.size() - 1, at + random() % text.size()}) {
      EXPECT_EQ(ChangedAfter({place}), table + std::to_string(row)) << place;
    }
  }
}

// The rows of inner pages are those that are there.
TEST_F(FlippedBitTest, EveryBlobIsOnAPageThatCanBePassed) {
  const auto passes = [&](const std::string& text) {
    const auto at = bytes_.find(text), page = at / kPage;
    auto damaged = bytes_;
    damaged[at + 9] = static_cast<char>(damaged[at + 9] ^ 1);
    return IsOneBitOfBlob(std::as_bytes(std::span(damaged)).subspan(page * kPage, kPage),
                          static_cast<std::uint32_t>(page + 1));
  };
  std::set<char> kinds;
  for (int row = 0; row < kRows; ++row) {
    for (const char table : {'n', 'k'}) {
      EXPECT_TRUE(passes(TextOf(table, row).substr(0, 60))) << table << row;
      kinds.insert(bytes_[bytes_.find(TextOf(table, row).substr(0, 60)) / kPage * kPage]);
    }
  }
  EXPECT_EQ(kinds, (std::set<char>{2, 10, 13}));
}

TEST_F(FlippedBitTest, EverythingElseIsRefused) {
  const auto blob = bytes_.find(TextOf('n', 17)), text = bytes_.find("text of row 17"),
             key = bytes_.find(TextOf('k', 17));
  const auto page = blob / kPage * kPage;
  const struct {
    const char* what;
    std::vector<std::size_t> places;
  } rows[] = {{"two bits of a blob", {blob + 3, blob + 40}},
              {"blobs of two rows", {blob + 3, bytes_.find(TextOf('n', 18)) + 3}},
              {"a text", {text}},
              {"its last byte", {text + 13}},
              {"what follows the blob", {blob + TextOf('n', 17).size()}},
              {"the key before a blob", {key - 1}},
              {"the head of the page", {page + 4}},
              {"the place of a row", {page + 9}},
              {"the checksum itself", {page + kPage - 3}}};
  for (const auto& [what, places] : rows) {
    auto damaged = bytes_;
    for (const auto place : places) damaged[place] = static_cast<char>(damaged[place] ^ 32);
    Write(Path(), damaged);
    EXPECT_NE(Changed().find(Refusal(places.front())), std::string::npos) << what;
  }
}

// It would lead to where the others are, which look like a row with a blob.
TEST_F(FlippedBitTest, ThePlaceOfARowThatLooksLikeABlobIsRefused) {
  const std::array<int, 8> places{0xf00, 0xc10, 0x224, 0xe00, 0xd00, 0xb00, 0xa00, 0x20a};
  std::vector<std::byte> page(kPage);
  page[0] = std::byte{13};  // a leaf of a table
  page[4] = std::byte{places.size()};
  for (std::size_t i = 0; i < places.size(); ++i) {
    page[8 + 2 * i] = static_cast<std::byte>(places[i] >> 8);
    page[9 + 2 * i] = static_cast<std::byte>(places[i] & 0xff);
  }
  auto sum = PageChecksum(std::span(page).first(kPage - 8), 17);
  for (std::size_t i = kPage - 8; i < kPage; ++i, sum >>= 8)
    page[i] = static_cast<std::byte>(sum & 0xff);
  page[22] ^= std::byte{2};  // the last of them is 10 then
  ASSERT_EQ(FlippedByte(page, 17), 22U);
  EXPECT_FALSE(IsOneBitOfBlob(page, 17));
}

// What overflows from a row is on pages of that row alone.
TEST_F(FlippedBitTest, AnOverflowPageIsRefused) {
  std::size_t page = 0;
  for (std::size_t at = kPage; at < bytes_.size() && page == 0; at += kPage) {
    if (bytes_[at] == 0 && bytes_.find("abcdefabcdef", at) < at + 40) page = at;
  }
  ASSERT_NE(page, 0U);
  EXPECT_NE(ChangedAfter({page + 100}).find(Refusal(page)), std::string::npos);
}

TEST_F(FlippedBitTest, CopiesAndChecksAreStrict) {
  const auto place = bytes_.find(TextOf('n', 17)) + 20;
  EXPECT_EQ(ChangedAfter({place}), "n17");
  const auto db = Open();
  const Transaction reading(*db, TransactionKind::Read);
  const auto read = [&] {
    return Query(*db, "SELECT sum(length(packed)) FROM by_number").RunForInt();
  };
  const auto sum = read();
  EXPECT_NE(sum, std::nullopt) << "the page is in memory from here on";
  EXPECT_EQ(DamagedPages(*db, 10), std::vector<std::string>{Refusal(place)});
  EXPECT_EQ(read(), sum) << "no longer strict";
  try {
    BackUp(*db, (folder_ / "copy").string());
    ADD_FAILURE() << "copied";
  } catch (const SqlError& error) {
    EXPECT_EQ(error.Which(), SqlError::Kind::Damaged);
    EXPECT_EQ(error.what(), Refusal(place));
  }
}

// The page gets a new checksum then; the blob is what it was.
TEST_F(FlippedBitTest, AWriterOfThePageLeavesTheDamageInTheBlob) {
  const auto place = bytes_.find(TextOf('k', 17)) + 20;
  EXPECT_EQ(ChangedAfter({place}), "k17");
  {
    const auto db = Open();
    db->Execute("UPDATE by_key SET packed = packed WHERE time <> 17");
    db->EmptyLog();
  }
  EXPECT_EQ(Changed(), "k17");
}

// Where every commit is flushed, the log is written in one piece. Whatever goes there before,
// because the cache is small, and whatever is taken back: another program sees each commit.
TEST_F(ChecksumVfsTest, AFlushedCommitIsSeenByOthersAtOnceHoweverManyPagesItHas) {
  for (const int cache : {5, 200}) {
    const auto path = (folder_ / ("full" + std::to_string(cache))).string();
    const auto db = Open(path);
    db->Execute("PRAGMA cache_size=" + std::to_string(cache));
    Fill(*db);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    std::mt19937 random(static_cast<unsigned>(cache));
    for (int round = 0; round < 20; ++round) {
      const bool is_taken_back = round % 5 == 4;
      const auto before = is_taken_back ? Content(path) : "";
      db->Execute("BEGIN");
      for (int i = 0; i < round % 20; ++i) {
        db->Execute("UPDATE t SET long = printf('%.*c', " + std::to_string(random() % 30000) +
                    ", 'y') WHERE id = " + std::to_string(random() % 300));
      }
      db->Execute(is_taken_back ? "ROLLBACK" : "COMMIT");
      const auto length = [](sqlite3* of) {
        sqlite3_stmt* sum = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(of, "SELECT sum(length(long)) FROM t", -1, &sum, nullptr),
                  SQLITE_OK);
        EXPECT_EQ(sqlite3_step(sum), SQLITE_ROW) << sqlite3_errmsg(of);
        const auto found = sqlite3_column_int64(sum, 0);
        sqlite3_finalize(sum);
        return found;
      };
      ASSERT_EQ(length(other), length(HandleOf(*db))) << cache << " " << round;
      if (is_taken_back) {
        ASSERT_EQ(Content(path), before);
      }
      if (round % 10 == 9) db->EmptyLog();
    }
    sqlite3_close(other);
    Query check(*db, "PRAGMA integrity_check");
    ASSERT_TRUE(check.Step());
    EXPECT_EQ(check.Text(0), "ok");
  }
}

// --- The log -------------------------------------------------------------------------------------

// Two connections to a file with one table, on a device that is watched.
class GatheredLogTest : public ChecksumVfsTest {
 protected:
  void Begin() {
    first_ = Open();
    first_->Execute(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, b BLOB); INSERT INTO t VALUES(-1, 'x')");
    first_->EmptyLog();
    second_ = Open();
    EXPECT_EQ(State(*second_), "1 -1");
  }
  void TearDown() override {
    device_.on_write = nullptr;
    device_.after_flush = nullptr;
    first_.reset();
    second_.reset();
  }
  static void AddRows(Connection& db, int count) {
    db.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
               std::to_string(count) + ") INSERT INTO t SELECT i, randomblob(3000) FROM n");
  }
  // Number and sum of the rows, or what is wrong with them.
  static std::string State(Connection& db) {
    std::string text;
    Query rows(db, "SELECT count(*) || ' ' || sum(id) FROM t");
    if (rows.Step()) text = rows.Text(0);
    Query check(db, "PRAGMA integrity_check");
    return check.Step() && check.Text(0) == "ok" ? text : std::string(check.Text(0));
  }
  // Of both, of another one, and of a program that begins after one that died.
  void ExpectState(const std::string& state) {
    EXPECT_EQ(State(*first_), state);
    EXPECT_EQ(State(*second_), state);
    EXPECT_EQ(State(*Open()), state);
    const auto copy = (folder_ / "copy").string();
    for (const char* end : {"", "-wal"}) {
      fs::copy_file(Path() + end, copy + end, fs::copy_options::overwrite_existing);
    }
    EXPECT_EQ(State(*Open(copy)), state);
  }
  static SqlError::Kind FailureOf(Connection& db, const std::string& sql) {
    try {
      db.Execute(sql);
    } catch (const SqlError& error) {
      return error.Which();
    }
    ADD_FAILURE() << sql << ": no failure";
    return SqlError::Kind::Other;
  }

  WatchedDevice device_;
  std::unique_ptr<Connection> first_, second_;
};

// Its frames would come over those of the next writer.
TEST_F(GatheredLogTest, ATransactionThatIsTakenBackWritesNothingAfterItsLock) {
  for (const int rows : {10, 25}) {
    SCOPED_TRACE(rows);
    fs::remove(Path());
    Begin();
    first_->Execute("PRAGMA cache_size=10; BEGIN IMMEDIATE");
    AddRows(*first_, rows);
    bool is_done = false;
    device_.after_writing = [&] {
      second_->Execute("INSERT INTO t VALUES(1000, zeroblob(20000))");
      is_done = true;
    };
    first_->Execute("ROLLBACK");
    EXPECT_TRUE(is_done);
    ExpectState("2 999");
    first_.reset();
    second_.reset();
  }
}

// Frames that were dropped would be a hole in the commit, which SQLite knows nothing of.
TEST_F(GatheredLogTest, ATransactionThatLostWhatWasGatheredIsNotCommitted) {
  Begin();
  first_->Execute("CREATE UNIQUE INDEX t_by_b ON t(b); PRAGMA cache_size=10; BEGIN IMMEDIATE");
  AddRows(*first_, 25);
  device_.on_write = [](auto, auto) { return SQLITE_FULL; };
  // Reads pages that are in the log alone, for which what was gathered is written first.
  EXPECT_EQ(FailureOf(*first_, "UPDATE t SET b = b || '1'"), SqlError::Kind::Full);
  device_.on_write = nullptr;
  if (first_->InTransaction()) {
    EXPECT_EQ(FailureOf(*first_, "COMMIT"), SqlError::Kind::Full);
    first_->Rollback();
  }
  ExpectState("1 -1");
  AddRows(*first_, 2);
  ExpectState("3 2");
}

// SQLite fills the last sector there, and writes the end of that after the flush.
TEST_F(GatheredLogTest, WithoutSafeOverwritingNothingOfACommitIsLeftAfterItsFlush) {
  device_.lacks = SQLITE_IOCAP_POWERSAFE_OVERWRITE;
  Begin();
  first_->Execute("INSERT INTO t VALUES(2, 'z')");  // the head of the log is flushed by itself
  bool is_flushed = false;
  device_.after_flush = [&](std::string_view name) { is_flushed = name.ends_with("-wal"); };
  int left = 0;
  device_.on_write = [&](std::string_view name, auto) {
    if (!is_flushed || !name.ends_with("-wal")) return SQLITE_OK;
    ++left;
    return SQLITE_FULL;
  };
  EXPECT_EQ(FailureOf(*first_, "INSERT INTO t VALUES(1, 'y')"), SqlError::Kind::Full);
  EXPECT_EQ(left, 1);
  device_.on_write = nullptr;
  EXPECT_EQ(State(*second_), "2 1");
  first_->Execute("INSERT INTO t VALUES(1, 'y')");
  ExpectState("3 2");
}

TEST_F(ChecksumVfsTest, APageThatIsDamagedInTheLogIsNoticedAndNotMovedIntoTheFile) {
  const auto writer = Open();
  Fill(*writer);
  writer->EmptyLog();
  writer->Execute("UPDATE t SET long = 'changed ' || id");
  const auto file = Bytes(Path()), log = Bytes(Path() + "-wal");
  ASSERT_GT(log.size(), 5 * kPage);
  std::mt19937 random(3);
  int noticed = 0;
  for (int i = 0; i < 40; ++i) {
    const auto place = 32 + random() % (log.size() - 32);
    {
      std::fstream out(Path() + "-wal", std::ios::in | std::ios::out | std::ios::binary);
      out.seekp(static_cast<std::streamoff>(place));
      out.put(static_cast<char>(log[place] ^ 4));
    }
    try {
      const auto reader = Open();
      Query query(*reader, "SELECT id, long FROM t ORDER BY name");
      while (query.Step())
        ASSERT_EQ(query.Text(1), "changed " + std::to_string(query.Int64(0))) << place;
      Query index(*reader, "SELECT id FROM t ORDER BY id");
      while (index.Step()) continue;
    } catch (const SqlError& error) {
      ++noticed;
      EXPECT_EQ(error.Which(), SqlError::Kind::Damaged) << place;
      EXPECT_NE(std::string(error.what()).find("in its log does not match its checksum"),
                std::string::npos)
          << error.what();
    }
    try {
      writer->EmptyLog();
      ADD_FAILURE() << place << ": a damaged page is in the file";
    } catch (const SqlError& error) {
      EXPECT_EQ(error.Which(), SqlError::Kind::Damaged) << place;
    }
    std::fstream out(Path() + "-wal", std::ios::in | std::ios::out | std::ios::binary);
    out.seekp(static_cast<std::streamoff>(place));
    out.put(log[place]);
  }
  EXPECT_GT(noticed, 10);
  EXPECT_TRUE(writer->EmptyLog());
  EXPECT_EQ(Unmatched(Bytes(Path())), 0U);
}

TEST_F(ChecksumVfsTest, ADamagedCommitInTheLogOfAProgramThatDiedIsNotLeftOut) {
  Fill(*Open());
  const auto child = fork();
  if (child == 0) {
    const auto db = Open();
    for (int i = 1; i <= 4; ++i)
      db->Execute("UPDATE t SET long = 'commit " + std::to_string(i) +
                  " ' || id WHERE id % 40 = 1");
    kill(getpid(), SIGKILL);
  }
  waitpid(child, nullptr, 0);
  const auto file = Bytes(Path()), log = Bytes(Path() + "-wal");
  const auto restore = [&](const std::string& new_log) {
    fs::remove(Path() + "-shm");
    Write(Path(), file);
    Write(Path() + "-wal", new_log);
  };
  restore(log);
  const auto content = Content(Path());
  EXPECT_NE(content.find("commit 4 1\n"), std::string::npos);
  // Where the last commit begins: behind the last but one frame that says it is a commit.
  std::vector<std::size_t> commits;
  for (std::size_t at = 32; at < log.size(); at += kPage + 24)
    if (log.substr(at + 4, 4) != std::string(4, '\0')) commits.push_back(at);
  ASSERT_EQ(commits.size(), 4U);
  std::mt19937 random(5);
  std::size_t reported = 0, last_left_out = 0;
  for (int i = 0; i < 120; ++i) {
    const auto place = i < 32 ? static_cast<std::size_t>(i) : random() % log.size();
    auto damaged = log;
    damaged[place] = static_cast<char>(damaged[place] ^ 16);
    restore(damaged);
    const auto found = Content(Path());
    if (found.find("does not match its checksum") != std::string::npos) {
      ++reported;
    } else {
      // Or of the frame before it the words that say that it is a commit of this log.
      EXPECT_GE(place, commits[2] + 4) << "left out, as if it had never been";
      EXPECT_TRUE(place < commits[2] + 16 || place >= commits[2] + 24 + kPage) << place;
      ++last_left_out;
    }
  }
  EXPECT_GT(reported, 60U);
  EXPECT_GT(last_left_out, 0U);
  restore(log.substr(0, log.size() - 100));
  EXPECT_NE(Content(Path()).find("commit 3 1\n"), std::string::npos) << "never completed";
}

// --- A file that gets them -----------------------------------------------------------------------

TEST_F(ChecksumVfsTest, AFileGetsTheChecksumsThatItLacks) {
  RunBare(Path(), "PRAGMA journal_mode=WAL");
  auto db = Open();
  Fill(*db);
  db->EmptyLog();
  const auto content = Content(Path());
  const auto reader = db->OpenReader();
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(Query(*reader, "SELECT count(*) FROM t").RunForInt(), 263);
  EXPECT_EQ(Bytes(Path())[20], 0);
  AddChecksums(*db);
  EXPECT_EQ(Bytes(Path())[20], 8);
  EXPECT_EQ(Unmatched(Bytes(Path())), 0U);
  EXPECT_EQ(Content(Path()), content);
  EXPECT_EQ(Query(*reader, "SELECT count(*) FROM t").RunForInt(), 263);
  const auto bytes = Bytes(Path());
  AddChecksums(*db);
  EXPECT_EQ(Bytes(Path()), bytes) << "once";
}

// The connection has seen the file without them; what it moves out of the log has them.
TEST_F(ChecksumVfsTest, AnotherConnectionWritesThemFromThenOn) {
  RunBare(Path(), "PRAGMA journal_mode=WAL");
  const auto db = Open();
  Fill(*db);
  db->EmptyLog();
  const auto other = Open();
  EXPECT_EQ(Query(*other, "SELECT count(*) FROM t").RunForInt(), 263);
  {
    // Keeps the pages in the log.
    const auto reader = db->OpenReader();
    const Transaction reading(*reader, TransactionKind::Read);
    EXPECT_EQ(Query(*reader, "SELECT count(*) FROM t").RunForInt(), 263);
    AddChecksums(*db);
    EXPECT_EQ(Bytes(Path())[20], 0);
    AddChecksums(*db);
  }
  other->Execute("UPDATE t SET long = 'changed'");
  EXPECT_TRUE(other->EmptyLog());
  EXPECT_EQ(Unmatched(Bytes(Path())), 0U);
  other->Execute("UPDATE t SET long = 'again'");
  EXPECT_TRUE(other->EmptyLog());
  EXPECT_EQ(Unmatched(Bytes(Path())), 0U);
}

TEST_F(ChecksumVfsTest, AKillLeavesAFileWithoutAnyOrWithAll) {
  const auto original = (folder_ / "original").string();
  RunBare(original, "PRAGMA journal_mode=WAL");
  {
    const auto db = Open(original);
    Fill(*db);
    for (int i = 0; i < 4; ++i)
      db->Execute("INSERT INTO t SELECT NULL, 'copy of ' || max(id) OVER () || name, long FROM t");
  }
  const auto bytes = Bytes(original), content = Content(original);
  const auto begin = std::chrono::steady_clock::now();
  Write(Path(), bytes);
  AddChecksums(*Open());
  const auto whole = std::chrono::steady_clock::now() - begin;
  constexpr int kRounds = 14;
  int without = 0;
  // Until a kill came in time.
  for (int round = 0; round < kRounds || without == 0; ++round) {
    for (const char* end : {"-wal", "-shm", "-journal"}) fs::remove(Path() + end);
    Write(Path(), bytes);
    const auto child = fork();
    if (child == 0) {
      AddChecksums(*Open());
      _exit(0);
    }
    std::this_thread::sleep_for(whole * (round % kRounds) / kRounds);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_EQ(Content(Path()), content) << "round " << round;
    if (Bytes(Path())[20] == 0) ++without;
    AddChecksums(*Open());
    EXPECT_EQ(Unmatched(Bytes(Path())), 0U) << "round " << round;
    EXPECT_EQ(Content(Path()), content) << "round " << round;
  }
}

// --- The checksum --------------------------------------------------------------------------------

// Files that were written by an earlier build must stay readable.
TEST(PageChecksum, StaysTheSame) {
  std::vector<std::byte> content(kPage - 8);
  for (std::size_t i = 0; i < content.size(); ++i)
    content[i] = static_cast<std::byte>(i * 7 + i / 256);
  EXPECT_EQ(PageChecksum(content, 1), 11202968397065318133U);
  EXPECT_EQ(PageChecksum(content, 2), 6804666417584708036U);
  EXPECT_EQ(PageChecksum(std::span(content).first(512 - 8), 1), 15966211202084895763U);
}

TEST(PageChecksum, AFlippedBitIsFound) {
  std::mt19937 random(6);
  for (const std::size_t size : {512U, 1024U, 4096U}) {
    std::vector<std::byte> page(size);
    for (auto& byte : page) byte = static_cast<std::byte>(random());
    const auto content = std::span(page).first(size - 8);
    auto sum = PageChecksum(content, 17);
    for (std::size_t i = 0; i < 8; ++i, sum >>= 8)
      page[size - 8 + i] = static_cast<std::byte>(sum & 0xff);
    EXPECT_EQ(FlippedByte(page, 17), std::nullopt) << "whole";
    for (std::size_t bit = 0; bit < content.size() * 8; ++bit) {
      content[bit / 8] ^= std::byte(1 << bit % 8);
      ASSERT_EQ(FlippedByte(page, 17), bit / 8);
      if (bit % 64 == 0) {
        ASSERT_EQ(FlippedByte(page, 18), std::nullopt) << "another page";
        const auto second = (bit + 1 + random() % (content.size() * 8 - 1)) % (content.size() * 8);
        content[second / 8] ^= std::byte(1 << second % 8);
        ASSERT_EQ(FlippedByte(page, 17), std::nullopt) << "two bits";
        content[second / 8] ^= std::byte(1 << second % 8);
      }
      content[bit / 8] ^= std::byte(1 << bit % 8);
    }
    page.back() ^= std::byte{1};
    EXPECT_EQ(FlippedByte(page, 17), std::nullopt) << "in the checksum";
  }
}

TEST(PageChecksum, EveryBitAndThePageCount) {
  std::vector<std::byte> content(512 - 8);
  std::set<std::uint64_t> sums{PageChecksum(content, 1)};
  for (auto& byte : content) {
    for (int bit = 0; bit < 8; ++bit) {
      byte ^= std::byte(1 << bit);
      sums.insert(PageChecksum(content, 1));
      byte ^= std::byte(1 << bit);
    }
  }
  for (std::uint32_t page = 2; page < 1000; ++page) sums.insert(PageChecksum(content, page));
  EXPECT_EQ(sums.size(), 1 + content.size() * 8 + 998);
}

}  // namespace
}  // namespace orvspc::engine::sql::sqlite
