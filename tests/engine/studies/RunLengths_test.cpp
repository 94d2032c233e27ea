// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/RunLengths.h"

#include <chrono>
#include <cmath>
#include <stdexcept>

#include <gtest/gtest.h>
#include "engine/statistics/Distributions.h"
#include "engine/studies/Design.h"
#include "engine/studies/Multivariate.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/simulated_runs.h"

namespace orvspc::studies {
namespace {

std::vector<double> Shifts(const Case& known) {
  return known.Params().at("shifts").get<std::vector<double>>();
}

ShewhartRunOptions WithRules(const std::vector<std::int32_t>& numbers) {
  ShewhartRunOptions options;
  options.rules.clear();
  for (const auto* const set : {"nelson", "classic", "aiag", "public-health"}) {
    for (const auto& rule : RulesOfSet(set)) {
      const auto is_wanted = [&](auto number) { return number == rule.number; };
      const auto is_there = [&](const auto& other) { return other == rule; };
      if (std::ranges::any_of(numbers, is_wanted) && std::ranges::none_of(options.rules, is_there))
        options.rules.push_back(rule);
    }
  }
  return options;
}

void ExpectMatrix(const Case& known, std::size_t row, const std::vector<double>& actual) {
  const auto& expected = known.Expected().at("arl");
  const auto values = expected.at("value").at(row).get<std::vector<double>>();
  ASSERT_EQ(values.size(), actual.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_NEAR(actual[i] / values[i], 1.0, expected.at("tol").get<double>()) << row << " " << i;
  }
}

TEST(RunLengthsOfCusum, TwoArmsWithAndWithoutHeadStart) {
  const Case known("arl-cusum-two-sided");
  CusumRunOptions options;
  options.k = known.Param("k");
  options.h = known.Param("h");
  known.Check("arl", StudyCusumRuns(Shifts(known), options).arl);
  options.head_start = known.Params().at("head_start").at(1).get<double>();
  known.Check("arl_fir", StudyCusumRuns(Shifts(known), options).arl);
}

// Brook & Evans, Biometrika 59 (1972), have 117.59 in the limit of many states.
TEST(RunLengthsOfCusum, OneArm) {
  CusumRunOptions options;
  options.h = 3.0;
  options.sided = Sided::Upper;
  EXPECT_NEAR(StudyCusumRuns(std::vector{0.0}, options).arl[0], 117.596, 0.0005);
}

TEST(RunLengthsOfCusum, TheLowerArmIsTheUpperOneOfTheOppositeShift) {
  CusumRunOptions upper, lower;
  upper.sided = Sided::Upper;
  lower.sided = Sided::Lower;
  const auto of_upper = StudyCusumRuns(std::vector{0.7, -0.7}, upper);
  const auto of_lower = StudyCusumRuns(std::vector{-0.7, 0.7}, lower);
  EXPECT_EQ(of_upper.arl, of_lower.arl);
  EXPECT_GT(of_upper.arl[1], 1e5);
}

// With h so small that any sum above 0 signals, a run is geometric.
TEST(RunLengthsOfCusum, ANarrowDecisionIntervalIsAShewhartChart) {
  CusumRunOptions options;
  options.h = 1e-9;
  options.k = 3.0;
  const auto study = StudyCusumRuns(std::vector{0.0}, options);
  const double p = std::erfc(3.0 / std::sqrt(2.0));
  EXPECT_NEAR(study.arl[0] * p, 1.0, 1e-6);
  EXPECT_NEAR(study.sdrl[0] * p, std::sqrt(1.0 - p), 1e-6);
  EXPECT_EQ(study.median[0], std::ceil(std::log(0.5) / std::log1p(-p)));
  EXPECT_EQ(study.p95[0], std::ceil(std::log(0.05) / std::log1p(-p)));
}

TEST(RunLengthsOfCusum, ALargeShiftLeavesTheOtherArmOut) {
  const auto study = StudyCusumRuns(std::vector{20.0});
  EXPECT_EQ(study.arl[0], 1.0);
  EXPECT_EQ(study.sdrl[0], 0.0);
  EXPECT_EQ(study.p95[0], 1.0);
}

// Both arms may be above 0 when one signals.
TEST(RunLengthsOfCusum, TwoArmsWithALargeHeadStartAreSimulated) {
  CusumRunOptions options;
  options.h = 4.0;
  options.head_start = 3.9;
  const auto study = StudyCusumRuns(std::vector{0.0}, options);
  EXPECT_EQ(study.method, "simulation");
  EXPECT_EQ(study.seed, 20260101U);
  const auto simulated = SimulatedCusum(options, 0.0, 20'000, 5);
  EXPECT_NEAR(study.arl[0], simulated.mean,
              4.0 * std::hypot(study.standard_error[0], simulated.error));
}

TEST(RunLengthsOfCusum, RunLengthsWithoutDigitsAreLeftOut) {
  CusumRunOptions options;
  options.h = 50.0;
  const auto study = StudyCusumRuns(std::vector{0.0}, options);
  EXPECT_TRUE(std::isnan(study.arl[0]));
  EXPECT_EQ(study.notes.at(0).code, "no-run-length");
}

TEST(RunLengthsOfCusum, RefusesWhatLiesOutside) {
  const auto with = [](double k, double h, double start) {
    return CusumRunOptions{k, h, start, Sided::Two};
  };
  for (const auto& wrong : {with(-0.1, 5, 0), with(3.1, 5, 0), with(0.5, 0, 0), with(0.5, 51, 0),
                            with(0.5, 5, 5), with(0.5, 5, -1)}) {
    EXPECT_THROW(StudyCusumRuns(std::vector{0.0}, wrong), std::invalid_argument);
  }
  EXPECT_THROW(StudyCusumRuns(std::vector{21.0}), std::invalid_argument);
}

TEST(RunLengthsOfEwma, AsymptoticLimits) {
  const Case known("arl-ewma-fixed-limits");
  std::size_t row = 0;
  for (const auto& scheme : known.Params().at("schemes")) {
    EwmaRunOptions options;
    options.weight = scheme.at(0).get<double>();
    options.width = scheme.at(1).get<double>();
    options.exact = false;
    ExpectMatrix(known, row++, StudyEwmaRuns(Shifts(known), options).arl);
  }
  EXPECT_EQ(row, known.Expected().at("arl").at("value").size());
}

TEST(RunLengthsOfEwma, ExactLimits) {
  const Case known("arl-ewma-exact-limits");
  EwmaRunOptions options;
  options.weight = known.Param("lambda");
  options.width = known.Param("L");
  known.Check("arl_exact", StudyEwmaRuns(Shifts(known), options).arl);
  options.exact = false;
  known.Check("arl_asymptotic", StudyEwmaRuns(Shifts(known), options).arl);
  known.Check("arl0_lambda02_L3_exact", StudyEwmaRuns(std::vector{0.0}).arl[0]);
}

// The figures of the R package spc for a scheme of Steiner's table 5.
TEST(RunLengthsOfEwma, FastInitialResponse) {
  EwmaRunOptions options;
  options.weight = 0.03;
  options.width = 2.55;
  options.fir = 0.5;
  const auto study = StudyEwmaRuns(std::vector{0.0, 0.5, 1.0}, options);
  EXPECT_NEAR(study.arl[0], 420.89, 0.005);
  EXPECT_NEAR(study.arl[1], 14.71, 0.005);
  EXPECT_NEAR(study.arl[2], 3.835, 0.0005);
}

// Crowder, Technometrics 29 (1987), prints 3.95; the integral equation gives this.
TEST(RunLengthsOfEwma, AMisprintIsNotRepeated) {
  EwmaRunOptions options;
  options.weight = 0.5;
  options.width = 2.0;
  options.exact = false;
  const auto study = StudyEwmaRuns(std::vector{1.25}, options);
  EXPECT_NEAR(study.arl[0], 3.590, 0.0005);
  const auto simulated = SimulatedEwma(options, 1.25, 20'000, 3);
  EXPECT_NEAR(study.arl[0], simulated.mean, 4.0 * simulated.error);
}

TEST(RunLengthsOfEwma, AWeightOfOneIsTheShewhartChart) {
  EwmaRunOptions options;
  options.weight = 1.0;
  const auto ewma = StudyEwmaRuns(std::vector{0.0, 1.0}, options);
  const auto shewhart = StudyShewhartRuns(std::vector{0.0, 1.0});
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_NEAR(ewma.arl[i] / shewhart.arl[i], 1.0, 1e-9);
    EXPECT_NEAR(ewma.sdrl[i] / shewhart.sdrl[i], 1.0, 1e-9);
    EXPECT_EQ(ewma.p95[i], shewhart.p95[i]);
  }
}

TEST(RunLengthsOfEwma, RefusesWhatLiesOutside) {
  const auto with = [](double weight, double width, bool exact, std::optional<double> fir) {
    return EwmaRunOptions{weight, width, exact, fir, Sided::Two};
  };
  for (const auto& wrong :
       {with(0.004, 3, true, {}), with(0.0009, 3, false, {}), with(1.1, 3, true, {}),
        with(0.2, 0, true, {}), with(0.2, 6.1, true, {}), with(0.2, 3, false, 0.5),
        with(0.2, 3, true, 1.0)}) {
    EXPECT_THROW(StudyEwmaRuns(std::vector{0.0}, wrong), std::invalid_argument);
  }
}

TEST(RunLengthsOfShewhart, EachRuleBesideTheLimits) {
  const Case known("arl-shewhart-rules");
  const std::vector<std::vector<std::int32_t>> rules = {{1}, {1, 5}, {1, 6}, {1, 9}};
  const std::size_t states[] = {1, 7, 29, 15};
  for (std::size_t row = 0; row < rules.size(); ++row) {
    const auto study = StudyShewhartRuns(Shifts(known), WithRules(rules[row]));
    EXPECT_EQ(study.method, "chain");
    EXPECT_EQ(study.states, states[row]);
    ExpectMatrix(known, row, study.arl);
  }
}

// A trend takes several points: without limits nothing can signal at the first one, whether runs
// are simulated or not.
TEST(RunLengthsOfShewhart, WithoutARuleOfOnePointTheFirstIsQuiet) {
  const std::vector shifts{0.0, 2.0};
  for (const auto& rules : {WithRules({3}), WithRules({5})}) {
    ASSERT_EQ(rules.rules.size(), 1U);
    EXPECT_EQ(StudyShewhartRuns(shifts, rules).oc, std::vector<double>(2, 1.0));
  }
  const auto with_limits = StudyShewhartRuns(shifts, WithRules({1, 3}));
  EXPECT_EQ(with_limits.method, "simulation");
  EXPECT_EQ(with_limits.oc, StudyShewhartRuns(shifts).oc);
}

// Champ & Woodall (1987) have 91.75.
TEST(RunLengthsOfShewhart, AllClassicRulesAtOnce) {
  ShewhartRunOptions options;
  options.rules = RulesOfSet("classic");
  ASSERT_EQ(options.rules.size(), 4U);
  const auto study = StudyShewhartRuns(std::vector{0.0}, options);
  EXPECT_EQ(study.states, 295U);
  EXPECT_NEAR(study.arl[0], 91.75, 0.005);
  EXPECT_NEAR(study.oc[0], 1.0 - std::erfc(3.0 / std::sqrt(2.0)), 1e-14);
}

// The limits with nine points on one side.
TEST(RunLengthsOfShewhart, NinePointsOnOneSide) {
  EXPECT_NEAR(StudyShewhartRuns(std::vector{0.0}, WithRules({1, 2})).arl[0], 216.70, 0.005);
}

TEST(RunLengthsOfShewhart, TheLowerSideIsTheUpperOneOfTheOppositeShift) {
  ShewhartRunOptions options;
  options.sided = Sided::Upper;
  EXPECT_NEAR(StudyShewhartRuns(std::vector{0.0}, options).arl[0],
              2.0 * StudyShewhartRuns(std::vector{0.0}).arl[0], 1e-6);
  options.rules = RulesOfSet("classic");
  const auto upper = StudyShewhartRuns(std::vector{0.8}, options);
  options.sided = Sided::Lower;
  EXPECT_NEAR(StudyShewhartRuns(std::vector{-0.8}, options).arl[0] / upper.arl[0], 1.0, 1e-9);
}

TEST(RunLengthsOfShewhart, TheRunsOfRule1AreGeometric) {
  const auto study = StudyShewhartRuns(std::vector{0.0});
  const double p = std::erfc(3.0 / std::sqrt(2.0));
  EXPECT_NEAR(study.arl[0] * p, 1.0, 1e-12);
  EXPECT_NEAR(study.sdrl[0] * p, std::sqrt(1.0 - p), 1e-12);
  EXPECT_EQ(study.p05[0], std::ceil(std::log(0.95) / std::log1p(-p)));
  EXPECT_EQ(study.p95[0], std::ceil(std::log(0.05) / std::log1p(-p)));
}

TEST(RunLengthsOfShewhart, ShiftsAreInSigmasOfAPiece) {
  ShewhartRunOptions options;
  options.size = 4.0;
  EXPECT_NEAR(StudyShewhartRuns(std::vector{0.5}, options).arl[0],
              StudyShewhartRuns(std::vector{1.0}).arl[0], 1e-9);
}

// Without neighbours before them the first two points complete no window of three.
TEST(RunLengthsOfShewhart, WholeWindowsTakeAMomentLonger) {
  auto options = WithRules({1, 5});
  const auto quiet = StudyShewhartRuns(std::vector{2.5}, options);
  options.full_windows = true;
  const auto whole = StudyShewhartRuns(std::vector{2.5}, options);
  const auto simulated = SimulatedShewhart(options, 2.5, 50'000, 11);
  EXPECT_GT(whole.arl[0], quiet.arl[0] * 1.01);
  EXPECT_NEAR(whole.arl[0], simulated.mean, 4.0 * simulated.error);
}

TEST(RunLengthsOfShewhart, RulesThatCompareNeighboursAreSimulated) {
  const Case known("arl-nelson-simulated");
  ShewhartRunOptions options;
  options.rules = RulesOfSet("nelson");
  const auto study = StudyShewhartRuns(Shifts(known), options);
  EXPECT_EQ(study.method, "simulation");
  EXPECT_EQ(study.runs, 20'000U);
  EXPECT_EQ(study.seed, 20260101U);
  known.Check("arl", study.arl);
  for (std::size_t i = 0; i < study.arl.size(); ++i) {
    EXPECT_NEAR(study.standard_error[i], study.sdrl[i] / std::sqrt(20'000.0), 1e-9);
  }
  known.Check("we_1_5_6_arl0", StudyShewhartRuns(std::vector{0.0}, WithRules({1, 5, 6})).arl[0]);
  known.Check("rules_1_2_3_arl0", StudyShewhartRuns(std::vector{0.0}, WithRules({1, 2, 3})).arl[0]);
}

TEST(RunLengthsOfShewhart, ASimulationWithTheSameSeedIsTheSame) {
  auto options = WithRules({1, 3});
  options.runs = 500;
  const auto first = StudyShewhartRuns(std::vector{1.0, 0.0}, options);
  EXPECT_EQ(first.arl[1], StudyShewhartRuns(std::vector{0.0}, options).arl[0]);
  options.seed = 2;
  EXPECT_NE(first.arl[1], StudyShewhartRuns(std::vector{0.0}, options).arl[0]);
}

// Of 50 units with 10 % bad ones more than 11 signal; none is below the lower limit.
TEST(RunLengthsOfShewhart, ChartsOfCountsHaveTheirOwnLaw) {
  ShewhartRunOptions options;
  options.points = PointsOf::Defectives;
  options.mean = 0.1;
  options.size = 50.0;
  const auto study = StudyShewhartRuns(std::vector{0.1, 0.2}, options);
  double above = 0.0;  // P(X > 11), of binomial terms
  for (int x = 12; x <= 50; ++x) {
    above += std::exp(std::lgamma(51.0) - std::lgamma(x + 1.0) - std::lgamma(51.0 - x) +
                      x * std::log(0.1) + (50 - x) * std::log(0.9));
  }
  EXPECT_NEAR(study.oc[0], 1.0 - above, 1e-12);
  EXPECT_NEAR(study.arl[0] * above, 1.0, 1e-9);
  EXPECT_LT(study.arl[1], study.arl[0]);
}

// With a mean of 4 the limits are -2 and 10, and 10 lies on the line.
TEST(RunLengthsOfShewhart, ACountOnALimitIsInside) {
  ShewhartRunOptions options;
  options.points = PointsOf::Defects;
  options.mean = 4.0;
  const auto study = StudyShewhartRuns(std::vector{4.0}, options);
  double inside = 0.0, term = std::exp(-4.0);
  for (int x = 0; x <= 10; term *= 4.0 / ++x) inside += term;
  EXPECT_NEAR(study.oc[0], inside, 1e-12);
}

// 4 lies on the centre line, where it breaks runs of one side.
TEST(RunLengthsOfShewhart, ACountOnTheCentreBreaksARun) {
  auto options = WithRules({1, 9});
  options.points = PointsOf::Defects;
  options.mean = 4.0;
  const auto study = StudyShewhartRuns(std::vector{4.0}, options);
  EXPECT_EQ(study.method, "chain");
  const auto simulated = SimulatedShewhart(options, 4.0, 20'000, 4);
  EXPECT_NEAR(study.arl[0], simulated.mean, 4.0 * simulated.error);
}

TEST(RunLengthsOfShewhart, RefusesWhatLiesOutside) {
  const auto refused = [](auto change) {
    ShewhartRunOptions options;
    change(options);
    EXPECT_THROW(StudyShewhartRuns(std::vector{0.0}, options), std::invalid_argument);
  };
  refused([](auto& options) { options.width = 0.0; });
  refused([](auto& options) { options.width = 11.0; });
  refused([](auto& options) { options.size = 0.5; });
  refused([](auto& options) { options.runs = 10; });
  refused([](auto& options) { options.rules.clear(); });
  refused([](auto& options) { options.rules[0].kind = "yellow2"; });
  refused([](auto& options) { options.rules[0].k = 3; });
  refused([](auto& options) { options.points = PointsOf::Defects; });
}

// With a unit step and k 1 a count of 2 signals at h 1; at h 2 two states solve by hand.
TEST(RunLengthsOfCountCusum, ByHand) {
  CountCusumRunOptions options;
  options.k = options.h = 1.0;
  options.steps = 1;
  const double p0 = std::exp(-0.5), p1 = 0.5 * p0, p2 = 0.125 * p0;
  EXPECT_NEAR(StudyCountCusumRuns(std::vector{0.5}, options).arl[0], 1.0 / (1.0 - p0 - p1), 1e-9);
  options.h = 2.0;
  // a = 1 + (p0 + p1) a + p2 b, b = 1 + p0 a + p1 b from sums 0 and 1.
  const double b_of_a = p0 / (1.0 - p1), b_alone = 1.0 / (1.0 - p1);
  const double a = (1.0 + p2 * b_alone) / (1.0 - p0 - p1 - p2 * b_of_a);
  EXPECT_NEAR(StudyCountCusumRuns(std::vector{0.5}, options).arl[0], a, 1e-9);
  options.head_start = 1.0;
  EXPECT_NEAR(StudyCountCusumRuns(std::vector{0.5}, options).arl[0], b_alone + b_of_a * a, 1e-9);
}

TEST(RunLengthsOfCountCusum, QuartersAsSimulated) {
  CountCusumRunOptions options;
  options.k = 3.25;
  options.h = 7.5;
  options.head_start = 3.75;
  for (const double mean : {2.5, 4.0}) {
    const auto simulated = SimulatedCountCusum(options, mean, 20'000, 9);
    EXPECT_NEAR(StudyCountCusumRuns(std::vector{mean}, options).arl[0], simulated.mean,
                4.0 * simulated.error);
  }
  options.is_upper = false;
  options.k = 2.0;
  const auto simulated = SimulatedCountCusum(options, 2.5, 20'000, 9);
  EXPECT_NEAR(StudyCountCusumRuns(std::vector{2.5}, options).arl[0], simulated.mean,
              4.0 * simulated.error);
}

TEST(RunLengthsOfCountCusum, RefusesWhatIsNoMultiple) {
  CountCusumRunOptions options;
  options.k = 1.3;
  EXPECT_THROW(StudyCountCusumRuns(std::vector{1.0}, options), std::invalid_argument);
  options.k = 1.25;
  options.h = 2.1;
  EXPECT_THROW(StudyCountCusumRuns(std::vector{1.0}, options), std::invalid_argument);
}

TEST(RunLengths, AgreeWithSimulatedRuns) { ExpectAgreement(100'000, 0); }

TEST(Design, DecisionIntervals) {
  const Case known("cusum-design-h");
  std::vector<double> h;
  for (const auto& k : known.Params().at("k")) {
    h.push_back(CusumDecision(k.get<double>(), known.Param("arl0")));
  }
  known.Check("h", h);
  known.Check("h_k05_arl0_500", CusumDecision(0.5, 500.0));
}

TEST(Design, ReachesFromTheSmallestShiftToTheLargest) {
  DesignOptions options;
  for (const double shift : {0.05, 0.5, 5.4, 5.85, 6.0, 6.05, 8.0, 10.0}) {
    for (const double arl0 : {2.0, 370.0, 500.0, 1e4, 1e6}) {
      options.shift = shift;
      options.arl0 = arl0;
      const auto study = StudyDesign(options);
      const auto& cusum = study.cusum;
      ASSERT_EQ(std::isnan(cusum.h), std::isnan(cusum.arl)) << shift << " " << arl0;
      const bool has_note = std::ranges::any_of(
          study.notes, [](const Note& note) { return note.code == "no-design"; });
      EXPECT_EQ(has_note, std::isnan(cusum.h) || std::isnan(study.ewma.width));
      if (std::isnan(cusum.h)) continue;
      CusumRunOptions runs;
      runs.k = cusum.k;
      runs.h = cusum.h;
      EXPECT_NEAR(StudyCusumRuns(std::vector{0.0}, runs).arl[0] / arl0, 1.0, 1e-6)
          << shift << " " << arl0;
    }
  }
}

// With a reference value of 2.7 sigmas the least run length without a shift is 144, with 3 it is
// 370.4: limits of the raw points.
TEST(Design, OfALargeShiftHasACusumWhileItsReferenceValueAllowsOne) {
  DesignOptions options;
  options.arl0 = 370.0;
  options.shift = 5.4;
  EXPECT_GT(StudyDesign(options).cusum.h, 0.0);
  options.shift = 8.0;
  EXPECT_TRUE(std::isnan(StudyDesign(options).cusum.h));
}

TEST(Design, EachChartHasTheRunLengthWithoutAShift) {
  DesignOptions options;
  options.arl0 = 500.0;
  const auto study = StudyDesign(options);
  EXPECT_EQ(study.cusum.k, 0.5);
  const std::vector none{0.0};
  CusumRunOptions cusum;
  cusum.k = study.cusum.k;
  cusum.h = study.cusum.h;
  EXPECT_NEAR(StudyCusumRuns(none, cusum).arl[0], 500.0, 1e-6);
  EwmaRunOptions ewma;
  ewma.weight = study.ewma.weight;
  ewma.width = study.ewma.width;
  EXPECT_NEAR(StudyEwmaRuns(none, ewma).arl[0], 500.0, 1e-6);
  ShewhartRunOptions shewhart;
  shewhart.width = study.shewhart.width;
  EXPECT_NEAR(StudyShewhartRuns(none, shewhart).arl[0], 500.0, 1e-6);
  EXPECT_LT(study.ewma.arl, study.shewhart.arl);
}

// Lucas & Saccucci (1990): a weight of about 0.14 for a shift of 1 at 500.
TEST(Design, TheWeightOfTheEwmaIsTheBestInHundredths) {
  DesignOptions options;
  options.arl0 = 500.0;
  options.exact = false;
  const auto study = StudyDesign(options);
  EXPECT_NEAR(study.ewma.weight, 0.14, 0.011);
  for (const double other : {study.ewma.weight - 0.01, study.ewma.weight + 0.01}) {
    EwmaRunOptions ewma;
    ewma.weight = other;
    ewma.width = EwmaWidth(other, 500.0, false);
    ewma.exact = false;
    EXPECT_GE(StudyEwmaRuns(std::vector{1.0}, ewma).arl[0], study.ewma.arl);
  }
}

TEST(Design, TheWeightIsThatOfAsymptoticLimitsAndANoteSaysSo) {
  DesignOptions options;
  const auto exact = StudyDesign(options);
  ASSERT_EQ(exact.notes.size(), 1U);
  EXPECT_EQ(exact.notes[0].code, "weight-of-asymptotic-limits");
  options.exact = false;
  const auto asymptotic = StudyDesign(options);
  EXPECT_TRUE(asymptotic.notes.empty());
  EXPECT_EQ(exact.ewma.weight, asymptotic.ewma.weight);
  EXPECT_NE(exact.ewma.width, asymptotic.ewma.width);
}

// Of four pieces a shift of 1.5 is 3 sigmas of the mean, found at the second point on average.
TEST(Design, TheLeastSizeReachesTheWantedRunLength) {
  DesignOptions options;
  options.arl0 = 370.398;
  options.shift = 1.5;
  options.wanted = 2.0;
  const auto& shewhart = StudyDesign(options).shewhart;
  EXPECT_NEAR(shewhart.width, 3.0, 1e-6);
  EXPECT_EQ(shewhart.least_size, 4);
  EXPECT_NEAR(shewhart.arl_at_size, 2.0, 1e-5);
}

TEST(Design, RefusesWhatLiesOutside) {
  const auto with = [](double arl0, double shift, double wanted) {
    return DesignOptions{arl0, shift, true, wanted};
  };
  for (const auto& wrong : {with(1.9, 1, 0), with(1.1e6, 1, 0), with(370, 0.04, 0),
                            with(370, 11, 0), with(370, 1, 1.0)}) {
    EXPECT_THROW(StudyDesign(wrong), std::invalid_argument);
  }
}

// Without a shift as the integral equation, and at a weight of 1 as the chart of T2.
TEST(RunLengthsOfMewma, AsFarAsTheyAreKnown) {
  MewmaRunOptions options;
  options.variables = 3;
  options.weight = 0.2;
  options.h = MewmaLimit(3, 0.2, 100);
  options.runs = 4000;
  const auto study = StudyMewmaRuns(std::vector{0.0, 1.0}, options);
  EXPECT_EQ(study.method, "simulation");
  EXPECT_EQ(study.runs, 4000U);
  EXPECT_NEAR(study.arl[0], 100, 4 * study.standard_error[0]);
  EXPECT_LT(study.arl[1], 15);
  EXPECT_LT(study.p05[0], study.median[0]);
  options.exact = true;  // no later, and sooner at first
  EXPECT_LT(StudyMewmaRuns(std::vector{1.0}, options).arl[0], study.arl[1]);
  MewmaRunOptions single;
  single.weight = 1.0;
  single.h = engine::statistics::ChiSquareQuantile(0.99, 2);
  single.runs = 4000;
  const auto found = StudyMewmaRuns(std::vector{1.5}, single);
  const double chance = 1 - engine::statistics::NoncentralChiSquareBelow(single.h, 2, 2.25);
  EXPECT_NEAR(found.arl[0], 1 / chance, 4 * found.standard_error[0]);
}

TEST(RunLengthsOfMewma, WhatLiesOutsideIsRefused) {
  MewmaRunOptions options;
  options.h = 8.0;
  options.runs = 100;
  EXPECT_NO_THROW(StudyMewmaRuns(std::vector{2.0}, options));
  EXPECT_THROW(StudyMewmaRuns(std::vector{-1.0}, options), std::invalid_argument);
  options.runs = 99;
  EXPECT_THROW(StudyMewmaRuns(std::vector{2.0}, options), std::invalid_argument);
  options.runs = 100;
  options.h = 0.0;
  EXPECT_THROW(StudyMewmaRuns(std::vector{2.0}, options), std::invalid_argument);
  options.h = 8.0;
  options.variables = 1;
  EXPECT_THROW(StudyMewmaRuns(std::vector{2.0}, options), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
