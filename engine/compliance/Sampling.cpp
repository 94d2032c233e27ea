// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/Sampling.h"

#include <algorithm>

#include "platform/Enumerations.h"

namespace orvspc::engine {
namespace {

// A stretch of running time; the clock shows `clock` at its start.
struct Stretch {
  std::int64_t start, end, clock;
  std::size_t segment;
};

std::vector<Stretch> RunningTime(std::span<const StateSegment> segments, const Period& valid) {
  std::vector<Stretch> stretches;
  std::int64_t clock = 0;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (!segments[i].running) continue;
    const auto start = std::max(segments[i].start, valid.start);
    const auto end = std::min(segments[i].end, valid.end);
    if (start >= end) continue;
    stretches.push_back({start, end, clock, i});
    clock += end - start;
  }
  return stretches;
}

std::int64_t ClockAt(std::span<const Stretch> stretches, std::int64_t time) {
  const auto next = std::upper_bound(stretches.begin(), stretches.end(), time,
                                     [](auto t, const Stretch& each) { return t < each.start; });
  if (next == stretches.begin()) return 0;
  const auto& stretch = *(next - 1);
  return stretch.clock + std::min(time, stretch.end) - stretch.start;
}

std::int64_t FloorDivide(std::int64_t value, std::int64_t unit) {
  return value / unit - (value % unit < 0 ? 1 : 0);
}

}  // namespace

bool IsRunning(std::int32_t state_type) {
  return state_type >= pst_Start && state_type < pst_Pause;
}

std::vector<Due> IntervalSampling(std::span<const StateSegment> segments, const Period& valid,
                                  std::int64_t n, std::int64_t every, std::int64_t grace,
                                  std::span<const Sample> samples) {
  std::vector<Due> due(segments.size());
  const auto stretches = RunningTime(segments, valid);
  if (stretches.empty() || every <= 0) return due;
  const auto& last = stretches.back();
  const auto total = last.clock + last.end - last.start;
  const auto windows = std::max<std::int64_t>(FloorDivide(total - grace, every), 0);

  std::vector<std::int64_t> taken(static_cast<std::size_t>(windows));
  for (const auto& sample : samples) {
    if (sample.time < valid.start || sample.time >= valid.end) continue;
    const auto clock = ClockAt(stretches, sample.time);
    const auto first = std::max<std::int64_t>(FloorDivide(clock - grace, every), 0);
    const auto end = std::min(clock / every + 1, windows);
    for (auto j = first; j < end; ++j) {
      auto& count = taken[static_cast<std::size_t>(j)];
      if (count >= n) continue;
      ++count;
      break;
    }
  }

  std::size_t at = 0;
  for (std::int64_t j = 0; j < windows; ++j) {
    const auto end = (j + 1) * every + grace;
    while (stretches[at].clock + stretches[at].end - stretches[at].start < end) ++at;
    auto& place = due[stretches[at].segment];
    place.expected += n;
    place.collected += taken[static_cast<std::size_t>(j)];
  }
  return due;
}

std::vector<Due> OccasionSampling(std::span<const StateSegment> segments, const Period& valid,
                                  std::int64_t n, std::span<const Occasion> occasions,
                                  std::span<const Sample> samples) {
  std::vector<Due> due(segments.size());
  const auto stretches = RunningTime(segments, valid);
  for (const auto& occasion : occasions) {
    const bool ran = std::any_of(stretches.begin(), stretches.end(), [&](const Stretch& each) {
      return each.start < occasion.end && occasion.start < each.end;
    });
    if (!ran) continue;
    const auto start = std::max(occasion.start, valid.start);
    const auto end = std::min(occasion.end, valid.end);
    std::int64_t taken = 0;
    for (auto at = std::lower_bound(samples.begin(), samples.end(), start,
                                    [](const Sample&each, auto time) { return each.time < time; });
         at != samples.end() && at->time < end && taken < n; ++at) {
      if (occasion.item == 0 || at->item == occasion.item) ++taken;
    }
    const auto next =
        std::upper_bound(segments.begin(), segments.end(), occasion.end - 1,
                         [](auto time, const StateSegment& each) { return time < each.start; });
    auto& place =
        due[next == segments.begin() ? 0 : static_cast<std::size_t>(next - segments.begin()) - 1];
    place.expected += n;
    place.collected += taken;
  }
  return due;
}

}  // namespace orvspc::engine
