// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartPlan.h"

#include <gtest/gtest.h>

#include "platform/ChartWord.h"

namespace orvspc::engine::charts {

namespace {

struct Row {
  std::int32_t asked;
  DataShape shape;
  std::int32_t made;
  const char* reason;
};

constexpr DataShape kOnes{1, 1, 0}, kFives{5, 5, 0}, kTens{10, 10, 0}, kElevens{11, 11, 0};
constexpr DataShape kVarying{2, 5, 0}, kNothing{0, 0, 0};
constexpr DataShape kOnesWithReadings{1, 1, 3}, kFivesWithReadings{5, 5, 10},
    kFivesWithMany{5, 5, 11}, kVaryingWithReadings{2, 5, 2};

TEST(ChartPlan, SaysInTheWordWhatIsMade) {
  const Row rows[] = {
      {0x000, kOnes, 0x330, "best guess: single pieces"},
      {0x000, kOnesWithReadings, 0x331, "best guess: with readings"},
      {0x000, {1, 1, 11}, 0x332, "best guess: many readings"},
      {0x000, kFives, 0x110, "best guess: constant"},
      {0x000, kTens, 0x110, "best guess: ten is not too many"},
      {0x000, kElevens, 0x120, "best guess: too many for ranges"},
      {0x000, kVarying, 0x120, "best guess: varying"},
      {0x000, kFivesWithReadings, 0x111, "best guess: ten readings"},
      {0x000, kFivesWithMany, 0x112, "best guess: eleven readings"},
      {0x000, kVaryingWithReadings, 0x121, "best guess: varying with readings"},
      {0x000, kNothing, 0x330, "best guess: no values at all"},
      {0x020, kFives, 0x120, "graph 2 as asked, graph 1 chosen"},
      {0x002, kFives, 0x102, "graph 3 as asked, graph 2 left out as asked"},
      {0x110, kOnes, 0x130, "a range of one piece does not exist"},
      {0x121, kOnes, 0x130, "nor does a third graph"},
      {0x121, kOnesWithReadings, 0x131, "but readings give one"},
      {0x140, kOnes, 0x100, "a coefficient of one piece does not exist"},
      {0x340, kFives, 0x340, "asked and possible"},
      {0x112, kFives, 0x112, "graph 3 of the subgroup"},
      {0x500, kFives, 0x500, "pre-control"},
      {0x410, kOnes, 0x430, "moving average of single pieces"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(PlanVariableChart(row.asked, 0, row.shape).word, row.made) << row.reason;
  }
}

TEST(ChartPlan, LooksInsideThePiecesWhereThereAreReadings) {
  EXPECT_EQ(PlanVariableChart(0x111, 0, kFives).kinds[2], ChartKind::Range);
  EXPECT_EQ(PlanVariableChart(0x112, 0, kFives).kinds[2], ChartKind::Sd);
  EXPECT_EQ(PlanVariableChart(0x111, 0, kFivesWithReadings).kinds[2], ChartKind::PieceRange);
  EXPECT_EQ(PlanVariableChart(0x112, 0, kFivesWithReadings).kinds[2], ChartKind::PieceSd);
  // A three-way chart is about the subgroup.
  EXPECT_EQ(PlanVariableChart(0x131, 0, kFivesWithReadings).kinds[2], ChartKind::Range);
}

TEST(ChartPlan, ThreeWayNeedsMovingRangesOfMeansOrMedians) {
  EXPECT_TRUE(PlanVariableChart(0x130, 0, kFives).three_way);
  EXPECT_TRUE(PlanVariableChart(0x231, 0, kFives).three_way);
  EXPECT_FALSE(PlanVariableChart(0x330, 0, kFives).three_way);
  EXPECT_FALSE(PlanVariableChart(0x430, 0, kFives).three_way);
  EXPECT_FALSE(PlanVariableChart(0x110, 0, kFives).three_way);
}

TEST(ChartPlan, CusumIsBitSixteenAlone) {
  EXPECT_TRUE(PlanVariableChart(0x110, 16, kFives).cusum);
  EXPECT_TRUE(PlanVariableChart(0x110, 19, kFives).cusum);
  EXPECT_FALSE(PlanVariableChart(0x110, 3, kFives).cusum) << "grouping and EWMA share these bits";
  const auto zones = PlanVariableChart(0x500, 16, kFives);
  EXPECT_FALSE(zones.cusum);
  EXPECT_EQ(zones.notes.size(), 1U);
}

TEST(ChartPlan, TellsWhatItChangedOrDropped) {
  EXPECT_TRUE(PlanVariableChart(0x111, 0, kFives).notes.empty());
  const auto plan = PlanVariableChart(0x111, 0, kOnes);
  ASSERT_EQ(plan.notes.size(), 2U);
  EXPECT_EQ(plan.notes[0].code, "graph-changed");
  EXPECT_EQ(plan.notes[1].code, "graph-dropped");
}

// Limits are imported with the word of their chart, by readers that do not know the plans.
TEST(ChartPlan, WordsAreThoseThatStoredLimitsMayName) {
  for (std::int32_t word = -1; word <= 0x1FFF; ++word) {
    EXPECT_EQ(platform::IsChartWord(word), IsVariableWord(word) || IsAttributeWord(word)) << word;
  }
}

TEST(ChartPlan, KnowsTheWordsOfItsPath) {
  for (const std::int32_t word : {0x000, 0x110, 0x542, 0x002}) EXPECT_TRUE(IsVariableWord(word));
  for (const std::int32_t word : {0x600, 0xD00, 0x150, 0x113, 0x1110, -1}) {
    EXPECT_FALSE(IsVariableWord(word)) << word;
  }
}

}  // namespace
}  // namespace orvspc::engine::charts
