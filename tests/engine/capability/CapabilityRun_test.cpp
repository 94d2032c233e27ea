// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Moments.h"
#include "tests/engine/capability/capability_fixture.h"

namespace orvspc::engine::capability {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using namespace test;

constexpr std::int32_t kBoth = slfUSL | slfLSL;
constexpr std::int32_t kAll = kBoth | slfTAR;

Groups NormalGroups(std::size_t groups, std::size_t size, double mean, double sd, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> noise(mean, sd);
  Groups made(groups, std::vector<double>(size));
  for (auto& group : made) {
    for (double& value : group) value = noise(random);
  }
  return made;
}

CapabilityStore StoreOf(const Groups& groups) {
  CapabilityStore store;
  for (const auto& pieces : groups) store.Add({pieces});
  return store;
}

// Mean 5, deviation 2 (divisor 7), ranges 2, 3, 2, 5.
const Groups kByHand{{2, 4}, {4, 4}, {5, 5}, {7, 9}};

TEST(CapabilityRun, SummaryByHand) {
  auto store = StoreOf(kByHand);
  const auto made = Analyse(store);
  ASSERT_TRUE(made.done);
  EXPECT_EQ(made.summary.PieceCount, 8);
  EXPECT_EQ(made.summary.SubgroupCount, 4);
  EXPECT_EQ(made.summary.SubgroupSize, 2.0);
  EXPECT_EQ(made.summary.Minimum, 2.0);
  EXPECT_EQ(made.summary.Maximum, 9.0);
  EXPECT_EQ(made.summary.Mean, 5.0);
  const double squares = 9 + 1 + 1 + 1 + 4 + 16;
  EXPECT_NEAR(made.summary.LongTermSD, std::sqrt(squares / 7.0), 1e-14);
  EXPECT_NEAR(made.summary.ShortTermSD, 1.0 / 1.12837916709551, 1e-13) << "ranges 2, 0, 0, 2";
  EXPECT_NEAR(made.summary.UpperSD, std::sqrt(2.0 * 20.0 / 7.0), 1e-14);
  EXPECT_NEAR(made.summary.LowerSD, std::sqrt(2.0 * 12.0 / 7.0), 1e-14);
  EXPECT_NEAR(made.summary.CoOfVariation, made.summary.LongTermSD / 5.0, 1e-15);
  // Hazen: the quartiles of 2 4 4 4 5 5 7 9 are 4 and 6.
  EXPECT_NEAR(made.summary.CoRobustness, 0.741301109252801 * 2.0 / made.summary.LongTermSD, 1e-14);
  EXPECT_EQ(made.summary.ZBench, 0.0) << "no limits";
  EXPECT_EQ(made.limits.EFlag, 0);
  EXPECT_EQ(made.cps.Cp, 0.0);
}

TEST(CapabilityRun, MomentsAndAnovaByHand) {
  const auto made = Analyse(kByHand);
  EXPECT_EQ(made.moments.Mean, 5.0);
  EXPECT_NEAR(made.moments.AvgDev, (3 + 1 + 1 + 1 + 2 + 4) / 8.0, 1e-15);
  EXPECT_NEAR(made.moments.Variance, 32.0 / 7.0, 1e-14);
  const double m2 = 4.0, m3 = (-27 - 1 - 1 - 1 + 8 + 64) / 8.0,
               m4 = (81 + 1 + 1 + 1 + 16 + 256) / 8.0;
  EXPECT_NEAR(made.moments.Skewness, std::sqrt(56.0) / 6.0 * m3 / 8.0, 1e-14);
  EXPECT_NEAR(made.moments.Kurtosis, 7.0 / 30.0 * (9.0 * (m4 / (m2 * m2) - 3.0) + 6.0), 1e-13);
  EXPECT_EQ(made.anova.DFWithin, 4);
  EXPECT_EQ(made.anova.DFBetween, 3);
  EXPECT_EQ(made.anova.DFTotal, 7);
  EXPECT_EQ(made.anova.SSWithin, 4.0);
  EXPECT_EQ(made.anova.SSBetween, 28.0);
  EXPECT_EQ(made.anova.SSTotal, 32.0);
  EXPECT_NEAR(made.anova.FRatio, 28.0 / 3.0, 1e-14);
  EXPECT_NEAR(made.anova.MSTotal, 32.0 / 7.0, 1e-15);
}

TEST(CapabilityRun, UpperAndLowerDeviationMakeUpTheWhole) {
  const auto made = Analyse(NormalGroups(50, 4, 3.0, 0.7, 1));
  const double upper = made.summary.UpperSD, lower = made.summary.LowerSD,
               whole = made.summary.LongTermSD;
  EXPECT_NEAR(upper * upper + lower * lower, 2.0 * whole * whole, 1e-13);
}

struct ShortTermRow {
  std::int32_t type;
  Groups groups;
  const char* estimator;
  double sigma;
  const char* reason;
};

TEST(CapabilityRun, ShortTermDeviationAsItWasAskedFor) {
  constexpr double kD2Of2 = 1.12837916709551, kD2Of3 = 1.692568750643269;
  const ShortTermRow rows[] = {
      {caShortTermSigmaAuto, {{1, 2, 4}, {2, 3, 3}}, "R-est mvlue", 2.0 / kD2Of3, "constant size"},
      {caShortTermSigmaAuto, {{1}, {2}, {4}}, "MR-est", 1.5 / kD2Of2, "single values"},
      {caShortTermSigmaRange, {{1}, {2}, {4}}, "MR-est", 1.5 / kD2Of2, "nothing else is there"},
      {caShortTermSigmaSD, {{1}, {2}, {4}}, "MR-est", 1.5 / kD2Of2, "nothing else is there"},
      {caShortTermSigmaPooled, {{1}, {2}, {4}}, "MR-est", 1.5 / kD2Of2, "nothing else is there"},
      {caShortTermSigmaPooled, {{1, 3}, {2, 3, 4, 7}}, "pooled", 2.0, "squares 2 and 14 over 4"},
      {caShortTermSigmaRange,
       {{1, 3}, {7}, {2, 5}},
       "R-est mvlue",
       2.5 / kD2Of2,
       "a single value has no range"},
      {caShortTermSigmaSD,
       {{1, 3}, {2, 4}},
       "S-est mvlue",
       std::sqrt(2.0) / 0.797884560802865,
       "deviations by c4"},
  };
  for (const auto& row : rows) {
    const auto made = Analyse(row.groups, {.short_term = row.type});
    EXPECT_NEAR(made.summary.ShortTermSD, row.sigma, 1e-12) << row.reason;
    EXPECT_EQ(made.report.short_term.name, row.estimator) << row.reason;
  }
  const auto varying = Analyse({{1, 3}, {2, 3, 4}, {1, 2}});
  EXPECT_EQ(varying.report.short_term.name, "S-est mvlue") << "auto with varying sizes";
  const Groups eleven{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12}};
  EXPECT_EQ(Analyse(eleven).report.short_term.name, "S-est mvlue") << "auto above ten";
}

struct ChartRow {
  std::int32_t word;
  std::size_t size;
  const char* reason;
};

TEST(CapabilityRun, AutoIsTheSigmaOfTheChart) {
  constexpr ChartRow kRows[] = {
      {0x110, 5, "mean and range"}, {0x120, 12, "mean and deviation"}, {0x330, 1, "individuals"}};
  for (const auto& row : kRows) {
    for (const char* setting : {"mvlue", "unweighted", "pooled", "pooled-as-sbar"}) {
      auto store = StoreOf(NormalGroups(40, row.size, 10.0, 1.0, 8));
      store.settings["sigma_estimator"] = setting;
      const auto chart = test::Make(store, row.word);
      const auto made = Analyse(store);
      EXPECT_NEAR(made.summary.ShortTermSD / chart.estimates.sp.value, 1.0, 1e-13)
          << row.reason << " " << setting;
      EXPECT_EQ(made.report.short_term.name, chart.estimates.sp.name) << row.reason;
    }
  }
}

TEST(CapabilityRun, DisabledSubgroupsDoNotCount) {
  CapabilityStore store;
  store.Add({{1, 2}});
  store.Add({{100, 200}, sfDisabled});
  store.Add({{3, 4}});
  const auto made = Analyse(store);
  EXPECT_EQ(made.summary.PieceCount, 4);
  EXPECT_EQ(made.summary.Mean, 2.5);
  const auto disabled = Analyse(store, {}, false, 2);
  EXPECT_EQ(disabled.summary.PieceCount, 6)
      << "where enabled ones are not asked for, all that was selected counts";
}

TEST(CapabilityRun, ReadingsInsideAPieceAreNoValues) {
  CapabilityStore store;
  store.AddWithReadings({{1.0, 3.0}, {5.0, 7.0}});
  const auto made = Analyse(store);
  EXPECT_EQ(made.summary.PieceCount, 2);
  EXPECT_EQ(made.summary.Mean, 4.0);
}

TEST(CapabilityRun, NothingSelectedIsNoResultAndANote) {
  CapabilityStore store;
  const auto made = Analyse(store);
  EXPECT_FALSE(made.done);
  EXPECT_TRUE(made.HasNote("no-data"));
  EXPECT_TRUE(store.failures.empty());
  CapabilityStore markers;
  markers.AddEmptyMarker();
  EXPECT_FALSE(Analyse(markers).done) << "subgroups without values are nothing";
}

TEST(CapabilityRun, AFailureOfTheStoreWritesNothing) {
  CapabilityStore store(kByHand);
  store.select_fails = "the disk is gone";
  const auto made = Analyse(store);
  EXPECT_FALSE(made.done);
  EXPECT_EQ(made.summary.PieceCount, 0);
  EXPECT_FALSE(made.HasNote("no-data"));
}

struct BadOptions {
  std::int32_t API_CAOptions::*field;
  std::int32_t value;
  const char* words;
};

TEST(CapabilityRun, WordsOutOfRangeAreRefusedWithAReason) {
  const BadOptions rows[] = {
      {&API_CAOptions::Flags, 3, "normalisation 3"},
      {&API_CAOptions::Flags, 32, "normalisation 32"},
      {&API_CAOptions::Flags, 0x300, "window type 3"},
      {&API_CAOptions::Flags, 0x4000, "short-term deviation 4"},
      {&API_CAOptions::BinCount, 0, "0 bins"},
      {&API_CAOptions::BinCount, 22, "22 bins"},
      {&API_CAOptions::CurveCount, 81, "81 points"},
      {&API_CAOptions::CurveCount, -1, "-1 points"},
  };
  for (const auto& row : rows) {
    auto store = StoreOf(kByHand);
    Capability made;
    made.bins.resize(21);
    made.x.resize(80);
    made.y.resize(80);
    auto options = Settings().Options();
    options.*row.field = row.value;
    API_DSInfo info{};
    CapabilityRun run;
    EXPECT_FALSE(run.Process(store, info, {}, options, made.Output())) << row.words;
    ASSERT_EQ(store.failures.size(), 1U) << row.words;
    EXPECT_NE(store.failures[0].second.find(row.words), std::string::npos)
        << store.failures[0].second;
    EXPECT_EQ(made.summary.PieceCount, 0) << row.words;
  }
}

// Mean 5, sigma short 1/d2(2), long sqrt(32/7).
TEST(CapabilityRun, IndicesUseTheirOwnDeviations) {
  auto store = StoreOf(kByHand);
  store.Spec(0.0, 6.0, 9.0, kAll);
  const auto made = Analyse(store);
  const double s = made.summary.ShortTermSD, l = made.summary.LongTermSD;
  EXPECT_NEAR(made.cps.Cp, 9.0 / (6.0 * s), 1e-13);
  EXPECT_NEAR(made.cps.Cpu, 4.0 / (3.0 * s), 1e-13);
  EXPECT_NEAR(made.cps.Cpl, 5.0 / (3.0 * s), 1e-13);
  EXPECT_EQ(made.cps.Cpk, made.cps.Cpu);
  EXPECT_NEAR(made.cps.Cr, 6.0 * s / 9.0, 1e-13);
  EXPECT_NEAR(made.cps.Cpr, -1.0 / (3.0 * s), 1e-13) << "signed, from the target 6";
  EXPECT_NEAR(made.cps.Cpm, 9.0 / (6.0 * std::hypot(s, 1.0)), 1e-13);
  EXPECT_NEAR(made.pps.Pp, 9.0 / (6.0 * l), 1e-13);
  EXPECT_NEAR(made.pps.Ppm, 9.0 / (6.0 * std::hypot(l, 1.0)), 1e-13)
      << "the index against the target, not parts per million";
  EXPECT_NEAR(made.pps.Pr, 6.0 * l / 9.0, 1e-13);
}

TEST(CapabilityRun, OneLimitGivesItsOwnIndex) {
  for (const std::int32_t target : {0, int{slfTAR}}) {
    auto upper = StoreOf(kByHand), lower = StoreOf(kByHand);
    upper.Spec(0.0, 6.0, 9.0, slfUSL | target);
    lower.Spec(0.0, 6.0, 9.0, slfLSL | target);
    const auto above = Analyse(upper), below = Analyse(lower);
    EXPECT_EQ(above.cps.Cp, above.cps.Cpu);
    EXPECT_EQ(above.cps.Cpk, above.cps.Cpu);
    EXPECT_EQ(above.cps.Cpl, 0.0);
    EXPECT_GT(above.cps.Cp, 0.0);
    EXPECT_EQ(below.cps.Cp, below.cps.Cpl);
    EXPECT_EQ(below.cps.Cpu, 0.0);
    const double s = above.summary.ShortTermSD;
    EXPECT_NEAR(above.cps.Cpm,
                target != 0 ? 3.0 / (3.0 * std::hypot(s, 1.0)) : double{above.cps.Cpk}, 1e-13);
    EXPECT_NEAR(above.cps.Cpr, target != 0 ? -1.0 / (3.0 * s) : 0.0, 1e-13);
  }
}

TEST(CapabilityRun, SharesAreStrictlyBeyondAndScoresPositiveInside) {
  auto store = StoreOf(kByHand);
  auto& row = store.Spec(2.0, 5.0, 7.0, kAll | slfURL | slfLRL | slfUGB | slfLGB);
  row.F_URL = 9.0;
  row.F_LRL = 1.0;
  row.F_UGB = 6.0;
  row.F_LGB = 4.0;
  const auto made = Analyse(store);
  const double sd = made.summary.LongTermSD;
  EXPECT_EQ(made.results.ActAboveURL, 0.0) << "9 lies on the limit";
  EXPECT_EQ(made.results.ActAboveUSL, 0.125) << "of 7 and 9 only 9";
  EXPECT_EQ(made.results.ActAboveUWL, 0.25);
  EXPECT_EQ(made.results.ActAboveTAR, 0.25);
  EXPECT_EQ(made.results.ActBelowTAR, 0.5);
  EXPECT_EQ(made.results.ActBelowLWL, 0.125);
  EXPECT_EQ(made.results.ActBelowLSL, 0.0);
  EXPECT_EQ(made.results.ActBelowLRL, 0.0);
  EXPECT_NEAR(made.results.zUrl, 4.0 / sd, 1e-14);
  EXPECT_NEAR(made.results.zUsl, 2.0 / sd, 1e-14);
  EXPECT_NEAR(made.results.zUwl, 1.0 / sd, 1e-14);
  EXPECT_EQ(made.results.zTar, 0.0);
  EXPECT_NEAR(made.results.zLwl, 1.0 / sd, 1e-14);
  EXPECT_NEAR(made.results.zLsl, 3.0 / sd, 1e-14);
  EXPECT_NEAR(made.results.zLrl, 4.0 / sd, 1e-14);
  EXPECT_NEAR(made.results.ExpAboveUSL, NormalAbove(2.0 / sd), 1e-15);
  EXPECT_NEAR(made.results.ExpBelowLSL, NormalAbove(3.0 / sd), 1e-15);
  EXPECT_NEAR(made.results.ExpAboveTAR, 0.5, 1e-15);
  const double outside = NormalAbove(2.0 / sd) + NormalAbove(3.0 / sd);
  EXPECT_NEAR(NormalAbove(made.summary.ZBench), outside, 1e-14);
}

TEST(CapabilityRun, BenchmarkOfOneLimitIsItsScore) {
  auto store = StoreOf(kByHand);
  store.Spec(0.0, 0.0, 30.0, slfUSL);
  const auto made = Analyse(store);
  EXPECT_NEAR(made.summary.ZBench, made.results.zUsl, 1e-10);
  auto far = StoreOf(kByHand);
  far.Spec(0.0, 0.0, 1e6, slfUSL);
  EXPECT_EQ(Analyse(far).summary.ZBench, 37.5) << "tails beyond are no numbers";
  auto wrong = StoreOf(kByHand);
  wrong.Spec(1e6, 0.0, 0.0, slfLSL);
  EXPECT_EQ(Analyse(wrong).summary.ZBench, -37.5);
}

// Limits of the row in force.

TEST(CapabilityRun, TheRowInForceAtTheNewestValueHolds) {
  auto store = StoreOf(kByHand);  // times 0, 10, 20, 30
  store.Spec(0.0, 0.0, 9.0, kBoth, 0);
  store.Spec(1.0, 0.0, 8.0, kBoth, 25);
  store.Spec(2.0, 0.0, 7.0, kBoth, 31);
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.Usl, 8.0);
  EXPECT_EQ(made.limits.Lsl, 1.0);
  EXPECT_EQ(made.limits.Head[0], 2);
  EXPECT_TRUE(made.HasNote("limits-changed"));
}

TEST(CapabilityRun, FieldsOfTheRowAreCarried) {
  auto store = StoreOf(kByHand);
  auto& row = store.Spec(0.0, 4.0, 9.0, kAll);
  row.F_CP = 1.33;
  row.F_CPK = 1.67;
  row.F_SCAL = 3;
  row.F_AFLAG = slfUSL | slfURL;
  row.Name[0] = u'\u20AC';
  row.Name[1] = u'\u0416';
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.Cp, 1.33);
  EXPECT_EQ(made.limits.Cpk, 1.67);
  EXPECT_EQ(made.limits.Scale, 3);
  EXPECT_EQ(made.limits.EFlag, kAll);
  EXPECT_EQ(made.limits.AFlag, slfUSL) << "no alarm without its limit";
  EXPECT_EQ(made.limits.Text[0], static_cast<char>(0x80)) << "the euro of the 8-bit page";
  EXPECT_EQ(made.limits.Text[1], '?');
}

TEST(CapabilityRun, AMiddleThatServesAsTargetIsNoTarget) {
  auto store = StoreOf(kByHand);
  store.Spec(0.0, 0.0, 8.0, kBoth);
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.EFlag, kBoth);
  EXPECT_NEAR(made.cps.Cpr, 1.0 / (3.0 * made.summary.ShortTermSD), 1e-14) << "from the middle 4";
}

TEST(CapabilityRun, CrossedLimitsAreNone) {
  auto store = StoreOf(kByHand);
  store.Spec(9.0, 5.0, 9.0, kAll);
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.EFlag, slfTAR);
  EXPECT_TRUE(made.HasNote("limits-crossed"));
  EXPECT_EQ(made.cps.Cp, 0.0);
}

TEST(CapabilityRun, ALimitThatIsNoNumberIsNone) {
  auto store = StoreOf(kByHand);
  store.Spec(-INFINITY, kNoNumber, 9.0, kAll);
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.EFlag, slfUSL);
  ExpectNumbers(made, "limits that are no numbers");
}

CapabilityStore TwoParts() {
  CapabilityStore store;
  for (const auto& pieces : kByHand) store.Add({pieces, sfEnabled, 1, 1, 1});
  for (const auto& pieces : kByHand) store.Add({pieces, sfEnabled, 1, 1, 2});
  return store;
}

void SpecOf(CapabilityStore& store, std::int32_t part, double lsl, double target, double usl) {
  store.Spec(lsl, target, usl, kAll).F_PART = part;
}

TEST(CapabilityRun, PartsThatAgreeShareTheirLimits) {
  auto store = TwoParts();
  SpecOf(store, 1, 0.0, 5.0, 9.0);
  SpecOf(store, 2, 0.0, 5.0, 9.0 + 5e-9);
  const auto made = Analyse(store);
  EXPECT_EQ(made.limits.EFlag, kAll);
  EXPECT_FALSE(made.HasNote("limits-differ"));
}

TEST(CapabilityRun, PartsThatDifferHaveNone) {
  auto differ = TwoParts(), missing = TwoParts();
  SpecOf(differ, 1, 0.0, 5.0, 9.0);
  SpecOf(differ, 2, 0.0, 5.0, 9.001);
  SpecOf(missing, 1, 0.0, 5.0, 9.0);
  for (auto* store : {&differ, &missing}) {
    const auto made = Analyse(*store);
    EXPECT_EQ(made.limits.EFlag, 0);
    EXPECT_EQ(made.limits.Usl, 0.0);
    EXPECT_TRUE(made.HasNote("limits-differ"));
    EXPECT_EQ(made.cps.Cp, 0.0);
    EXPECT_EQ(made.summary.PieceCount, 16);
  }
}

TEST(CapabilityRun, NormalisedPartsAgreeWhenTheirLimitsLieAlikeAboutTheOrigin) {
  CapabilityStore store;
  for (const auto& pieces : kByHand) {
    store.Add({pieces, sfEnabled, 1, 1, 1});
    auto moved = pieces;
    for (double& value : moved) value += 100.0;
    store.Add({moved, sfEnabled, 1, 1, 2});
  }
  SpecOf(store, 1, 0.0, 5.0, 8.0);
  SpecOf(store, 2, 100.0, 105.0, 108.0);
  EXPECT_TRUE(Analyse(store).HasNote("limits-differ"));
  const auto nominal = Analyse(store, {.normalize = caNormalizeNominal});
  EXPECT_EQ(nominal.limits.Usl, 4.0);
  EXPECT_EQ(nominal.limits.Lsl, -4.0);
  EXPECT_EQ(nominal.limits.Tar, 1.0);
  EXPECT_NEAR(nominal.summary.Mean, 1.0, 1e-14) << "5 from the middle 4";
  const auto target = Analyse(store, {.normalize = caNormalizeTarget});
  EXPECT_EQ(target.limits.Tar, 0.0);
  EXPECT_EQ(target.limits.Usl, 3.0);
  EXPECT_NEAR(target.summary.Mean, 0.0, 1e-14);
  EXPECT_NEAR(target.summary.LongTermSD, nominal.summary.LongTermSD, 1e-13);
  EXPECT_NEAR(target.cps.Cpk, nominal.cps.Cpk, 1e-12);
  EXPECT_NEAR(target.bins[0].XMin, nominal.bins[0].XMin - 1.0, 1e-12);
  EXPECT_NEAR(target.x.back(), nominal.x.back() - 1.0, 1e-12);
}

TEST(CapabilityRun, NormalisingFallsBackOnWhatTheRowHas) {
  auto one_sided = StoreOf(kByHand), no_target = StoreOf(kByHand), nothing = StoreOf(kByHand);
  one_sided.Spec(0.0, 6.0, 9.0, slfUSL | slfTAR);
  no_target.Spec(0.0, 0.0, 9.0, kBoth);
  nothing.Spec(0.0, 0.0, 9.0, slfUSL);
  EXPECT_EQ(Analyse(one_sided, {.normalize = caNormalizeNominal}).summary.Mean, -1.0);
  EXPECT_EQ(Analyse(no_target, {.normalize = caNormalizeTarget}).summary.Mean, 0.5);
  const auto made = Analyse(nothing, {.normalize = caNormalizeTarget});
  EXPECT_EQ(made.summary.Mean, 5.0);
  EXPECT_TRUE(made.HasNote("not-normalised"));
}

TEST(CapabilityRun, AnOverrideReplacesTheWholeRow) {
  auto store = StoreOf(kByHand);
  auto& row = store.Spec(0.0, 6.0, 9.0, kAll | slfURL);
  row.F_URL = 20.0;
  const auto made = Analyse(store, {.overriding = true, .usl = 12.0});
  EXPECT_EQ(made.limits.Usl, 12.0);
  EXPECT_EQ(made.limits.EFlag, slfUSL | slfURL) << "target and lower limit were not given";
  EXPECT_EQ(made.limits.Lsl, 0.0);
  const auto zero = Analyse(store, {.overriding = true, .usl = 12.0, .target = 0.0, .lsl = 0.0});
  EXPECT_EQ(zero.limits.EFlag, kAll | slfURL) << "0 is a limit";
}

TEST(CapabilityRun, WhatAnOverrideDoesNotGive) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double none :
       {kNotGiven, -kNotGiven, 1e300, -1e300, kInfinity, -kInfinity, kNoNumber}) {
    auto store = StoreOf(kByHand);
    store.Spec(0.0, 6.0, 9.0, kAll);
    const auto made =
        Analyse(store, {.overriding = true, .usl = 11.0, .target = none, .lsl = none});
    EXPECT_EQ(made.limits.EFlag, slfUSL) << none;
    ExpectNumbers(made, "override");
  }
}

TEST(CapabilityRun, AnOverrideHoldsForPartsThatDiffer) {
  auto store = TwoParts();
  SpecOf(store, 1, 0.0, 5.0, 9.0);
  const auto made = Analyse(store, {.overriding = true, .usl = 12.0, .lsl = 0.0});
  EXPECT_EQ(made.limits.EFlag, kBoth);
  EXPECT_FALSE(made.HasNote("limits-differ"));
  const auto without = Analyse(kByHand, {.overriding = true, .usl = 12.0, .lsl = 0.0});
  EXPECT_EQ(without.limits.EFlag, kBoth) << "no row is needed";
  EXPECT_EQ(without.limits.Scale, 4);
  EXPECT_NEAR(without.cps.Cp, made.cps.Cp, 1e-12);
}

// Histogram and curve.

TEST(CapabilityRun, BinsAreHalfOpenAndTheLastIsClosed) {
  const auto made = Analyse({{0, 1}, {1, 2}, {4, 5}},
                            {.bins = 5, .window = caWindowTypeMinMax, .minimum = 0, .maximum = 5});
  std::vector<double> counts;
  for (const auto& bin : made.bins) counts.push_back(bin.YMax);
  EXPECT_EQ(counts, (std::vector<double>{1, 2, 1, 0, 2}));
  EXPECT_EQ(made.bins[0].XMin, 0.0);
  EXPECT_EQ(made.bins[2].XMin, made.bins[1].XMax);
  EXPECT_EQ(made.bins[4].XMax, 5.0);
  EXPECT_EQ(made.bins[4].YMin, 0.0);
}

TEST(CapabilityRun, ValuesOutsideTheWindowAreInNoBin) {
  const auto made =
      Analyse({{0, 1}, {1, 2}, {4, 5}},
              {.bins = 5, .window = caWindowTypeMinMax, .minimum = 0.5, .maximum = 4.5});
  double sum = 0.0;
  for (const auto& bin : made.bins) sum += bin.YMax;
  EXPECT_EQ(sum, 4.0);
  EXPECT_TRUE(made.HasNote("outside-window"));
}

struct WindowRow {
  Settings settings;
  double low, high;
  const char* reason;
};

TEST(CapabilityRun, WindowsByType) {
  auto store = StoreOf(kByHand);
  store.Spec(1.0, 0.0, 20.0, kBoth);
  const double sd = std::sqrt(32.0 / 7.0);
  const WindowRow rows[] = {
      {{}, 5.0 - 3.0 * sd, 20.0, "holds values, three sigmas and limits"},
      {{.window_sd = 2.0}, 5.0 - 2.0 * sd, 5.0 + 2.0 * sd, "two sigmas"},
      {{.window_sd = -2.0}, 5.0 - 3.0 * sd, 20.0, "below 0: the default"},
      {{.window = caWindowTypeMinMax, .minimum = 2.0, .maximum = 3.0}, 2.0, 3.0, "as given"},
      {{.window = caWindowTypeMinMax, .minimum = 3.0, .maximum = 2.0},
       5.0 - 3.0 * sd,
       20.0,
       "inverted: the default"},
      {{.window = caWindowTypeMinMax, .minimum = kNoNumber, .maximum = 2.0},
       5.0 - 3.0 * sd,
       20.0,
       "no number: the default"},
      {{.window = caWindowTypeSpecs}, 1.0, 20.0, "from limit to limit"},
  };
  for (const auto& row : rows) {
    const auto made = Analyse(store, row.settings);
    EXPECT_NEAR(made.bins.front().XMin, row.low, 1e-12) << row.reason;
    EXPECT_NEAR(made.bins.back().XMax, row.high, 1e-12) << row.reason;
    EXPECT_EQ(made.x.front(), made.bins.front().XMin) << row.reason;
    EXPECT_EQ(made.x.back(), made.bins.back().XMax) << row.reason;
  }
}

TEST(CapabilityRun, TheCurveLiesOnTheBars) {
  const auto made = Analyse(NormalGroups(2000, 5, 10.0, 2.0, 17), {.curve = 201, .window_sd = 6.0});
  double area = 0.0;
  for (std::size_t i = 1; i < made.x.size(); ++i) {
    area += 0.5 * (made.y[i] + made.y[i - 1]) * (made.x[i] - made.x[i - 1]);
  }
  const double bin = made.bins[0].XMax - made.bins[0].XMin;
  EXPECT_NEAR(area / bin, 10'000.0, 1.0);
  double expected = 0.0;
  ASSERT_EQ(made.report.expected.size(), made.bins.size());
  for (std::size_t i = 0; i < made.bins.size(); ++i) {
    expected += made.report.expected[i];
    EXPECT_NEAR(made.report.expected[i], made.bins[i].YMax,
                5.0 * std::sqrt(made.report.expected[i] + 1.0));
  }
  EXPECT_NEAR(expected, 10'000.0, 1e-3);
  EXPECT_EQ(made.report.law, "normal");
}

TEST(CapabilityRun, CoarseValuesHaveANote) {
  auto groups = NormalGroups(100, 5, 10.0, 1.0, 3);
  EXPECT_FALSE(Analyse(groups).HasNote("coarse-values"));
  for (auto& group : groups) {
    for (double& value : group) value = std::round(value * 2.0) / 2.0;
  }
  EXPECT_TRUE(Analyse(groups).HasNote("coarse-values"));
}

// What must hold of every analysis.

TEST(CapabilityRun, ShiftAndScaleChangeNothingThatHasNoUnit) {
  const auto base = NormalGroups(60, 4, 0.0, 1.0, 77);
  auto plain = StoreOf(base);
  plain.Spec(-4.0, 0.5, 5.0, kAll);
  const auto one = Analyse(plain);
  struct Move {
    double scale, shift, tolerance;
  };
  for (const auto& move : {Move{8.0, 0.0, 1e-13}, Move{1e-6, 0.0, 1e-11}, Move{1.0, 1000.0, 1e-11},
                           Move{0.25, -7.0, 1e-12}}) {
    auto groups = base;
    for (auto& group : groups) {
      for (double& value : group) value = value * move.scale + move.shift;
    }
    auto store = StoreOf(groups);
    store.Spec(-4.0 * move.scale + move.shift, 0.5 * move.scale + move.shift,
               5.0 * move.scale + move.shift, kAll);
    const auto two = Analyse(store);
    const std::pair<double, double> figures[] = {
        {one.cps.Cp, two.cps.Cp},
        {one.cps.Cpk, two.cps.Cpk},
        {one.cps.Cpr, two.cps.Cpr},
        {one.cps.Cpm, two.cps.Cpm},
        {one.pps.Ppk, two.pps.Ppk},
        {one.pps.Ppm, two.pps.Ppm},
        {one.moments.Skewness, two.moments.Skewness},
        {one.moments.Kurtosis, two.moments.Kurtosis},
        {one.anova.FRatio, two.anova.FRatio},
        {one.anova.ProbOfF, two.anova.ProbOfF},
        {one.chi_square.Value, two.chi_square.Value},
        {one.summary.ZBench, two.summary.ZBench},
        {one.summary.CoRobustness, two.summary.CoRobustness},
        {one.results.ExpAboveUSL, two.results.ExpAboveUSL},
        {one.summary.ShortTermSD * move.scale, two.summary.ShortTermSD},
        {one.summary.LongTermSD * move.scale, two.summary.LongTermSD},
        {one.summary.Mean * move.scale + move.shift, two.summary.Mean},
    };
    std::size_t i = 0;
    for (const auto& [first, second] : figures) {
      EXPECT_NEAR(first, second, move.tolerance * (10.0 + std::fabs(first)))
          << "figure " << i << " scale " << move.scale << " shift " << move.shift;
      ++i;
    }
    for (std::size_t bin = 0; bin < one.bins.size(); ++bin) {
      EXPECT_EQ(one.bins[bin].YMax, two.bins[bin].YMax) << bin;
    }
  }
}

TEST(CapabilityRun, TwoStreamsAreTheirJoinedValues) {
  const auto groups = NormalGroups(80, 5, 3.0, 0.5, 5);
  CapabilityStore two;
  auto one = StoreOf(groups);
  for (std::size_t i = 0; i < groups.size(); ++i) {
    two.Add({groups[i], sfEnabled, 1, i % 3 == 0 ? 2 : 1, 1});
  }
  for (auto* store : {&one, &two}) store->Spec(1.0, 3.0, 5.0, kAll);
  const auto joined = Analyse(one), apart = Analyse(two);
  const auto first = AllFigures(joined), second = AllFigures(apart);
  ASSERT_EQ(first.size(), second.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_NEAR(first[i], second[i], 1e-11 * (1.0 + std::fabs(first[i]))) << i;
  }
  EXPECT_EQ(joined.summary.PieceCount, apart.summary.PieceCount);
  EXPECT_EQ(joined.summary.SubgroupCount, apart.summary.SubgroupCount);
}

TEST(CapabilityRun, MovingRangesDoNotCrossStreams) {
  CapabilityStore store;
  for (const double value : {1.0, 2.0, 3.0}) store.Add({{value}, sfEnabled, 1, 1, 1});
  for (const double value : {101.0, 103.0}) store.Add({{value}, sfEnabled, 1, 2, 1});
  const auto made = Analyse(store);
  EXPECT_NEAR(made.summary.ShortTermSD, (1.0 + 1.0 + 2.0) / 3.0 / 1.12837916709551, 1e-13);
  EXPECT_EQ(made.report.short_term.used, 3);
}

TEST(CapabilityRun, OneValue) {
  auto store = StoreOf({{7.0}});
  store.Spec(0.0, 5.0, 6.0, kAll);
  const auto made = Analyse(store, {}, true);
  EXPECT_TRUE(made.done);
  EXPECT_EQ(made.summary.PieceCount, 1);
  EXPECT_EQ(made.summary.Mean, 7.0);
  EXPECT_EQ(made.summary.LongTermSD, 0.0);
  EXPECT_EQ(made.summary.ShortTermSD, 0.0);
  EXPECT_EQ(made.cps.Cp, 0.0);
  EXPECT_EQ(made.pps.Ppk, 0.0);
  EXPECT_EQ(made.results.ActAboveUSL, 1.0);
  EXPECT_EQ(made.chi_square.DegFreedom, 0);
  EXPECT_EQ(made.chi_square.Probability, 1.0);
  EXPECT_EQ(made.anova.ProbOfF, 1.0);
  EXPECT_EQ(made.johnson, caJohnsonTypeNone);
  EXPECT_TRUE(std::all_of(made.y.begin(), made.y.end(), [](double y) { return y == 0.0; }));
  ExpectNumbers(made, "one value");
}

TEST(CapabilityRun, TwoValues) {
  const auto made = Analyse({{1.0}, {4.0}});
  EXPECT_NEAR(made.summary.LongTermSD, 3.0 / std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(made.summary.ShortTermSD, 3.0 / 1.12837916709551, 1e-13);
  EXPECT_EQ(made.moments.Skewness, 0.0);
  EXPECT_EQ(made.moments.Kurtosis, 0.0);
  ExpectNumbers(made, "two values");
}

TEST(CapabilityRun, AllValuesEqual) {
  for (const double value : {0.0, 3.5, -1e15, 5e-324, 1.7e308}) {
    auto store = StoreOf(Groups(30, {value, value}));
    store.Spec(1.0, 2.0, 3.0, kAll);
    const auto made = Analyse(store, {}, true);
    EXPECT_TRUE(made.done);
    EXPECT_EQ(made.summary.Mean, value);
    EXPECT_EQ(made.summary.LongTermSD, 0.0) << value;
    EXPECT_EQ(made.summary.ShortTermSD, 0.0) << value;
    EXPECT_EQ(made.cps.Cp, 0.0);
    EXPECT_EQ(made.anova.FRatio, 0.0);
    EXPECT_EQ(made.anova.ProbOfF, 1.0);
    double counted = 0.0;
    for (const auto& bin : made.bins) counted += bin.YMax;
    EXPECT_EQ(counted, 60.0) << value;
    ExpectNumbers(made, "all equal");
  }
}

TEST(CapabilityRun, AFarOffsetCostsOnlyTheDigitsOfTheData) {
  // Quarters are exact at 1e15.
  auto groups = NormalGroups(50, 4, 0.0, 8.0, 2);
  for (auto& group : groups) {
    for (double& value : group) value = std::round(value * 4.0) / 4.0;
  }
  const auto near = Analyse(groups);
  for (auto& group : groups) {
    for (double& value : group) value += 1e15;
  }
  const auto far = Analyse(groups);
  EXPECT_NEAR(far.summary.LongTermSD / near.summary.LongTermSD, 1.0, 1e-14);
  EXPECT_NEAR(far.summary.ShortTermSD / near.summary.ShortTermSD, 1.0, 1e-14);
  EXPECT_NEAR(far.moments.Kurtosis, near.moments.Kurtosis, 1e-12);
  EXPECT_NEAR(far.anova.FRatio / near.anova.FRatio, 1.0, 1e-12);
  double counted = 0.0;
  for (const auto& bin : far.bins) counted += bin.YMax;
  EXPECT_EQ(counted, 200.0);
}

struct Hostile {
  Groups groups;
  double lsl, target, usl;
  const char* reason;
};

TEST(CapabilityRun, NoFigureIsEverInfiniteOrNoNumber) {
  constexpr double kMost = std::numeric_limits<double>::max();
  constexpr double kLeast = std::numeric_limits<double>::denorm_min();
  Groups spread(30, {1e308, -1e308});
  Groups wide;
  for (int i = 0; i < 40; ++i) wide.push_back({std::ldexp(1.0, 40 * (i % 20) - 400), -1.0});
  const Hostile rows[] = {
      {spread, -1.0, 0.0, 1.0, "a range beyond the largest number"},
      {Groups(30, {1e200, 2e200}), 0.0, 1e200, 1e250, "squares beyond the largest number"},
      {Groups(30, {kMost, kMost, kMost}), -kMost, 0.0, kMost, "the largest number"},
      {Groups(30, {kLeast, 0.0}), -kLeast, 0.0, kLeast, "the least number"},
      {Groups(30, {1e-200, 2e-200}), 0.0, 1e-200, 1e300, "limits very far away"},
      {wide, -1e300, 0.0, 1e-300, "all sizes at once"},
      {{{INFINITY, kNoNumber, 1.0}, {2.0, -INFINITY}}, 0.0, 1.0, 2.0, "values that are none"},
      {Groups(30, {1.0, 1.0 + 2.3e-16}), 1.0, 1.0, 2.0, "neighbouring numbers"},
      {{{-1e-320}, {1e-320}, {0.0}}, kNoNumber, INFINITY, -INFINITY, "denormal, limits of none"},
  };
  for (const auto& row : rows) {
    for (const std::int32_t window :
         {caWindowTypeWindowSD, caWindowTypeMinMax, caWindowTypeSpecs}) {
      for (const std::int32_t normalize : {caNormalizeNone, caNormalizeNominal}) {
        auto store = StoreOf(row.groups);
        store.Spec(row.lsl, row.target, row.usl, kAll | slfUGB);
        Settings settings;
        settings.window = window;
        settings.normalize = normalize;
        settings.minimum = -kMost;
        settings.maximum = kMost;
        settings.window_sd = 1e300;
        for (const bool johnson : {false, true}) {
          ExpectNumbers(Analyse(store, settings, johnson), row.reason);
        }
      }
    }
  }
}

}  // namespace
}  // namespace orvspc::engine::capability
