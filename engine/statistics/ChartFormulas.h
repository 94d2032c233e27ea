// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace orvspc::engine::statistics {

// Lines of a chart at one point. `sigma` is the standard deviation of the plotted statistic by its
// formula, also where the lower limit is cut at 0: run rules standardise by it.
struct PointLimits {
  double centre, upper, lower, sigma;
};

// In all of these: `sigma` is that of one piece; a sigma of NaN gives limits of NaN about the same
// centre where the centre does not need it, a sigma of 0 limits on the centre. `width` is the half
// width in sigmas of the statistic. A size for which the statistic does not exist gives NaN
// throughout.

inline constexpr double kThreeSigma = 3.0;

// Mean of n pieces; with the mean size (not a whole number) also individuals and three-way charts.
// Source ISO 7870-2
PointLimits MeanLimits(double centre, double sigma, double n, double width = kThreeSigma);

// Median of n pieces: centre +- width sigma e(n). Source ISO 7870-2 (A4 = 3 e / d2)
PointLimits MedianLimits(double centre, double sigma, std::int32_t n, double width = kThreeSigma);

// Plain average of the means of the subgroups in the window: sigma/w sqrt(sum(1/n_j)). Source
// Montgomery, ch. 9.3
PointLimits MovingAverageLimits(double centre, double sigma,
                                std::span<const std::int32_t> window_sizes,
                                double width = kThreeSigma);

// Range of n pieces: d2 sigma, (d2 +- width d3) sigma, cut at 0. Source ISO 7870-2
PointLimits RangeLimits(double sigma, std::int32_t n, double width = kThreeSigma);

// Standard deviation (divisor n - 1) of n pieces: c4 sigma, (c4 +- width sqrt(1 - c4^2)) sigma, cut
// at 0. ISO 7870-2
PointLimits SdLimits(double sigma, std::int32_t n, double width = kThreeSigma);

// Moving range of span 2 of points with standard deviation `sigma_of_point`: RangeLimits at n = 2,
// lower limit 0.
PointLimits MovingRangeLimits(double sigma_of_point, double width = kThreeSigma);

// Coefficient of variation s/mean of n pieces, gamma the coefficient of one piece:
//   c4 gamma (1 + gamma^2/n) +- width gamma sqrt((1 - c4^2) + gamma^2/n), cut at 0
// Good to 0.5 % (centre) and 5 % (deviation) for gamma <= 0.3. Source delta method on Kang et al.,
// JQT 39 (2007)
PointLimits CvLimits(double gamma, std::int32_t n, double width = kThreeSigma);

// Mean over pieces of the range, or standard deviation, of the readings inside each piece; `sigma`
// is that of one reading. readings[j]: readings of piece j; pieces with fewer than two do not
// count.
//   sigma sum(d2(r_j))/n +- width sigma sqrt(sum(d3(r_j)^2))/n, cut at 0; c4 and sqrt(1 - c4^2) for
//   the deviation
PointLimits WithinPieceRangeLimits(double sigma, std::span<const std::int32_t> readings,
                                   double width = kThreeSigma);
PointLimits WithinPieceSdLimits(double sigma, std::span<const std::int32_t> readings,
                                double width = kThreeSigma);

// Defectives or defects per unit as a fraction, numerator / denominator: sums of counts and of
// units. A stored rate is a numerator over 1. Kept apart because a lower limit close to 0 is the
// small difference of two figures, and whole numbers give it in full.
struct Rate {
  double numerator = 0.0, denominator = 0.0;

  // NaN over a denominator of 0.
  double Value() const;
  bool Exists() const { return denominator > 0.0; }
};

// In both: `units` are those behind the point, above 0 and not always whole; `factor` is what a
// share or a rate is shown as: 1, 1,000, 1,000,000, or the units themselves for a count. A rate
// that does not exist gives NaN throughout; units of 0 or less give the centre of a factor that is
// not the units, and no limits. Good to 14 digits, also where the lower limit is close to 0.
// Source   ISO 7870-2; Montgomery, ch. 7

// Defectives: f p, f (p +- width sqrt(p (1 - p) / n)), within 0 and f. A p above 1 or below 0 has
// no limits.
PointLimits DefectivesLimits(const Rate& p, double units, double factor,
                             double width = kThreeSigma);

// Defects (Poisson): f u, f (u +- width sqrt(u / n)), not below 0. A u below 0 has no limits.
PointLimits DefectsLimits(const Rate& u, double units, double factor, double width = kThreeSigma);

// Acceptance number of a sample of n units: the least c with P(X <= c) >= 1 - risk. X is binomial
// (n, level) for defectives, Poisson with mean n level for defects.
//   level  defectives, or defects, a unit: 0.01 for an acceptable quality level of 1 percent
//   risk   the producer's, as a proportion
// NaN for n < 1 (defects: n <= 0), and for defects of risk 0, which no number of them reaches.
// Source   ISO 2859-1 for the level; the idea of such a line ISO 7870-3
double AcceptedDefectives(double n, double level, double risk);
double AcceptedDefects(double n, double level, double risk);

}  // namespace orvspc::engine::statistics
