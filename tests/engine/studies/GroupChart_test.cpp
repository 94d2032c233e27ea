// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/GroupChart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

void Add(Stretch& stretch, std::int32_t stream, std::int32_t time,
         const std::vector<double>& pieces) {
  if (stretch.first_piece.empty()) stretch.first_piece.push_back(0);
  double sum = 0.0;
  for (const double piece : pieces) sum += piece;
  stretch.points.push_back(sum / static_cast<double>(pieces.size()));
  stretch.sizes.push_back(static_cast<double>(pieces.size()));
  stretch.pieces.insert(stretch.pieces.end(), pieces.begin(), pieces.end());
  stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
  stretch.members.push_back(stream);
  stretch.times.push_back(time);
}

// Three streams at times 0, 3600, ..: means 10, 11 and 12 but for the last, ranges 2, 4 and 6.
Stretch ThreeStreams(int groups) {
  Stretch stretch;
  for (int g = 0; g < groups; ++g) {
    for (int s = 0; s < 3; ++s) {
      const double half = 1.0 + s, mean = 10.0 + s;
      Add(stretch, s, 3600 * g + 60 * s, {mean - half, mean, mean + half});
    }
  }
  return stretch;
}

// The least r with (s^r - 1)/(s - 1) >= 700, as textbooks print it for two streams and more.
TEST(RunOfStreams, LeastRunThatChanceMakesRarely) {
  const std::vector<std::pair<std::int32_t, std::int32_t>> rows = {
      {1, 0}, {2, 10}, {3, 7}, {4, 6}, {5, 5}, {8, 5}, {9, 4}, {25, 4}, {26, 3}};
  for (const auto& row : rows) EXPECT_EQ(RunOfStreams(row.first), row.second) << row.first;
}

// How long equal streams take to a run of four, beside (3^4 - 1)/(3 - 1) = 40.
TEST(RunOfStreams, TheMeanNumberOfGroupsIsThatOfEqualStreams) {
  engine::statistics::Draws draws;
  constexpr int kRuns = 4000;
  double groups = 0.0;
  for (int i = 0; i < kRuns; ++i) {
    std::size_t last = 3;
    for (int run = 0; run < 4; ++groups) {
      const auto extreme = draws.Index(3);
      run = extreme == last ? run + 1 : 1;
      last = extreme;
    }
  }
  EXPECT_NEAR(groups / kRuns, 40.0, 2.0);
}

TEST(StudyGroup, ExtremesAndLimits) {
  auto stretch = ThreeStreams(5);
  Add(stretch, 0, 18000, {9.0, 10.0, 11.0});
  Add(stretch, 1, 18060, {31.0, 30.0, 32.0});
  Add(stretch, 2, 18120, {2.0, 12.0, 22.0});
  const auto study = StudyGroup(stretch);
  ASSERT_EQ(study.times.size(), 6U);
  EXPECT_EQ(study.streams, 3);
  EXPECT_EQ(study.run, 7);
  EXPECT_EQ(study.high.values, (std::vector<double>{12, 12, 12, 12, 12, 31}));
  EXPECT_EQ(study.high.members, (std::vector<std::int32_t>{2, 2, 2, 2, 2, 1}));
  EXPECT_EQ(study.high.runs, (std::vector<std::int32_t>{1, 2, 3, 4, 5, 1}));
  EXPECT_EQ(study.low.values, (std::vector<double>{10, 10, 10, 10, 10, 10}));
  EXPECT_EQ(study.low.runs[5], 6);
  EXPECT_EQ(study.spread.values, (std::vector<double>{6, 6, 6, 6, 6, 20}));
  // The mean of all 18 means, and of all 18 ranges over d2(3) = 1.692569.
  const double mean = (5 * 33.0 + 10.0 + 31.0 + 12.0) / 18.0;
  const double range = (5 * 12.0 + 2.0 + 2.0 + 20.0) / 18.0, sigma = range / 1.6925687506;
  EXPECT_NEAR(study.mean.value, mean, 1e-12);
  EXPECT_NEAR(study.sigma.value, sigma, 1e-9);
  EXPECT_NEAR(study.high.limits[0], mean + 3.0 * sigma / std::sqrt(3.0), 1e-8);
  EXPECT_NEAR(study.low.limits[0], mean - 3.0 * sigma / std::sqrt(3.0), 1e-8);
  EXPECT_NEAR(study.spread.centre[0], range, 1e-8);
  EXPECT_NEAR(study.spread.limits[0], 2.57459 * range, 1e-4);  // D4 of three
  EXPECT_EQ(study.high.signals, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(study.spread.signals, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(study.low.signals, std::vector<std::uint8_t>(6, 0));
}

TEST(StudyGroup, AStreamThatIsExtremeTooOftenSignals) {
  const auto study = StudyGroup(ThreeStreams(8));
  EXPECT_EQ(study.high.long_runs, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 0, 1, 1}));
  EXPECT_EQ(study.spread.long_runs[6], 1);
}

TEST(StudyGroup, EqualStreamsBreakARun) {
  auto stretch = ThreeStreams(4);
  stretch.points[7] = 12.0;  // of stream 1 in the third group
  const auto study = StudyGroup(stretch);
  EXPECT_EQ(study.high.members, (std::vector<std::int32_t>{2, 2, -1, 2}));
  EXPECT_EQ(study.high.runs, (std::vector<std::int32_t>{1, 2, 0, 1}));
}

TEST(StudyGroup, MissingStreamsAreNamedAndUnusedOnesPassedOver) {
  auto stretch = ThreeStreams(4);
  stretch.used.assign(12, 1);
  stretch.used[5] = 0;  // stream 2 in the second group
  stretch.points[9] = kNaN;
  const auto study = StudyGroup(stretch);
  EXPECT_EQ(study.missing[0], std::vector<std::int32_t>{});
  EXPECT_EQ(study.missing[1], std::vector<std::int32_t>{2});
  EXPECT_EQ(study.missing[3], std::vector<std::int32_t>{0});
  EXPECT_EQ(study.high.members[1], 1);
  EXPECT_EQ(study.counts, (std::vector<std::int32_t>{3, 2, 3, 2}));
  EXPECT_TRUE(Has(study.notes, "streams-missing"));
}

TEST(StudyGroup, AGroupEndsWhereAStreamComesAgainOrTimeIsUp) {
  Stretch stretch;
  Add(stretch, 0, 0, {1.0, 2.0});
  Add(stretch, 1, 10, {1.0, 2.0});
  Add(stretch, 0, 20, {1.0, 2.0});
  Add(stretch, 1, 120, {1.0, 2.0});
  GroupOptions options;
  options.threshold = 100;
  EXPECT_EQ(StudyGroup(stretch, options).times, (std::vector<std::int32_t>{0, 20}));
  options.threshold = 99;
  EXPECT_EQ(StudyGroup(stretch, options).times, (std::vector<std::int32_t>{0, 20, 120}));
}

// Four streams every hour, of which some lack the subgroup of hour 10.
TEST(StudyGroup, AMissingStreamIsNamedAtItsTimeAlone) {
  const std::vector<std::vector<std::int32_t>> rows = {
      {}, {0}, {1}, {2}, {3}, {0, 1}, {0, 2}, {1, 2}, {2, 3}, {0, 3}, {0, 1, 2}, {1, 2, 3}};
  for (const std::int32_t apart : {0, 60}) {
    for (const auto& missing : rows) {
      Stretch stretch;
      for (std::int32_t hour = 0; hour < 30; ++hour) {
        for (std::int32_t s = 0; s < 4; ++s) {
          if (hour == 10 && std::ranges::find(missing, s) != missing.end()) continue;
          Add(stretch, s, 3600 * hour + apart * s, {1.0, 2.0});
        }
      }
      const auto study = StudyGroup(stretch);
      SCOPED_TRACE(testing::PrintToString(missing) + " " + std::to_string(apart));
      ASSERT_EQ(study.times.size(), 30U);
      for (std::size_t g = 0; g < 30; ++g) {
        EXPECT_EQ(study.times[g] / 3600, static_cast<std::int32_t>(g));
        EXPECT_EQ(study.missing[g], g == 10 ? missing : std::vector<std::int32_t>()) << g;
      }
    }
  }
}

TEST(StudyGroup, AGroupIsCutAtAGapThatIsMoreThanTwiceTheNext) {
  struct Row {
    std::vector<std::pair<std::int32_t, std::int32_t>> subgroups;  // stream and time
    std::vector<std::int32_t> times;
    const char* why;
  };
  const Row rows[] = {
      {{{0, 0}, {1, 20}, {0, 30}}, {0, 30}, "just twice"},
      {{{0, 0}, {1, 20}, {0, 29}}, {0, 20}, "more"},
      {{{0, 0}, {1, 60}, {2, 120}, {2, 130}}, {0, 130}, "the next fits to nothing of the group"},
      {{{0, 0}, {1, 900}, {2, 1800}, {0, 2700}, {1, 3600}}, {0, 2700}, "the same gaps throughout"},
      {{{0, 0}, {1, 50}, {2, 100}, {0, 110}}, {0, 100}, "the latest of equal gaps"}};
  for (const auto& row : rows) {
    Stretch stretch;
    for (const auto& each : row.subgroups) Add(stretch, each.first, each.second, {1.0, 2.0});
    EXPECT_EQ(StudyGroup(stretch).times, row.times) << row.why;
  }
}

TEST(StudyGroup, SinglePiecesHaveMovingRangesInsideTheirStream) {
  Stretch stretch;
  const std::vector<std::vector<double>> values = {{1.0, 11.0}, {2.0, 14.0}, {1.0, 11.0}};
  for (std::size_t g = 0; g < values.size(); ++g) {
    for (std::size_t s = 0; s < 2; ++s) {
      Add(stretch, static_cast<std::int32_t>(s), static_cast<std::int32_t>(3600 * g),
          {values[g][s]});
    }
  }
  const auto study = StudyGroup(stretch);
  EXPECT_EQ(study.spread_graph, SpreadGraph::MovingRange);
  EXPECT_TRUE(std::isnan(study.spread.values[0]));
  EXPECT_EQ(study.spread.values[1], 3.0);
  EXPECT_EQ(study.spread.members[1], 1);
  EXPECT_NEAR(study.sigma.value, (1.0 + 1.0 + 3.0 + 3.0) / 4.0 / 1.1283791670955126, 1e-12);
}

TEST(StudyGroup, LimitsOfThePhaseBefore) {
  const auto before = StudyGroup(ThreeStreams(5));
  Stretch stretch;
  for (int s = 0; s < 3; ++s) Add(stretch, s, 60 * s, {100.0, 100.0, 100.0 + s});
  const auto study = StudyGroup(stretch, {}, &before);
  EXPECT_EQ(study.high.limits[0], before.high.limits[0]);
  EXPECT_EQ(study.high.signals[0], 1);
}

TEST(StudyGroup, AFrozenPhaseHasTheLimitsOfItsFirstGroups) {
  const auto base = StudyGroup(ThreeStreams(5));
  auto stretch = ThreeStreams(5);
  for (int g = 5; g < 9; ++g) {
    for (int s = 0; s < 3; ++s) Add(stretch, s, 3600 * g + 60 * s, {20.0, 30.0, 40.0});
  }
  stretch.phase.freeze_after = 5;
  const auto study = StudyGroup(stretch);
  EXPECT_EQ(study.mean.value, base.mean.value);
  EXPECT_EQ(study.sigma.value, base.sigma.value);
  EXPECT_EQ(study.mean.left, 12);
  EXPECT_EQ(study.high.limits[8], base.high.limits[0]);
  EXPECT_EQ(study.high.signals[8], 1);
  EXPECT_EQ(study.spread.signals[8], 1);
}

TEST(StudyGroup, AFrozenPhaseOfSinglePieces) {
  Stretch stretch;
  for (int g = 0; g < 8; ++g) {
    for (int s = 0; s < 2; ++s) {
      const double off = g < 5 ? g % 2 : 10.0 * (g % 2);
      Add(stretch, s, 3600 * g + 60 * s, {10.0 * s + off});
    }
  }
  stretch.phase.freeze_after = 5;
  const auto study = StudyGroup(stretch);
  EXPECT_NEAR(study.sigma.value, 1.0 / 1.1283791670955126, 1e-12);
  EXPECT_EQ(study.sigma.used, 8);
  EXPECT_NEAR(study.mean.value, 5.4, 1e-12);
}

TEST(StudyGroup, WhichSubgroupIsExtremeAndOfWhatSize) {
  Stretch stretch;
  Add(stretch, 0, 0, {1.0, 2.0});
  Add(stretch, 1, 10, {4.0, 5.0, 9.0});
  Add(stretch, 0, 3600, {3.0, 3.0});
  Add(stretch, 1, 3610, {3.0, 3.0, 3.0});
  stretch.subgroups = {11, 12, 13, 14};
  const auto study = StudyGroup(stretch);
  EXPECT_EQ(study.high.subgroups, (std::vector<std::int32_t>{12, 0}));
  EXPECT_EQ(study.high.sizes, (std::vector<std::int32_t>{3, 2}));
  EXPECT_EQ(study.low.subgroups[0], 11);
  EXPECT_EQ(study.low.sizes[0], 2);
  EXPECT_EQ(study.spread.subgroups[0], 12);
}

TEST(StudyGroup, TooFewOneStreamAndNoSpread) {
  const auto few = StudyGroup(ThreeStreams(1));
  EXPECT_TRUE(Has(few.notes, "too-few"));
  EXPECT_TRUE(std::isnan(few.high.limits[0]));
  Stretch one;
  for (int g = 0; g < 4; ++g) Add(one, 7, 3600 * g, {1.0, 2.0});
  EXPECT_TRUE(Has(StudyGroup(one).notes, "one-stream"));
  EXPECT_TRUE(std::isnan(StudyGroup(one).high.limits[0]));
  Stretch flat;
  for (int i = 0; i < 8; ++i) Add(flat, i % 2, 3600 * (i / 2), {1.0, 1.0});
  EXPECT_TRUE(Has(StudyGroup(flat).notes, "no-sigma"));
  EXPECT_TRUE(std::isnan(StudyGroup(flat).high.limits[0]));
  EXPECT_TRUE(StudyGroup({}).times.empty());
}

TEST(StudyGroup, RefusesWhatLiesOutside) {
  GroupOptions threshold, spread;
  threshold.threshold = -1;
  spread.spread = SpreadGraph::MovingRange;
  EXPECT_THROW(StudyGroup({}, threshold), std::invalid_argument);
  EXPECT_THROW(StudyGroup({}, spread), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
