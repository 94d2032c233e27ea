// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/Connection.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "engine/sql/failure.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::sql {
namespace {

class ConnectionTest : public testing::Test {
 protected:
  ConnectionTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvspc-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    folder_ = pattern;
    connection_ = Open();
    connection_->Execute("CREATE TABLE item(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE)");
  }
  ~ConnectionTest() override {
    connection_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::unique_ptr<Connection> Open() {
    return sqlite::OpenFile((folder_ / "q.db").string(), true, [](Connection&) {});
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

TEST_F(ConnectionTest, ATextThatIsTooLongIsRefusedAndNotCut) {
  // The length of a text of more than 4 GiB, of which the low 32 bits alone would be 1.
  const std::string_view text("a", (std::size_t{1} << 32) + 1);
  Query query(*connection_, "SELECT id FROM item WHERE name = ?1");
  EXPECT_EQ(KindOf([&] { query.Bind(text); }), SqlError::Kind::Other);
}

TEST_F(ConnectionTest, ErrorsHaveAKindOfTheirOwn) {
  const auto insert = [&] { connection_->Execute("INSERT INTO item(name) VALUES('a')"); };
  insert();
  EXPECT_EQ(KindOf(insert), SqlError::Kind::Constraint);
  EXPECT_EQ(KindOf([&] { connection_->Execute("SELECT nothing FROM nowhere"); }),
            SqlError::Kind::Other);
  const auto other = Open();
  other->WaitForWriters(std::chrono::milliseconds(100), {});
  const Transaction writing(*connection_, TransactionKind::Write);
  EXPECT_EQ(KindOf([&] { const Transaction second(*other, TransactionKind::Write); }),
            SqlError::Kind::Locked);
}

TEST_F(ConnectionTest, RunsTellWhatTheyChangedAndReturned) {
  Query insert(*connection_,
               "INSERT INTO item(name) VALUES(?1) ON CONFLICT DO NOTHING RETURNING id");
  insert.Bind("a");
  EXPECT_EQ(insert.RunForInt(), 1);
  EXPECT_EQ(insert.RunForInt(), std::nullopt) << "the name is there already";
  insert.Bind("b");
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
  connection_->Execute("INSERT INTO item(name) VALUES('a'), ('b')");
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
    connection_->Execute("INSERT INTO item(name) VALUES('a')");
    EXPECT_TRUE(connection_->InTransaction());
  }
  EXPECT_FALSE(connection_->InTransaction());
  EXPECT_EQ(Query(*connection_, "SELECT count(*) FROM item").RunForInt(), 0);
}

TEST_F(ConnectionTest, TheDataVersionChangesWithTheCommitsOfOthers) {
  const auto other = Open();
  const auto before = connection_->DataVersion();
  EXPECT_EQ(connection_->DataVersion(), before);
  other->Execute("INSERT INTO item(name) VALUES('a')");
  EXPECT_NE(connection_->DataVersion(), before);
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
  connection_->Execute("INSERT INTO item(name) VALUES('a')");
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
    connection_->Execute("INSERT INTO item(name) VALUES('b')");
    EXPECT_EQ(KindOf([&] { transaction.Commit(); }), SqlError::Kind::Other);
  }
  EXPECT_EQ(read(), 2) << "the writer is there";
  EXPECT_NE(reader->DataVersion(), version);
  connection_->Execute("INSERT INTO item(name) VALUES('c')");
  EXPECT_EQ(read(), 3);
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
