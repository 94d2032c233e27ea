// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace orvspc::engine::statistics {

// Cusum and EWMA over one stream, oldest first. All spans have the length of `points`; `used` and
// `restart` may be empty (all used, no restart). A point that is not used is shown against what
// precedes it and then forgotten. A point that is NaN, or whose centre is, or whose sum is
// beyond the largest number, has no value and leaves the recursion as it was. A restart begins anew
// at that point. A sigma of NaN: EWMA points as usual without limits; a cusum, which counts in
// sigmas, has no value there, nor at 0.
struct SequenceInput {
  std::span<const double> points;
  std::span<const double> centre;
  std::span<const double> sigma;  // standard deviation of the point
  std::span<const std::uint8_t> used;
  std::span<const std::uint8_t> restart;
};

struct CusumSettings {
  double k = 0.5;           // reference value, in sigmas
  double h = 5.0;           // decision interval, in sigmas; a sum exactly at h does not signal
  double head_start = 0.0;  // of both sums, in sigmas
};

// Two-sided tabular cusum of y = (x - centre)/sigma, no reset after a signal.
//   up = max(0, up + y - k), down = max(0, down - y - k)
// Source   ISO 7870-4; Montgomery, ch. 9.1
struct CusumSeries {
  std::vector<double> up, down;  // both >= 0; NaN at a point without value
  std::vector<double> points;    // up if up >= down, else -down: one line for both
};
CusumSeries Cusum(const SequenceInput& input, const CusumSettings& settings = {});

struct EwmaSettings {
  double lambda = 0.2;  // weight of the newest point, 0 < lambda <= 1
  double width = 3.0;   // half width of the limits in sigmas
};

// Points and lines; no cut at 0 or at the scale's end, which is the caller's.
struct EwmaSeries {
  std::vector<double> points, centre, upper, lower;
  std::vector<double> sigma;  // standard deviation that the limits use
};

// EWMA about the centre line.
//   z = lambda x + (1 - lambda) z, from z = centre; limits centre +- width sqrt(v), v = lambda^2
//   sigma^2 + (1-lambda)^2 v
// Where the centre steps from point to point the deviation from it is averaged, which is the same
// when it does not. Source   ISO 7870-6; Montgomery, ch. 9.2
EwmaSeries Ewma(const SequenceInput& input, const EwmaSettings& settings = {});

// EWMA as moving centre line: the raw points against the EWMA of the points before.
//   centre_i = z_(i-1), limits centre_i +- width sigma(centre_i, i); z starts at the centre line
// sigma_at standard deviation of point i when its mean is the first argument; input.sigma is not
// used Source   Montgomery & Mastrangelo, J. Quality Technology 23 (1991)
EwmaSeries MovingCentreEwma(const SequenceInput& input,
                            const std::function<double(double centre, std::size_t i)>& sigma_at,
                            const EwmaSettings& settings = {});

// Standard deviation of the EWMA after many points: sigma sqrt(lambda/(2 - lambda)).
double EwmaAsymptoticSigma(double sigma, double lambda);

}  // namespace orvspc::engine::statistics
