// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/GroupChart.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <string>

#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/Estimators.h"
#include "engine/studies/spread_columns.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;
using statistics::PointLimits;

namespace {

constexpr LeastAmounts kLeast{2, 20};
constexpr double kMeanRun = 700.0;  // groups between two long runs by chance

// Subgroups of one group, by their places in the stretch.
using Group = std::vector<std::size_t>;

std::int64_t TimeBetween(const Stretch& stretch, std::size_t i, std::size_t j) {
  return std::int64_t{stretch.times[j]} - stretch.times[i];
}

bool FitsGroup(const Stretch& stretch, const Group& group, std::size_t i, std::int32_t threshold) {
  return TimeBetween(stretch, group.front(), i) <= threshold &&
         std::ranges::none_of(
             group, [&](std::size_t j) { return stretch.members[j] == stretch.members[i]; });
}

// Takes out of a group what comes after its longest gap, the latest of equal ones, where that is
// more than twice the gap to the next subgroup, which fits to it. Else nothing.
Group TakeLate(const Stretch& stretch, Group& group, std::size_t next, std::int32_t threshold) {
  std::int64_t longest = 0;
  std::size_t from = group.size();
  for (std::size_t k = 1; k < group.size(); ++k) {
    const auto gap = TimeBetween(stretch, group[k - 1], group[k]);
    if (gap < longest) continue;
    longest = gap;
    from = k;
  }
  Group late(group.begin() + static_cast<std::ptrdiff_t>(from), group.end());
  if (late.empty() || longest <= 2 * TimeBetween(stretch, group.back(), next) ||
      !FitsGroup(stretch, late, next, threshold)) {
    return {};
  }
  group.resize(from);
  return late;
}

std::vector<Group> GroupsOf(const Stretch& stretch, std::int32_t threshold) {
  std::vector<Group> groups;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (!stretch.IsUsed(i) || std::isnan(stretch.points[i])) continue;
    if (groups.empty()) {
      groups.emplace_back();
    } else if (!FitsGroup(stretch, groups.back(), i, threshold)) {
      // The next subgroup of a stream that is missing may have been taken into a group that was
      // over, and all groups to the end would begin with the wrong stream.
      groups.push_back(TakeLate(stretch, groups.back(), i, threshold));
    }
    groups.back().push_back(i);
  }
  return groups;
}

// Moving ranges run inside a stream: the columns, stream after stream. Returns where each is from.
std::vector<std::size_t> OrderByStream(const Stretch& stretch, SpreadColumns& columns) {
  std::vector<std::size_t> order(stretch.points.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, {}, [&](std::size_t i) { return stretch.members[i]; });
  const auto used = columns.used, base = columns.base;
  for (std::size_t k = 0; k < order.size(); ++k) {
    columns.levels.push_back(stretch.points[order[k]]);
    columns.used[k] = used[order[k]];
    columns.base[k] = base[order[k]];
    const bool first = k == 0 || stretch.members[order[k]] != stretch.members[order[k - 1]];
    columns.anew.push_back(first ? 1 : 0);
  }
  return order;
}

// What a group is compared by: a value of each subgroup, greatest or least, and its lines.
struct Side {
  const std::vector<double>& values;
  const std::vector<std::int32_t>& sizes;
  bool greatest;
  std::int32_t run;  // that is a signal
};

template <class Lines>
void AddExtreme(const Stretch& stretch, const Group& group, const Side& side, Lines lines_of,
                GroupExtreme& extreme) {
  std::size_t best = stretch.points.size();
  bool tied = false;
  for (const auto i : group) {
    const double value = side.values[i];
    if (std::isnan(value)) continue;
    if (best == stretch.points.size()) {
      best = i;
    } else if (value == side.values[best]) {
      tied = true;
    } else if ((value > side.values[best]) == side.greatest) {
      best = i;
      tied = false;
    }
  }
  const bool none = best == stretch.points.size();
  const auto member = none || tied ? -1 : stretch.members[best];
  const bool goes_on = member != -1 && !extreme.members.empty() && extreme.members.back() == member;
  const auto run = member == -1 ? 0 : goes_on ? extreme.runs.back() + 1 : 1;
  const double value = none ? kNaN : side.values[best];
  const auto lines = none ? PointLimits{kNaN, kNaN, kNaN, kNaN} : lines_of(best);
  const double limit = !(lines.sigma > 0.0) ? kNaN : side.greatest ? lines.upper : lines.lower;
  extreme.values.push_back(value);
  extreme.centre.push_back(lines.centre);
  extreme.limits.push_back(limit);
  extreme.members.push_back(member);
  extreme.subgroups.push_back(member == -1 || stretch.subgroups.empty() ? 0
                                                                        : stretch.subgroups[best]);
  extreme.sizes.push_back(none ? 0 : side.sizes[best]);
  extreme.runs.push_back(run);
  extreme.signals.push_back((side.greatest ? value > limit : value < limit) ? 1 : 0);
  extreme.long_runs.push_back(side.run > 0 && run >= side.run ? 1 : 0);
}

}  // namespace

std::int32_t RunOfStreams(std::int32_t streams) {
  if (streams < 2) return 0;
  std::int32_t run = 1;
  for (double mean = 1.0; mean < kMeanRun; mean = mean * streams + 1.0) ++run;
  return run;
}

GroupStudy StudyGroup(const Stretch& stretch, const GroupOptions& options,
                      const GroupStudy* limits_of) {
  Need(options.threshold >= 0, "threshold must be 0 or more");
  Need(options.spread != SpreadGraph::MovingRange, "spread must be auto, range or deviation");
  Need(stretch.members.size() == stretch.points.size(), "members must name each stream");
  GroupStudy study;
  auto columns = SpreadColumnsOf(stretch, options.spread);
  study.spread_graph = columns.graph;
  const std::set<std::int32_t> streams(stretch.members.begin(), stretch.members.end());
  study.streams = static_cast<std::int32_t>(streams.size());
  study.run = RunOfStreams(study.streams);
  const auto groups = GroupsOf(stretch, options.threshold);
  std::size_t incomplete = 0;
  for (const auto& group : groups) {
    study.times.push_back(stretch.times[group.front()]);
    study.counts.push_back(static_cast<std::int32_t>(group.size()));
    auto missing = streams;
    for (const auto i : group) missing.erase(stretch.members[i]);
    if (!missing.empty()) ++incomplete;
    study.missing.emplace_back(missing.begin(), missing.end());
  }
  const auto in_base = CountInBase(stretch, groups.size());
  columns.base = columns.used;
  if (in_base < groups.size()) {
    const auto first_after = groups[in_base].front();
    std::fill(columns.base.begin() + static_cast<std::ptrdiff_t>(first_after), columns.base.end(),
              std::uint8_t{0});
  }
  bool is_enough = limits_of != nullptr || HasEnough(in_base, kLeast, "groups", study.notes);
  if (is_enough && study.streams < 2) {
    study.notes.push_back({"one-stream", "There is one stream, so none is extreme.", {}});
    is_enough = false;
  }
  if (incomplete > 0) {
    study.notes.push_back({"streams-missing",
                           std::to_string(incomplete) + " of " + std::to_string(groups.size()) +
                               " groups lack a stream, which is left out there.",
                           {}});
  }
  auto spreads = columns.Spreads();
  if (columns.Moving()) {
    const auto order = OrderByStream(stretch, columns);
    const auto ranges = statistics::MovingRanges(columns.levels, columns.used, columns.anew);
    for (std::size_t k = 0; k < order.size(); ++k) spreads[order[k]] = ranges[k];
  }
  if (limits_of != nullptr) {
    study.mean = limits_of->mean;
    study.sigma = limits_of->sigma;
  } else if (is_enough) {
    study.sigma = AsFigure(SigmaOf(columns), stretch.points.size());
    study.mean =
        columns.Moving() ? MeanOf(columns, columns.levels) : MeanOf(columns, stretch.points);
  }
  const double mean = study.mean.value, sigma = study.sigma.value;
  const auto level = [&](std::size_t i) {
    return statistics::MeanLimits(mean, sigma, columns.sizes[i]);
  };
  const auto spread = [&](std::size_t i) {
    return SpreadLimits(columns.graph, sigma, columns.sizes[i]);
  };
  const auto run = is_enough ? study.run : 0;
  const auto& sizes = columns.sizes;
  for (const auto& group : groups) {
    AddExtreme(stretch, group, {stretch.points, sizes, true, run}, level, study.high);
    AddExtreme(stretch, group, {stretch.points, sizes, false, run}, level, study.low);
    AddExtreme(stretch, group, {spreads, sizes, true, run}, spread, study.spread);
  }
  if (is_enough && sigma == 0.0) {
    study.notes.push_back({"no-sigma", "There is no spread, so there are no limits.", {}});
  }
  return study;
}

}  // namespace orvspc::studies
