// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/Connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "engine/sql/failure.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "platform/ExternalFailure.h"
#include "tests/postgres/test_stores.h"

namespace orvspc::engine::sql {
namespace {

class ConnectionTest : public testing::Test {
 protected:
  ConnectionTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvspc-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    folder_ = pattern;
    stores_ = std::make_unique<tests::Stores>(folder_);
    connection_ = Open();
    connection_->Define("CREATE TABLE item(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE)");
  }
  ~ConnectionTest() override {
    connection_.reset();
    stores_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::unique_ptr<Connection> Open() {
    const auto path = stores_->At("q.db");
    if (tests::OnServer()) return tests::OpenBeside(path);
    return sqlite::OpenFile(path, true, [](Connection&) {});
  }
  // The kind of the SqlError that work throws; empty when it throws none.
  static std::optional<SqlError::Kind> KindOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const SqlError& error) {
      return error.Which();
    }
    return std::nullopt;
  }

  std::filesystem::path folder_;
  std::unique_ptr<tests::Stores> stores_;
  std::unique_ptr<Connection> connection_;
};

TEST_F(ConnectionTest, AParameterThatTheTextDoesNotHaveIsRefused) {
  auto& statement = connection_->Prepared("SELECT id FROM item WHERE name = ?1");
  EXPECT_EQ(KindOf([&] { statement.BindInt(2, 1); }), SqlError::Kind::Other);
  EXPECT_EQ(KindOf([&] { statement.BindReal(2, 1.5); }), SqlError::Kind::Other);
  EXPECT_EQ(KindOf([&] { statement.BindText(2, "a"); }), SqlError::Kind::Other);
  EXPECT_EQ(KindOf([&] { statement.BindBlob(0, {}); }), SqlError::Kind::Other);
  EXPECT_EQ(KindOf([&] { statement.BindNull(2); }), SqlError::Kind::Other);
  EXPECT_EQ(KindOf([&] { statement.BindText(1, "a"); }), std::nullopt);
  EXPECT_EQ(KindOf([&] { Query(*connection_, "SELECT ?1", 1, 2); }), SqlError::Kind::Other);
}

// Else it would depend on the database whether a column keeps it.
TEST_F(ConnectionTest, AZeroIsBoundWithoutItsSign) {
  Query query(*connection_, "SELECT CAST(?1 AS DOUBLE PRECISION)", -0.0);
  ASSERT_TRUE(query.Step());
  EXPECT_EQ(query.Real(0), 0.0);
  EXPECT_FALSE(std::signbit(query.Real(0)));
}

TEST_F(ConnectionTest, ATextThatIsTooLongIsRefusedAndNotCut) {
  // The length of a text of more than 4 GiB, of which the low 32 bits alone would be 1.
  const std::string_view text("a", (std::size_t{1} << 32) + 1);
  Query query(*connection_, "SELECT id FROM item WHERE name = ?1");
  EXPECT_EQ(KindOf([&] { query.Bind(text); }), SqlError::Kind::Other);
}

TEST_F(ConnectionTest, ErrorsHaveAKindOfTheirOwn) {
  const auto insert = [&] { connection_->Execute("INSERT INTO item(id, name) VALUES(1, 'a')"); };
  insert();
  EXPECT_EQ(KindOf(insert), SqlError::Kind::Constraint);
  EXPECT_EQ(KindOf([&] { connection_->Execute("SELECT nothing FROM nowhere"); }),
            SqlError::Kind::Other);
  const auto other = Open();
  other->WaitForWriters(std::chrono::milliseconds(100), {});
  const Transaction writing(*connection_, TransactionKind::Write);
  EXPECT_EQ(KindOf([&] { const Transaction second(*other, TransactionKind::Write); }),
            SqlError::Kind::Busy);
}

TEST_F(ConnectionTest, RunsTellWhatTheyChangedAndReturned) {
  Query insert(*connection_,
               "INSERT INTO item(id, name) VALUES(?1, ?2) ON CONFLICT DO NOTHING RETURNING id");
  insert.Bind(1, "a");
  EXPECT_EQ(insert.RunForInt(), 1);
  EXPECT_EQ(insert.RunForInt(), std::nullopt) << "the name is there already";
  insert.Bind(2, "b");
  EXPECT_EQ(insert.RunForInt(), 2);
  EXPECT_EQ(Query(*connection_, "UPDATE item SET name = name || name").Run(), 2);
  EXPECT_EQ(Query(*connection_, "DELETE FROM item WHERE name = 'none'").Run(), 0);
}

TEST_F(ConnectionTest, ColumnsAreReadByTheTypesOfTheirVariables) {
  Query query(*connection_, "SELECT 7, 0, 2.5, 'text', NULL, 9");
  ASSERT_TRUE(query.Step());
  std::int32_t whole = 0;
  bool is_set = true;
  double real = 0.0;
  std::string text;
  std::optional<std::int32_t> none = 1, nine;
  query.Read(whole, is_set, real, text, none, nine);
  EXPECT_EQ(whole, 7);
  EXPECT_FALSE(is_set);
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(text, "text");
  EXPECT_EQ(none, std::nullopt);
  EXPECT_EQ(nine, 9);
  query.ReadFrom(5, whole);
  EXPECT_EQ(whole, 9);
}

TEST_F(ConnectionTest, ValuesAreBoundByTheirTypes) {
  enum class Colour { Red = 3 };
  Query query(*connection_, "SELECT ?1, ?2, ?3, ?4, ?5, ?6, ?7", std::array{4, 5}, Reference{0},
              Reference{6}, std::optional<int>(), true, Colour::Red);
  ASSERT_TRUE(query.Step());
  std::array<std::int32_t, 2> pair{};
  std::optional<std::int32_t> no_reference = 1, reference, none = 1;
  std::int32_t flag = 0, colour = 0;
  query.Read(pair, no_reference, reference, none, flag, colour);
  EXPECT_EQ(pair, (std::array{4, 5}));
  EXPECT_EQ(no_reference, std::nullopt);
  EXPECT_EQ(reference, 6);
  EXPECT_EQ(none, std::nullopt);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(colour, 3);
}

TEST_F(ConnectionTest, AllRowsAreReadIntoMembers) {
  connection_->Execute("INSERT INTO item(id, name) VALUES(1, 'a'), (2, 'b')");
  struct Item {
    std::int64_t id = 0;
    std::string name;
  };
  const auto items =
      Query(*connection_, "SELECT id, name FROM item WHERE name > ?1 ORDER BY id", "")
          .All<Item>(&Item::id, &Item::name);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[1].id, 2);
  EXPECT_EQ(items[1].name, "b");
}

TEST_F(ConnectionTest, ATransactionWithoutCommitLeavesNothing) {
  {
    const Transaction transaction(*connection_, TransactionKind::Write);
    connection_->Execute("INSERT INTO item(id, name) VALUES(1, 'a')");
    EXPECT_TRUE(connection_->InTransaction());
  }
  EXPECT_FALSE(connection_->InTransaction());
  EXPECT_EQ(Query(*connection_, "SELECT count(*) FROM item").RunForInt(), 0);
}

TEST_F(ConnectionTest, TheDataVersionChangesWithTheCommitsOfOthers) {
  connection_->SetMark(1, 1);
  const auto other = Open();
  const auto before = connection_->DataVersion();
  EXPECT_EQ(connection_->DataVersion(), before);
  other->Execute("INSERT INTO item(id, name) VALUES(1, 'a')");
  EXPECT_NE(connection_->DataVersion(), before);
}

// Far more rows than come at a time, and every one of them large.
TEST_F(ConnectionTest, ManyRowsComeInOrderBesideOtherStatements) {
  constexpr int kRows = 5000;
  const std::string filler(300, 'x');
  {
    Transaction writing(*connection_, TransactionKind::Write);
    const auto rows = connection_->InsertMany("item(id, name)", OnConflict::Fail);
    for (int i = 1; i <= kRows; ++i) {
      const auto name = std::to_string(i) + filler;
      rows->Bind(i, name);
      rows->Add();
    }
    EXPECT_EQ(rows->Finish(), kRows);
    writing.Commit();
  }
  for (const int first : {1, 7, kRows, 2 * kRows}) {
    const Transaction reading(*connection_, TransactionKind::Read);
    Query all(*connection_, ManyRows{first}, "SELECT id, name FROM item ORDER BY id");
    all.Send();
    for (int i = 1; i <= kRows; ++i) {
      ASSERT_TRUE(all.Step()) << first;
      ASSERT_EQ(all.Int(0), i) << first;
      ASSERT_EQ(all.Text(1), std::to_string(i) + filler);
      if (i % 1000 != 0) continue;
      EXPECT_EQ(Query(*connection_, "SELECT id FROM item WHERE id = ?1", i + 1).RunForInt(),
                i == kRows ? std::nullopt : std::optional<std::int64_t>(i + 1));
    }
    EXPECT_FALSE(all.Step());
  }
  const Transaction reading(*connection_, TransactionKind::Read);
  for (int round = 0; round < 3; ++round) {
    Query some(*connection_, ManyRows{2}, "SELECT id FROM item WHERE id > ?1 ORDER BY id", round);
    for (int i = 1; i <= 3; ++i) {
      ASSERT_TRUE(some.Step());
      EXPECT_EQ(some.Int(0), round + i) << "left early, it begins anew";
    }
  }
}

TEST_F(ConnectionTest, RowsInBulkHaveEveryTypeAndKeepWhatIsThere) {
  connection_->Define(
      "CREATE TABLE sample(id INTEGER PRIMARY KEY, size REAL, name TEXT, packed BLOB)");
  const auto blob = std::array{std::byte{0}, std::byte{255}, std::byte{'\n'}};
  for (const auto conflict : {OnConflict::Fail, OnConflict::Skip}) {
    Transaction writing(*connection_, TransactionKind::Write);
    const auto rows = connection_->InsertMany("sample(id, size, name, packed)", conflict);
    rows->Bind(1, 2.5, "one\t", std::span<const std::byte>(blob));
    rows->Add();
    const int first = conflict == OnConflict::Fail ? 2 : 3;
    rows->Bind(first, std::optional<double>(), std::optional<std::string>(), Reference{0});
    rows->Add();
    rows->Bind(first + 10, 4, "", std::span<const std::byte>());
    rows->Add();
    EXPECT_EQ(rows->Finish(), conflict == OnConflict::Fail ? 3 : 2);
    writing.Commit();
  }
  Query query(*connection_, "SELECT id, size, name, packed FROM sample ORDER BY id");
  ASSERT_TRUE(query.Step());
  EXPECT_EQ(query.Real(1), 2.5);
  EXPECT_EQ(query.Text(2), "one\t");
  EXPECT_TRUE(std::ranges::equal(query.Blob(3), blob));
  for (const int id : {2, 3}) {
    ASSERT_TRUE(query.Step());
    EXPECT_EQ(query.Int(0), id);
    for (const int column : {1, 2, 3}) EXPECT_TRUE(query.IsNull(column)) << column;
  }
  for (const int id : {12, 13}) {
    ASSERT_TRUE(query.Step());
    EXPECT_EQ(query.Int(0), id);
    EXPECT_EQ(query.Real(1), 4.0);
    EXPECT_FALSE(query.IsNull(2));
    EXPECT_EQ(query.Text(2), "");
    EXPECT_TRUE(query.Blob(3).empty());
  }
  EXPECT_FALSE(query.Step());

  const Transaction writing(*connection_, TransactionKind::Write);
  const auto rows = connection_->InsertMany("sample(id, name)", OnConflict::Fail);
  rows->Bind(1, "again");
  EXPECT_EQ(KindOf([&] {
              rows->Add();
              rows->Finish();
            }),
            SqlError::Kind::Constraint);
}

// The first value of a parameter may be none.
TEST_F(ConnectionTest, AParameterTakesNullAndValuesInTurn) {
  connection_->Define("CREATE TABLE sample(id INTEGER PRIMARY KEY, whole INTEGER, size REAL)");
  Query insert(*connection_, "INSERT INTO sample(id, whole, size) VALUES(?1, ?2, ?3)");
  insert.Bind(1, std::optional<int>(), std::optional<double>());
  insert.Run();
  insert.Bind(2, 7, 3);
  insert.Run();
  insert.Bind(3, std::optional<int>(), 0.25);
  insert.Run();
  insert.Bind(4, -8, -1);
  insert.Run();
  Query query(*connection_, "SELECT id, whole, size FROM sample ORDER BY id");
  const std::optional<std::int64_t> wholes[] = {{}, 7, {}, -8};
  const std::optional<double> sizes[] = {{}, 3.0, 0.25, -1.0};
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(query.Step());
    std::int64_t id = 0;
    std::optional<std::int64_t> whole;
    std::optional<double> size;
    query.Read(id, whole, size);
    EXPECT_EQ(id, i + 1);
    EXPECT_EQ(whole, wholes[i]) << i;
    EXPECT_EQ(size, sizes[i]) << i;
  }
}

TEST_F(ConnectionTest, ExtremeNumbersComeBackAsTheyWere) {
  for (const std::int64_t whole : {INT64_MIN, std::int64_t{-1}, INT64_MAX}) {
    EXPECT_EQ(Query(*connection_, "SELECT ?1", whole).RunForInt(), whole);
  }
  for (const double real : {-0.0, 5e-324, 1.7976931348623157e308, 1.0 / 3.0}) {
    Query query(*connection_, "SELECT ?1 + 0.0", real);
    ASSERT_TRUE(query.Step());
    EXPECT_EQ(query.Real(0), real);
  }
  Query sums(*connection_, "SELECT sum(id), 12345.0625, -0.5 FROM (SELECT 9000000000 AS id) s");
  ASSERT_TRUE(sums.Step());
  EXPECT_EQ(sums.Int64(0), 9000000000);
  EXPECT_EQ(sums.Real(1), 12345.0625);
  EXPECT_EQ(sums.Real(2), -0.5);
}

TEST_F(ConnectionTest, TextsCompareByteByByte) {
  connection_->Execute(
      "INSERT INTO item(id, name) VALUES(1, 'b'), (2, 'B'), (3, 'a'), (4, '\xc3\xa4'), (5, 'a-b')");
  std::string names;
  Query query(*connection_, "SELECT name FROM item ORDER BY name");
  while (query.Step()) names.append(query.Text(0)) += ' ';
  EXPECT_EQ(names, "B a a-b b \xc3\xa4 ");
}

TEST_F(ConnectionTest, AFailureLeavesTheConnectionFitForTheNextTransaction) {
  for (int round = 0; round < 3; ++round) {
    const Transaction transaction(*connection_, TransactionKind::Write);
    Query(*connection_, "INSERT INTO item(id, name) VALUES(1, 'a')").Run();
    EXPECT_EQ(
        KindOf([&] { Query(*connection_, "INSERT INTO item(id, name) VALUES(1, 'b')").Run(); }),
        SqlError::Kind::Constraint);
  }
  EXPECT_EQ(Query(*connection_, "SELECT count(*) FROM item").RunForInt(), 0);
}

TEST_F(ConnectionTest, AWriterIsWaitedFor) {
  const auto other = Open();
  int times = 0;
  std::optional<Transaction> writing(std::in_place, *connection_, TransactionKind::Write);
  other->WaitForWriters(std::chrono::minutes(1), [&] {
    if (++times == 5) writing.reset();
  });
  const Transaction second(*other, TransactionKind::Write);
  EXPECT_EQ(times, 5);
}

TEST_F(ConnectionTest, WhatIsReadWithoutLocksIsReadAnewOnceItHasChanged) {
  connection_->Execute("INSERT INTO item(id, name) VALUES(1, 'a')");
  connection_.reset();
  const auto reader = sqlite::OpenFileToRead((folder_ / "q.db").string());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "q.db-shm"));
  const auto count = [&] { return Query(*reader, "SELECT count(*) FROM item").RunForInt(); };
  const auto read = [&] {
    Transaction transaction(*reader, TransactionKind::Read);
    const auto counted = count();
    transaction.Commit();
    return counted;
  };
  EXPECT_EQ(read(), 1);
  EXPECT_EQ(KindOf([&] { const Transaction writing(*reader, TransactionKind::Write); }),
            SqlError::Kind::ReadOnly);
  const auto version = reader->DataVersion();
  {
    Transaction transaction(*reader, TransactionKind::Read);
    EXPECT_EQ(count(), 1);
    connection_ = Open();
    connection_->Execute("INSERT INTO item(id, name) VALUES(2, 'b')");
    EXPECT_EQ(KindOf([&] { transaction.Commit(); }), SqlError::Kind::Other);
  }
  EXPECT_EQ(read(), 2) << "the writer is there";
  EXPECT_NE(reader->DataVersion(), version);
  connection_->Execute("INSERT INTO item(id, name) VALUES(3, 'c')");
  EXPECT_EQ(read(), 3);
}

TEST_F(ConnectionTest, WhatWasRefusedWhileAJournalLayThereIsReadAnewAfterwards) {
  namespace fs = std::filesystem;
  connection_->Execute("INSERT INTO item(id, name) VALUES(1, 'a')");
  connection_.reset();
  const auto path = folder_ / "q.db";
  fs::copy_file(path, folder_ / "old.db");
  connection_ = Open();
  connection_->Execute("INSERT INTO item(id, name) VALUES(2, 'b')");
  connection_.reset();
  fs::copy_file(path, folder_ / "new.db");
  const auto put = [&](const char* name) {
    fs::copy_file(folder_ / name, path, fs::copy_options::overwrite_existing);
  };
  put("old.db");
  const auto reader = sqlite::OpenFileToRead(path.string());
  const auto read = [&] {
    Transaction transaction(*reader, TransactionKind::Read);
    const auto counted = Query(*reader, "SELECT count(*) FROM item").RunForInt();
    transaction.Commit();
    return counted;
  };
  EXPECT_EQ(read(), 1);
  put("new.db");
  std::ofstream(path.string() + "-journal") << std::string(600, 'x');
  EXPECT_EQ(KindOf([&] { read(); }), SqlError::Kind::Other);
  fs::remove(path.string() + "-journal");
  EXPECT_EQ(read(), 2);
}

TEST(CurrentFailure, EveryExceptionBecomesANumberAndAText) {
  const auto failure_of = [](const auto& error) {
    try {
      throw error;
    } catch (...) {
      return CurrentFailure("q.db");
    }
  };
  const auto full = failure_of(SqlError(SqlError::Kind::Full, "x"));
  EXPECT_EQ(full.number, kRefused);
  EXPECT_EQ(full.text, "q.db: there is no room left on the device");
  const auto memory = failure_of(std::bad_alloc());
  EXPECT_EQ(memory.number, kOutOfMemory);
  EXPECT_EQ(memory.text, "Out of memory");
  EXPECT_EQ(failure_of(SqlError(SqlError::Kind::OutOfMemory, "x")).number, kOutOfMemory);
  EXPECT_EQ(failure_of(std::runtime_error("broken")).text, "q.db: broken");
  const auto external = failure_of(platform::ExternalFailure(9, "Import", "in.csv: line 2"));
  EXPECT_EQ(external.number, 9);
  EXPECT_EQ(external.text, "in.csv: line 2");
  EXPECT_EQ(failure_of(1).number, kRefused);
}

}  // namespace
}  // namespace orvspc::engine::sql
