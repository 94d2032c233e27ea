// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/SamplingPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"

namespace orvspc::studies {
namespace {

// n of so many units of which a share is bad: the chance of at most c bad ones.
double Binomial(std::int64_t c, std::int64_t n, double p) {
  double term = std::pow(1.0 - p, static_cast<double>(n)), sum = 0.0;
  for (std::int64_t k = 0; k <= c; ++k) {
    sum += term;
    term *= static_cast<double>(n - k) / static_cast<double>(k + 1) * p / (1.0 - p);
  }
  return sum;
}

// The same of n units of a lot with so many bad ones.
double OfLot(std::int64_t c, std::int64_t n, std::int64_t bad, std::int64_t lot) {
  const auto log_ways = [](std::int64_t of, std::int64_t taken) {
    const auto log_factorial = [](std::int64_t i) {
      return std::lgamma(static_cast<double>(i) + 1.0);
    };
    return log_factorial(of) - log_factorial(taken) - log_factorial(of - taken);
  };
  double sum = 0.0;
  for (auto k = std::max<std::int64_t>(0, n + bad - lot); k <= std::min({c, n, bad}); ++k) {
    sum += std::exp(log_ways(bad, k) + log_ways(lot - bad, n - k) - log_ways(lot, n));
  }
  return sum;
}

TEST(DesignSingle, Published) {
  const Case known("single-plan-design");
  std::vector<std::vector<double>> plans, risks;
  for (const auto& point : known.Params().at("points")) {
    const PlanPoints points{point[0], point[1], point[2], point[3]};
    PlanOptions options;
    const auto plan = DesignSingle(points, options);
    ASSERT_TRUE(plan);
    plans.push_back({static_cast<double>(plan->n), static_cast<double>(plan->c)});
    if (risks.empty()) {
      risks.push_back(
          {1.0 - PointOf(*plan, points.aql).accepted, PointOf(*plan, points.rql).accepted});
    }
  }
  known.Check("n_c", plans);
  known.Check("risks", risks);
}

// The first c for which any n keeps both risks, and the least n of these.
TEST(DesignSingle, IsTheFirstThatKeepsBothRisks) {
  engine::statistics::Draws draws;
  for (int round = 0; round < 30; ++round) {
    PlanPoints points;
    points.aql = 0.01 + 0.05 * draws.Uniform();
    points.rql = points.aql * (2.5 + 4.0 * draws.Uniform());
    PlanOptions options;
    const auto plan = DesignSingle(points, options);
    ASSERT_TRUE(plan);
    bool found = false;
    for (std::int64_t c = 0; !found && c <= plan->c; ++c) {
      for (std::int64_t n = c + 1; n <= plan->n; ++n) {
        if (Binomial(c, n, points.rql) > points.beta) continue;
        if (Binomial(c, n, points.aql) < 1.0 - points.alpha) continue;
        found = true;
        EXPECT_EQ(c, plan->c);
        EXPECT_EQ(n, plan->n);
        break;
      }
    }
    EXPECT_TRUE(found);
  }
}

TEST(DesignSingle, OfASmallLotIsHypergeometric) {
  const PlanPoints points;
  PlanOptions options;
  options.lot = 10000;
  EXPECT_EQ(DesignSingle(points, options)->n, 132);
  EXPECT_EQ(options.model, CountModel::Binomial);
  options.lot = 200;
  const auto plan = DesignSingle(points, options);
  ASSERT_TRUE(plan);
  EXPECT_EQ(options.model, CountModel::Hypergeometric);
  EXPECT_LT(plan->n, 132);
  EXPECT_GE(PointOf(*plan, points.aql, options).accepted, 0.95);
  EXPECT_LE(PointOf(*plan, points.rql, options).accepted, 0.10);
  EXPECT_GT(PointOf(SinglePlan{plan->n - 1, plan->c}, points.rql, options).accepted, 0.10);
}

// As plans of a lot are judged: a sample above its tenth by the hypergeometric model.
PlanOptions JudgedBy(std::int64_t size, std::int64_t lot) {
  return {size * 10 > lot ? CountModel::Hypergeometric : CountModel::Binomial, lot};
}

TEST(DesignSingle, OfALotKeepsBothRisksAsItIsJudged) {
  int plans = 0;
  for (std::int64_t lot = 20; lot <= 1500; lot += lot < 1300 ? 37 : 1) {
    for (const auto& points : {PlanPoints{}, PlanPoints{0.02, 0.05, 0.08, 0.05}}) {
      PlanOptions options;
      options.lot = lot;
      const auto plan = DesignSingle(points, options);
      if (!plan) continue;
      ++plans;
      const auto judged = JudgedBy(plan->n, lot);
      EXPECT_EQ(options.model, judged.model) << lot;
      EXPECT_GE(PointOf(*plan, points.aql, judged).accepted, 1.0 - points.alpha) << lot;
      EXPECT_LE(PointOf(*plan, points.rql, judged).accepted, points.beta) << lot;
    }
  }
  EXPECT_GT(plans, 400);
  PlanOptions options;
  options.lot = 1318;
  const auto plan = DesignSingle({}, options);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->n, 132) << "129 would do by the other model, and is no more than a tenth";
  EXPECT_EQ(plan->c, 3);
}

TEST(DesignSingle, NoneIsFoundBeyondItsBounds) {
  PlanOptions options;
  EXPECT_FALSE(DesignSingle({0.01, 0.001, 0.0101, 0.001}, options));
}

TEST(PointOf, OfASinglePlan) {
  const Case known("oc-aoq-ati");
  const SinglePlan plan{static_cast<std::int64_t>(known.Param("n")),
                        static_cast<std::int64_t>(known.Param("c"))};
  PlanOptions options;
  options.lot = static_cast<std::int64_t>(known.Param("N"));
  std::vector<double> accepted, aoq, ati;
  for (const double p : known.Params().at("p")) {
    const auto point = PointOf(plan, p, options);
    accepted.push_back(point.accepted);
    aoq.push_back(point.aoq);
    ati.push_back(point.ati);
    EXPECT_EQ(point.asn, 52.0);
  }
  known.Check("pa", accepted);
  known.Check("aoq", aoq);
  known.Check("ati", ati);
  const auto limit = OutgoingLimitOf(plan, options);
  known.Check("aoql", limit.aoql);
  known.Check("aoql_at", limit.at);
}

TEST(OutgoingLimitOf, OfASmallLotIsThatOfAShareItCanHave) {
  struct Row {
    std::int64_t n, c, lot;
    double aoql;
  };
  const Row rows[] = {{80, 3, 100, 0.00600}, {50, 2, 100, 0.01383}, {30, 1, 50, 0.01032},
                      {400, 8, 2500, NAN},   {12, 0, 115, NAN},     {50, 0, 50, 0.0}};
  for (const auto& row : rows) {
    const SinglePlan plan{row.n, row.c};
    const PlanOptions options{CountModel::Hypergeometric, row.lot};
    const double lot = static_cast<double>(row.lot);
    double greatest = 0.0, at = 0.0;
    for (std::int64_t bad = 0; bad <= row.lot; ++bad) {
      const double share = static_cast<double>(bad) / lot;
      const double aoq =
          OfLot(row.c, row.n, bad, row.lot) * share * static_cast<double>(row.lot - row.n) / lot;
      if (aoq > greatest + 1e-13) {
        greatest = aoq;
        at = share;
      }
    }
    const auto limit = OutgoingLimitOf(plan, options);
    EXPECT_NEAR(limit.aoql, greatest, 1e-11) << row.lot;
    EXPECT_DOUBLE_EQ(limit.at, at) << row.lot;
    if (!std::isnan(row.aoql)) {
      EXPECT_NEAR(limit.aoql, row.aoql, 5e-6) << row.lot;
    }
    // No share is above it, not even one that the lot cannot have.
    for (int i = 0; i <= 300; ++i) {
      EXPECT_LE(PointOf(plan, i / 300.0, options).aoq, limit.aoql) << row.lot << ' ' << i;
    }
  }
  EXPECT_DOUBLE_EQ(OutgoingLimitOf(SinglePlan{30, 1}, {CountModel::Hypergeometric, 50}).at, 0.04);
}

TEST(OutgoingLimitOf, OfADoublePlanOfASmallLotIsTheGreatestOfAllItsShares) {
  for (const std::int64_t lot : {60, 200, 600}) {
    const DoublePlan plan{lot / 20, 0, 4, lot / 10, 3};
    const PlanOptions options{CountModel::Hypergeometric, lot};
    double greatest = 0.0;
    for (std::int64_t bad = 0; bad <= lot; ++bad) {
      const double share = static_cast<double>(bad) / static_cast<double>(lot);
      greatest = std::max(greatest, PointOf(plan, share, options).aoq);
    }
    EXPECT_GT(greatest, 0.0);
    EXPECT_DOUBLE_EQ(OutgoingLimitOf(plan, options).aoql, greatest);
  }
}

// Recomputed with all numbers of bad units up to 1100: the top of the second sample is narrow, and
// higher than that of the first, 0.0179206547 at 952.
TEST(OutgoingLimitOf, OfADoublePlanOfALotIsTheHigherOfItsTops) {
  const DoublePlan plan{20, 0, 8, 1500, 34};
  const PlanOptions options{CountModel::Hypergeometric, 20000};
  const auto limit = OutgoingLimitOf(plan, options);
  EXPECT_NEAR(limit.aoql, 0.018040676659276937, 1e-9);
  EXPECT_DOUBLE_EQ(limit.at, 423.0 / 20000.0);
  EXPECT_GT(limit.aoql, PointOf(plan, 952.0 / 20000.0, options).aoq);
}

// Recomputed by a fine grid of sums of Poisson terms, and a search by thirds about its best.
TEST(OutgoingLimitOf, OfDefectsMayLieAboveOneAUnit) {
  const PlanOptions options{CountModel::Poisson, {}};
  const auto check = [&](const auto& plan, double aoql, double at) {
    const auto limit = OutgoingLimitOf(plan, options);
    EXPECT_NEAR(limit.aoql, aoql, 1e-9) << aoql;
    EXPECT_NEAR(limit.at, at, 1e-5) << aoql;
    for (int i = 0; i <= 2000; ++i) {
      EXPECT_LE(PointOf(plan, i / 100.0, options).aoq, limit.aoql + 1e-12) << aoql << ' ' << i;
    }
  };
  check(SinglePlan{1, 5}, 3.168184815689483, 4.349047570);
  check(SinglePlan{5, 10}, 1.305536897435023, 1.610979015);
  check(SinglePlan{2, 3}, 0.9711904690250753, 1.472593081);
  check(SinglePlan{50, 1}, 0.016799241893143503, 0.032360679);
  check(DoublePlan{1, 2, 6, 1, 7}, 2.2719252382384942, 2.981489309);
  check(DoublePlan{2, 3, 8, 2, 9}, 1.498460682553596, 1.886861709);
}

// The second sample makes a top of its own: 0.018045 at 0.043575 is the lower one.
TEST(OutgoingLimitOf, OfADoublePlanIsTheHigherOfItsTops) {
  const DoublePlan plan{20, 0, 10, 400, 9};
  const auto limit = OutgoingLimitOf(plan);
  EXPECT_NEAR(limit.aoql, 0.018144073424784798, 1e-9);
  EXPECT_NEAR(limit.at, 0.027786794, 1e-6);
}

TEST(SharesUpTo, OfALotAreThoseThatItCanHave) {
  EXPECT_EQ(SharesUpTo(0.5, 4), (std::vector<double>{0.0, 0.125, 0.25, 0.375, 0.5}));
  const PlanOptions small{CountModel::Hypergeometric, 20};
  EXPECT_EQ(SharesUpTo(0.2, 200, small), (std::vector<double>{0.0, 0.05, 0.1, 0.15, 0.2}));
  EXPECT_EQ(SharesUpTo(0.01, 200, small), (std::vector<double>{0.0, 0.05}));
  const PlanOptions large{CountModel::Hypergeometric, 10'000};
  const auto shares = SharesUpTo(0.1234, 200, large);
  ASSERT_EQ(shares.size(), 201U);
  EXPECT_EQ(shares.back(), 0.1234);
  for (const double share : shares) {
    EXPECT_NEAR(share * 10'000.0, std::round(share * 10'000.0), 1e-9);
  }
}

TEST(PointOf, WithoutLotThereIsNoAti) {
  const auto point = PointOf(SinglePlan{50, 1}, 0.02);
  EXPECT_TRUE(std::isnan(point.ati));
  EXPECT_DOUBLE_EQ(point.aoq, 0.02 * point.accepted);
  // A larger lot comes near it.
  PlanOptions options;
  options.lot = 900'000'000;
  EXPECT_NEAR(PointOf(SinglePlan{50, 1}, 0.02, options).aoq, point.aoq, 1e-8);
}

TEST(PointOf, AtTheEndsOfTheScale) {
  PlanOptions options;
  options.lot = 1000;
  for (const auto model : {CountModel::Binomial, CountModel::Hypergeometric, CountModel::Poisson}) {
    options.model = model;
    const auto none = PointOf(SinglePlan{50, 1}, 0.0, options);
    EXPECT_EQ(none.accepted, 1.0);
    EXPECT_EQ(none.aoq, 0.0);
    EXPECT_EQ(none.ati, 50.0);
    EXPECT_NEAR(PointOf(SinglePlan{50, 1}, 1.0, options).accepted, 0.0, 1e-12);
  }
}

TEST(PointOf, ALargeLotIsNearlyBinomialAndRareDefectsAreNearlyPoisson) {
  const SinglePlan plan{80, 2};
  PlanOptions options;
  const double binomial = PointOf(plan, 0.03, options).accepted;
  EXPECT_NEAR(binomial, Binomial(2, 80, 0.03), 1e-12);
  options.model = CountModel::Poisson;
  EXPECT_NEAR(PointOf(plan, 0.03, options).accepted, std::exp(-2.4) * (1.0 + 2.4 + 2.4 * 2.4 / 2.0),
              1e-12);
  options.model = CountModel::Hypergeometric;
  options.lot = 100'000;
  EXPECT_NEAR(PointOf(plan, 0.03, options).accepted, binomial, 1e-3);
  // 10 of 20 units without any of 4 bad ones: (16 over 10) / (20 over 10).
  options.lot = 20;
  EXPECT_NEAR(PointOf(SinglePlan{10, 0}, 0.2, options).accepted, 8008.0 / 184756.0, 1e-12);
}

TEST(PointOf, OfADoublePlan) {
  const Case known("double-plan");
  const auto param = [&](const char* name) { return static_cast<std::int64_t>(known.Param(name)); };
  const DoublePlan plan{param("n1"), param("c1"), param("r1"), param("n2"), param("c2")};
  std::vector<std::vector<double>> rows;
  for (const double p : known.Params().at("p")) {
    const auto [first, second] = AcceptedBySample(plan, p);
    const auto point = PointOf(plan, p);
    rows.push_back({first, second, point.asn});
    EXPECT_NEAR(point.accepted, first + second, 1e-15);
  }
  known.Check("first_second_asn", rows);
}

TEST(PointOf, ADoublePlanOfASmallLotByAllItsSamples) {
  // 3 bad of 10; 3 are taken first, then 3 of the others.
  const DoublePlan plan{3, 0, 2, 3, 1};
  PlanOptions options;
  options.model = CountModel::Hypergeometric;
  options.lot = 10;
  const auto [first, second] = AcceptedBySample(plan, 0.3, options);
  EXPECT_NEAR(first, 35.0 / 120.0, 1e-12);
  // One bad of 3 has 63/120; then none of 3 out of 7 with 2 bad ones: 10/35.
  EXPECT_NEAR(second, 63.0 / 120.0 * 10.0 / 35.0, 1e-12);
}

TEST(DesignDouble, HasTheLeastMeanSampleOfAll) {
  const PlanPoints points{0.02, 0.05, 0.15, 0.10};
  for (const std::int64_t ratio : {1, 2}) {
    PlanOptions options;
    const auto plan = DesignDouble(points, ratio, options);
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->n2, ratio * plan->n1);
    EXPECT_EQ(plan->r1, plan->c2 + 1);
    double least = INFINITY;
    for (std::int64_t c1 = 0; c1 < 6; ++c1)
      for (std::int64_t c2 = c1 + 1; c2 < 10; ++c2)
        for (std::int64_t n1 = 1; n1 < 60; ++n1) {
          const DoublePlan other{n1, c1, c2 + 1, ratio * n1, c2};
          if (PointOf(other, points.rql).accepted > points.beta) continue;
          const auto at_aql = PointOf(other, points.aql);
          if (at_aql.accepted < 1.0 - points.alpha) continue;
          least = std::min(least, at_aql.asn);
        }
    EXPECT_NEAR(PointOf(*plan, points.aql).asn, least, 1e-9);
  }
}

TEST(DesignDouble, OfALotKeepsBothRisksAsItIsJudged) {
  const PlanPoints points{0.02, 0.05, 0.10, 0.10};
  for (const std::int64_t lot : {60, 100, 430, 700, 900, 1000, 1100, 1200, 1500}) {
    PlanOptions options;
    options.lot = lot;
    const auto plan = DesignDouble(points, 1, options);
    ASSERT_TRUE(plan) << lot;
    const auto judged = JudgedBy(plan->n1 + plan->n2, lot);
    EXPECT_EQ(options.model, judged.model) << lot;
    EXPECT_GE(PointOf(*plan, points.aql, judged).accepted, 0.95) << lot;
    EXPECT_LE(PointOf(*plan, points.rql, judged).accepted, 0.10) << lot;
  }
}

TEST(DesignDouble, EndsAtItsBoundOfBadUnits) {
  PlanOptions options;
  const PlanPoints near{0.01, 0.05, 0.013, 0.10};
  EXPECT_FALSE(DesignDouble(near, 1, options));
  // So many more bad units it would need.
  const auto single = DesignSingle(near, options);
  ASSERT_TRUE(single);
  EXPECT_GT(single->c, kMostAcceptedOfTwo);
}

TEST(DesignDouble, NeedsFewerUnitsThanASinglePlan) {
  const PlanPoints points;
  PlanOptions options;
  const auto plan = DesignDouble(points, 1, options);
  ASSERT_TRUE(plan);
  EXPECT_LT(PointOf(*plan, points.aql).asn, static_cast<double>(DesignSingle(points, options)->n));
}

TEST(DesignVariables, Published) {
  const Case known("variables-plan");
  const PlanPoints points{known.Param("p1"), known.Param("alpha"), known.Param("p2"),
                          known.Param("beta")};
  const auto nomograph = NomographOf(points);
  known.Check("approx_k_nknown_nunknown", {nomograph.k, nomograph.n_known, nomograph.n_unknown});
  const auto unknown = DesignVariables(points, false);
  ASSERT_TRUE(unknown);
  known.Check("exact_unknown", {static_cast<double>(unknown->n), unknown->k});
  EXPECT_NEAR(PointOf(*unknown, points.aql).accepted, 0.95, 1e-9);
  EXPECT_LE(PointOf(*unknown, points.rql).accepted, 0.10);
  const auto sigma_known = DesignVariables(points, true);
  ASSERT_TRUE(sigma_known);
  EXPECT_EQ(sigma_known->n, 15);
  EXPECT_NEAR(PointOf(*sigma_known, points.aql).accepted, 0.95, 1e-12);
  EXPECT_LE(PointOf(*sigma_known, points.rql).accepted, 0.10);
}

// Lots of a normal process that is sampled are taken as often as the plan says.
TEST(DesignVariables, TakesAsManyLotsAsItSays) {
  const VariablesPlan plan{10, 1.5, false};
  const double share = 0.05, z = engine::statistics::NormalUpperQuantile(share);
  engine::statistics::Draws draws;
  constexpr int kLots = 20'000;
  int taken = 0;
  for (int lot = 0; lot < kLots; ++lot) {
    double sum = 0.0, squares = 0.0;
    for (int i = 0; i < 10; ++i) {
      const double x = draws.Normal();
      sum += x;
      squares += x * x;
    }
    const double mean = sum / 10.0, s = std::sqrt((squares - sum * mean) / 9.0);
    taken += (z - mean) / s >= plan.k ? 1 : 0;
  }
  const double expected = PointOf(plan, share).accepted;
  EXPECT_NEAR(taken, expected * kLots, 4.0 * std::sqrt(expected * (1.0 - expected) * kLots));
}

TEST(SamplingPlan, RefusesWhatLiesOutside) {
  PlanOptions options;
  const auto design = [&](PlanPoints points) { return DesignSingle(points, options); };
  EXPECT_THROW(design({0.0, 0.05, 0.05, 0.10}), std::invalid_argument);
  EXPECT_THROW(design({0.05, 0.05, 0.05, 0.10}), std::invalid_argument);
  EXPECT_THROW(design({0.01, 0.05, 1.0, 0.10}), std::invalid_argument);
  EXPECT_THROW(design({0.01, 0.0, 0.05, 0.10}), std::invalid_argument);
  EXPECT_THROW(design({0.01, 0.05, 0.05, 1.0}), std::invalid_argument);
  EXPECT_THROW(DesignDouble({}, 0, options), std::invalid_argument);
  EXPECT_THROW(PointOf(SinglePlan{0, 0}, 0.1), std::invalid_argument);
  EXPECT_THROW(PointOf(SinglePlan{1, -1}, 0.1), std::invalid_argument);
  EXPECT_THROW(PointOf(SinglePlan{10, 1}, 1.1), std::invalid_argument);
  EXPECT_THROW(PointOf(DoublePlan{10, 1, 2, 10, 2}, 0.1), std::invalid_argument);
  EXPECT_THROW(PointOf(VariablesPlan{1, 1.5, false}, 0.1), std::invalid_argument);
  options.lot = 5;
  EXPECT_THROW(PointOf(SinglePlan{10, 1}, 0.1, options), std::invalid_argument);
  options.lot.reset();
  options.model = CountModel::Hypergeometric;
  EXPECT_THROW(PointOf(SinglePlan{10, 1}, 0.1, options), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
