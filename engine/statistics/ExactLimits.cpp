// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ExactLimits.h"

#include <algorithm>
#include <cmath>

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {
namespace {

// The least whole number of low..high at which `holds`, which then holds from there on; high
// without asking. Quick where it lies near the guess.
template <class Holds>
double Least(double low, double high, double guess, Holds holds) {
  guess = std::clamp(std::floor(guess), low, high);
  const bool above = guess < high && !holds(guess);
  if (above) {
    low = guess + 1.0;
  } else {
    high = guess;
  }
  for (double step = 1.0; low < high; step *= 2.0) {
    const double probe = above ? std::min(guess + step, high - 1.0) : std::max(guess - step, low);
    if (holds(probe)) {
      high = probe;
      if (above) break;
    } else {
      low = probe + 1.0;
      if (!above) break;
    }
  }
  while (low < high) {
    const double middle = low + std::floor((high - low) / 2.0);
    if (holds(middle)) {
      high = middle;
    } else {
      low = middle + 1.0;
    }
  }
  return low;
}

// at_most(c) is P(X <= c), above(c) P(X > c); no count is above `most`.
template <class AtMost, class Above>
CountLimits LimitsOf(double mean, double deviation, double most, double alpha, AtMost at_most,
                     Above above) {
  const double side = alpha / 2.0, half = NormalUpperQuantile(side) * deviation;
  CountLimits limits;
  limits.upper = Least(0.0, most, mean + half, [&](double c) { return above(c) <= side; });
  // P(X < c) = P(X <= c - 1) grows: the first c - 1 whose P is too large is the limit.
  limits.lower = Least(0.0, limits.upper, mean - half, [&](double c) { return at_most(c) > side; });
  limits.risk_below = limits.lower > 0.0 ? at_most(limits.lower - 1.0) : 0.0;
  limits.risk_above = above(limits.upper);
  return limits;
}

}  // namespace

CountLimits BinomialCountLimits(double size, double share, double alpha) {
  size = std::floor(size);
  if (!(size >= 1.0) || !std::isfinite(size) || !(share >= 0.0 && share <= 1.0)) return {};
  return LimitsOf(
      size * share, std::sqrt(size * share * (1.0 - share)), size, alpha,
      [&](double c) { return BinomialAtMost(c, size, share); },
      [&](double c) { return c >= size ? 0.0 : BetaBelow(share, c + 1.0, size - c); });
}

CountLimits PoissonCountLimits(double mean, double alpha) {
  if (!(mean >= 0.0) || !std::isfinite(mean)) return {};
  // P(X > mean + 40 (sqrt(mean) + 1)) is far below any alpha.
  const double deviation = std::sqrt(mean);
  return LimitsOf(
      mean, deviation, std::ceil(mean + 40.0 * (deviation + 1.0)), alpha,
      [&](double c) { return PoissonAtMost(c, mean); },
      [&](double c) { return mean == 0.0 ? 0.0 : GammaBelow(mean, c + 1.0); });
}

}  // namespace orvspc::engine::statistics
