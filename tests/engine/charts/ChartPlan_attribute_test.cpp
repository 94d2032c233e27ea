// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartPlan.h"

#include <gtest/gtest.h>

namespace orvspc::engine::charts {
using namespace catalogue;

TEST(AttributePlan, KnowsTheWordsOfItsRoad) {
  for (const std::int32_t word : {0, 0x800, 0x900, 0xA00, 0xB00, 0xC00, 0xD00, 0xE00, 0xF00, 0xD12})
    EXPECT_TRUE(IsAttributeWord(word)) << word;
  for (const std::int32_t word : {0x100, 0x500, 0x600, 0x700, 0xD50, 0xD03, 0x1D00, -1})
    EXPECT_FALSE(IsAttributeWord(word)) << word;
}

TEST(AttributePlan, MakesWhatIsAskedFor) {
  for (std::int32_t code = 8; code < 16; ++code) {
    const auto plan = PlanAttributeChart(code << 8, 0, 0.0, {});
    EXPECT_EQ(plan.Word(), code << 8);
    EXPECT_TRUE(plan.notes.empty());
  }
}

TEST(AttributePlan, TheBestGuessFollowsTheTestAndTheSizes) {
  const struct {
    const char* reason;
    AttributeShape shape;
    std::int32_t word;
  } rows[] = {
      {"defectives, sizes alike: the share, since np reads as a share", {false, false}, 0xD00},
      {"defectives, sizes differ", {false, true}, 0xD00},
      {"defects on sizes alike or not known", {true, false}, 0xE00},
      {"defects, sizes differ", {true, true}, 0xF00},
  };
  for (const auto& row : rows)
    EXPECT_EQ(PlanAttributeChart(0, 0, 0.0, row.shape).Word(), row.word) << row.reason;
}

TEST(AttributePlan, AChartOfCountsIsOneGraph) {
  const auto plan = PlanAttributeChart(0xD12, 0, 0.0, {});
  EXPECT_EQ(plan.Word(), 0xD00);
  ASSERT_EQ(plan.notes.size(), 1U);
  EXPECT_EQ(plan.notes[0].code, "graph-dropped");
}

TEST(AttributePlan, EwmaIsReadFromTheNumberAndNotFromTheWord) {
  const struct {
    const char* reason;
    std::int32_t word;
    double number;
    EwmaKind kind;
  } rows[] = {
      {"none", 0, 0.0, EwmaKind::None},
      {"standard", 1, 1.0, EwmaKind::Standard},
      {"moving centre", 2, 2.0, EwmaKind::MovingCentre},
      {"grouped by part", 1, 0.0, EwmaKind::None},
      {"grouped by test", 3, 0.0, EwmaKind::None},
      {"grouped by part, standard", 1, 1.0, EwmaKind::Standard},
      {"no such option", 0, 3.0, EwmaKind::None},
      {"a weight is no option", 0, 0.3, EwmaKind::None},
  };
  for (const auto& row : rows)
    EXPECT_EQ(PlanAttributeChart(0xD00, row.word, row.number, {}).ewma, row.kind) << row.reason;
}

TEST(AttributePlan, ACusumWinsOverAnEwma) {
  const auto plan = PlanAttributeChart(0xD00, 16 | 1, 1.0, {});
  EXPECT_TRUE(plan.cusum);
  EXPECT_EQ(plan.ewma, EwmaKind::None);
  ASSERT_EQ(plan.notes.size(), 1U);
  EXPECT_EQ(plan.notes[0].code, "option-ignored");
}

}  // namespace orvspc::engine::charts
