// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "engine/capability/CapabilityRun.h"
#include "engine/capability/JohnsonChoice.h"
#include "engine/statistics/Histogram.h"
#include "engine/statistics/HypothesisTests.h"
#include "engine/statistics/Johnson.h"
#include "engine/statistics/Sample.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::capability {
namespace {

// Tried in this order. 0.524 is the customary one; the others help where a sample does not suit it.
constexpr double kDistances[] = {0.524, 0.6, 0.45, 0.7, 0.4, 0.8, 1.0};
// Where the outer quantiles of 0.7 have this many values beyond them it comes first: the tails are
// then seen instead of extrapolated.
constexpr double kFarDistance = 0.7;
constexpr double kManyBeyond = 100.0;

std::vector<double> DistancesFor(double n) {
  std::vector<double> distances;
  if (n * statistics::NormalBelow(-3.0 * kFarDistance) >= kManyBeyond)
    distances.push_back(kFarDistance);
  for (const double z : kDistances) {
    // The outer quantiles must lie inside the sample.
    const bool taken = !distances.empty() && distances.front() == z;
    if (!taken && n * statistics::NormalBelow(-3.0 * z) >= 1.0) distances.push_back(z);
  }
  return distances;
}

// Two standard errors of rho, which are about 4/sqrt(n) each, but never so wide that a small sample
// loses its shape.
double BandFor(double n) {
  constexpr double kWidest = 0.1;
  return std::max(statistics::kJohnsonBand, std::min(kWidest, 8.0 / std::sqrt(n)));
}
constexpr std::int64_t kMinValues = 20;
// The quantiles 0.00135 and 0.99865 of the percentile method.
constexpr double kReach = 3.0;

bool ReachesFar(const statistics::JohnsonCurve& curve) {
  return std::isfinite(curve.AtScore(kReach)) && std::isfinite(curve.AtScore(0.0)) &&
         std::isfinite(curve.AtScore(-kReach));
}

std::int32_t TypeOf(statistics::JohnsonFamily family) {
  switch (family) {
    case statistics::JohnsonFamily::Unbounded:
      return caJohnsonTypeU;
    case statistics::JohnsonFamily::Bounded:
      return caJohnsonTypeB;
    case statistics::JohnsonFamily::Lognormal:
      break;
  }
  return caJohnsonTypeL;
}

statistics::ChiSquareTest Test(const statistics::Sample& sample,
                               const statistics::JohnsonCurve& curve) {
  const auto cells = statistics::ChiSquareCells(static_cast<std::int64_t>(sample.Count()));
  if (cells < 1) return {};
  statistics::IntervalCounter counter(statistics::EqualProbabilityEdges(curve, cells),
                                      statistics::IntervalCounter::EdgeGoes::Down);
  SumBlocks(sample, counter);
  return statistics::ChiSquareOf(counter.Counts(), curve.FittedParameters());
}

}  // namespace

JohnsonChoice ChooseJohnson(const statistics::Sample& sample, const SampleCentre& centre) {
  JohnsonChoice chosen;
  if (centre.count < kMinValues) return chosen;
  const auto n = static_cast<double>(centre.count);
  const auto usable = DistancesFor(n);
  std::vector<double> proportions;
  for (const double z : usable) {
    for (const double score : {3.0 * z, z, -z, -3.0 * z})
      proportions.push_back(statistics::NormalBelow(score));
  }
  const auto at = statistics::SampleQuantiles(sample, proportions);
  for (std::size_t i = 0; i < usable.size(); ++i) {
    const auto fit = statistics::FitJohnson(
        {usable[i], at[4 * i], at[4 * i + 1], at[4 * i + 2], at[4 * i + 3]}, BandFor(n));
    chosen.normal_serves = fit.normal_serves;
    if (fit.normal_serves) return chosen;
    if (!fit.curve || !fit.curve->Supports(centre.smallest, centre.largest) ||
        !ReachesFar(*fit.curve)) {
      continue;
    }
    chosen.curve = fit.curve;
    chosen.z = usable[i];
    return chosen;
  }
  return chosen;
}

std::int32_t CapabilityRun::FitJohnson(const FitOutput& out) {
  if (sample_.Count() == 0 || out.summary.PieceCount != centre_.count ||
      out.summary.Mean != centre_.mean || out.summary.LongTermSD != centre_.sd) {
    store::AddNote(
        "johnson-none",
        "The sample of this analysis is no longer there; the normal distribution stays.");
    return caJohnsonTypeNone;
  }
  const auto chosen = ChooseJohnson(sample_, centre_);
  if (!chosen.curve) {
    if (chosen.normal_serves) {
      store::AddNote("johnson-normal",
                     "A normal distribution describes the values, and therefore stays.");
    } else {
      store::AddNote(
          "johnson-none",
          "No Johnson curve fits: too few values, too few different ones, or none that holds "
          "them all. The normal distribution stays.");
    }
    return caJohnsonTypeNone;
  }
  const auto& curve = *chosen.curve;
  const double middle = curve.AtScore(0.0), high = curve.AtScore(kReach),
               low = curve.AtScore(-kReach);
  WriteFit({&curve,
            {middle, high - middle, middle - low, high - low},
            Test(sample_, curve),
            ExpectedCounts(&curve, out.bins, centre_.count),
            true},
           centre_.count, out, report_);
  const auto& of = curve.Parameters();
  report_.gamma = of.gamma;
  report_.delta = of.delta;
  report_.xi = of.xi;
  report_.lambda = of.lambda;
  report_.fitted_at = chosen.z;
  return TypeOf(of.family);
}

}  // namespace orvspc::engine::capability
