// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/NaN.h"
#include "platform/Reports.h"

namespace orvspc::engine::statistics {

// How subgroups of different size are put together. With one size for all, Mvlue and Unweighted
// agree.
enum class EstimatorSetting {
  Mvlue,         // linear unbiased estimate of least variance
  Unweighted,    // plain mean of R_i/d2(n_i) or s_i/c4(n_i)
  Pooled,        // standard deviations: root of the pooled variance, no bias correction
  PooledAsSbar,  // the same pooled value as Sbar, divided by c4(n_i) at each point
};

inline constexpr auto kUsualEstimator = EstimatorSetting::Mvlue;

// The words that users give, in the order of the enumeration: "mvlue", "unweighted", ...
std::span<const std::string_view> EstimatorWords();
std::string_view NameOf(EstimatorSetting setting);
std::optional<EstimatorSetting> EstimatorSettingFromName(std::string_view name);

// A sigma and where it came from.
struct SigmaEstimate {
  double value = platform::kNaN;        // sigma of one piece; NaN: nothing to estimate from
  std::string_view name = "none";       // estimator and setting, e.g. "R-est mvlue"
  double constant = platform::kNaN;     // d2 or c4 that was divided by; NaN: none, or several
  std::string_view constant_name = {};  // "d2" or "c4", also where there are several
  std::int64_t used = 0;                // subgroups, or moving ranges, that took part
  std::int32_t smallest_n = 0;          // sizes that took part; 2 for moving ranges
  std::int32_t largest_n = 0;
  double sbar = platform::kNaN;  // PooledAsSbar only: the pooled standard deviation

  bool Exists() const { return used > 0; }
};

// Whether it came from the differences of neighbouring points, whatever was made of them.
inline constexpr std::string_view kMovingRangeName = "MR-est";
bool IsFromMovingRanges(const SigmaEstimate& sigma);

// As a report shows it.
Estimate ToEstimate(const SigmaEstimate& sigma);

// Sigma that the limits of a point of n pieces use: `value`, but sbar / c4(n) under PooledAsSbar.
double SigmaAt(const SigmaEstimate& estimate, std::int32_t n);

// In all of these: one element of `sizes` for each statistic. A statistic that is not finite, a
// size below 2, or used[i] = 0 takes no part; `used` empty = all used. Nothing left: value NaN,
// used 0. Sums beyond the largest number give a value that is not finite.

// Within-subgroup sigma from ranges (R-est).
//   Mvlue: sum(f_i R_i/d2(n_i)) / sum(f_i), f = d2^2/d3^2.  Ranges cannot be pooled: Pooled and
//   PooledAsSbar take Mvlue.
// Source   Burr, J. Quality Technology 1 (1969)
SigmaEstimate SigmaFromRanges(std::span<const double> ranges, std::span<const std::int32_t> sizes,
                              EstimatorSetting setting = kUsualEstimator,
                              std::span<const std::uint8_t> used = {});

// Within-subgroup sigma from standard deviations with divisor n - 1 (S-est).
//   Mvlue: sum(h_i s_i/c4(n_i)) / sum(h_i), h = c4^2/(1 - c4^2).  Pooled: sqrt(sum((n_i-1) s_i^2) /
//   sum(n_i-1)).
// PooledAsSbar reports as `value` the mean over the subgroups of sbar / c4(n_i).
// Source   Burr, J. Quality Technology 1 (1969); ISO 22514-2 (pooled)
SigmaEstimate SigmaFromSds(std::span<const double> sds, std::span<const std::int32_t> sizes,
                           EstimatorSetting setting = kUsualEstimator,
                           std::span<const std::uint8_t> used = {});

// clang-format off
// Sigma of the points from their moving ranges of span 2 (MR-est): mean / d2(2); no screening of
// large ranges.
// points   in time order, of one stream; NaN breaks the chain (no range into it or out of it); an
//          unused point is left out and its neighbours become neighbours
// anew     not 0: no range from before this point, used or not, to it or beyond; empty: nowhere
// setting  present ones agree: all ranges have one size
// Source   ISO 7870-2
// clang-format on
SigmaEstimate SigmaFromMovingRanges(std::span<const double> points,
                                    std::span<const std::uint8_t> used = {},
                                    EstimatorSetting setting = kUsualEstimator,
                                    std::span<const std::uint8_t> anew = {});

// The same without ranges above 3.267 of their mean (D4 of two points), which are dropped once:
// kScreenedName.
// Source   Nelson, J. Quality Technology 14 (1982)
inline constexpr std::string_view kScreenedName = "MR-est screened";
SigmaEstimate SigmaFromScreenedMovingRanges(std::span<const double> points,
                                            std::span<const std::uint8_t> used = {},
                                            std::span<const std::uint8_t> anew = {});

// |x_i - previous used x|; NaN at the first point and beside a NaN. An unused point has its range
// to the used point before it and is then forgotten. anew: as above.
std::vector<double> MovingRanges(std::span<const double> points,
                                 std::span<const std::uint8_t> used = {},
                                 std::span<const std::uint8_t> anew = {});

// clang-format off
// Coefficient of variation gamma of one piece from W_i = s_i / mean_i.
//   W_i/c4(n_i) has the mean gamma (1 + gamma^2/n_i), so gamma is the root of
//   gamma (1 + gamma^2 sum(h_i/n_i)/sum(h_i)) = sum(h_i W_i/c4(n_i)) / sum(h_i), h as in SigmaFromSds
// Accuracy 0.3 % of CvLimits' centre against its own points, gamma <= 0.3 (simulated)
// Source   delta method on Kang et al., J. Quality Technology 39 (2007)
// clang-format on
SigmaEstimate CvFromRatios(std::span<const double> ratios, std::span<const std::int32_t> sizes,
                           std::span<const std::uint8_t> used = {});

// The same estimates from sums over the subgroups of each size, as large samples keep them; one
// element for each size.
struct SpreadOfSize {
  std::int32_t n = 0;
  std::int64_t groups = 0;                     // all of this size
  std::int64_t range_count = 0, sd_count = 0;  // those with a finite range, deviation
  double ranges = 0.0, sds = 0.0;              // their sums
  double squares = 0.0;                        // sum of (n - 1) s^2
};
SigmaEstimate SigmaFromRangeSums(std::span<const SpreadOfSize> by_size,
                                 EstimatorSetting setting = kUsualEstimator);
SigmaEstimate SigmaFromSdSums(std::span<const SpreadOfSize> by_size,
                              EstimatorSetting setting = kUsualEstimator);
// From the sum of `count` moving ranges of span 2.
SigmaEstimate SigmaFromMovingRangeSum(double sum, std::int64_t count,
                                      EstimatorSetting setting = kUsualEstimator);

// Size-weighted mean sum(n_i x_i)/sum(n_i); points that are not finite, sizes below 1 and
// unused points are skipped; NaN when none is left.
double WeightedCentre(std::span<const double> points, std::span<const std::int32_t> sizes,
                      std::span<const std::uint8_t> used = {});

// Plain mean of the points; those not finite and unused ones are skipped; NaN when none is left.
double PlainCentre(std::span<const double> points, std::span<const std::uint8_t> used = {});

// The mean of the statistics that are not NaN, divided by a constant that the caller brings: for
// work with the rounded constants of a printed table (d2 = 2.326). NaN when every statistic is NaN.
double SigmaFromMean(std::span<const double> statistics, double constant);

}  // namespace orvspc::engine::statistics
