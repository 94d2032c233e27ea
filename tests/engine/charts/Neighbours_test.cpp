// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "engine/statistics/Autoregression.h"
#include "engine/statistics/Neighbours.h"
#include "tests/engine/charts/FakeStore.h"

// Charts of points that lean on those before them.
namespace orvspc::engine::test {
namespace {

constexpr std::int32_t kIxMr = 0x330, kXbarR = 0x110, kMedianR = 0x210, kMaR = 0x410;
constexpr std::int32_t kCusum = 16;

// Around 10, each deviation phi of the one before and a normal one.
std::vector<double> Series(double phi, std::size_t count, unsigned seed = 5) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> values;
  double deviation = normal(random) / std::sqrt(1.0 - phi * phi);
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back(10.0 + deviation);
    deviation = phi * deviation + normal(random);
  }
  return values;
}

FakeStore Singles(const std::vector<double>& values) {
  FakeStore store;
  for (const double value : values) store.Add({{value}});
  return store;
}

FakeStore Pairs(const std::vector<double>& values) {
  FakeStore store;
  for (const double value : values) store.Add({{value - 0.1, value + 0.1}});
  return store;
}

// "correlated runs-expected" of the notes of a chart.
std::string CodesOf(FakeStore store, std::int32_t word, std::int32_t processing = 0) {
  TakeNotes();
  Make(store, word, processing);
  std::string codes;
  for (const auto& note : TakeNotes()) codes += (codes.empty() ? "" : " ") + note.code;
  return codes;
}

TEST(VariableRunNeighbours, SinglesAndMeansThatLeanOnEachOtherAreNoted) {
  const auto values = Series(0.8, 60);
  EXPECT_EQ(CodesOf(Singles(values), kIxMr), "correlated runs-expected");
  EXPECT_EQ(CodesOf(Pairs(values), kXbarR), "correlated runs-expected");
  EXPECT_EQ(CodesOf(Singles(Series(0.0, 60)), kIxMr), "");
  EXPECT_EQ(CodesOf(Pairs(Series(0.0, 60)), kXbarR), "");
  TakeNotes();
  auto singles = Singles(values);
  Make(singles, kIxMr);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 2U);
  const auto r1 = CorrelationOfNeighbours(values, {}, 10.0).r1;
  char factor[32];
  std::snprintf(factor, sizeof factor, "%.3g.", std::sqrt(1.0 - r1));
  EXPECT_TRUE(notes[0].text.ends_with(std::string("too narrow by the factor ") + factor))
      << notes[0].text;
  EXPECT_EQ(notes[0].stream, "1 / 1 / 1");
}

TEST(VariableRunNeighbours, NothingIsSaidOfChartsOfOtherStatistics) {
  const auto values = Series(0.8, 60);
  EXPECT_EQ(CodesOf(Pairs(values), kMedianR), "");
  EXPECT_EQ(CodesOf(Singles(values), kMaR), "graph-changed");
  EXPECT_EQ(CodesOf(Singles(values), kIxMr, kCusum), "");
}

TEST(VariableRunNeighbours, RunsAreExpectedOnlyWhereRulesLookForThem) {
  auto store = Singles(Series(0.8, 60));
  store.alarms[1] = RuleBit(1);
  EXPECT_EQ(CodesOf(store, kIxMr), "correlated");
  store.alarms[1] = RuleBit(1) | RuleBit(2);
  EXPECT_EQ(CodesOf(store, kIxMr), "correlated runs-expected");
  EXPECT_EQ(CodesOf(Singles(Series(-0.8, 60)), kIxMr), "correlated");
}

TEST(VariableRunNeighbours, NothingBelow25PointsThatCount) {
  const auto values = Series(0.9, 25, 8);
  EXPECT_EQ(CodesOf(Singles(values), kIxMr), "correlated runs-expected");
  auto store = Singles(values);
  store.data.subgroups[12].Flag = sfDisabled;
  EXPECT_EQ(CodesOf(store, kIxMr), "");
}

TEST(VariableRunNeighbours, EachPhaseByItself) {
  auto values = Series(0.0, 40);
  const auto leaning = Series(0.85, 40, 8);
  values.insert(values.end(), leaning.begin(), leaning.end());
  auto store = Singles(values);
  Phase first, second;
  first.id = 1;
  first.name = "calm";
  first.start = 0;
  first.finish = 400;
  second.id = 2;
  second.name = "new tool";
  second.start = 400;
  store.phases = {first, second};
  TakeNotes();
  Make(store, kIxMr);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 2U);
  EXPECT_TRUE(notes[0].text.starts_with("Phase \"new tool\": Neighbours are correlated"))
      << notes[0].text;
  store.phases[1].kind = PhaseKind::Excluded;
  EXPECT_EQ(CodesOf(store, kIxMr), "");
}

TEST(VariableRunNeighbours, LimitsAreWidenedByPhiAndMovingRangesStay) {
  const auto values = Series(0.7, 120);
  auto store = Singles(values);
  const auto usual = Make(store, kIxMr);
  store.chart_options["chart.sigma"] = "ar1";
  const auto widened = Make(store, kIxMr);
  const double phi = Autoregression(values).BestPhi();
  ASSERT_GT(phi, 0.4);
  EXPECT_EQ(widened.estimates.sp.name, "MR-est ar1");
  EXPECT_NEAR(widened.estimates.sp.value, usual.estimates.sp.value / std::sqrt(1.0 - phi), 1e-12);
  EXPECT_NEAR(widened.graphs[0].cucl[0] - widened.graphs[0].ccl[0],
              3.0 * widened.estimates.sp.value, 1e-12);
  EXPECT_EQ(widened.graphs[1].cucl, usual.graphs[1].cucl);
  EXPECT_EQ(widened.graphs[0].ccl, usual.graphs[0].ccl);
  // Moving ranges of an autoregression give sigma sqrt(1 - phi) of the points.
  double squares = 0.0;
  for (const double value : values) squares += (value - 10.0) * (value - 10.0);
  EXPECT_NEAR(widened.estimates.sp.value, std::sqrt(squares / 120.0), 0.35);
}

TEST(VariableRunNeighbours, LimitsAreNeverNarrowedAndPhiEndsAt095) {
  auto store = Singles(Series(-0.6, 100));
  const auto usual = Make(store, kIxMr);
  store.chart_options["chart.sigma"] = "ar1";
  EXPECT_DOUBLE_EQ(Make(store, kIxMr).estimates.sp.value, usual.estimates.sp.value);
  std::vector<double> ramp;
  for (int i = 0; i < 100; ++i) ramp.push_back(i);
  auto wandering = Singles(ramp);
  wandering.chart_options["chart.sigma"] = "ar1";
  const double d2 = 2.0 * std::numbers::inv_sqrtpi;
  EXPECT_NEAR(Make(wandering, kIxMr).estimates.sp.value, 1.0 / d2 / std::sqrt(0.05), 1e-9);
}

TEST(VariableRunNeighbours, WidenedLimitsNeed50PointsAndMovingRanges) {
  auto few = Singles(Series(0.7, 49));
  few.chart_options["chart.sigma"] = "ar1";
  EXPECT_TRUE(CodesOf(few, kIxMr).starts_with("not-widened"));
  EXPECT_EQ(Make(few, kIxMr).estimates.sp.name, "MR-est");
  auto pairs = Pairs(Series(0.7, 120));
  pairs.chart_options["chart.sigma"] = "ar1";
  EXPECT_TRUE(CodesOf(pairs, kXbarR).starts_with("not-widened"));
}

// The text of the first such note of a chart; empty without one.
std::string TextOf(FakeStore store, const std::string& code) {
  TakeNotes();
  Make(store, kIxMr);
  for (const auto& note : TakeNotes()) {
    if (note.code == code) return note.text;
  }
  return {};
}

TEST(VariableRunNeighbours, LimitsThatAreWidenedAreNotTooNarrowAndRunsAreStillExpected) {
  auto store = Singles(Series(0.8, 60));
  EXPECT_NE(TextOf(store, "correlated").find("too narrow"), std::string::npos);
  store.chart_options["chart.sigma"] = "ar1";
  EXPECT_EQ(CodesOf(store, kIxMr), "correlated runs-expected");
  EXPECT_TRUE(TextOf(store, "correlated").ends_with(").")) << TextOf(store, "correlated");
}

TEST(VariableRunNeighbours, StoredLimitsAreNeitherWidenedNorFromMovingRanges) {
  auto store = Singles(Series(0.8, 60));
  store.Limit(10.0, 1.5, 1.5);
  EXPECT_EQ(CodesOf(store, kIxMr), "correlated runs-expected");
  EXPECT_TRUE(TextOf(store, "correlated").ends_with(").")) << TextOf(store, "correlated");
  store.chart_options["chart.sigma"] = "ar1";
  EXPECT_EQ(CodesOf(store, kIxMr), "not-widened correlated runs-expected");
  EXPECT_EQ(TextOf(store, "not-widened"),
            "The stored limits hold; --sigma ar1 widens none of them.");
  // Too few points to widen anything: the same holds.
  auto few = Singles(Series(0.8, 40));
  few.Limit(10.0, 1.5, 1.5);
  few.chart_options["chart.sigma"] = "ar1";
  EXPECT_EQ(TextOf(few, "not-widened"), TextOf(store, "not-widened"));
}

TEST(VariableRunNeighbours, StoredLimitsOfSomePointsLeaveThoseOfTheOthers) {
  auto later = Singles(Series(0.8, 60));
  later.Limit(10.0, 1.5, 1.5, 300);
  auto without_sigma = Singles(Series(0.8, 60));
  without_sigma.Limit(10.0, 0.0, 0.0);
  for (auto* const store : {&later, &without_sigma}) {
    EXPECT_NE(TextOf(*store, "correlated").find("limits from moving ranges are too narrow"),
              std::string::npos);
    store->chart_options["chart.sigma"] = "ar1";
    EXPECT_TRUE(TextOf(*store, "correlated").ends_with(").")) << TextOf(*store, "correlated");
    EXPECT_EQ(TextOf(*store, "not-widened"), "");
  }
}

TEST(VariableRunNeighbours, WhoTakesTheUsualSigmaHasItWhateverIsChosenForCharts) {
  auto store = Singles(Series(0.7, 120));
  const double usual = Make(store, kIxMr).estimates.sp.value;
  store.chart_options["chart.sigma"] = "ar1";
  ASSERT_GT(Make(store, kIxMr).estimates.sp.value, 1.1 * usual);
  VariableRun run;
  run.TakeUsualSigma();
  API_DSInfo info{};
  API_CCVarOptions options{};
  options.ChartWord = kIxMr;
  options.Constant = 2;
  ASSERT_NE(run.Process(store, info, {}, options), 0);
  EXPECT_EQ(run.EstimatesOf(0).sp.value, usual);
  EXPECT_EQ(run.EstimatesOf(0).sp.name, "MR-est");
}

}  // namespace
}  // namespace orvspc::engine::test
