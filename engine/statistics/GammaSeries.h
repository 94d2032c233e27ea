// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <numbers>

#include "engine/statistics/Distributions.h"

// Pieces of the gamma law that would cancel where its shape k is large or a value is close to k.
// The series are those of ln Gamma after Stirling, with 14 digits from kStirling on.
namespace orvspc::engine::statistics {

inline constexpr double kStirling = 20.0;

// (B - 1)/e of B = 2 (e - ln(1 + e))/e^2; -2/3 at e = 0. e > -1.
inline double LogBendSlope(double e) {
  constexpr int kTerms = 14;
  constexpr double kReach = 0.05;
  if (!(std::abs(e) < kReach)) return (2.0 * (e - std::log1p(e)) / (e * e) - 1.0) / e;
  double sum = 0.0;
  for (int power = kTerms; power > 0; --power) sum = -2.0 / (power + 2.0) - e * sum;
  return sum;
}
inline double LogBend(double e) { return 1.0 + e * LogBendSlope(e); }

// e - ln(1 + e).
inline double LessLog(double e) { return 0.5 * e * e * LogBend(e); }

// ln Gamma(k) - (k - 1/2) ln k + k - ln(2 pi)/2.
inline double StirlingRest(double k) {
  if (k < kStirling) {
    return LogGamma(k) - (k - 0.5) * std::log(k) + k - 0.5 * std::log(2.0 * std::numbers::pi);
  }
  const double square = 1.0 / (k * k);
  return (1.0 / 12.0 - square * (1.0 / 360.0 - square * (1.0 / 1260.0 - square / 1680.0))) / k;
}

// ln k - digamma(k).
inline double LogLessDigamma(double k) {
  if (k < kStirling) return std::log(k) - Digamma(k);
  const double square = 1.0 / (k * k);
  return 0.5 / k +
         square * (1.0 / 12.0 -
                   square * (1.0 / 120.0 -
                             square * (1.0 / 252.0 - square * (1.0 / 240.0 - square / 132.0))));
}

// k trigamma(k) - 1.
inline double TrigammaExcess(double k) {
  if (k < kStirling) return k * Trigamma(k) - 1.0;
  const double square = 1.0 / (k * k);
  return 0.5 / k +
         square * (1.0 / 6.0 - square * (1.0 / 30.0 - square * (1.0 / 42.0 - square / 30.0)));
}

// From this shape on a gamma law is taken by the normal score of its values: r + ln(v/r)/r with
// r = e sqrt(k B), v = e sqrt k, e = x/k - 1, which is off by less than 1/k.
// Source   Barndorff-Nielsen, Biometrika 73 (1986)
inline constexpr double kLargeShape = 1e8;

// The signed root r, and the score; x > 0.
struct GammaScore {
  double root, score;
};
inline GammaScore LargeGammaScore(double e, double shape) {
  const double slope = LogBendSlope(e), per = std::sqrt(shape * (1.0 + e * slope));
  const double bend = e == 0.0 ? slope : std::log1p(e * slope) / e;
  return {e * per, e * per - 0.5 * bend / per};
}

}  // namespace orvspc::engine::statistics
