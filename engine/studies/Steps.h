// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Where the level of a process may have changed.
namespace orvspc::studies {

struct StepOptions {
  double penalty = 3.0;    // of a step, times ln N; 1 to 20
  std::int32_t least = 5;  // used points between two steps, 2 to 1000
};

// Indices are those of points of the stretch.
struct LevelStep {
  std::size_t after = 0;                 // the last used point of the former level
  std::size_t earliest = 0, latest = 0;  // places at which the gain is at most 4 less
  double gain = platform::kNaN;          // of the sum of squares, in sigma^2
  double mean_before = platform::kNaN, mean = platform::kNaN;
};

struct LevelSegment {
  std::size_t first = 0, last = 0;  // used points
  double mean = platform::kNaN;
  std::int64_t used = 0;
  double further = platform::kNaN;  // the gain of the best step inside; NaN: no room for one
};

struct StepStudy {
  std::vector<LevelStep> steps;
  std::vector<LevelSegment> segments;
  std::vector<double> level;        // one element a subgroup: the mean of its segment
  Figure sigma;                     // of the points, from moving ranges
  double penalty = platform::kNaN;  // that a gain must exceed, in sigma^2
  // Lag 1 of the points, and of what they are apart from the levels.
  TestOfSignificance points, neighbours;
  std::vector<Note> notes;
};

// Hints of steps in the mean of the used points with a value: the segments that make
//   sum (x - mean of its segment)^2 / sigma^2 + penalty ln N * steps
// least; sigma = mean moving range / d2(2), which a step hardly changes. Steps judge nothing and
// move no limit.
// There are none where points wander by themselves: where neighbours are correlated apart from the
// levels, or where an autoregression without steps explains the points as well
// (statistics::HintsOfSteps). The note "may-wander" goes with steps of points that are correlated
// (Ljung-Box at lag 1, P below 0.01).
// Fewer than 20 points, more than 20000, or all equal: no steps.
// Throws std::invalid_argument for an option out of its range.
// Source   Killick, Fearnhead & Eckley, J. American Statistical Association 107 (2012)
StepStudy StudySteps(const Stretch& stretch, const StepOptions& options = {});

}  // namespace orvspc::studies
