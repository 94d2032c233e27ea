// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace orvspc::engine::statistics {

// What capability is judged against.
struct Tolerance {
  std::optional<double> usl, lsl, target;

  // The target; without one the middle of both limits.
  std::optional<double> Aim() const;
  bool HasLimit() const { return usl.has_value() || lsl.has_value(); }
};

// How far a distribution reaches: mean and 3, 3, 6 sigmas of a normal one; median and the distances
// of the quantiles 0.99865, 0.00135 of any other.
struct Reach {
  double centre = 0.0;
  double upper = 0.0, lower = 0.0, both = 0.0;

  static Reach OfNormal(double mean, double sigma) {
    return {mean, 3.0 * sigma, 3.0 * sigma, 6.0 * sigma};
  }
};

// Capability indices; 0 if one does not exist.
//   upper  (usl - centre)/upper reach      lower  (centre - lsl)/lower reach
//   k      the lesser of those that exist  p      (usl - lsl)/both, with one limit that one's index
//   ratio  1/p
//   m      (usl - lsl)/(6 tau), tau^2 = (both/6)^2 + (centre - aim)^2; with one limit
//          |limit - target|/(3 tau), without a target k
// A reach that is not above 0 gives no index.
// Source   ISO 22514-2; Chan, Cheng & Spiring, J. Quality Technology 20 (1988) for m; its form with
//          one limit is our own
struct CapabilityIndices {
  double p = 0.0, k = 0.0, upper = 0.0, lower = 0.0, ratio = 0.0, m = 0.0;
};
CapabilityIndices IndicesOf(const Reach& reach, const Tolerance& tolerance);

// (mean - aim)/(3 sigma), signed; the aim is the mean where there is neither target nor middle.
double AimRatio(double mean, double sigma, const Tolerance& tolerance);

// Confidence intervals of indices of normal values; level 0..1. count: values that the mean is of;
// degrees: of freedom of sigma, count - 1 of the standard deviation of all. A bound by itself, with
// all of the risk on its side, is that of the level 2 level - 1.
//   p     p sqrt(chi2(a/2, degrees)/degrees) to p sqrt(chi2(1 - a/2, degrees)/degrees), exact
//   k     k -+ z sqrt(1/(9 count) + k^2/(2 degrees)); k may be 0 or less
//   side  of one limit, exact: the noncentralities at which t = 3 index sqrt(count) leaves a/2
//   above
//         or below it, over 3 sqrt(count); beyond a t of 1000 as k
// Source   Kane, J. Quality Technology 18 (1986) for p; Bissell, Applied Statistics 39 (1990) for
//          k; Chou, Owen & Borrego, J. Quality Technology 22 (1990) for side
struct ConfidenceInterval {
  double lower, upper;
};
ConfidenceInterval IntervalOfP(double p, double degrees, double level);
ConfidenceInterval IntervalOfK(double k, double count, double degrees, double level);
ConfidenceInterval IntervalOfSide(double index, double count, double degrees, double level);

// The degrees with which the interval of m is that of p; off: (mean - aim)/sigma.
//   (1 + off^2)^2/(1/degrees + 2 off^2/count), which for degrees = count is Boyles' formula
// Source   Boyles, J. Quality Technology 23 (1991)
double DegreesOfM(double count, double degrees, double off);

// Figures made from decimal input can differ by a few units in the last place (ulps): within 8 ulps
// of a limit a value counts as on it. These are the values at the far ends of those that do; NaN of
// NaN.
double HighestOn(double limit);
double LowestOn(double limit);

}  // namespace orvspc::engine::statistics
