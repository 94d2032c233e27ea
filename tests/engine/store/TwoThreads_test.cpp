// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>
#include <thread>

#include "engine/chunks/large_data.h"
#include "engine/store/SharedReading.h"
#include "engine/time/calendar.h"
#include "tests/engine/store/store_fixture.h"

// What two threads read must be what one reads.
namespace orvspc::engine::store {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace import;

namespace {

class TwoThreadsTest : public StoreTest {
 protected:
  // Subgroups of one to five pieces of one stream, many of them sharing a stamp; with readings some
  // have keys. A second stream lies in between.
  void ImportStream(int subgroups, unsigned seed, bool keyed) {
    std::mt19937 random(seed);
    std::string csv = "part,process,test,subgroup,time,value,tsno,sbno,flag,lot\n";
    int second = 0;
    for (int i = 0; i < subgroups; ++i) {
      second += static_cast<int>(random() % 3);
      char time[32];
      std::snprintf(time, sizeof time, "2024-01-01T%02d:%02d:%02d", second / 3600, second / 60 % 60,
                    second % 60);
      const auto* part = random() % 4 == 0 ? "Q" : "P";
      const auto* status = random() % 5 == 0 ? "disabled" : "enabled";
      const bool readings = keyed && random() % 40 == 0;
      const int pieces = 1 + static_cast<int>(random() % 5);
      for (int piece = 1; piece <= pieces; ++piece) {
        for (int reading = 1; reading <= (readings ? 2 : 1); ++reading) {
          csv += std::string(part) + ",R,T,S" + std::to_string(i) + "," + time + "," +
                 std::to_string(random() % 1000) + "," +
                 (readings ? std::to_string(piece) + "," + std::to_string(reading) : ",") + "," +
                 status + ",L" + std::to_string(i % 3) + "\n";
        }
      }
    }
    Import(csv);
  }

  FlatSelection OfPart(const std::string& part) {
    FlatSelection flat;
    flat.List(FlatSelection::kPart, {Id(ItemKind::Part, part)});
    flat.info.TimeType = drttStatic;
    flat.info.TimeStart = flat.info.TimeEnd = kNoStamp;
    return flat;
  }

  struct Answer {
    API_DSInfo info;
    DataSet data;
    std::vector<API_TestData> rows;
  };
  Answer Run(const FlatSelection& flat) {
    Answer answer{flat.info, {}, {}};
    answer.data = Select(answer.info, flat.Filter());
    answer.rows.resize(answer.data.values.size());
    answer.data.WriteTests(answer.rows);
    return answer;
  }

  template <class Row>
  static bool SameBytes(const std::vector<Row>& a, const std::vector<Row>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Row)) == 0);
  }
  static void ExpectSame(const Answer& one, const Answer& two) {
    EXPECT_EQ(std::memcmp(&one.info, &two.info, sizeof one.info), 0);
    EXPECT_TRUE(SameBytes(one.data.subgroups, two.data.subgroups));
    EXPECT_TRUE(SameBytes(one.rows, two.rows));
  }

  static constexpr std::int64_t kNever = INT64_MAX;
};

TEST_F(TwoThreadsTest, RandomSelectionsAreThoseOfOneThread) {
  for (const bool keyed : {false, true}) {
    db_.reset();
    folder_.RemoveStore("q.db");
    ImportStream(3000, keyed ? 7 : 5, keyed);
    std::mt19937 random(11);
    for (int i = 0; i < 60; ++i) {
      auto flat = OfPart(random() % 4 == 0 ? "Q" : "P");
      if (random() % 2 == 0) {
        flat.info.TimeStart = 1704067200 + static_cast<std::int32_t>(random() % 2000);
        flat.info.TimeEnd = flat.info.TimeStart + static_cast<std::int32_t>(random() % 3000);
      }
      if (random() % 3 == 0) flat.info.TimeType = drttMostRecent;
      flat.info.TimePeriod = static_cast<std::int32_t>(random() % 3);
      flat.info.TimeCount = 1 + static_cast<std::int32_t>(random() % 90);
      if (random() % 2 == 0) flat.info.Count = 100 + static_cast<std::int32_t>(random() % 3500);
      if (random() % 3 == 0) flat.info.Status = 1 + static_cast<std::int32_t>(random() % 7);
      if (random() % 3 == 0) flat.List(FlatSelection::kLot, {1, 2});
      if (random() % 6 == 0) flat.info.ItemNo = 2;
      SCOPED_TRACE("selection " + std::to_string(i));
      Opened()->Sharing().ShareFrom(kNever);
      const auto one = Run(flat);
      // The second thread begins at once, or after some.
      for (const std::int64_t from : {1, 100, 800}) {
        Opened()->Sharing().ShareFrom(from);
        ExpectSame(one, Run(flat));
      }
    }
    EXPECT_GT(Opened()->Sharing().count.load(), 80U);
  }
}

TEST_F(TwoThreadsTest, SmallAndSharplyLimitedSelectionsStayOnOneThread) {
  ImportStream(300, 3, false);
  Opened()->Sharing().ShareFrom(250);
  auto flat = OfPart("P");
  flat.info.Count = 25;
  Run(flat);
  EXPECT_EQ(Opened()->Sharing().count.load(), 0U);
  Opened()->Sharing().ShareFrom(5000);
  flat.info.Count = 0;
  Run(flat);
  EXPECT_EQ(Opened()->Sharing().count.load(), 0U);
  Opened()->Sharing().ShareFrom(250);
  Run(flat);
  EXPECT_EQ(Opened()->Sharing().count.load(), 1U);
}

TEST_F(TwoThreadsTest, WhatWasCommittedBetweenTheTwoTransactionsIsSeenByNoneOrBoth) {
  ImportStream(20, 3, false);
  const auto first = OpenAnother(Path());
  Query(*first, "SELECT count(*) FROM subgroup").Step();
  const auto second = SecondReader::Open(*first);
  ASSERT_NE(second, nullptr);
  const auto subgroups = [](Connection& connection) {
    return Query(connection, "SELECT count(*) FROM subgroup").RunForInt();
  };
  ASSERT_TRUE(second->Note());
  {
    const Transaction reading(*first, TransactionKind::Read);
    EXPECT_EQ(subgroups(*first), 20);
    ASSERT_TRUE(second->Join());
    EXPECT_EQ(subgroups(second->Get()), 20);
    second->Leave();
  }
  ASSERT_TRUE(second->Note());
  {
    const Transaction reading(*first, TransactionKind::Read);
    EXPECT_EQ(subgroups(*first), 20);
    Import("part,process,test,subgroup,time,value\nP,M,T,new,2024-02-01,1\n");
    // A file has no way back to the state before.
    const bool joined = second->Join();
    EXPECT_EQ(joined, tests::OnServer());
    EXPECT_EQ(subgroups(*first), 20);
    EXPECT_EQ(joined ? subgroups(second->Get()) : 20, 20);
    second->Leave();
  }
  ASSERT_TRUE(second->Note());
  const Transaction reading(*first, TransactionKind::Read);
  EXPECT_EQ(subgroups(*first), 21);
  ASSERT_TRUE(second->Join());
  EXPECT_EQ(subgroups(second->Get()), 21);
}

TEST_F(TwoThreadsTest, AnotherFileAtThePathIsNotReadBesideTheOpenOne) {
  ImportStream(20, 3, false);
  db_.reset();
  const auto first = OpenAnother(Path());
  Query(*first, "SELECT count(*) FROM subgroup").Step();
  std::filesystem::copy_file(Path(), folder_.File("other.db"));
  std::filesystem::rename(folder_.File("other.db"), Path());
  EXPECT_EQ(SecondReader::Open(*first), nullptr);
}

TEST_F(TwoThreadsTest, ReplacedFileIsStillReadByOneThread) {
  ImportStream(300, 3, false);
  auto flat = OfPart("P");
  const auto before = Run(flat);
  std::filesystem::copy_file(Path(), folder_.File("other.db"));
  std::filesystem::rename(folder_.File("other.db"), Path());
  Opened()->Sharing().ShareFrom(1);
  ExpectSame(before, Run(flat));
  EXPECT_EQ(Opened()->Sharing().count.load(), 0U);
}

TEST_F(TwoThreadsTest, DamagedSubgroupIsNamedWhicheverThreadMeetsIt) {
  ImportStream(600, 3, false);
  db_.reset();
  for (const char* which : {"min", "max"}) {
    RunSql(Path(), std::string("UPDATE measurement_chunk SET packed = zeroblob(64) "
                               "WHERE first_time = (SELECT ") +
                       which +
                       "(m.first_time) FROM measurement_chunk m JOIN stream s ON s.id = m.stream "
                       "JOIN part p ON p.id = s.part WHERE p.name = 'P')");
    auto flat = OfPart("P");
    std::string reasons[2];
    for (const std::int64_t from : {kNever, std::int64_t{1}}) {
      Opened()->Sharing().ShareFrom(from);
      DataSet data;
      auto info = flat.info;
      EXPECT_FALSE(Opened()->Select(info, flat.Filter(), {}, data));
      EXPECT_TRUE(data.subgroups.empty());
      reasons[from == 1] = Db().TakeFailure()->description;
    }
    EXPECT_EQ(reasons[0], reasons[1]);
    EXPECT_NE(reasons[0].find("checksum"), std::string::npos) << reasons[0];
  }
}

TEST_F(TwoThreadsTest, ThreadsOfTheHostAndOursGoTogether) {
  ImportStream(1500, 9, false);
  Opened()->Sharing().ShareFrom(1);
  auto flat = OfPart("P");
  const auto expected = Run(flat);
  std::vector<std::thread> hosts;
  std::vector<Answer> answers(4);
  for (auto& answer : answers) {
    hosts.emplace_back([&] { answer = Run(flat); });
  }
  for (auto& host : hosts) host.join();
  for (const auto& answer : answers) ExpectSame(expected, answer);
}

TEST(Halves, CoverEveryPlaceOnce) {
  for (const std::size_t count : {0U, 1U, 2U, 3U, 101U}) {
    std::vector<int> seen(count, 0);
    ForHalves(
        count,
        [&](std::size_t begin, std::size_t end) {
          for (auto i = begin; i < end; ++i) ++seen[i];
        },
        1);
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int times) { return times == 1; }));
  }
}

TEST(Halves, FailureOfEitherLeavesOnceBothHaveEnded) {
  for (const bool second : {false, true}) {
    int ended = 0;
    EXPECT_THROW(RunBoth(
                     [&] {
                       if (!second) throw std::runtime_error("first");
                       ++ended;
                     },
                     [&] {
                       if (second) throw std::runtime_error("second");
                       ++ended;
                     }),
                 std::runtime_error);
    EXPECT_EQ(ended, 1);
  }
}

}  // namespace
}  // namespace orvspc::engine::store
