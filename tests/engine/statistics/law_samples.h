// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Laws.h"
#include "engine/statistics/Numerics.h"

// Samples of every law, and the likelihood equations of each, written down a second time.
namespace orvspc::engine::statistics {

struct LawCase {
  Law kind;
  std::vector<double> parameters;
};
inline const std::vector<LawCase> kLawCases = {
    {Law::Normal, {10.0, 2.0}},          {Law::Lognormal, {1.0, 0.5}},
    {Law::Lognormal3, {1.0, 0.5, 20.0}}, {Law::Weibull, {1.7, 3.0}},
    {Law::Weibull3, {2.2, 3.0, 20.0}},   {Law::Gamma, {2.5, 1.5}},
    {Law::Gamma3, {3.0, 1.5, 20.0}},     {Law::Exponential, {4.0}},
    {Law::Exponential2, {4.0, 3.0}},     {Law::Logistic, {10.0, 2.0}},
    {Law::Loglogistic, {1.0, 0.3}},      {Law::Loglogistic3, {1.0, 0.3, 20.0}},
    {Law::LargestExtreme, {10.0, 2.0}},  {Law::SmallestExtreme, {10.0, 2.0}},
};

inline std::vector<double> SampleOf(const LawCase& law, std::size_t count, std::uint64_t seed) {
  const auto fitted = FittedLaw::Of(law.kind, law.parameters);
  Draws draws(seed);
  std::vector<double> values;
  while (values.size() < count) {
    const double u = draws.Uniform();
    if (u > 0.0) values.push_back(fitted.Quantile(u));
  }
  return values;
}

// The mean log likelihood's slopes by each parameter, times its scale: the parameter itself, of a
// location the scale, of a threshold its distance to the smallest value or the deviation. Textbook
// forms in long double.
inline double GreatestSlope(const std::vector<double>& values, Law kind,
                            const std::vector<double>& parameters) {
  using Real = long double;
  const auto& family = FamilyOf(kind);
  const Real t = family.has_threshold ? parameters.back() : 0.0;
  const Real a = parameters[0], b = parameters.size() > 1 ? parameters[1] : 0.0;
  const Real n = static_cast<Real>(values.size());
  Real one = 0, two = 0, three = 0, mean = 0, squares = 0;
  for (const double value : values) mean += value / n;
  for (const double value : values) squares += (value - mean) * (value - mean) / n;
  for (const double value : values) {
    const Real x = value - t;
    switch (family.kernel) {
      case Kernel::Gamma:
        one += (std::log(x / b) - static_cast<Real>(Digamma(parameters[0]))) * a;
        two += x / b - a;
        three += 1 / b - (a - 1) / x;
        break;
      case Kernel::SmallestExtreme:
        if (family.scale == LawScale::Log) {  // shape a, scale b
          const Real power = std::pow(x / b, a);
          one += 1 + a * std::log(x / b) * (1 - power);
          two += a * (power - 1);
          three += (a * power - (a - 1)) / x;
        } else {
          const Real z = (family.scale == LawScale::Mirrored ? -(x - a) : x - a) / b;
          one += std::exp(z) - 1;
          two += z * (std::exp(z) - 1) - 1;
        }
        break;
      case Kernel::Normal:
      case Kernel::Logistic: {
        const bool logs = family.scale == LawScale::Log;
        const Real z = ((logs ? std::log(x) : x) - a) / b;
        const Real pull = family.kernel == Kernel::Normal ? z : std::tanh(z / 2);
        one += pull;
        two += z * pull - 1;
        three += (pull / b + 1) / x;
        break;
      }
      case Kernel::Exponential:
        one += x / a - 1;
        break;
    }
  }
  const Real gap = *std::min_element(values.begin(), values.end()) - t;
  if (!family.has_threshold) three = 0;
  return static_cast<double>(std::max({std::abs(one), std::abs(two),
                                       std::abs(three) * std::min(gap, std::sqrt(squares))}) /
                             n);
}

// Fits that many samples of a law and checks the equations; the number without maximum inside.
inline int CheckFits(const LawCase& law, int samples) {
  int without = 0;
  for (int i = 0; i < samples; ++i) {
    const std::size_t count = i % 3 == 0 ? 30 : i % 3 == 1 ? 100 : 400;
    const auto values = SampleOf(law, count, 1000 + static_cast<std::uint64_t>(i));
    const LawSample sample(values);
    const auto fit = FitLaw(sample, law.kind);
    if (fit.outcome == LawOutcome::NoThreshold || fit.outcome == LawOutcome::ThresholdSet) {
      ++without;
      continue;
    }
    EXPECT_EQ(fit.outcome, LawOutcome::Fitted) << i;
    if (fit.outcome != LawOutcome::Fitted) continue;
    auto parameters = fit.law.Parameters();
    const auto n = static_cast<double>(count);
    if (law.kind == Law::Normal) parameters[1] *= std::sqrt((n - 1.0) / n);
    if (law.kind == Law::Exponential2) {
      const double scale = sample.Mean() - sample.Smallest();
      EXPECT_DOUBLE_EQ(parameters[0], scale);
      EXPECT_DOUBLE_EQ(parameters[1], sample.Smallest() - scale / n);
      continue;
    }
    EXPECT_LT(GreatestSlope(values, law.kind, parameters), 1e-10)
        << static_cast<int>(law.kind) << " sample " << i;
  }
  return without;
}

}  // namespace orvspc::engine::statistics
