// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "platform/NaN.h"

// How many points a control chart takes to its first signal. Points are independent, normal with
// standard deviation 1; the process is `shift` off its target from the first point on.
namespace orvspc::engine::statistics {

// Quantiles are the least number of points by which so much of the runs have ended.
struct RunLength {
  double mean = platform::kNaN, sd = platform::kNaN;
  double p05 = platform::kNaN, median = platform::kNaN, p95 = platform::kNaN;
};

// Which signals count.
enum class Sides { Both, Upper, Lower };

struct CusumScheme {
  double k = 0.5, h = 5.0, head_start = 0.0;
  Sides sides = Sides::Both;
};

// Of a tabular cusum with independent points. Two arms have the exact figures of the two single
// ones where head_start <= h / 2 + k, since then the other arm is 0 when one signals; empty beyond.
//   L(s) = 1 + L(0) Phi(k - s - shift) + integral of L(y) phi(y + k - s - shift) from 0 to h
// Source   Page, Biometrika 41 (1954); Lucas & Crosier, Technometrics 24 (1982)
std::optional<RunLength> CusumRunLength(const CusumScheme& scheme, double shift);
// The mean alone of the same, which takes less time; NaN where that is empty.
double CusumMeanRunLength(const CusumScheme& scheme, double shift);

struct EwmaScheme {
  double weight = 0.2, width = 3.0;
  bool exact = true;          // limits of each point; otherwise those after many
  std::optional<double> fir;  // factor 1 - (1 - f)^(1 + a (t - 1)) of exact limits
  Sides sides = Sides::Both;
};

// Of an EWMA that begins at the target. Asymptotic limits by the integral equation
//   L(z) = 1 + integral of L(y) phi((y - (1 - weight) z) / weight - shift) / weight
// exact ones by the density of z from point to point, until the limits no longer change.
// Source   Crowder, Technometrics 29 (1987); Knoth, in Frontiers in Statistical Quality Control 7
RunLength EwmaRunLength(const EwmaScheme& scheme, double shift);
double EwmaMeanRunLength(const EwmaScheme& scheme, double shift);

// The limits of point t = 1, 2, ... as a share of those after many points.
double EwmaWidening(const EwmaScheme& scheme, double t);

struct CountCusumScheme {
  double k = 0.0, h = 1.0;  // multiples of 1 / steps; a sum at h or above signals
  double head_start = 0.0;
  std::size_t steps = 4;  // of a unit
  bool is_upper = true;   // sums of count - k; otherwise of k - count
};

// Of a cusum of counts, exactly: a chain over the sums that there can be. at_most(c) is P(count <=
// c) as the process is.
// Source   Lucas, Technometrics 27 (1985)
RunLength CountCusumRunLength(const CountCusumScheme& scheme,
                              const std::function<double(double)>& at_most);

}  // namespace orvspc::engine::statistics
