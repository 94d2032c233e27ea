// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/ShortRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

// A subgroup more, of a part with a target.
void Add(Stretch& stretch, std::int32_t part, double target, const std::vector<double>& pieces) {
  if (stretch.first_piece.empty()) stretch.first_piece.push_back(0);
  double sum = 0.0;
  for (const double piece : pieces) sum += piece;
  stretch.points.push_back(sum / static_cast<double>(pieces.size()));
  stretch.sizes.push_back(static_cast<double>(pieces.size()));
  stretch.pieces.insert(stretch.pieces.end(), pieces.begin(), pieces.end());
  stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
  stretch.members.push_back(part);
  stretch.targets.push_back(target);
  stretch.times.push_back(static_cast<std::int32_t>(stretch.times.size()));
}

Stretch StretchOf(const Case& known) {
  const auto parts = known.Cells("part");
  const bool singles = known.Params().at("chart") == "z-mr";
  Stretch stretch;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (singles) {
      Add(stretch, parts[i][0], kNaN, {known.Column("x")[i]});
    } else {
      Add(stretch, parts[i][0], known.Column("nominal")[i],
          {known.Column("x1")[i], known.Column("x2")[i], known.Column("x3")[i]});
    }
  }
  return stretch;
}

TEST(StudyShortRun, DeviationsFromNominal) {
  const Case known("short-run-nominal");
  const auto study = StudyShortRun(StretchOf(known));
  known.Check("points", study.level.points);
  known.Check("cl", study.level.centre[0]);
  known.Check("ucl", study.level.upper[9]);
  known.Check("lcl", study.level.lower[9]);
  known.Check("rbar", study.spread.centre[0]);
  EXPECT_EQ(study.spread_graph, SpreadGraph::Range);
  EXPECT_EQ(study.sigma.estimator, "R-est mvlue");
  ASSERT_EQ(study.parts.size(), 2U);
  EXPECT_EQ(study.parts[0].source, "target");
  EXPECT_EQ(study.parts[0].nominal, 50.0);
  EXPECT_EQ(study.spreads.method, "Bartlett");
  EXPECT_FALSE(Has(study.notes, "spreads-differ"));
  EXPECT_TRUE(Has(study.notes, "few-data"));
}

// The sigma of each part is that of its pieces in a row, as one run; where others lie between them,
// their few moving ranges are too few for a sigma of their own. So the scores are made with stored
// ones.
TEST(StudyShortRun, ScoresOfSinglesWithMovingRangesFromPartToPart) {
  const Case known("z-mr-by-parts");
  auto stretch = StretchOf(known);
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  EXPECT_TRUE(Has(StudyShortRun(stretch, options).notes, "pooled"));
  const auto expected = [&](const char* figure, std::int32_t part) {
    return known.Expected()[figure]["value"][std::string(1, static_cast<char>(part))].get<double>();
  };
  for (const char part : {'A', 'B', 'C'}) {
    Stretch run;
    for (std::size_t i = 0; i < stretch.members.size(); ++i) {
      if (stretch.members[i] == part) Add(run, part, kNaN, {stretch.points[i]});
    }
    const auto study = StudyShortRun(run);
    EXPECT_NEAR(study.sigma.value, expected("sigma", part), 1e-9 * expected("sigma", part));
    EXPECT_NEAR(study.parts[0].mean.value, expected("mean", part), 1e-12 * expected("mean", part));
  }
  options.sigma = PartSigma::Stored;
  for (const auto part : stretch.members) stretch.stored_sigmas.push_back(expected("sigma", part));
  const auto study = StudyShortRun(stretch, options);
  known.Check("z", study.level.points);
  auto ranges = study.spread.points;
  EXPECT_TRUE(std::isnan(ranges[0]));
  ranges.erase(ranges.begin());
  known.Check("mr", ranges);
  known.Check("limits",
              std::vector{study.level.lower[0], study.level.centre[0], study.level.upper[0]});
  known.Check("mr_ucl", study.spread.upper[1]);
  EXPECT_NEAR(study.spread.centre[1], 2.0 * std::numbers::inv_sqrtpi, 1e-12);
}

TEST(StudyShortRun, SigmaOfAPartIsFromMovingRangesInsideItsRuns) {
  const std::vector<double> a = {10.1, 10.3, 9.9, 10.0, 10.4, 9.8, 10.2};
  const std::vector<double> b = {25.2, 24.6, 25.3, 25.0, 24.8, 25.5};
  Stretch stretch;
  for (std::size_t i = 0; i < 4; ++i) Add(stretch, 1, kNaN, {a[i]});
  for (std::size_t i = 0; i < 6; ++i) Add(stretch, 2, kNaN, {b[i]});
  for (std::size_t i = 4; i < 7; ++i) Add(stretch, 1, kNaN, {a[i]});
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  const auto study = StudyShortRun(stretch, options);
  double sum = 0.0;
  for (const std::size_t i : {1U, 2U, 3U, 5U, 6U}) sum += std::abs(a[i] - a[i - 1]);
  const double d2 = 2.0 * std::numbers::inv_sqrtpi;
  ASSERT_EQ(study.parts.size(), 2U);
  EXPECT_EQ(study.parts[0].runs, 2);
  EXPECT_NEAR(study.parts[0].sigma.value, sum / 5.0 / d2, 1e-12);
  EXPECT_EQ(study.parts[0].sigma.used, 5);
  // Its mean is that of both runs, whose pieces are its nominal.
  double mean = 0.0;
  for (const double x : a) mean += x / 7.0;
  EXPECT_NEAR(study.parts[0].mean.value, mean, 1e-12);
  EXPECT_EQ(study.parts[0].source, "mean");
  EXPECT_NEAR(study.level.points[10], (a[4] - mean) / study.parts[0].sigma.value, 1e-12);
  // Graph 2 goes from part to part.
  EXPECT_NEAR(study.spread.points[4], std::abs(study.level.points[4] - study.level.points[3]),
              1e-12);
  EXPECT_FALSE(Has(study.notes, "pooled"));
}

TEST(StudyShortRun, ConstantAndRelativeSigma) {
  engine::statistics::Draws draws;
  Stretch stretch;
  for (int i = 0; i < 60; ++i) {
    const double nominal = i % 3 == 0 ? 10.0 : i % 3 == 1 ? 100.0 : 40.0;
    std::vector<double> pieces;
    for (int j = 0; j < 4; ++j) pieces.push_back(nominal * (1.0 + 0.02 * draws.Normal()));
    Add(stretch, static_cast<std::int32_t>(nominal), nominal, pieces);
  }
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  options.sigma = PartSigma::Relative;
  const auto relative = StudyShortRun(stretch, options);
  EXPECT_NEAR(relative.variation.value, 0.02, 0.002);
  EXPECT_NEAR(relative.parts[1].sigma.value, 100.0 * relative.variation.value, 1e-12);
  double square = 0.0;
  for (const double z : relative.level.points) square += z * z / 60.0;
  EXPECT_NEAR(square, 1.0, 0.4);
  EXPECT_NEAR(relative.spread.centre[0], 2.05875, 1e-5);  // d2(4)
  options.sigma = PartSigma::Constant;
  const auto constant = StudyShortRun(stretch, options);
  for (const auto& part : constant.parts) EXPECT_EQ(part.sigma.value, constant.sigma.value);
  // Their spreads are as 1 to 10 to 4.
  const auto deviations = StudyShortRun(stretch);
  EXPECT_LT(deviations.spreads.p, 1e-6);
  EXPECT_EQ(deviations.spreads.degrees, std::vector<double>{2.0});
  EXPECT_TRUE(Has(deviations.notes, "spreads-differ"));
  EXPECT_FALSE(Has(constant.notes, "spreads-differ"));
  // A nominal of 0 has no sigma.
  stretch.targets[5] = 0.0;
  options.sigma = PartSigma::Relative;
  const auto none = StudyShortRun(stretch, options);
  EXPECT_TRUE(Has(none.notes, "no-sigma"));
  EXPECT_TRUE(std::isnan(none.level.points[0]));
}

TEST(StudyShortRun, RunRulesGoAcrossParts) {
  Stretch stretch;
  for (int i = 0; i < 30; ++i) {
    const double nominal = i % 4 < 2 ? 10.0 : 20.0;
    const double shift = i < 18 ? (i % 2 == 0 ? -1.0 : 1.0) : 0.7;
    Add(stretch, static_cast<std::int32_t>(nominal), nominal,
        {nominal + shift - 1.0, nominal + shift, nominal + shift + 1.0});
  }
  ShortRunOptions options;
  options.rules = RulesOfSet("nelson");
  const auto study = StudyShortRun(stretch, options);
  const std::vector<std::int32_t> one_side{2};
  // From number 18 on.
  EXPECT_EQ(study.level.marks[25], one_side);
  EXPECT_TRUE(study.level.marks[24].empty());
  EXPECT_TRUE(StudyShortRun(stretch).level.marks[25].empty());
  for (const auto& rules : study.spread.marks) EXPECT_TRUE(rules.empty());
}

TEST(StudyShortRun, LimitsOfThePhaseBefore) {
  const auto before = StudyShortRun(StretchOf(Case("short-run-nominal")));
  Stretch stretch;
  Add(stretch, 'A', 50.0, {51.0, 53.0, 55.0});
  Add(stretch, 'Z', 10.0, {11.0, 11.0, 12.0});
  const auto study = StudyShortRun(stretch, {}, &before);
  EXPECT_EQ(study.level.upper[0], before.level.upper[0]);
  EXPECT_EQ(study.level.points[0], 3.0);
  EXPECT_EQ(study.level.marks[0], std::vector<std::int32_t>{1});
  EXPECT_TRUE(Has(study.notes, "no-estimates"));
  EXPECT_EQ(study.level.points[1], stretch.points[1] - 10.0);
}

// Two parts in turn, two subgroups each, with ranges of 2 up to `calm` subgroups and 6 from then
// on.
Stretch Wilder(int calm, int count) {
  Stretch stretch;
  for (int i = 0; i < count; ++i) {
    const int part = i / 2 % 2;
    const double half = i < calm ? 1.0 : 3.0, off = i < calm ? i % 3 - 1.0 : 5.0;
    const double x = 50.0 - 20.0 * part + off;
    Add(stretch, part, 50.0 - 20.0 * part, {x - half, x, x + half});
  }
  return stretch;
}

TEST(StudyShortRun, AFrozenPhaseHasTheLimitsOfItsFirstPoints) {
  const auto first = Wilder(12, 12);
  auto frozen = Wilder(12, 20);
  frozen.phase.freeze_after = 12;
  for (const auto kind : {ShortRunKind::Deviation, ShortRunKind::Score}) {
    for (const auto sigma : {PartSigma::ByPart, PartSigma::Constant, PartSigma::Relative}) {
      ShortRunOptions options;
      options.kind = kind;
      options.sigma = sigma;
      options.nominal = PartNominal::Mean;
      const auto base = StudyShortRun(first, options), study = StudyShortRun(frozen, options);
      EXPECT_EQ(study.mean.value, base.mean.value);
      EXPECT_EQ(study.sigma.value, base.sigma.value);
      EXPECT_EQ(study.sigma.left, 8);
      EXPECT_EQ(study.level.upper[19], base.level.upper[0]);
      for (std::size_t p = 0; p < 2; ++p) {
        EXPECT_EQ(study.parts[p].mean.value, base.parts[p].mean.value);
        EXPECT_EQ(study.parts[p].nominal, base.parts[p].nominal);
        EXPECT_EQ(study.parts[p].sigma.value, base.parts[p].sigma.value);
      }
      EXPECT_EQ(study.level.marks[19], std::vector<std::int32_t>{1});
    }
  }
  // What is not used, or has no value, is not one of them.
  frozen.phase.freeze_after = 10;
  frozen.used.assign(20, 1);
  frozen.used[3] = 0;
  frozen.points[7] = kNaN;
  EXPECT_EQ(StudyShortRun(frozen).mean.used, 10);
  EXPECT_LT(StudyShortRun(frozen).sigma.value, 1.5);
}

TEST(StudyShortRun, APartThatComesAfterTheFirstPointsOfAFrozenPhase) {
  auto stretch = Wilder(12, 12);
  stretch.phase.freeze_after = 12;
  Add(stretch, 7, 10.0, {12.0, 13.0, 14.0});
  Add(stretch, 8, kNaN, {12.0, 13.0, 14.0});
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  const auto study = StudyShortRun(stretch, options);
  EXPECT_NEAR(study.level.points[12], 3.0 * std::sqrt(3.0) / study.sigma.value, 1e-12);
  EXPECT_EQ(study.parts[2].sigma_of, "all parts");
  EXPECT_TRUE(std::isnan(study.level.points[13]));
  EXPECT_TRUE(Has(study.notes, "no-estimates"));
}

TEST(StudyShortRun, PartsSayWhatTheirSigmaIsOf) {
  auto stretch = Wilder(20, 20);
  Add(stretch, 7, 10.0, {8.0, 10.0, 12.0});
  const auto deviations = StudyShortRun(stretch);
  EXPECT_NEAR(deviations.parts[0].sigma.value, 2.0 / 1.6925687506, 1e-9);
  EXPECT_NEAR(deviations.parts[2].sigma.value, 4.0 / 1.6925687506, 1e-9);
  EXPECT_EQ(deviations.parts[2].sigma_of, "");
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  const auto own = StudyShortRun(stretch, options);
  EXPECT_EQ(own.parts[0].sigma_of, "");
  EXPECT_EQ(own.parts[2].sigma_of, "all parts");
  EXPECT_EQ(own.parts[2].sigma.estimator, "R-est mvlue");
  options.sigma = PartSigma::Relative;
  const auto relative = StudyShortRun(stretch, options);
  EXPECT_EQ(relative.parts[2].sigma_of, "x/nominal");
  EXPECT_EQ(relative.variation.estimator, "R-est mvlue");
}

TEST(StudyShortRun, APartWithStoredSigmasHasTheNewest) {
  auto stretch = Wilder(6, 6);
  stretch.stored_sigmas = {1.0, 2.0, kNaN, kNaN, 4.0, kNaN};
  ShortRunOptions options;
  options.kind = ShortRunKind::Score;
  options.sigma = PartSigma::Stored;
  const auto study = StudyShortRun(stretch, options);
  EXPECT_EQ(study.parts[0].sigma.value, 4.0);
  EXPECT_EQ(study.parts[0].sigma.estimator, "stored");
  EXPECT_TRUE(std::isnan(study.parts[1].sigma.value));
  EXPECT_NEAR(study.level.points[0], -std::sqrt(3.0), 1e-12);
  EXPECT_EQ(StudyShortRun(stretch, options, &study).parts[0].sigma.value, 4.0);
}

TEST(StudyShortRun, UnusedSubgroupsAreShownAndCountForNothing) {
  auto stretch = StretchOf(Case("short-run-nominal"));
  const auto plain = StudyShortRun(stretch);
  Add(stretch, 'A', 50.0, {90.0, 91.0, 99.0});
  stretch.used.assign(11, 1);
  stretch.used[10] = 0;
  const auto study = StudyShortRun(stretch);
  EXPECT_EQ(study.sigma.value, plain.sigma.value);
  EXPECT_EQ(study.mean.value, plain.mean.value);
  EXPECT_EQ(study.mean.left, 1);
  EXPECT_TRUE(study.level.marks[10].empty());
  EXPECT_NEAR(study.level.points[10], 43.0 + 1.0 / 3.0, 1e-12);
}

TEST(StudyShortRun, NoSpreadTooFewAndOnePart) {
  Stretch equal;
  for (int i = 0; i < 6; ++i) Add(equal, i % 2, 5.0, {5.0, 5.0});
  const auto flat = StudyShortRun(equal);
  EXPECT_TRUE(Has(flat.notes, "no-sigma"));
  EXPECT_TRUE(std::isnan(flat.level.upper[0]));
  EXPECT_EQ(flat.level.centre[0], 0.0);
  EXPECT_TRUE(std::isnan(flat.spreads.p));
  EXPECT_TRUE(Has(flat.notes, "no-test"));
  Stretch one;
  Add(one, 1, 5.0, {5.0, 6.0});
  EXPECT_TRUE(Has(StudyShortRun(one).notes, "too-few"));
  EXPECT_TRUE(StudyShortRun({}).level.points.empty());
  auto single = StretchOf(Case("short-run-nominal"));
  single.members.clear();
  EXPECT_EQ(StudyShortRun(single).parts.size(), 1U);
  EXPECT_TRUE(std::isnan(StudyShortRun(single).spreads.value));
}

TEST(StudyShortRun, RefusesWhatLiesOutside) {
  ShortRunOptions rules, spread;
  rules.rules[0].kind = "no such kind";
  spread.spread = SpreadGraph::MovingRange;
  EXPECT_THROW(StudyShortRun({}, rules), std::invalid_argument);
  EXPECT_THROW(StudyShortRun({}, spread), std::invalid_argument);
}

// A stretch of a phase with points at these times.
Stretch At(std::int32_t phase, const std::vector<std::int32_t>& times) {
  Stretch stretch;
  stretch.phase.id = phase;
  for (const auto time : times) {
    stretch.times.push_back(time);
    stretch.subgroups.push_back(time);
    stretch.points.push_back(time);
  }
  return stretch;
}

TEST(MixedParts, SubgroupsOfOneProcessAndTestByTime) {
  StudyData data;
  data.chart_word = 0x110;
  data.streams = {{1, 7, 9, {At(0, {10, 30}), At(4, {50}), At(0, {70})}},
                  {2, 7, 9, {At(0, {20}), At(4, {40, 60}), At(0, {80})}},
                  {2, 8, 9, {At(0, {15})}}};
  for (auto& stream : data.streams) {
    for (std::size_t p = 0; p < stream.stretches.size(); ++p) {
      stream.stretches[p].limits_of = p == 2 ? 1 : p;  // the gap after phase 4 has its limits
    }
  }
  data.streams[0].stretches[0].used = {1, 0};
  const auto mixed = MixedParts(data);
  ASSERT_EQ(mixed.streams.size(), 2U);
  const auto& stream = mixed.streams[0];
  EXPECT_EQ(stream.part, 0);
  EXPECT_EQ(stream.process, 7);
  ASSERT_EQ(stream.stretches.size(), 3U);
  EXPECT_EQ(stream.stretches[0].times, (std::vector<std::int32_t>{10, 20, 30}));
  EXPECT_EQ(stream.stretches[0].members, (std::vector<std::int32_t>{1, 2, 1}));
  EXPECT_EQ(stream.stretches[0].used, (std::vector<std::uint8_t>{1, 1, 0}));
  EXPECT_EQ(stream.stretches[1].times, (std::vector<std::int32_t>{40, 50, 60}));
  EXPECT_EQ(stream.stretches[1].phase.id, 4);
  EXPECT_EQ(stream.stretches[1].limits_of, 1U);
  EXPECT_EQ(stream.stretches[2].times, (std::vector<std::int32_t>{70, 80}));
  EXPECT_EQ(stream.stretches[2].limits_of, 1U);
  EXPECT_EQ(mixed.streams[1].stretches[0].members, std::vector<std::int32_t>{2});
}

}  // namespace
}  // namespace orvspc::studies
