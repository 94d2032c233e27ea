// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ChartFormulas.h"

#include <cmath>

#include "engine/statistics/ControlConstants.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

constexpr PointLimits kNoLimits{kNaN, kNaN, kNaN, kNaN};

PointLimits About(double centre, double sigma, double width) {
  return {centre, centre + width * sigma, centre - width * sigma, sigma};
}

// A statistic that cannot be negative. std::max would turn a NaN into 0, or not, by the order of
// its arguments.
PointLimits CutAtZero(PointLimits limits) {
  if (limits.lower < 0.0) limits.lower = 0.0;
  return limits;
}

template <typename MeanOf, typename SdOf>
PointLimits WithinPiece(double sigma, std::span<const std::int32_t> readings, double width,
                        MeanOf mean_of, SdOf sd_of) {
  double mean = 0.0, variance = 0.0, pieces = 0.0;
  for (const std::int32_t r : readings) {
    if (r < 2) continue;
    const double sd = sd_of(r);
    mean += mean_of(r);
    variance += sd * sd;
    pieces += 1.0;
  }
  if (pieces == 0.0) return kNoLimits;
  return CutAtZero(About(mean * sigma / pieces, std::sqrt(variance) * sigma / pieces, width));
}

}  // namespace

PointLimits MeanLimits(double centre, double sigma, double n, double width) {
  return n > 0.0 ? About(centre, sigma / std::sqrt(n), width) : kNoLimits;
}

PointLimits MedianLimits(double centre, double sigma, std::int32_t n, double width) {
  if (n < 1) return kNoLimits;
  return About(centre, n == 1 ? sigma : sigma * MedianSd(n), width);
}

PointLimits MovingAverageLimits(double centre, double sigma,
                                std::span<const std::int32_t> window_sizes, double width) {
  double sum = 0.0;
  for (const std::int32_t n : window_sizes) {
    if (n < 1) return kNoLimits;
    sum += 1.0 / static_cast<double>(n);
  }
  if (window_sizes.empty()) return kNoLimits;
  return About(centre, sigma * std::sqrt(sum) / static_cast<double>(window_sizes.size()), width);
}

PointLimits RangeLimits(double sigma, std::int32_t n, double width) {
  return n < 2 ? kNoLimits : CutAtZero(About(D2(n) * sigma, D3(n) * sigma, width));
}

PointLimits SdLimits(double sigma, std::int32_t n, double width) {
  return n < 2 ? kNoLimits : CutAtZero(About(C4(n) * sigma, C5(n) * sigma, width));
}

PointLimits MovingRangeLimits(double sigma_of_point, double width) {
  PointLimits limits = RangeLimits(sigma_of_point, 2, width);
  if (!std::isnan(limits.lower))
    limits.lower = 0.0;  // also for a width so small that the cut would not act
  return limits;
}

PointLimits CvLimits(double gamma, std::int32_t n, double width) {
  if (n < 2) return kNoLimits;
  const double c4 = C4(n), c5 = C5(n), per_piece = gamma * gamma / static_cast<double>(n);
  return CutAtZero(
      About(c4 * gamma * (1.0 + per_piece), gamma * std::sqrt(c5 * c5 + per_piece), width));
}

PointLimits WithinPieceRangeLimits(double sigma, std::span<const std::int32_t> readings,
                                   double width) {
  return WithinPiece(sigma, readings, width, D2, D3);
}

PointLimits WithinPieceSdLimits(double sigma, std::span<const std::int32_t> readings,
                                double width) {
  return WithinPiece(sigma, readings, width, C4, C5);
}

}  // namespace orvspc::engine::statistics
