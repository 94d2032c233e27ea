// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "engine/statistics/MeanSteps.h"
#include "engine/statistics/Neighbours.h"

// Where the level of a process may have changed.
namespace orvspc::engine::statistics {

// Points below and above which no steps are looked for; the search is quadratic.
inline constexpr std::size_t kLeastForSteps = 20, kMostForSteps = 20000;

inline constexpr double kUsualPenalty = 3.0;
inline constexpr std::size_t kUsualLeast = 5;  // points between two steps

struct StepHints {
  std::vector<MeanStep> steps;            // of points in sigmas; also where they are no hints
  std::vector<double> means;              // of the levels, one more than steps
  double penalty = 0.0;                   // that a gain must exceed
  NeighbourCorrelation of_points, apart;  // the latter of what points are apart from the levels
  // The steps are no hints: what is left apart from the levels is correlated, or correlation of the
  // points explains them as well as the levels do.
  bool wanders = false;
};

// Steps of the mean by StepsOfMean, with `penalty` times ln N each, and the places at which a gain
// is at most 4 less. They are no hints
// - where neighbours are correlated apart from the levels (25 points or more, Ljung-Box at lag 1, P
//   below 0.01), or
// - where the levels do not beat an autoregression of one point on the one before: N ln of the mean
//   square apart from the levels and 3 ln N a step (`penalty` ln N, where that is less) is not
//   below -2 ln of its likelihood on the same scale and 2 ln N.
// values  finite, kLeastForSteps to kMostForSteps of them
// sigma   of one of them, above 0
StepHints HintsOfSteps(std::span<const double> values, double sigma, double penalty,
                       std::size_t least);

// The best further step of points that begin and end with a level, in sigmas.
double BestGain(std::span<const double> values, double sigma, std::size_t least);

}  // namespace orvspc::engine::statistics
