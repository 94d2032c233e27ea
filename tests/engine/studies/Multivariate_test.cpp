// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Multivariate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/statistics/Covariance.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using namespace engine;
using platform::kNaN;
using Vectors = std::vector<std::vector<double>>;

void Add(Stretch& stretch, const Vectors& subgroup) {
  if (stretch.first_piece.empty()) stretch.first_piece.push_back(0);
  for (const auto& vector : subgroup) {
    stretch.pieces.insert(stretch.pieces.end(), vector.begin(), vector.end());
  }
  stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
  stretch.points.push_back(kNaN);
}

Stretch Of(const std::vector<Vectors>& subgroups) {
  Stretch stretch;
  for (const auto& subgroup : subgroups) Add(stretch, subgroup);
  return stretch;
}

Stretch Singles(const Vectors& vectors) {
  Stretch stretch;
  for (const auto& vector : vectors) Add(stretch, {vector});
  return stretch;
}

const std::vector<std::string> kTwo = {"A", "B"}, kThree = {"A", "B", "C"};

// Subgroups of a case, and its single vectors.
Stretch Ryan() {
  const Case known("t2-subgroups");
  const auto sample = known.Column("sample"), x1 = known.Column("x1"), x2 = known.Column("x2");
  std::map<double, Vectors> subgroups;
  for (std::size_t i = 0; i < sample.size(); ++i) subgroups[sample[i]].push_back({x1[i], x2[i]});
  Stretch stretch;
  for (const auto& subgroup : subgroups) Add(stretch, subgroup.second);
  return stretch;
}

Stretch Fibres() {
  const Case known("t2-individuals");
  const auto strength = known.Column("strength"), diameter = known.Column("diameter");
  Stretch stretch;
  for (std::size_t i = 0; i < strength.size(); ++i) Add(stretch, {{strength[i], diameter[i]}});
  return stretch;
}

Vectors Rows(const std::vector<double>& cells, std::size_t p) {
  Vectors rows;
  for (std::size_t i = 0; i < cells.size(); i += p) {
    rows.emplace_back(cells.begin() + static_cast<std::ptrdiff_t>(i),
                      cells.begin() + static_cast<std::ptrdiff_t>(i + p));
  }
  return rows;
}

T2Options WithAlpha(double alpha) {
  T2Options options;
  options.alpha = alpha;
  return options;
}

TEST(StudyT2, SubgroupsAsPublished) {
  const Case known("t2-subgroups");
  const auto options = WithAlpha(known.Param("alpha"));
  const auto data = Ryan();
  const auto study = StudyT2(data, kTwo, options);
  known.Check("center", study.estimates.centre);
  known.Check("cov", Rows(study.estimates.covariance, 2));
  known.Check("t2", study.t2);
  known.Check("ucl_phase1", study.upper[0]);
  known.Check(
      "ucl_phase2",
      StudyT2(Of({{{50, 30}, {50, 30}, {50, 30}, {50, 30}}}), kTwo, options, &data).upper[0]);
  std::vector<double> signals;
  for (std::size_t i = 0; i < study.signals.size(); ++i) {
    if (study.signals[i] != 0) signals.push_back(static_cast<double>(i + 1));
  }
  known.Check("signals", signals);
  EXPECT_EQ(study.estimates.estimator, "pooled");
  EXPECT_EQ(study.estimates.degrees, 60.0);
  EXPECT_EQ(study.estimates.used, 80);
  EXPECT_TRUE(study.notes.empty());
}

TEST(StudyT2, AlphaPerVariable) {
  T2Options options;
  options.per_variable = true;
  const auto study = StudyT2(Ryan(), kTwo, options);
  EXPECT_NEAR(study.alpha, Case("t2-subgroups").Param("alpha"), 1e-15);
  EXPECT_NEAR(study.upper[0], 11.039756663, 1e-8);
}

TEST(StudyT2, SingleVectorsAsPublished) {
  const Case known("t2-individuals");
  const auto options = WithAlpha(known.Param("alpha"));
  const auto data = Fibres();
  const auto study = StudyT2(data, kTwo, options);
  known.Check("cov", Rows(study.estimates.covariance, 2));
  known.Check("t2", study.t2);
  known.Check("ucl", study.upper[0]);
  known.Check("ucl_phase2", StudyT2(Singles({{115, 1}}), kTwo, options, &data).upper[0]);
  EXPECT_EQ(study.estimates.estimator, "sample");
  EXPECT_TRUE(study.variance.points.empty());
}

TEST(StudyT2, GeneralizedVarianceAsPublished) {
  const Case known("generalized-variance");
  const auto study = StudyT2(Ryan(), kTwo);
  known.Check("dets", study.variance.points);
  const auto moments = statistics::DeterminantMomentsOf(known.Param("n"),
                                                        static_cast<std::size_t>(known.Param("p")));
  known.Check("b1", moments.mean);
  known.Check("b2", moments.variance);
  known.Check("cl", study.variance.centre[0]);
  known.Check("ucl", study.variance.upper[0]);
  known.Check("lcl", study.variance.lower[0]);
  EXPECT_EQ(study.variance.signals[4], 0);
}

TEST(StudyT2, TermsAsPublished) {
  const Case known("t2-decomposition");
  const auto study = StudyT2(Ryan(), kTwo);
  std::vector<double> t2;
  Vectors unconditional, conditional;
  for (const auto& sample : known.Params().at("samples")) {
    const auto i = sample.get<std::size_t>() - 1;
    t2.push_back(study.t2[i]);
    const auto terms = study.TermsOf(i);
    unconditional.push_back({terms[0].unconditional, terms[1].unconditional});
    conditional.push_back({terms[0].conditional, terms[1].conditional});
    EXPECT_NEAR(terms[0].unconditional + terms[1].conditional, study.t2[i], 1e-10);
    EXPECT_TRUE(std::isnan(terms[0].p_unconditional) && std::isnan(terms[1].p_conditional));
  }
  known.Check("t2", t2);
  known.Check("unconditional", unconditional);
  known.Check("conditional", conditional);
}

TEST(StudyT2, TermsOfANewPointHaveTheirP) {
  const Case known("t2-decomposition-phase2");
  const auto mean = known.Params().at("mean").get<std::vector<double>>();
  const auto base = Ryan();
  const auto study = StudyT2(Of({Vectors(4, mean)}), kTwo, {}, &base);
  known.Check("t2", study.t2[0]);
  const auto terms = study.TermsOf(0);
  known.Check("unconditional", {terms[0].unconditional, terms[1].unconditional});
  known.Check("conditional", {terms[0].conditional, terms[1].conditional});
  known.Check("p_unconditional", {terms[0].p_unconditional, terms[1].p_unconditional});
  known.Check("p_conditional", {terms[0].p_conditional, terms[1].p_conditional});
  EXPECT_NEAR(terms[0].deviation, 50 - 60.375, 1e-12);
}

// Simulated, of three variables that hang together.
class Process {
 public:
  explicit Process(std::uint64_t seed) : draws_(seed) {}
  std::vector<double> Next() {
    const double a = draws_.Normal(), b = draws_.Normal(), c = draws_.Normal();
    return {10 + a, 20 + 0.8 * a + 0.6 * b, 5 + 0.5 * a - 0.5 * b + c};
  }
  Vectors Subgroup(std::size_t n) {
    Vectors vectors;
    while (vectors.size() < n) vectors.push_back(Next());
    return vectors;
  }
  Stretch Points(std::size_t m, std::size_t n) {
    Stretch stretch;
    for (std::size_t i = 0; i < m; ++i) Add(stretch, Subgroup(n));
    return stretch;
  }

 private:
  statistics::Draws draws_;
};

// A conditional term is T2 less that of the other variables alone.
TEST(StudyT2, AConditionalTermIsWhatTheVariableAddsToTheOthers) {
  const auto data = Process(1).Points(25, 4);
  const auto study = StudyT2(data, kThree);
  for (std::size_t without = 0; without < 3; ++without) {
    Stretch others;
    for (std::size_t i = 0; i < 25; ++i) {
      const auto pieces = data.PiecesOf(i);
      Vectors subgroup;
      for (std::size_t at = 0; at < pieces.size(); at += 3) {
        auto& vector = subgroup.emplace_back();
        for (std::size_t j = 0; j < 3; ++j) {
          if (j != without) vector.push_back(pieces[at + j]);
        }
      }
      Add(others, subgroup);
    }
    const auto rest = StudyT2(others, kTwo);
    for (std::size_t i = 0; i < 25; ++i) {
      EXPECT_NEAR(study.TermsOf(i)[without].conditional, study.t2[i] - rest.t2[i], 1e-9);
    }
  }
}

// By hand: T2 of some of the variables alone, by what is before a variable and with it.
TEST(StudyT2, EveryOrderOfTheTerms) {
  Process process(21);
  const auto base = process.Points(20, 4);
  const auto point = Of({Vectors(4, {13, 20, 6})});
  const auto among = [](const Stretch& stretch, const std::vector<std::size_t>& places) {
    Stretch some;
    for (std::size_t i = 0; i + 1 < stretch.first_piece.size(); ++i) {
      const auto pieces = stretch.PiecesOf(i);
      Vectors subgroup;
      for (std::size_t at = 0; at < pieces.size(); at += 3) {
        auto& vector = subgroup.emplace_back();
        for (const auto j : places) vector.push_back(pieces[at + j]);
      }
      Add(some, subgroup);
    }
    return some;
  };
  const auto study = StudyT2(point, kThree, {}, &base);
  const auto orders = OrdersOf(study, 0);
  ASSERT_EQ(orders.size(), 6U);
  EXPECT_EQ(orders[0].variables, (std::vector<std::size_t>{0, 1, 2}));
  EXPECT_EQ(orders[5].variables, (std::vector<std::size_t>{2, 1, 0}));
  for (const auto& order : orders) {
    const auto first = order.variables[0], second = order.variables[1], third = order.variables[2];
    const auto whole = study.TermsOf(0);
    EXPECT_NEAR(order.terms[0], whole[first].unconditional, 1e-9);
    EXPECT_NEAR(order.terms[2], whole[third].conditional, 1e-9);
    EXPECT_NEAR(order.terms[0] + order.terms[1] + order.terms[2], study.t2[0], 1e-9);
    EXPECT_NEAR(order.p[0], whole[first].p_unconditional, 1e-12);
    EXPECT_NEAR(order.p[2], whole[third].p_conditional, 1e-12);
    // The one between is what the chart of these two alone has as conditional.
    const auto two = among(base, {first, second});
    const auto pair = StudyT2(among(point, {first, second}), kTwo, {}, &two);
    EXPECT_NEAR(order.terms[1], pair.TermsOf(0)[1].conditional, 1e-9);
    EXPECT_NEAR(order.p[1], pair.TermsOf(0)[1].p_conditional, 1e-12);
  }
  const auto of_base = OrdersOf(StudyT2(base, kThree), 0);
  for (const double p : of_base[3].p) EXPECT_TRUE(std::isnan(p));
  EXPECT_TRUE(OrdersOf(StudyT2(Singles({{kNaN, 1}, {2, 1}}), kTwo), 0).empty());
}

TEST(StudyT2, OrdersAreThoseOfSixVariablesAtMost) {
  statistics::Draws draws(3);
  for (const std::size_t p : {6U, 7U}) {
    Stretch data;
    for (int i = 0; i < 40; ++i) {
      std::vector<double> vector;
      for (std::size_t j = 0; j < p; ++j) vector.push_back(draws.Normal());
      Add(data, {vector});
    }
    const std::vector<std::string> names(p, "A");
    const auto study = StudyT2(data, names);
    if (p == 6) {
      const auto orders = OrdersOf(study, 7);
      EXPECT_EQ(orders.size(), 720U);
      double sum = 0.0;
      for (const double term : orders[500].terms) sum += term;
      EXPECT_NEAR(sum, study.t2[7], 1e-9);
    } else {
      EXPECT_THROW(OrdersOf(study, 7), std::invalid_argument);
    }
  }
}

TEST(StudyT2, ABrokenRelationIsLargeAndEachVariableIsSmall) {
  const auto base = Ryan();
  const auto study = StudyT2(Of({Vectors(4, {62, 13})}), kTwo, {}, &base);
  EXPECT_EQ(study.signals[0], 1);
  for (const auto& term : study.TermsOf(0)) {
    EXPECT_GT(term.p_unconditional, 0.1);
    EXPECT_LT(term.p_conditional, 0.0005);
  }
}

TEST(StudyT2, DifferencesByHand) {
  T2Options options;
  options.covariance = VectorCovariance::Successive;
  const auto study = StudyT2(Singles({{0, 0}, {2, 1}, {1, 3}, {4, 2}}), kTwo, options);
  // v: (2, 1), (-1, 2), (3, -1)
  const std::vector<double> expected = {14.0 / 6, -3.0 / 6, -3.0 / 6, 6.0 / 6};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(study.estimates.covariance[i], expected[i], 1e-15);
  }
  EXPECT_EQ(study.estimates.estimator, "successive");
  EXPECT_NEAR(study.upper[0], statistics::ChiSquareQuantile(1 - 0.0027, 2), 1e-12);
  EXPECT_NEAR(study.estimates.degrees, 18.0 / 8, 1e-15);
}

TEST(StudyT2, DifferencesSeeAStepThatWidensTheSampleCovariance) {
  Process process(5);
  Vectors vectors;
  for (int i = 0; i < 40; ++i) {
    auto vector = process.Next();
    if (i >= 20) vector[1] += 4.0;
    vectors.push_back(vector);
  }
  T2Options options;
  const auto sample = StudyT2(Singles(vectors), kThree, options);
  options.covariance = VectorCovariance::Successive;
  const auto successive = StudyT2(Singles(vectors), kThree, options);
  EXPECT_LT(successive.estimates.covariance[4], 0.6 * sample.estimates.covariance[4]);
}

// How many points of charts in control signal at alpha 0.05; four standard errors.
void ExpectRate(std::size_t signals, std::size_t points, const std::string& what) {
  const double rate = static_cast<double>(signals) / static_cast<double>(points);
  EXPECT_NEAR(rate, 0.05, 4 * std::sqrt(0.05 * 0.95 / static_cast<double>(points))) << what;
}

TEST(StudyT2, LimitsHoldTheirAlphaWhereSizesDiffer) {
  Process process(3);
  std::size_t signals[2] = {}, later_signals[2] = {};
  constexpr std::size_t kCharts = 2000;
  for (std::size_t chart = 0; chart < kCharts; ++chart) {
    const auto subgroups = [&] {
      return Of(
          {process.Subgroup(2), process.Subgroup(18), process.Subgroup(2), process.Subgroup(18)});
    };
    const auto data = subgroups();
    const auto study = StudyT2(data, kThree, WithAlpha(0.05));
    const auto later = StudyT2(subgroups(), kThree, WithAlpha(0.05), &data);
    for (std::size_t i = 0; i < 2; ++i) {  // the others hang together with these
      signals[i] += study.signals[i];
      later_signals[i] += later.signals[i];
    }
  }
  for (std::size_t size = 0; size < 2; ++size) {
    ExpectRate(signals[size], kCharts, "used " + std::to_string(size));
    ExpectRate(later_signals[size], kCharts, "later " + std::to_string(size));
  }
}

TEST(StudyT2, LimitsOfDifferencesHoldTheirAlpha) {
  Process process(8);
  auto options = WithAlpha(0.05);
  options.covariance = VectorCovariance::Successive;
  std::size_t used = 0, later = 0, points = 0;
  for (int chart = 0; chart < 150; ++chart) {
    const auto base = process.Points(40, 1);
    for (const auto signal : StudyT2(base, kThree, options).signals) used += signal;
    const auto next = StudyT2(process.Points(40, 1), kThree, options, &base);
    for (const auto signal : next.signals) later += signal;
    points += 40;
  }
  const auto share = [&](std::size_t signals) {
    return static_cast<double>(signals) / static_cast<double>(points);
  };
  // Both are approximations, and points of a chart hang together.
  EXPECT_NEAR(share(used), 0.05, 0.013);
  EXPECT_NEAR(share(later), 0.05, 0.013);
}

TEST(StudyT2, TermsOfNewPointsHoldTheirLevel) {
  Process process(12);
  std::size_t conditional = 0, unconditional = 0, points = 0;
  for (int chart = 0; chart < 1500; ++chart) {
    const auto base = process.Points(10, 4);
    const auto study = StudyT2(process.Points(1, 4), kThree, {}, &base);
    conditional += study.TermsOf(0)[1].p_conditional < 0.05 ? 1 : 0;
    unconditional += study.TermsOf(0)[2].p_unconditional < 0.05 ? 1 : 0;
    ++points;
  }
  ExpectRate(conditional, points, "conditional");
  ExpectRate(unconditional, points, "unconditional");
}

TEST(StudyT2, GivenParameters) {
  T2Options options;
  options.known = VectorParameters{{60, 18}, {222, 103, 103, 57}};
  const auto study = StudyT2(Ryan(), kTwo, options);
  EXPECT_NEAR(study.upper[0], statistics::ChiSquareQuantile(1 - 0.0027, 2), 1e-12);
  EXPECT_EQ(study.estimates.estimator, "given");
  EXPECT_TRUE(std::isnan(study.estimates.degrees));
  const double d0 = 71 - 60, d1 = 22.75 - 18;  // of the first subgroup
  const double det = 222.0 * 57 - 103.0 * 103;
  EXPECT_NEAR(study.t2[0], 4 * (57 * d0 * d0 - 206 * d0 * d1 + 222 * d1 * d1) / det, 1e-10);
  EXPECT_NEAR(study.variance.centre[0], det * 2.0 / 3.0, 1e-8);
  EXPECT_NEAR(study.TermsOf(0)[0].p_unconditional, statistics::ChiSquareAbove(4 * d0 * d0 / 222, 1),
              1e-14);
}

TEST(StudyT2, ABaseIsWhatLaterPointsAreJudgedBy) {
  const auto data = Ryan();
  auto first = data;
  first.first_piece.resize(16);
  first.points.resize(15);
  T2Options options;
  options.base = 15;
  const auto study = StudyT2(data, kTwo, options);
  const auto base = StudyT2(first, kTwo);
  const auto later = StudyT2(data, kTwo, {}, &first);
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(study.t2[i], later.t2[i]);
    EXPECT_EQ(study.upper[i], i < 15 ? base.upper[i] : later.upper[i]);
  }
  EXPECT_LT(study.upper[14], study.upper[15]);
  EXPECT_EQ(study.estimates.left, 20);
  auto frozen = data;
  frozen.phase.freeze_after = 15;
  EXPECT_EQ(StudyT2(frozen, kTwo).upper, study.upper);
}

TEST(StudyT2, APointThatIsNotUsedIsShownAndForgotten) {
  auto data = Ryan();
  data.used.assign(20, 1);
  data.used[9] = 0;
  const auto study = StudyT2(data, kTwo);
  EXPECT_EQ(study.estimates.subgroups, 19);
  EXPECT_EQ(study.estimates.left, 4);
  EXPECT_GT(study.t2[9], study.upper[9]);
  EXPECT_EQ(study.signals[9], 0);
  EXPECT_GT(study.upper[9], study.upper[8]);
  EXPECT_FALSE(std::isnan(study.TermsOf(9)[0].p_conditional));
}

TEST(StudyT2, AVectorThatLacksAValueIsLeftOut) {
  auto data = Ryan();
  data.pieces[1] = kNaN;                                       // of the first vector
  for (std::size_t i = 8; i < 16; ++i) data.pieces[i] = kNaN;  // of the second subgroup
  const auto study = StudyT2(data, kTwo);
  EXPECT_EQ(study.estimates.left, 5);
  EXPECT_EQ(study.estimates.used, 75);
  EXPECT_EQ(study.sizes[0], 3.0);
  EXPECT_EQ(study.sizes[1], 0.0);
  EXPECT_TRUE(std::isnan(study.t2[1]) && std::isnan(study.means[2]));
  EXPECT_EQ(study.terms.size(), 40U);
  EXPECT_NEAR(study.means[0], (84 + 79 + 49) / 3.0, 1e-12);
}

TEST(StudyT2, DependentVariablesAreNamed) {
  Process process(4);
  Stretch sums, constant;
  for (int i = 0; i < 30; ++i) {
    auto vector = process.Next();
    vector[2] = 3 * vector[0] - vector[1];
    Add(sums, {vector});
    vector[2] = 0.1;
    Add(constant, {vector});
  }
  const auto study = StudyT2(sums, kThree);
  EXPECT_EQ(study.estimates.dependent, (std::vector<std::size_t>{0, 1, 2}));
  ASSERT_TRUE(Has(study.notes, "dependent"));
  EXPECT_EQ(study.notes.back().text,
            "A, B and C are linearly dependent, so there are no distances.");
  EXPECT_TRUE(std::isnan(study.t2[0]) && std::isnan(study.upper[0]));
  const auto still = StudyT2(constant, kThree);
  EXPECT_EQ(still.notes.back().text, "C has no spread, so there are no distances.");
}

TEST(StudyT2, TooFewAndFew) {
  Process process(6);
  EXPECT_TRUE(Has(StudyT2(process.Points(4, 1), kThree).notes, "too-few"));
  const auto few = StudyT2(process.Points(5, 1), kThree);
  EXPECT_TRUE(Has(few.notes, "few-data"));
  EXPECT_FALSE(std::isnan(few.t2[0]));
  EXPECT_TRUE(StudyT2(process.Points(20, 1), kThree).notes.empty());
  // One subgroup, and too few vectors within two.
  EXPECT_TRUE(Has(StudyT2(process.Points(1, 9), kThree).notes, "too-few"));
  EXPECT_TRUE(Has(StudyT2(process.Points(3, 2), kThree).notes, "too-few"));
  EXPECT_FALSE(Has(StudyT2(process.Points(4, 2), kThree).notes, "too-few"));
  const auto none = StudyT2({}, kThree);
  EXPECT_EQ(none.notes.at(0).text, "0 subgroups are too few: 2 are needed.");
  EXPECT_EQ(none.estimates.estimator, "");
}

TEST(StudyT2, SubgroupsWithNoMoreVectorsThanVariablesHaveNoGeneralizedVariance) {
  const auto study = StudyT2(Process(2).Points(25, 3), kThree);
  EXPECT_TRUE(study.variance.points.empty());
  EXPECT_TRUE(Has(study.notes, "no-variance"));
}

TEST(StudyT2, RefusesWhatLiesOutside) {
  const auto data = Ryan();
  EXPECT_THROW(StudyT2(data, kTwo, WithAlpha(1e-7)), std::invalid_argument);
  EXPECT_THROW(StudyT2(data, kTwo, WithAlpha(0.6)), std::invalid_argument);
  EXPECT_THROW(StudyT2(data, kThree), std::invalid_argument);
  EXPECT_THROW(StudyT2(data, std::vector<std::string>{"A"}), std::invalid_argument);
  for (const auto& known :
       {VectorParameters{{1}, {1, 0, 0, 1}}, VectorParameters{{1, 2}, {1, 0}},
        VectorParameters{{1, 2}, {1, 0.5, 0.4, 1}}, VectorParameters{{1, 2}, {1, 1, 1, 1}},
        VectorParameters{{1, kNaN}, {1, 0, 0, 1}}}) {
    T2Options options;
    options.known = known;
    EXPECT_THROW(StudyT2(data, kTwo, options), std::invalid_argument);
  }
}

TEST(StudyT2, TheEllipseHasOneDistance) {
  const auto study = StudyT2(Ryan(), kTwo);
  const auto ellipse = EllipseOf(study.estimates, study.upper[0] / 4);
  ASSERT_GT(ellipse.x.size(), 10U);
  T2Options options;
  options.known = VectorParameters{study.estimates.centre, study.estimates.covariance};
  for (std::size_t i = 0; i < ellipse.x.size(); ++i) {
    const auto on = StudyT2(Of({Vectors(4, {ellipse.x[i], ellipse.y[i]})}), kTwo, options);
    EXPECT_NEAR(on.t2[0], study.upper[0], 1e-9);
  }
  EXPECT_TRUE(EllipseOf(study.estimates, kNaN).x.empty());
}

TEST(StudyMewma, RunLengthsAsPublished) {
  const Case known("arl-mewma");
  const auto p = static_cast<std::size_t>(known.Param("p"));
  std::vector<double> lengths;
  for (const auto& set : known.Params().at("sets")) {
    lengths.push_back(MewmaRunLength(p, set[0], set[1]));
  }
  known.Check("arl", lengths);
  known.Check("h4_p2_l01_arl200", MewmaLimit(2, 0.1, 200));
  known.Check("arl0_p4_l01_h1273", MewmaRunLength(4, 0.1, 12.73));
}

TEST(StudyMewma, AWeightOfOneIsTheChartOfT2) {
  for (const std::size_t p : {2U, 5U, 20U}) {
    const double h = statistics::ChiSquareQuantile(1 - 1.0 / 200, static_cast<double>(p));
    EXPECT_NEAR(MewmaRunLength(p, 1.0, h), 200, 1e-6);
    EXPECT_NEAR(MewmaLimit(p, 1.0, 200), h, 1e-8);
  }
  MewmaOptions options;
  options.weight = 1.0;
  const auto study = StudyMewma(Ryan(), kTwo, options);
  const auto t2 = StudyT2(Ryan(), kTwo);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_NEAR(study.t2[i], t2.t2[i], 1e-9);
}

TEST(StudyMewma, LimitAndRunLengthAreInverse) {
  for (const double weight : {0.01, 0.05, 0.5}) {
    for (const double arl0 : {20.0, 370.0, 1e5}) {
      EXPECT_NEAR(MewmaRunLength(3, weight, MewmaLimit(3, weight, arl0)) / arl0, 1, 1e-8);
    }
  }
  EXPECT_TRUE(std::isnan(MewmaRunLength(2, 0.1, 500)));
}

TEST(StudyMewma, ByHand) {
  MewmaOptions options;
  options.known = VectorParameters{{0, 0}, {1, 0, 0, 4}};
  options.weight = 0.5;
  options.h = 9.0;
  const auto data = Singles({{2, 0}, {0, 4}, {0, 0}});
  const auto study = StudyMewma(data, kTwo, options);
  const double many = 0.5 / 1.5;
  EXPECT_NEAR(study.t2[0], 1 / many, 1e-12);
  EXPECT_NEAR(study.t2[1], (0.25 + 1) / many, 1e-12);
  EXPECT_NEAR(study.t2[2], (0.0625 + 0.25) / many, 1e-12);
  EXPECT_EQ(study.z, (std::vector<double>{1, 0, 0.5, 2, 0.25, 1}));
  EXPECT_EQ(study.upper[2], 9.0);
  EXPECT_NEAR(study.arl0, MewmaRunLength(2, 0.5, 9.0), 1e-9);
  options.exact = true;
  const auto exact = StudyMewma(data, kTwo, options);
  EXPECT_NEAR(exact.t2[0], 4, 1e-12);
  EXPECT_NEAR(exact.t2[1], 1.25 / (0.25 + 0.0625), 1e-12);
}

// The run length of the limit is that of the other form.
TEST(StudyMewma, TheExactFormHasNoRunLengthButANote) {
  MewmaOptions options;
  options.exact = true;
  for (const auto h : {std::optional<double>(), std::optional(9.0)}) {
    options.h = h;
    const auto study = StudyMewma(Ryan(), kTwo, options);
    EXPECT_TRUE(std::isnan(study.arl0));
    EXPECT_FALSE(std::isnan(study.h));
    EXPECT_TRUE(Has(study.notes, "no-run-length"));
  }
  options.h.reset();
  options.weight = 1.0;  // both forms are the same
  EXPECT_EQ(StudyMewma(Ryan(), kTwo, options).arl0, 200.0);
  options.exact = false;
  EXPECT_FALSE(Has(StudyMewma(Ryan(), kTwo, options).notes, "no-run-length"));
}

TEST(StudyMewma, APointThatIsNotUsedIsShownAndForgotten) {
  MewmaOptions options;
  options.known = VectorParameters{{0, 0}, {1, 0, 0, 1}};
  options.weight = 0.5;
  options.h = 2.0;
  auto data = Singles({{1, 0}, {9, 9}, {kNaN, 1}, {1, 0}});
  data.used = {1, 0, 1, 1};
  const auto study = StudyMewma(data, kTwo, options);
  EXPECT_GT(study.t2[1], 2.0);
  EXPECT_EQ(study.signals[1], 0);
  EXPECT_TRUE(std::isnan(study.t2[2]));
  EXPECT_NEAR(study.z[6], 0.75, 1e-15);
}

TEST(StudyMewma, TakesTheEstimatesOfAnotherStretch) {
  const auto base = Ryan();
  const auto study = StudyMewma(Of({Vectors(4, {50, 30})}), kTwo, {}, &base);
  const auto t2 = StudyT2(Of({Vectors(4, {50, 30})}), kTwo, {}, &base);
  EXPECT_NEAR(study.t2[0], t2.t2[0] * 0.1 * 1.9, 1e-9);
  EXPECT_NEAR(study.h, 8.63358064352, 1e-3);
  EXPECT_EQ(study.signals[0], 1);
}

TEST(StudyMewma, RefusesWhatLiesOutside) {
  const auto data = Ryan();
  for (const auto& [member, value] :
       {std::pair(&MewmaOptions::weight, 0.005), std::pair(&MewmaOptions::weight, 1.5),
        std::pair(&MewmaOptions::arl0, 1.0), std::pair(&MewmaOptions::arl0, 1e7)}) {
    MewmaOptions options;
    options.*member = value;
    EXPECT_THROW(StudyMewma(data, kTwo, options), std::invalid_argument) << value;
  }
  MewmaOptions options;
  options.h = 0.0;
  EXPECT_THROW(StudyMewma(data, kTwo, options), std::invalid_argument);
  EXPECT_THROW(MewmaRunLength(1, 0.1, 5), std::invalid_argument);
  EXPECT_THROW(MewmaRunLength(2, 0.1, 2000), std::invalid_argument);
}

// Streams of one part and process whose pieces are numbered.
class Measured {
 public:
  void Stretch(std::int32_t part, std::int32_t test, std::int32_t phase = 0,
               std::size_t limits_of = 0) {
    if (data.streams.empty() || data.streams.back().test != test ||
        data.streams.back().part != part) {
      data.streams.push_back({part, 7, test, {}});
      numbers.emplace_back();
    }
    auto& stretch = data.streams.back().stretches.emplace_back();
    stretch.phase.id = phase;
    stretch.limits_of = limits_of;
    stretch.first_piece.push_back(0);
    numbers.back().emplace_back();
  }
  void Subgroup(std::int32_t id, const std::vector<std::pair<int, double>>& pieces,
                bool used = true) {
    auto& stretch = data.streams.back().stretches.back();
    stretch.points.push_back(kNaN);
    stretch.subgroups.push_back(id);
    stretch.times.push_back(1000 + id);
    stretch.used.push_back(used ? 1 : 0);
    for (const auto& piece : pieces) {
      numbers.back().back().push_back(piece.first);
      stretch.pieces.push_back(piece.second);
    }
    stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
  }
  StudyData data;
  PieceNumbers numbers;
};

TEST(JoinTests, ValuesOfTheSameSubgroupAndPieceAreAVector) {
  Measured measured;
  measured.Stretch(1, 11);
  measured.Subgroup(1, {{1, 10}, {2, 11}, {3, 12}});
  measured.Subgroup(2, {{1, 13}});
  measured.Subgroup(3, {{1, 14}}, false);
  measured.Stretch(1, 12);
  measured.Subgroup(1, {{1, 20}, {3, 22}, {4, 23}});
  measured.Subgroup(3, {{1, 24}});
  measured.Subgroup(4, {{1, 25}});
  const auto joined = JoinTests(measured.data, measured.numbers);
  ASSERT_EQ(joined.data.streams.size(), 1U);
  EXPECT_EQ(joined.tests[0], (std::vector<std::int32_t>{11, 12}));
  const auto& stretch = joined.data.streams[0].stretches.at(0);
  EXPECT_EQ(stretch.subgroups, (std::vector<std::int32_t>{1, 3}));
  EXPECT_EQ(stretch.times, (std::vector<std::int32_t>{1001, 1003}));
  EXPECT_EQ(stretch.used, (std::vector<std::uint8_t>{1, 0}));
  EXPECT_EQ(stretch.sizes, (std::vector<double>{4, 1}));
  const std::vector<double> expected = {10, 20, 11, kNaN, 12, 22, kNaN, 23, 14, 24};
  ASSERT_EQ(stretch.pieces.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_TRUE(stretch.pieces[i] == expected[i] ||
                (std::isnan(stretch.pieces[i]) && std::isnan(expected[i])))
        << i;
  }
  ASSERT_EQ(joined.left.size(), 1U);
  EXPECT_EQ(joined.left[0].times, (std::vector<std::int32_t>{1002, 1004}));
  const auto turned = JoinTests(measured.data, measured.numbers, std::vector<std::int32_t>{12, 11});
  EXPECT_EQ(turned.tests[0], (std::vector<std::int32_t>{12, 11}));
  EXPECT_EQ(turned.data.streams[0].stretches[0].pieces[0], 20.0);
}

TEST(JoinTests, PhasesAreThoseOfAllTests) {
  Measured measured;
  measured.Stretch(1, 11, 5);
  measured.Subgroup(1, {{1, 1}});
  measured.Subgroup(2, {{1, 2}});
  measured.Stretch(1, 11, 0, 0);
  measured.Subgroup(3, {{1, 3}});
  measured.Subgroup(4, {{1, 4}});
  measured.Stretch(1, 12, 5);
  measured.Subgroup(1, {{1, 1}});
  measured.Subgroup(2, {{1, 2}});
  measured.Stretch(1, 12, 0, 0);
  measured.Subgroup(3, {{1, 3}});
  measured.Stretch(1, 12, 6, 2);
  measured.Subgroup(4, {{1, 4}});
  const auto joined = JoinTests(measured.data, measured.numbers);
  const auto& stretches = joined.data.streams.at(0).stretches;
  ASSERT_EQ(stretches.size(), 3U);
  EXPECT_EQ(stretches[0].phase.id, 5);
  EXPECT_EQ(stretches[1].phase.id, 0);
  EXPECT_EQ(stretches[1].limits_of, 0U);
  EXPECT_EQ(stretches[2].phase.id, 6);
  EXPECT_EQ(stretches[2].limits_of, 2U);
}

TEST(JoinTests, OneTestIsLeftOut) {
  Measured measured;
  measured.Stretch(1, 11);
  measured.Subgroup(1, {{1, 1}});
  measured.Stretch(2, 11);
  measured.Subgroup(2, {{1, 1}});
  const auto joined = JoinTests(measured.data, measured.numbers);
  EXPECT_TRUE(joined.data.Empty());
  ASSERT_EQ(joined.left.size(), 2U);
  EXPECT_EQ(joined.left[1].part, 2);
  EXPECT_EQ(joined.left[1].tests, 1U);
  measured.numbers[0][0].clear();
  EXPECT_THROW(JoinTests(measured.data, measured.numbers), std::invalid_argument);
}

// Values of two tests count once, and what is older than the newest does not lack anything. A phase
// that gives limits is kept, and not shown.
TEST(JoinTests, TheNewestAreJointSubgroups) {
  Measured measured;
  for (const std::int32_t part : {1, 2}) {
    for (const std::int32_t test : {11, 12}) {
      for (std::int32_t phase = 0; phase < 3; ++phase) {
        measured.Stretch(part, test, phase + 1, phase == 2 ? 0 : static_cast<std::size_t>(phase));
        for (std::int32_t i = 0; i < 4; ++i) {
          const std::int32_t id = part == 1 ? 10 * phase + i : 10 * phase + i + 4;
          if (test == 12 && i == 1) continue;  // 1, 5, 11, 15, 21, 25 lack a value
          measured.Subgroup(id, {{1, 100.0 * test + id}, {2, id}}, i != 2);
        }
      }
    }
  }
  auto joined = JoinTests(measured.data, measured.numbers);
  const auto all = joined;
  KeepNewest(joined, 18);
  EXPECT_EQ(joined.data.streams[0].stretches.size(), 3U);
  KeepNewest(joined, 8);
  ASSERT_EQ(joined.data.streams.size(), 2U);
  const auto& stretches = joined.data.streams[0].stretches;
  ASSERT_EQ(stretches.size(), 2U);
  EXPECT_FALSE(stretches[0].is_shown);
  EXPECT_EQ(stretches[0].phase.id, 1);
  EXPECT_TRUE(stretches[1].is_shown);
  EXPECT_EQ(stretches[1].phase.id, 3);
  EXPECT_EQ(stretches[1].limits_of, 0U);
  EXPECT_EQ(stretches[1].subgroups, (std::vector<std::int32_t>{20, 22, 23}));
  EXPECT_EQ(stretches[1].used, (std::vector<std::uint8_t>{1, 0, 1}));
  const auto& other = joined.data.streams[1].stretches;
  ASSERT_EQ(other.size(), 3U);
  EXPECT_FALSE(other[0].is_shown);
  EXPECT_EQ(other[1].subgroups, (std::vector<std::int32_t>{16, 17}));
  EXPECT_EQ(other[1].limits_of, 1U);
  EXPECT_EQ(other[2].limits_of, 0U);
  const auto pieces = other[1].PiecesOf(0);
  EXPECT_EQ(std::vector<double>(pieces.begin(), pieces.end()),
            (std::vector<double>{1116, 1216, 16, 16}));
  ASSERT_EQ(joined.left.size(), 2U);
  EXPECT_EQ(joined.left[0].times, (std::vector<std::int32_t>{1021}));
  EXPECT_EQ(joined.left[1].times, (std::vector<std::int32_t>{1025}));
  KeepNewest(joined, 1);
  ASSERT_EQ(joined.data.streams.size(), 1U);
  EXPECT_EQ(joined.data.streams[0].part, 2);
  EXPECT_EQ(joined.tests.size(), 1U);
  EXPECT_TRUE(joined.left.empty());
  EXPECT_EQ(all.left[0].times, (std::vector<std::int32_t>{1001, 1011, 1021}));
}

// Each phase as if it were alone.
TEST(StudyT2, PhasesOnOneChartAreChartsSideBySide) {
  Process process(9);
  const auto first = process.Points(25, 4), second = process.Points(22, 4);
  const auto alone = StudyT2(second, kThree);
  Measured measured;
  for (std::int32_t test = 0; test < 3; ++test) {
    std::int32_t subgroup = 0;
    std::int32_t phase = 0;
    for (const auto* const stretch : {&first, &second}) {
      measured.Stretch(1, test + 1, phase + 1, static_cast<std::size_t>(phase));
      for (std::size_t i = 0; i + 1 < stretch->first_piece.size(); ++i) {
        std::vector<std::pair<int, double>> pieces;
        const auto of = stretch->PiecesOf(i);
        for (std::size_t at = 0; at < of.size(); at += 3) {
          pieces.emplace_back(static_cast<int>(at / 3) + 1,
                              of[at + static_cast<std::size_t>(test)]);
        }
        measured.Subgroup(++subgroup, pieces);
      }
      ++phase;
    }
  }
  const auto joined = JoinTests(measured.data, measured.numbers);
  const auto& stretches = joined.data.streams.at(0).stretches;
  ASSERT_EQ(stretches.size(), 2U);
  const auto study = StudyT2(stretches[1], kThree, {}, &stretches[stretches[1].limits_of]);
  EXPECT_EQ(study.t2, alone.t2);
  EXPECT_EQ(study.upper, alone.upper);
  EXPECT_EQ(study.variance.points, alone.variance.points);
  const auto mewma = StudyMewma(stretches[1], kThree, {}, &stretches[stretches[1].limits_of]);
  EXPECT_EQ(mewma.t2, StudyMewma(second, kThree).t2);
}

}  // namespace
}  // namespace orvspc::studies
