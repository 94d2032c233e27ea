// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Charts of counts whose limits are not three binomial or Poisson sigmas.
namespace orvspc::studies {

struct LaneyOptions {
  bool floor = false;  // a factor below 1 is taken as 1, so that it never narrows the limits
  // No point can be above it: 1 of proportions; rates have no such end.
  double most = std::numeric_limits<double>::infinity();
};

// One element a subgroup in each column; NaN: none.
struct LaneyStudy {
  std::vector<double> z, centre, upper, lower;
  std::vector<std::uint8_t> signals;  // not 0: the point is beyond a limit
  Figure mean;                        // of the points: the rate
  Figure sigma_z;                     // the factor, from moving ranges of z; before the floor
  std::vector<Note> notes;
};

// p' and u': limits for proportions and rates that vary more than their sizes explain.
//   z_i = (x_i - centre_i) / sigma_i, with sigma_i of the point's own size
//   sigma_z = mean |z_i - z_(i-1)| / d2(2), d2(2) = 2 / sqrt(pi), of the used points
//   limits centre_i +- 3 sigma_i sigma_z, never below 0 nor above `most`
// limits_of: the stretch whose sigma_z holds, as that of the phase before; nothing: this one.
// Fewer than 3 used points: no figures. A sigma_z below 0.9 is noted.
// Throws std::invalid_argument for `most` of 0 or less.
// Source   Laney, Quality Engineering 14 (2002)
LaneyStudy StudyLaney(const Stretch& stretch, const LaneyOptions& options = {},
                      const Stretch* limits_of = nullptr);

// Limits of a count by its own distribution; a count on a limit is inside.
struct ExactLimits {
  double centre = platform::kNaN, lower = platform::kNaN, upper = platform::kNaN;
  double risk_below = platform::kNaN, risk_above = platform::kNaN;  // of a false signal
};

// lower: the greatest c with P(X < c) <= alpha / 2; upper: the least c with P(X > c) <= alpha / 2.
// So neither risk is above alpha / 2. centre is the mean. Of a proportion or a rate, divide by the
// size. NaN throughout where size, share or mean is NaN.
//   alpha   0.0001 to 0.1
//   size    whole, 1 or more; share 0 to 1; mean 0 or more and finite
// Throws std::invalid_argument for anything outside.
// Source   Montgomery, ch. 7.3.1; Ryan, Statistical Methods for Quality Improvement, ch. 6
ExactLimits BinomialLimits(double size, double share, double alpha = 0.0027);
ExactLimits PoissonLimits(double mean, double alpha = 0.0027);

}  // namespace orvspc::studies
