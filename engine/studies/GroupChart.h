// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/SpreadGraph.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// One chart of many streams that do the same, as the heads of a filling machine: their extremes.
namespace orvspc::studies {

struct GroupOptions {
  std::int32_t threshold = 3600;           // seconds inside a group, 0 or more
  SpreadGraph spread = SpreadGraph::Auto;  // not MovingRange
};

// One side of the chart: an element a group, each of the stream that is extreme in it.
struct GroupExtreme {
  std::vector<double> values, centre, limits;
  std::vector<std::int32_t> members;    // of the stretch; -1: none, or several that are equal
  std::vector<std::int32_t> subgroups;  // identifiers; 0 where members have -1
  std::vector<std::int32_t> sizes;      // pieces of the extreme subgroup; 0: none
  std::vector<std::int32_t> runs;       // how often that stream has been it in a row
  std::vector<std::uint8_t> signals;    // not 0: beyond the limit
  std::vector<std::uint8_t> long_runs;
};

struct GroupStudy {
  std::vector<std::int32_t> times;                 // of the first subgroup of each group
  std::vector<std::int32_t> counts;                // streams in it
  std::vector<std::vector<std::int32_t>> missing;  // those that have no used subgroup in it
  GroupExtreme high, low, spread;  // greatest and least mean, greatest range or deviation
  SpreadGraph spread_graph = SpreadGraph::Range;
  std::int32_t streams = 0;
  std::int32_t run = 0;  // so often in a row is a signal; 0: no streams to compare
  Figure mean, sigma;    // of a piece, over all streams and groups
  std::vector<Note> notes;
};

// The least r with (s^r - 1)/(s - 1) of 700 or more: so many groups lie on average between two runs
// of r by chance where s streams are alike. 0 for fewer than 2 streams.
std::int32_t RunOfStreams(std::int32_t streams);

// stretch: of several streams (MixedStreams). A group is a run of subgroups, by time, in which no
// stream comes twice and any two are at most the threshold apart. It ends sooner at its longest gap
// in time where that is more than twice the gap to the next subgroup: what comes after it belongs
// to the next group.
//   limits    mean of all +- 3 sigma / sqrt(n) of the extreme subgroup; of spreads those of R or s;
//             sigma from the ranges or deviations inside the subgroups. Single pieces: moving
//             ranges of each stream
//   runs      a stream that is alone the greatest, or the least, or spreads most in RunOfStreams
//             groups in a row
// A stream that is missing is left out of its group. Subgroups that are not used are passed over.
// Mean and sigma of a phase that is frozen are those of so many of its first groups.
// limits_of: the study whose estimates hold, as that of the phase before; null: its own.
// Fewer than 2 streams or 2 groups: no figures.
// Throws std::invalid_argument for an option out of its range.
// Source   Montgomery, ch. 10.3; Nelson, J. Quality Technology 18 (1986)
GroupStudy StudyGroup(const Stretch& stretch, const GroupOptions& options = {},
                      const GroupStudy* limits_of = nullptr);

}  // namespace orvspc::studies
