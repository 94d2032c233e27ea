// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/LotDecision.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvspc::studies {
namespace {

struct Row {
  std::vector<LotSample> samples;
  LotVerdict verdict;
  std::string reason;
};

TEST(DecideLot, BySinglePlan) {
  const SinglePlan plan{50, 2};
  const Row rows[] = {
      {{{25, 1}, {25, 1}}, LotVerdict::Take, "2 bad units in 50 units, the plan takes at most 2"},
      {{{25, 1}, {25, 2}}, LotVerdict::Refuse, "3 bad units in 50 units, the plan takes at most 2"},
      {{{25, 1}},
       LotVerdict::Undecided,
       "1 bad unit in 25 units, the plan takes at most 2 in 50; 25 more are to be inspected"},
      // Too many already.
      {{{10, 3}}, LotVerdict::Refuse, "3 bad units in 10 units, the plan takes at most 2"},
      // What comes after the sample does not count.
      {{{50, 2}, {50, 9}},
       LotVerdict::Take,
       "2 bad units in the first 50 of 100 units, the plan takes at most 2"},
      // The sample ends within the second subgroup.
      {{{40, 1}, {20, 1}},
       LotVerdict::Take,
       "1 to 2 bad units in the first 50 of 60 units, the plan takes at most 2"},
      {{{40, 1}, {20, 2}},
       LotVerdict::Undecided,
       "1 to 3 bad units in the first 50 of 60 units, the plan takes at most 2; where in its "
       "subgroup the last one lies is not known"},
      {{{40, 1}, {20, 12}},
       LotVerdict::Refuse,
       "3 to 11 bad units in the first 50 of 60 units, the plan takes at most 2"},
      {{},
       LotVerdict::Undecided,
       "0 bad units in 0 units, the plan takes at most 2 in 50; 50 more are to be inspected"},
  };
  for (const auto& row : rows) {
    const auto decision = DecideLot(plan, row.samples);
    EXPECT_EQ(decision.verdict, row.verdict) << row.reason;
    EXPECT_EQ(decision.reason, row.reason);
  }
}

TEST(DecideLot, ByDoublePlan) {
  const DoublePlan plan{50, 1, 4, 100, 4};
  const Row rows[] = {
      {{{50, 1}}, LotVerdict::Take, "1 bad unit in 50 units, the first sample takes at most 1"},
      {{{50, 4}},
       LotVerdict::Refuse,
       "4 bad units in 50 units, the first sample refuses 4 or more"},
      {{{20, 4}},
       LotVerdict::Refuse,
       "4 bad units in 20 units, the first sample refuses 4 or more"},
      {{{20, 1}}, LotVerdict::Undecided, "1 bad unit in 20 units; 30 more are to be inspected"},
      {{{50, 2}},
       LotVerdict::Undecided,
       "2 bad units in 50 units, the plan takes at most 4 in 150; 100 more are to be inspected"},
      {{{50, 2}, {100, 2}}, LotVerdict::Take, "4 bad units in 150 units, the plan takes at most 4"},
      {{{50, 2}, {10, 3}}, LotVerdict::Refuse, "5 bad units in 60 units, the plan takes at most 4"},
      {{{40, 1}, {110, 1}},
       LotVerdict::Undecided,
       "1 to 2 bad units in the first 50 of 150 units; where in its subgroup the last one lies is "
       "not known"},
  };
  for (const auto& row : rows) {
    const auto decision = DecideLot(plan, row.samples);
    EXPECT_EQ(decision.verdict, row.verdict) << row.reason;
    EXPECT_EQ(decision.reason, row.reason);
  }
}

TEST(DecideLot, CountsWhatWasFoundWhereNoSizeIsKnown) {
  const SinglePlan plan{50, 2};
  const Row rows[] = {
      {{{0, 3}},
       LotVerdict::Refuse,
       "3 bad units in 1 subgroup of unknown size, the plan takes at most 2"},
      {{{0, 2}},
       LotVerdict::Undecided,
       "2 bad units in 1 subgroup of unknown size, the plan takes at most 2 in 50; how many units "
       "were inspected is not known"},
      {{{25, 1}, {0, 1}, {0, 1}},
       LotVerdict::Refuse,
       "3 bad units in 25 units and 2 subgroups of unknown size, the plan takes at most 2"},
      // As many are known as the plan has, but perhaps not the first.
      {{{25, 0}, {0, 0}, {25, 1}},
       LotVerdict::Undecided,
       "1 bad unit in 50 units and 1 subgroup of unknown size, the plan takes at most 2 in 50; how "
       "many units were inspected is not known"},
      {{{25, 0}, {0, 2}, {25, 1}},
       LotVerdict::Refuse,
       "3 bad units in 50 units and 1 subgroup of unknown size, the plan takes at most 2"},
      // The sample was complete before.
      {{{50, 2}, {0, 9}}, LotVerdict::Take, "2 bad units in 50 units, the plan takes at most 2"},
  };
  for (const auto& row : rows) {
    const auto decision = DecideLot(plan, row.samples);
    EXPECT_EQ(decision.verdict, row.verdict) << row.reason;
    EXPECT_EQ(decision.reason, row.reason);
  }
  const std::vector<LotSample> samples = {{25, 0}, {0, 2}};
  EXPECT_EQ(DecideLot(plan, samples).units, 25);
  EXPECT_EQ(DecideLot(plan, samples).bad, 2);
  EXPECT_EQ(DecideLot(plan, samples, true).reason,
            "2 defects in 25 units and 1 subgroup of unknown size, the plan takes at most 2 in 50; "
            "how many units were inspected is not known");
}

TEST(DecideLot, ByDoublePlanWhereNoSizeIsKnown) {
  const DoublePlan plan{50, 1, 4, 100, 4};
  const Row rows[] = {
      {{{0, 4}},
       LotVerdict::Refuse,
       "4 bad units in 1 subgroup of unknown size, the first sample refuses 4 or more"},
      {{{0, 1}, {50, 0}},
       LotVerdict::Undecided,
       "1 bad unit in 50 units and 1 subgroup of unknown size, the first sample refuses 4 or more; "
       "how many units were inspected is not known"},
      // The first sample does not take it, and both together do not.
      {{{0, 2}, {100, 3}},
       LotVerdict::Refuse,
       "5 bad units in 100 units and 1 subgroup of unknown size, the plan takes at most 4"},
      {{{50, 2}, {0, 2}},
       LotVerdict::Undecided,
       "4 bad units in 50 units and 1 subgroup of unknown size, the plan takes at most 4 in 150; "
       "how many units were inspected is not known"},
      {{{50, 2}, {0, 3}},
       LotVerdict::Refuse,
       "5 bad units in 50 units and 1 subgroup of unknown size, the plan takes at most 4"},
  };
  for (const auto& row : rows) {
    const auto decision = DecideLot(plan, row.samples);
    EXPECT_EQ(decision.verdict, row.verdict) << row.reason;
    EXPECT_EQ(decision.reason, row.reason);
  }
}

TEST(DecideLot, AddsUpFractionsOfUnits) {
  const struct {
    std::int64_t n;
    std::vector<LotSample> samples;
    LotVerdict verdict;
    std::string reason;
  } rows[] = {
      {40, std::vector<LotSample>(20, {1.5, 0}), LotVerdict::Undecided,
       "0 defects in 30 units, the plan takes at most 1 in 40; 10 more are to be inspected"},
      {8, std::vector<LotSample>(20, {0.4, 0}), LotVerdict::Take,
       "0 defects in 8 units, the plan takes at most 1"},
      // The sum of the nearest binary numbers is a little below 1.
      {1, std::vector<LotSample>(10, {0.1, 0}), LotVerdict::Take,
       "0 defects in 1 unit, the plan takes at most 1"},
      {30,
       {{30.0, 1}, {0.5, 4}},
       LotVerdict::Take,
       "1 defect in the first 30 of 30.5 units, the plan takes at most 1"},
      {2,
       {{1.5, 0}},
       LotVerdict::Undecided,
       "0 defects in 1.5 units, the plan takes at most 1 in 2; 0.5 more are to be inspected"},
      {2,
       {{1.5, 1}, {1.5, 2}},
       LotVerdict::Undecided,
       "1 to 3 defects in the first 2 of 3 units, the plan takes at most 1; where in its subgroup "
       "the last one lies is not known"},
      {2,
       {{NAN, 1}, {2.5, 0}},
       LotVerdict::Undecided,
       "1 defect in the first 2 of 2.5 units and 1 subgroup of unknown size, the plan takes at "
       "most 1 in 2; how many units were inspected is not known"},
  };
  for (const auto& row : rows) {
    const auto decision = DecideLot(SinglePlan{row.n, 1}, row.samples, true);
    EXPECT_EQ(decision.verdict, row.verdict) << row.reason;
    EXPECT_EQ(decision.reason, row.reason);
  }
  const std::vector<LotSample> tenths(10, {0.1, 0}), endless = {{INFINITY, 0}}, less = {{-0.5, 0}};
  EXPECT_EQ(DecideLot(SinglePlan{5, 1}, tenths, true).units, 1.0);
  EXPECT_EQ(DecideLot(DoublePlan{2, 0, 3, 2, 2}, tenths, true).reason,
            "0 defects in 1 unit; 1 more are to be inspected");
  EXPECT_THROW(DecideLot(SinglePlan{5, 1}, endless, true), std::invalid_argument);
  EXPECT_THROW(DecideLot(SinglePlan{5, 1}, less, true), std::invalid_argument);
}

TEST(TextOfSamples, HasWhatAllHaveTogether) {
  const std::vector<LotSample> samples = {{25, 2}, {25, 1}, {0, 0}}, none = {{0, 1}};
  EXPECT_EQ(TextOfSamples(samples), "3 bad units in 50 units and 1 subgroup of unknown size");
  EXPECT_EQ(TextOfSamples(none, true), "1 defect in 1 subgroup of unknown size");
}

TEST(DecideLot, AUnitMayHaveSeveralDefects) {
  const SinglePlan plan{2, 5};
  const std::vector<LotSample> samples = {{1, 4}, {1, 1}}, across = {{1, 0}, {3, 6}};
  const auto taken = DecideLot(plan, samples, true);
  EXPECT_EQ(taken.verdict, LotVerdict::Take);
  EXPECT_EQ(taken.units, 2);
  EXPECT_EQ(taken.bad, 5);
  EXPECT_EQ(taken.reason, "5 defects in 2 units, the plan takes at most 5");
  EXPECT_EQ(DecideLot(plan, across, true).verdict, LotVerdict::Undecided);
  EXPECT_THROW(DecideLot(plan, samples), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
