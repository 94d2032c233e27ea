// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/counter.h"

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::sql {
namespace {

class CounterTest : public store::StoreTest {
 protected:
  std::int64_t Take(std::int64_t count) {
    std::int64_t first = 0;
    Opened()->Write([&](Connection& db) { first = TakeIds(db, "lot", count); });
    return first;
  }
  std::int64_t Last() {
    std::int64_t last = -1;
    Opened()->ReadOrThrow([&](Connection& db) { last = LastId(db, "lot"); });
    return last;
  }
};

TEST_F(CounterTest, IdentifiersFollowOneAnother) {
  EXPECT_EQ(Last(), 0);
  EXPECT_EQ(Take(1), 1);
  EXPECT_EQ(Take(10), 2);
  EXPECT_EQ(Last(), 11);
  EXPECT_EQ(Take(0), 12) << "takes none";
  EXPECT_EQ(Last(), 11);
  Opened()->Write([](Connection& db) {
    EXPECT_EQ(TakeIds(db, "lot"), 12);
    EXPECT_EQ(TakeIds(db, "lot"), 13);
    EXPECT_EQ(TakeIds(db, "job"), 1) << "each table counts for itself";
  });
}

TEST_F(CounterTest, AreNotGivenAgainWhenTheirRowsAreGone) {
  Opened()->Write([](Connection& db) {
    const auto id = TakeIds(db, "lot");
    Query(db, "INSERT INTO lot(id, name) VALUES(?1, 'L')", id).Run();
    db.Execute("DELETE FROM lot");
  });
  Reopen();
  EXPECT_EQ(Take(1), 2);
}

TEST_F(CounterTest, ATransactionThatFailsTakesNone) {
  EXPECT_THROW(Opened()->Write([](Connection& db) {
    TakeIds(db, "lot", 5);
    throw std::runtime_error("no");
  }),
               std::runtime_error);
  EXPECT_EQ(Take(1), 1);
}

TEST_F(CounterTest, OneThatIsMissingOrLagsBehindBeginsAboveTheRows) {
  for (const auto* const change :
       {"DELETE FROM counter WHERE name = 'lot'", "UPDATE counter SET last = 3"}) {
    Opened()->Write([&](Connection& db) {
      db.Execute("DELETE FROM lot; INSERT INTO lot(id, name) VALUES(41, 'L')");
      db.Execute(change);
    });
    EXPECT_EQ(Last(), 41) << change;
    EXPECT_EQ(Take(2), 42) << change;
    Opened()->Write([](Connection& db) { db.Execute("DELETE FROM lot"); });
    EXPECT_EQ(Last(), 43) << change;
    EXPECT_EQ(Take(1), 44) << change;
  }
}

TEST_F(CounterTest, IdentifiersOfSealedSubgroupsAreNotGivenAgain) {
  Opened()->Write([](Connection& db) {
    db.Execute("DELETE FROM counter WHERE name = 'subgroup'");
    Query(db, "INSERT INTO subgroup_block(block, packed) VALUES(3, ?1)", std::vector<std::byte>(9))
        .Run();
    EXPECT_EQ(TakeIds(db, "subgroup"), 1024);
  });
}

TEST_F(CounterTest, WhatATransactionHasTakenIsSeenInIt) {
  Opened()->Write([](Connection& db) {
    TakeIds(db, "lot", 7);
    EXPECT_EQ(LastId(db, "lot"), 7);
  });
  EXPECT_EQ(Last(), 7);
}

// A server walks all versions of a row that a transaction has made.
TEST_F(CounterTest, ATransactionReadsAndWritesEachCounterOnce) {
  Opened()->Write([](Connection& db) {
    FailStep(8);
    for (int i = 1; i <= 1000; ++i) {
      EXPECT_EQ(TakeIds(db, "lot"), i);
      EXPECT_EQ(TakeIds(db, "job"), i);
    }
  });
  EXPECT_FALSE(FailStep(0));
  EXPECT_EQ(Last(), 1000);
}

TEST_F(CounterTest, TwoConnectionsGetDifferentOnes) {
  Db();
  constexpr int kRounds = 100;
  std::vector<std::int64_t> taken[2];
  std::vector<std::thread> writers;
  for (auto& mine : taken) {
    writers.emplace_back([&] {
      const auto database = OpenDatabase(Path());
      const auto opened = store::SqlStoreOf(*database);
      for (int i = 0; i < kRounds; ++i) {
        opened->Write([&](Connection& db) { mine.push_back(TakeIds(db, "lot")); });
      }
    });
  }
  for (auto& writer : writers) writer.join();
  std::set<std::int64_t> all(taken[0].begin(), taken[0].end());
  all.insert(taken[1].begin(), taken[1].end());
  EXPECT_EQ(all.size(), 2U * kRounds);
  EXPECT_EQ(Last(), 2 * kRounds);
}

}  // namespace
}  // namespace orvspc::engine::sql
