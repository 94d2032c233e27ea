// SPDX-License-Identifier: Apache-2.0
#include "chart/groups.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "frame/Checked.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::VectorOf;
using fake::FailureOf;
using Ints = std::vector<std::int32_t>;

API_SubgroupData Subgroup(std::int32_t part, std::int32_t stamp) {
  API_SubgroupData row{};
  row.Sgrp = 1000 + part;
  row.Part = part;
  row.Prcs = 10 + part;
  row.Test = 20 + part;
  row.Sgtm = stamp;
  return row;
}

struct By : CCProcessing {
  explicit By(std::int32_t group_by, std::int32_t threshold = 3600) {
    GroupBy(ccGroupByTypes{group_by});
    GroupThreshold(threshold);
  }
};

API_CCResults Grouped(const CCProcessing& processing, const std::vector<API_SubgroupData>& rows) {
  API_CCResults record = chart_test::Record(rows);
  groups::BuildGroupInformation(processing, record);
  return record;
}

void ExpectGroups(const API_CCResults& record, const Ints& start, const Ints& end,
                  const Ints& index) {
  EXPECT_EQ(VectorOf(record.GroupStart), start);
  EXPECT_EQ(VectorOf(record.GroupEnd), end);
  EXPECT_EQ(VectorOf(record.GroupIndex), index);
}

TEST(Groups, OneSubgroupIsOneGroup) {
  for (const std::int32_t group_by : {0, 1, 2, 3, 7})
    ExpectGroups(Grouped(By(group_by), {Subgroup(1, 0)}), {0}, {0}, {0});
}

TEST(Groups, WithoutGroupingEachSubgroupIsItsOwnGroup) {
  const auto record = Grouped(By(0), {Subgroup(1, 0), Subgroup(2, 0), Subgroup(3, 0)});
  ExpectGroups(record, {0, 1, 2}, {0, 1, 2}, {0, 1, 2});
  EXPECT_EQ(VectorOf(record.GroupIDs), (Ints{1001, 1002, 1003})) << "Sgrp";
}

TEST(Groups, TheIdentifierFollowsGroupBy) {
  const std::vector<API_SubgroupData> rows{Subgroup(1, 0), Subgroup(2, 0)};
  EXPECT_EQ(VectorOf(Grouped(By(1), rows).GroupIDs), (Ints{1, 2}));
  EXPECT_EQ(VectorOf(Grouped(By(2), rows).GroupIDs), (Ints{11, 12}));
  EXPECT_EQ(VectorOf(Grouped(By(3), rows).GroupIDs), (Ints{21, 22}));
  EXPECT_EQ(VectorOf(Grouped(By(7), rows).GroupIDs), (Ints{0, 0}));
}

TEST(Groups, AnIdentifierThatComesAgainOpensAGroup) {
  ExpectGroups(Grouped(By(1), {Subgroup(1, 0), Subgroup(2, 10), Subgroup(1, 20)}), {0, 2}, {1, 2},
               {0, 0, 1});
}

TEST(Groups, EveryMemberMustBeNearAndNotOnlyTheLast) {
  ExpectGroups(Grouped(By(1), {Subgroup(1, 0), Subgroup(2, 3000), Subgroup(3, 6000)}), {0, 2},
               {1, 2}, {0, 0, 1});
}

TEST(Groups, TheSameTestTwiceInARowMakesEverySubgroupItsOwnGroup) {
  ExpectGroups(Grouped(By(3), {Subgroup(1, 0), Subgroup(1, 1), Subgroup(1, 2)}), {0, 1, 2},
               {0, 1, 2}, {0, 1, 2});
}

TEST(Groups, ExactlyTheThresholdKeepsAGroupAndOneMoreBreaksIt) {
  ExpectGroups(Grouped(By(1), {Subgroup(1, 100), Subgroup(2, 3700)}), {0}, {1}, {0, 0});
  ExpectGroups(Grouped(By(1), {Subgroup(1, 100), Subgroup(2, 3701)}), {0, 1}, {0, 1}, {0, 1});
  ExpectGroups(Grouped(By(1), {Subgroup(1, 3700), Subgroup(2, 100)}), {0}, {1}, {0, 0});
  ExpectGroups(Grouped(By(1), {Subgroup(1, 3701), Subgroup(2, 100)}), {0, 1}, {0, 1}, {0, 1});
}

TEST(Groups, AThresholdOfZeroNeedsEqualStamps) {
  ExpectGroups(Grouped(By(1, 0), {Subgroup(1, 5), Subgroup(2, 5), Subgroup(3, 6)}), {0, 2}, {1, 2},
               {0, 0, 1});
}

TEST(Groups, ANegativeThresholdGroupsNothing) {
  ExpectGroups(Grouped(By(1, -1), {Subgroup(1, 5), Subgroup(2, 5)}), {0, 1}, {0, 1}, {0, 1});
}

TEST(Groups, GroupByOutsideTheEnumerationMakesEverySubgroupAGroup) {
  ExpectGroups(Grouped(By(7), {Subgroup(1, 0), Subgroup(2, 0), Subgroup(3, 0)}), {0, 1, 2},
               {0, 1, 2}, {0, 1, 2});
}

TEST(Groups, AStampDistanceThatLeaves32BitsFailsWithOverflow) {
  using Limits = std::numeric_limits<std::int32_t>;
  const auto caught = FailureOf([] {
    Grouped(By(1), {Subgroup(1, Limits::min()), Subgroup(2, Limits::max())});
  });
  EXPECT_EQ(caught.Number(), 6);
  EXPECT_EQ(caught.Source(), "CCAnalysis.BuildGroupInformation|orvSPCAnalysis6");
  // The difference is -2147483648, which has no absolute value.
  EXPECT_EQ(FailureOf([] {
              Grouped(By(1), {Subgroup(1, Limits::max()), Subgroup(2, -1)});
            }).Number(),
            6);
}

TEST(Groups, ADistanceIsNotTakenBehindTheFirstMemberThatDoesNotFit) {
  using Limits = std::numeric_limits<std::int32_t>;
  // Part 1 comes again, so the far member behind it is never compared.
  EXPECT_EQ(FailureOf([] {
              Grouped(By(1, Limits::max()),
                      {Subgroup(1, 0), Subgroup(2, Limits::min() + 1), Subgroup(1, Limits::max())});
            }).Number(),
            0);
}

TEST(Groups, ADistanceBehindAMemberThatIsTooFarIsNotTaken) {
  // The third is too far from the first; how far it is from the second no 32 bits can say.
  ExpectGroups(Grouped(By(1, 1'000'000'000),
                       {Subgroup(1, 0), Subgroup(2, -1'000'000'000), Subgroup(3, 1'900'000'000)}),
               {0, 2}, {1, 2}, {0, 0, 1});
}

TEST(Groups, WithoutSubgroupsTheArraysCannotBeMade) {
  API_CCResults record;
  const auto caught = FailureOf([&] { groups::BuildGroupInformation(By(1), record); });
  EXPECT_EQ(caught.Number(), 9);
  EXPECT_EQ(caught.Source(), "CCAnalysis.BuildGroupInformation|orvSPCAnalysis6");
}

// The walk as it reads: every newcomer against every member.
struct Reference {
  Ints start{0}, end, index{0};

  Reference(const std::vector<API_SubgroupData>& rows, const Ints& ids, std::int32_t threshold) {
    for (std::size_t i = 1; i < rows.size(); ++i) {
      for (auto j = static_cast<std::size_t>(start.back()); j < i; ++j) {
        if (ids[i] != ids[j] &&
            checked::Absolute(checked::Subtract(rows[i].Sgtm, rows[j].Sgtm)) <= threshold)
          continue;
        end.push_back(static_cast<std::int32_t>(i) - 1);
        start.push_back(static_cast<std::int32_t>(i));
        break;
      }
      index.push_back(static_cast<std::int32_t>(start.size()) - 1);
    }
    end.push_back(static_cast<std::int32_t>(rows.size()) - 1);
  }
};

TEST(Groups, AgreeWithTheSlowWalkOnRandomSubgroups) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const auto pick = [&](std::int32_t low, std::int32_t high) {
      return std::uniform_int_distribution<std::int32_t>(low, high)(random);
    };
    const std::int32_t parts = pick(1, 60);
    const std::int32_t step = pick(0, 200);
    const bool wild = round % 10 == 0;
    std::vector<API_SubgroupData> rows;
    std::int32_t stamp = 1'600'000'000;
    for (std::int32_t i = pick(1, 200); i > 0; --i) {
      stamp += pick(-step / 4, step);
      rows.push_back(Subgroup(pick(1, parts), wild ? pick(-1'100'000'000, 1'100'000'000) : stamp));
    }
    const By processing(pick(1, 3), wild ? 2'147'483'647 : pick(0, 4000));
    API_CCResults record = chart_test::Record(rows);
    const auto caught = FailureOf([&] { groups::BuildGroupInformation(processing, record); });
    const auto expected = FailureOf([&] {
      const Reference reference(rows, VectorOf(record.GroupIDs), processing.GroupThreshold());
      if (caught.Number() == 0)
        ExpectGroups(record, reference.start, reference.end, reference.index);
    });
    EXPECT_EQ(caught.Number(), expected.Number());
  }
}

}  // namespace
}  // namespace orvspc
