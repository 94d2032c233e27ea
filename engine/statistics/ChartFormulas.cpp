// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ChartFormulas.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

// factor numerator / denominator. A product of whole numbers is exact, so that a centre which is a
// whole number comes out as one.
double Scaled(const Rate& rate, double factor) {
  return factor * rate.numerator / rate.denominator;
}

PointLimits NoLimits(const Rate& rate, double units, double factor) {
  const bool shown = rate.Exists() && (units > 0.0 || factor != units);
  return {shown ? Scaled(rate, factor) : kNaN, kNaN, kNaN, kNaN};
}

// rate - width sigma, written as (rate^2 - width^2 sigma^2) / (rate + width sigma); `excess` is the
// numerator of that over rate / (denominator units). Nothing cancels but whole numbers.
double Lower(const Rate& rate, double units, double factor, double excess, double width,
             double sigma) {
  if (!(excess > 0.0)) return 0.0;
  const double value = rate.Value();
  return factor * (value / (value + width * sigma)) * (excess / (rate.denominator * units));
}

// Terms of a distribution relative to the one at its mode, gathered from there outwards until they
// no longer count, so that nothing has to be known about factorials. `ratio(k)` is P(k) / P(k - 1).
template <class Ratio>
double UpperQuantile(double mode, double largest, double risk, Ratio ratio) {
  constexpr double kNothing = 1e-25;
  const double first_above = mode + 1.0;
  double below = 1.0;  // the term at the mode and all under it
  double term = 1.0;
  for (double k = mode; k > 0.0; k -= 1.0) {
    term /= ratio(k);
    below += term;
    if (term < kNothing) break;
  }
  double above = 0.0;
  term = 1.0;
  for (double k = first_above; k <= largest; k += 1.0) {
    term *= ratio(k);
    above += term;
    if (term < kNothing) break;
  }
  // A tie is reached, whichever way the sums were rounded.
  constexpr double kTie = 1e-12;
  const double wanted = (1.0 - risk - kTie) * (below + above);
  // Either side of the mode: take terms off, or add them.
  double sum = below, c = mode;
  term = 1.0;
  while (c > 0.0 && sum - term >= wanted) {
    sum -= term;
    term /= ratio(c);
    c -= 1.0;
  }
  if (c < mode) return c;
  term = 1.0;
  while (sum < wanted && c < largest) {
    c += 1.0;
    term *= ratio(c);
    if (term < kNothing) break;
    sum += term;
  }
  return c;
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

double Rate::Value() const { return Exists() ? numerator / denominator : kNaN; }

PointLimits DefectivesLimits(const Rate& p, double units, double factor, double width) {
  const double share = p.Value();
  if (!(share >= 0.0 && share <= 1.0) || !(units > 0.0)) return NoLimits(p, units, factor);
  const double good = p.denominator - p.numerator;
  const double sigma = std::sqrt(share * (good / p.denominator) / units);
  const double excess = units * p.numerator - width * width * good;
  return {Scaled(p, factor), factor * std::min(1.0, share + width * sigma),
          Lower(p, units, factor, excess, width, sigma), factor * sigma};
}

PointLimits DefectsLimits(const Rate& u, double units, double factor, double width) {
  const double rate = u.Value();
  if (!(rate >= 0.0) || !(units > 0.0)) return NoLimits(u, units, factor);
  const double sigma = std::sqrt(rate / units);
  const double excess = units * u.numerator - width * width * u.denominator;
  return {Scaled(u, factor), factor * (rate + width * sigma),
          Lower(u, units, factor, excess, width, sigma), factor * sigma};
}

double AcceptedDefectives(double n, double level, double risk) {
  if (n < 1) return kNaN;
  n = std::floor(n);  // of an area that is no whole number of units
  if (!(level > 0.0)) return 0.0;
  if (level >= 1.0 || !(risk > 0.0)) return n;
  const double odds = level / (1.0 - level);
  const double mode = std::min(n, std::floor((n + 1.0) * level));
  return UpperQuantile(mode, n, risk, [&](double k) { return (n - k + 1.0) / k * odds; });
}

double AcceptedDefects(double n, double level, double risk) {
  if (!(n > 0.0)) return kNaN;
  if (!(level > 0.0)) return 0.0;
  if (!(risk > 0.0)) return kNaN;
  const double mean = n * level;
  return UpperQuantile(std::floor(mean), std::numeric_limits<double>::max(), risk,
                       [&](double k) { return mean / k; });
}

}  // namespace orvspc::engine::statistics
