// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/EffectiveDegrees.h"

#include <cmath>
#include <numbers>

#include "engine/statistics/ControlConstants.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

// The degrees of the chi with this square of mean over standard deviation.
double DegreesAt(double ratio) {
  // There c4 is nearly 1 - 1/(4 nu), and the difference from 1 loses its digits.
  if (ratio > 1e4) return 0.5 * ratio + 0.25;
  const auto excess = [ratio](double degrees) {
    const double square = std::exp(2.0 * (LogGamma(0.5 * (degrees + 1.0)) -
                                          LogGamma(0.5 * degrees) - 0.5 * std::log(0.5 * degrees)));
    return square / (1.0 - square) - ratio;
  };
  return Root(excess, 1e-3, 1e4);
}

double OfRanges(std::int64_t ranges) {
  if (ranges < 1) return kNaN;
  const auto m = static_cast<double>(ranges);
  const double own = 0.5 * std::numbers::pi - 1.0;
  const double neighbours = std::numbers::sqrt3 + std::numbers::pi / 6.0 - 2.0;
  return 0.5 * m / (own + neighbours * (m - 1.0) / m);
}

}  // namespace

double EffectiveDegrees(std::string_view estimator, std::span<const std::int32_t> sizes,
                        std::int64_t ranges) {
  if (estimator.starts_with("MR-est")) return OfRanges(ranges);
  const bool is_of_ranges = estimator.starts_with("R-est");
  const auto weight_of = [&](std::int32_t n) {
    const double ratio = is_of_ranges ? D2(n) / D3(n) : C4(n) / C5(n);
    return ratio * ratio;
  };
  double degrees = 0.0, weights = 0.0, inverses = 0.0, count = 0.0, weight = 0.0;
  std::int32_t latest = 0;
  for (const auto n : sizes) {
    if (n < 2) continue;
    if (n != latest) weight = weight_of(n);
    latest = n;
    degrees += static_cast<double>(n) - 1.0;
    weights += weight;
    inverses += 1.0 / weight;
    ++count;
  }
  if (count == 0.0) return kNaN;
  if (estimator.find("pooled") != estimator.npos) return degrees;
  return DegreesAt(estimator.ends_with("unweighted") ? count * count / inverses : weights);
}

}  // namespace orvspc::engine::statistics
