// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>

#include "platform/TimeText.h"
#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using store::FlatSelection;
using enum ValueChange::What;
using Rows = std::vector<std::array<double, 3>>;  // tsno, sbno, value

// Piece 1 was measured by two readings, which made its value; piece 2 has one of its own, and in
// the test Given so has piece 1.
class PiecesTest : public ValuesTest {
 protected:
  PiecesTest() {
    Import(
        "part,process,test,subgroup,time,tsno,sbno,value\n"
        "A,P,Read,1,2024-01-01,1,1,10\nA,P,Read,1,2024-01-01,1,2,13\n"
        "A,P,Read,1,2024-01-01,2,0,11\n"
        "A,P,Given,1,2024-01-01,1,0,12\nA,P,Given,1,2024-01-01,1,1,10\n"
        "A,P,Given,1,2024-01-01,1,2,13\n");
  }
  // With the size as the last row.
  Rows Of(const char* test) {
    FlatSelection all;
    const auto data = Select(all.info, all.Filter());
    Rows rows;
    for (const auto& each : data.subgroups) {
      if (each.Test != Id(ItemKind::Test, test)) continue;
      for (auto i = each.Test_Start; i <= each.Test_End; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const auto key = data.keys.empty() ? store::PlainKey(at) : data.keys[at];
        rows.push_back(
            {static_cast<double>(key.Tsno), static_cast<double>(key.Sbno), data.values[at]});
      }
      rows.push_back({0, 0, static_cast<double>(each.Size)});
    }
    return rows;
  }
};

}  // namespace

TEST_F(PiecesTest, APieceFollowsItsReadingsWhereItHasTheirMean) {
  EXPECT_EQ(Of("Read"), (Rows{{1, 0, 11.5}, {1, 1, 10}, {1, 2, 13}, {2, 0, 11}, {0, 0, 2}}));
  Change("Read", {Set, 1, 2, 100});
  EXPECT_EQ(Of("Read"), (Rows{{1, 0, 55}, {1, 1, 10}, {1, 2, 100}, {2, 0, 11}, {0, 0, 2}}));
  Change("Read", {Add, 1, 3, 1});
  EXPECT_DOUBLE_EQ(Of("Read")[0][2], 37);
  Change("Read", {Remove, 1, 2, 0});
  EXPECT_EQ(Of("Read"), (Rows{{1, 0, 5.5}, {1, 1, 10}, {1, 3, 1}, {2, 0, 11}, {0, 0, 2}}));
  Change("Read", {Set, 1, 0, 7});
  Change("Read", {Set, 1, 3, 2});
  EXPECT_EQ(Of("Read")[0], (std::array<double, 3>{1, 0, 7})) << "was given since";
}

TEST_F(PiecesTest, APieceWithAValueOfItsOwnKeepsIt) {
  Change("Given", {Set, 1, 2, 100});
  Change("Given", {Remove, 1, 1, 0});
  EXPECT_EQ(Of("Given"), (Rows{{1, 0, 12}, {1, 2, 100}, {0, 0, 1}}));
  Change("Given", {Remove, 1, 2, 0});
  EXPECT_EQ(Of("Given"), (Rows{{1, 0, 12}, {0, 0, 1}}));
}

TEST_F(PiecesTest, APieceAndItsReadingsComeAndGoTogether) {
  Change("Read", {Add, 3, 1, 9, {{"gage", "G1"}}});
  EXPECT_EQ(
      Of("Read"),
      (Rows{{1, 0, 11.5}, {1, 1, 10}, {1, 2, 13}, {2, 0, 11}, {3, 0, 9}, {3, 1, 9}, {0, 0, 3}}));
  Change("Read", {Remove, 3, 1, 0});
  Change("Read", {Remove, 1, 0, 0});
  EXPECT_EQ(Of("Read"), (Rows{{2, 0, 11}, {0, 0, 1}}));
  const std::string last = ": it is the last value; edit delete takes the record out";
  EXPECT_EQ(RefusalOf("Read", {Remove, 2, 0, 0}), "size: #1 Read" + last);
  EXPECT_EQ(RefusalOf("Given", {Remove, 1, 0, 0}), "size: #1 Given" + last) << "beside readings";
  EXPECT_EQ(Of("Given").size(), 4U);
}

TEST_F(PiecesTest, UnreasonableValuesAreRefusedUnlessForced) {
  Import("part,test,url,lrl,effective\nA,Read,80,5,2023-01-01\nA,Read,1,0,2025-01-01\n",
         ImportKind::Limits);
  const std::string beyond =
      "unreasonable: #1 Read: value: 740.3 lies beyond the reasonable limit ";
  ValueChange change{Set, 2, 0, 740.3};
  EXPECT_EQ(RefusalOf("Read", change), beyond + "80; --force stores it");
  EXPECT_EQ(
      RefusalOf("Read", {Add, 0, 0, 4}),
      "unreasonable: #1 Read: value: 4 lies beyond the reasonable limit 5; --force stores it");
  EXPECT_EQ(RefusalOf("Read", {Set, 2, 0, 80}), "");
  const auto events = [&] {
    std::int64_t count = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      count = sql::Query(db,
                         "SELECT count(*) FROM event e JOIN event_name n ON n.id = e.name "
                         "WHERE n.name = 'Unreasonable value' AND e.subgroup_time IS NOT NULL")
                  .RunForInt()
                  .value_or(0);
    });
    return count;
  };
  EXPECT_EQ(events(), 0);
  change.force = true;
  EXPECT_EQ(RefusalOf("Read", change), "");
  EXPECT_EQ(events(), 1);
  EXPECT_EQ(RefusalOf("Read", {Remove, 2, 0, 0}), "") << "what is there may go";
}

TEST_F(PiecesTest, ASubgroupDoesNotMoveIntoTheFuture) {
  std::int32_t now = 0;
  Data().AddComment(1, 0, 0, "new tool", Why());
  Opened()->ReadOrThrow([&](sql::Connection& db) {
    now = static_cast<std::int32_t>(
        sql::Query(db, "SELECT max(time) FROM comment").RunForInt().value_or(0));
  });
  const auto move = [&](std::int32_t ahead) {
    SubgroupChange change;
    change.time = now + ahead;
    return change::RefusalOf([&] { Data().ChangeSubgroups({1}, {}, change, Why()); });
  };
  EXPECT_EQ(move(86400 * 3 + 60), "time: time: lies 3 days in the future");
  EXPECT_EQ(move(300), "");
}

}  // namespace orvspc::engine::change
