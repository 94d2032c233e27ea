// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Points that depend on their neighbours.
namespace orvspc::studies {

struct AcfOptions {
  std::optional<std::int32_t> lags;    // 1 or more; without: min(20, N / 4)
  std::optional<std::int32_t> tested;  // lags of the test, 1 or more; without: min(10, N / 5)
  double level = 0.95;                 // of the bounds, 0.5 to 0.9999
  std::int32_t fitted = 0;             // parameters, of residuals: so many degrees less
};

struct AcfStudy {
  std::vector<double> acf;  // of lags 1, 2, ..
  double bound = platform::kNaN;
  TestOfSignificance ljung_box, first;  // of the tested lags together, and of lag 1 alone
  // Standard deviation by moving ranges over that of the points, sqrt(1 - r_1).
  double factor = platform::kNaN;
  Figure mean;
  std::vector<Note> notes;
};

// Autocorrelation of the used points of a stretch:
//   r_k     sum (x_t - mean)(x_(t+k) - mean) / sum (x_t - mean)^2; one that is not used is passed
//           over, and one without value leaves its pairs out
//   bounds  +- z / sqrt(N)
//   Q       N (N + 2) sum r_k^2 / (N - k) over the tested lags K, chi-square with K - fitted
//   degrees
// From 25 points on P below 0.01 at lag 1 is noted: limits from moving ranges are then too narrow
// or too wide by sqrt(1 - r_1), those from inside subgroups do not show how far means wander; and
// runs are expected. Which limits the chart has is what the sigma of the stretch is from; without
// it those of single pieces are from moving ranges.
// Fewer than 10 points, or all equal: no figures. Lags of N or more have none, and are noted.
// Throws std::invalid_argument for an option out of its range, and for tested lags of `fitted` or
// less.
// Source   Box, Jenkins & Reinsel, Time Series Analysis, ch. 2; Ljung & Box, Biometrika 65 (1978)
AcfStudy StudyAcf(const Stretch& stretch, const AcfOptions& options = {});

// x_t - mean = phi (x_(t-1) - mean) + e_t.
struct Ar1Parameters {
  double phi = 0.0, mean = 0.0, sigma = 0.0;  // sigma of e
};

struct Ar1Study {
  Figure phi, mean;
  Figure sigma;                    // of e, from moving ranges: what the limits are made of
  double spread = platform::kNaN;  // of e, by maximum likelihood
  double log_likelihood = platform::kNaN;
  // One element a subgroup; NaN: none. fitted: what the points before give.
  std::vector<double> residuals, fitted;
  double upper = platform::kNaN, lower = platform::kNaN;  // about 0
  std::vector<std::uint8_t> signals;                      // not 0: the residual is beyond a limit
  TestOfSignificance ljung_box;                           // of the residuals
  std::vector<Note> notes;

  Ar1Parameters Parameters() const { return {phi.value, mean.value, sigma.value}; }
};

// Residual chart of an autoregression of one point on the one before: phi, |phi| <= 0.999, and mean
// by the exact Gaussian likelihood; limits +- 3 mean |e_t - e_(t-1)| / d2(2).
//   e_t   x_t - mean - phi (x_(t-1) - mean); at the start, and after a point without value,
//         (x_t - mean) sqrt(1 - phi^2)
// A point that is not used is passed over; it is shown against the used one before.
// Parameters and limits of a phase that is frozen are those of its first used points with a value.
// known: parameters that hold already, as of the phase before; then nothing is estimated.
// Fewer than 50 used points without them, or all equal: no figures. |phi| above 0.95 is noted.
// Throws std::invalid_argument for known parameters with |phi| > 0.999 or sigma not above 0.
// Source   Box, Jenkins & Reinsel, ch. 7; Alwan & Roberts, J. Business & Economic Statistics 6
// (1988)
Ar1Study StudyAr1(const Stretch& stretch, const std::optional<Ar1Parameters>& known = {});

}  // namespace orvspc::studies
