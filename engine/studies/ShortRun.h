// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/studies/ChartRules.h"
#include "engine/studies/Figures.h"
#include "engine/studies/SpreadGraph.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// One chart of several parts that a process makes in turn.
namespace orvspc::studies {

// Deviation  x - nominal of its part, judged by one centre and sigma of all parts
// Score      (x - nominal) / (sigma of the part / sqrt(n)), judged by 0 +- 3
enum class ShortRunKind { Deviation, Score };
// Of a part: its own, that of all parts, proportional to the nominal, or of its stored limits.
enum class PartSigma { ByPart, Constant, Relative, Stored };
// Target of the specification limits in force, or without one the mean of the part; or always the
// mean.
enum class PartNominal { Target, Mean };

struct ShortRunOptions {
  ShortRunKind kind = ShortRunKind::Deviation;
  PartSigma sigma = PartSigma::ByPart;  // of scores
  PartNominal nominal = PartNominal::Target;
  SpreadGraph spread = SpreadGraph::Auto;  // not MovingRange
  std::vector<ChartRule> rules{ChartRule{}};
};

struct ShortRunPart {
  std::int32_t part = 0;
  std::int64_t subgroups = 0, runs = 0;
  double nominal = platform::kNaN;  // the newest
  std::string source;               // "target", "mean", or "target, mean" where not all have one
  Figure mean;                      // of the used pieces
  Figure sigma;                     // of a piece, as scores are made with; of deviations its own
  std::string sigma_of;             // "all parts", "x/nominal"; empty: of the part itself
};

// The points of one graph with their lines; the numbers of the rules that each breaks.
struct ShortRunGraph {
  std::vector<double> points, centre, upper, lower;
  std::vector<std::vector<std::int32_t>> marks;
};

struct ShortRunStudy {
  std::vector<double> nominals;  // one element a subgroup
  ShortRunGraph level, spread;   // graphs 1 and 2
  SpreadGraph spread_graph = SpreadGraph::Range;
  std::vector<ShortRunPart> parts;  // in the order in which they came
  Figure mean;                      // of the deviations
  Figure sigma;                     // of a piece, of all parts together
  Figure variation;                 // sigma over nominal, of PartSigma::Relative
  TestOfSignificance spreads;       // whether the parts have one sigma
  std::vector<Note> notes;
};

// stretch: of several parts (MixedParts); without `members` of one.
//   deviations  d_i = x_i - nominal; centre their mean, by sizes; sigma from the ranges or
//               deviations inside the subgroups of all parts, or from moving ranges of d;
//               limits centre +- 3 sigma / sqrt(n_i)
//   scores      limits 0 +- 3; sigma of a part with fewer than 3 subgroups, or 5 moving ranges, is
//               that of all parts, with a note
//   graph 2     R or s, of scores over sigma of the part; of single pieces moving ranges of the
//               points on graph 1, also from part to part. Rule 1 alone
// Means and sigmas of a phase that is frozen are those of its first points on the chart, all parts
// together, that are used and have a value; a part without any of them has no mean. A part whose
// sigma is stored has its newest one.
// Moving ranges that sigma is made of never lead from one part to another, nor from one run of a
// part to its next. Spreads are compared by Bartlett's test of the variances inside the subgroups,
// of single pieces by Levene's; a P below 0.01 is noted of deviations.
// limits_of: the study whose estimates hold, as that of the phase before; null: its own.
// Fewer than 2 used points: no figures; 1 is enough with stored sigmas.
// Throws std::invalid_argument for rules that are refused.
// Source   Farnum, J. Quality Technology 24 (1992); Montgomery, ch. 10.1
ShortRunStudy StudyShortRun(const Stretch& stretch, const ShortRunOptions& options = {},
                            const ShortRunStudy* limits_of = nullptr);

}  // namespace orvspc::studies
