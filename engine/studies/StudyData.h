// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/Database.h"
#include "platform/Phase.h"
#include "platform/Reports.h"
#include "platform/SelectionRecord.h"

// The data that studies take: streams, cut at the borders of their phases. A host fills them by
// itself, or has them read from an open database.
namespace orvspc::studies {

// Subgroups of one stream, oldest first: all of them, or those of one phase, or between two.
// Nothing is estimated or run across stretches. Columns have one element a subgroup.
struct Stretch {
  Phase phase;  // identifier 0: in none
  // The estimates that its lines come from are those of this stretch of the stream: itself, or the
  // phase before.
  std::size_t limits_of = 0;
  // Not shown: read for the estimates of others alone, before which it lies.
  bool is_shown = true;

  std::vector<double> points;  // mean, median, single value, count, proportion or rate; NaN: none
  std::vector<double> sizes;   // pieces, or units inspected; 0: not known, which counts as 1 where
                               // points are numbers of defects (ReadOptions::unknown_sizes)
  // The line in force at the point and the standard deviation of a point about it, by the stored
  // row of control limits where there is one, else by the estimates; NaN: none.
  std::vector<double> centre, sigma;
  std::vector<std::uint8_t> used;  // 0: shown, and then forgotten; empty: all are used
  std::vector<std::uint8_t>
      restart;  // not 0: another row of limits holds from here; empty: nowhere
  std::vector<std::int32_t> times;
  std::vector<std::int32_t> subgroups;  // identifiers

  // Of variables: the pieces of all subgroups side by side, those of subgroup i from first_piece[i]
  // up to first_piece[i + 1].
  std::vector<double> pieces;
  std::vector<std::uint32_t> first_piece;
  // Of counts: defectives or defects.
  std::vector<double> counts;

  // Where several are side by side, what each subgroup is of: its part (MixedParts), or the place
  // of its stream (MixedStreams); else empty.
  std::vector<std::int32_t> members;
  // What the rows in force at the subgroup say: the target of the specification limits, and sigma
  // of one piece of the stored control limits; NaN: none. Empty unless asked for
  // (ReadOptions::limits).
  std::vector<double> targets, stored_sigmas;

  Estimate mean, sp;  // of the points, and of one piece

  bool IsUsed(std::size_t i) const { return used.empty() || used[i] != 0; }
  bool BeginsAnew(std::size_t i) const { return !restart.empty() && restart[i] != 0; }
  std::span<const double> PiecesOf(std::size_t i) const {
    return std::span(pieces).subspan(first_piece[i], first_piece[i + 1] - first_piece[i]);
  }
};

struct Stream {
  std::int32_t part = 0, process = 0, test = 0;
  std::vector<Stretch> stretches;  // one, without phases
};

struct StudyData {
  std::int32_t chart_word = 0;  // the chart whose graph 1 has these points; 0: nothing was read
  // Of counts: whether they are of bad units, and whether points are counts or rates.
  bool defectives = false, counted = false;
  double scale = 1.0;  // of a rate: 1000 where it is one per thousand
  std::vector<Stream> streams;

  bool Empty() const { return streams.empty(); }
};

// What is read beside the points.
struct ReadOptions {
  // The chart that the points are those of: graph 1 is means, medians or single values. 0: what
  // suits the data.
  std::int32_t chart_word = 0;
  // Sigma of measurements as the option of charts has it, which may widen it for correlated points.
  bool chart_sigma = false;
  bool counts = false;  // tests of defects or defectives, and a chart word of theirs
  bool joins_phases = false;
  bool limits = false;  // targets and stored sigmas, of measurements
  // Also the points that limits come from where they are not selected, as stretches that are not
  // shown: those of a phase that is frozen, and of the phase before a gap.
  bool bases = false;
  bool unknown_sizes = false;  // sizes of defects that are not known stay 0
};

// The selected subgroups, as DataSelect::API_GetData gives a selection, with what the charts of
// the engine make of them. Nothing is thrown: what fails is kept in the open database
// (TakeFailure), notes are in its report, and the data are empty.
StudyData ReadStudyData(platform::Database& database, const API_DSInfo& selection,
                        std::span<const std::int32_t> filter, const ReadOptions& options = {});

// The parts of each process and test side by side: streams of part 0, whose subgroups are ordered
// by time. Stretches of one phase become one; so do those that have their limits from it.
StudyData MixedParts(const StudyData& data);
// All streams side by side in one, which has the part, process and test that all agree in, else 0.
StudyData MixedStreams(const StudyData& data);

}  // namespace orvspc::studies
