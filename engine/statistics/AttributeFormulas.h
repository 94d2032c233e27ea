// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/statistics/ChartFormulas.h"

namespace orvspc::engine::statistics {

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
// NaN for n < 1, and for defects of risk 0, which no number of them reaches.
// Source   ISO 2859-1 for the level; the idea of such a line ISO 7870-3
double AcceptedDefectives(double n, double level, double risk);
double AcceptedDefects(double n, double level, double risk);

}  // namespace orvspc::engine::statistics
