// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/CapabilityIndices.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"

namespace orvspc::engine::statistics {
namespace {

double Over(double numerator, double denominator) {
  return denominator > 0.0 ? numerator / denominator : 0.0;
}

double IndexM(const Reach& reach, const Tolerance& tolerance, double k) {
  const auto aim = tolerance.Aim();
  if (!(reach.both > 0.0)) return 0.0;
  if (!aim) return k;
  const double tau = std::hypot(reach.both / 6.0, reach.centre - *aim);
  if (tolerance.usl && tolerance.lsl) return Over(*tolerance.usl - *tolerance.lsl, 6.0 * tau);
  return Over(std::fabs((tolerance.usl ? *tolerance.usl : *tolerance.lsl) - *aim), 3.0 * tau);
}

// Eight units in the last place of the limit; 0 of a limit without neighbours.
double WidthOf(double limit) {
  const double size = std::fabs(limit);
  const double width = 8.0 * (std::nextafter(size, std::numeric_limits<double>::infinity()) - size);
  return std::isfinite(width) ? width : 0.0;
}

}  // namespace

std::optional<double> Tolerance::Aim() const {
  if (target) return target;
  if (usl && lsl) return std::midpoint(*lsl, *usl);
  return std::nullopt;
}

CapabilityIndices IndicesOf(const Reach& reach, const Tolerance& tolerance) {
  CapabilityIndices indices;
  if (!tolerance.HasLimit()) return indices;
  if (tolerance.usl) indices.upper = Over(*tolerance.usl - reach.centre, reach.upper);
  if (tolerance.lsl) indices.lower = Over(reach.centre - *tolerance.lsl, reach.lower);
  if (tolerance.usl && tolerance.lsl) {
    indices.k = std::min(indices.upper, indices.lower);
    indices.p = Over(*tolerance.usl - *tolerance.lsl, reach.both);
  } else {
    indices.p = indices.k = tolerance.usl ? indices.upper : indices.lower;
  }
  if (indices.p != 0.0) indices.ratio = 1.0 / indices.p;
  indices.m = IndexM(reach, tolerance, indices.k);
  return indices;
}

double AimRatio(double mean, double sigma, const Tolerance& tolerance) {
  return Over(mean - tolerance.Aim().value_or(mean), 3.0 * sigma);
}

ConfidenceInterval IntervalOfP(double p, double degrees, double level) {
  const double tail = 0.5 * (1.0 - level);
  return {p * std::sqrt(ChiSquareQuantile(tail, degrees) / degrees),
          p * std::sqrt(ChiSquareQuantile(1.0 - tail, degrees) / degrees)};
}

ConfidenceInterval IntervalOfK(double k, double count, double degrees, double level) {
  const double z = NormalUpperQuantile(0.5 * (1.0 - level));
  const double half = z * std::sqrt(1.0 / (9.0 * count) + k * k / (2.0 * degrees));
  return {k - half, k + half};
}

ConfidenceInterval IntervalOfSide(double index, double count, double degrees, double level) {
  constexpr double kMostT = 1000.0;
  const double scale = 3.0 * std::sqrt(count), t = index * scale;
  const auto near = IntervalOfK(index, count, degrees, level);
  if (!(std::fabs(t) <= kMostT)) return near;
  const double wide = scale * std::max(near.upper - near.lower, 1e-6);
  // The proportion below t falls as the noncentrality rises.
  const auto where = [&](double below) {
    const auto excess = [&](double noncentrality) {
      return NoncentralTBelow(t, degrees, noncentrality) - below;
    };
    double low = t - wide, high = t + wide;
    for (int i = 0; i < 20 && excess(low) < 0.0; ++i) low -= wide;
    for (int i = 0; i < 20 && excess(high) > 0.0; ++i) high += wide;
    return Root(excess, low, high) / scale;
  };
  const double tail = 0.5 * (1.0 - level);
  return {where(1.0 - tail), where(tail)};
}

double DegreesOfM(double count, double degrees, double off) {
  const double square = off * off;
  return (1.0 + square) * (1.0 + square) / (1.0 / degrees + 2.0 * square / count);
}

double HighestOn(double limit) { return limit + WidthOf(limit); }
double LowestOn(double limit) { return limit - WidthOf(limit); }

}  // namespace orvspc::engine::statistics
