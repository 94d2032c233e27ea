// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/Sampling.h"

#include <algorithm>
#include <string>
#include <vector>

#include "engine/time/calendar.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::compliance {
namespace {

// A mistaken time of 1970 shall not ask for all the memory there is.
constexpr std::int64_t kMaxWindows = 2'000'000;

// A stretch of running time; the clock shows `clock` at its start.
struct Stretch {
  std::int64_t start, end, clock;
};

std::vector<Stretch> RunningTime(std::span<const StateSegment> segments, const Period& valid) {
  std::vector<Stretch> stretches;
  std::int64_t clock = 0;
  for (const auto& segment : segments) {
    if (!segment.running) continue;
    const auto start = std::max(segment.start, valid.start);
    const auto end = std::min(segment.end, valid.end);
    if (start >= end) continue;
    stretches.push_back({start, end, clock});
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

std::int64_t ClockAtEnd(const Stretch& stretch) {
  return stretch.clock + stretch.end - stretch.start;
}

// The intervals of running time that the clock completes: times of those that there are.
struct Intervals {
  std::vector<Stretch> stretches;
  std::int64_t every, grace, count = 0;

  Intervals(std::span<const StateSegment> segments, const Period& valid, std::int64_t each,
            std::int64_t longer)
      : stretches(RunningTime(segments, valid)), every(each), grace(longer) {
    if (stretches.empty() || every <= 0) return;
    count =
        std::max<std::int64_t>(time::FloorDivide(ClockAtEnd(stretches.back()) - grace, every), 0);
  }
  std::int64_t BeginOf(std::int64_t j) const {
    const auto clock = j * every;
    const auto in = std::ranges::upper_bound(stretches, clock, {}, ClockAtEnd);
    return in->start + clock - in->clock;
  }
  std::int64_t DueOf(std::int64_t j) const {
    const auto clock = (j + 1) * every + grace;
    const auto in = std::ranges::lower_bound(stretches, clock, {}, ClockAtEnd);
    return in->start + clock - in->clock - 1;
  }
  // How many of the first ones fit; fits(j) goes from true to false once.
  template <class Fits>
  static std::int64_t CountOf(std::int64_t below, const Fits& fits) {
    std::int64_t from = 0;
    while (from < below) {
      const auto middle = from + (below - from) / 2;
      if (fits(middle)) {
        from = middle + 1;
      } else {
        below = middle;
      }
    }
    return from;
  }
};

}  // namespace

bool IsRunning(std::int32_t state_type) {
  return state_type >= pst_Start && state_type < pst_Pause;
}

std::vector<SamplingWindow> IntervalSampling(std::span<const StateSegment> segments,
                                             const Period& valid, std::int64_t n,
                                             std::int64_t every, std::int64_t grace,
                                             std::span<const TakenSample> samples) {
  const Intervals intervals(segments, valid, every, grace);
  const auto count = intervals.count;
  if (count > kMaxWindows) {
    throw TooManyIntervals("A sampling requirement has " + std::to_string(count) +
                           " intervals in the time range, more than " +
                           std::to_string(kMaxWindows) + "; choose a shorter range");
  }

  std::vector<SamplingWindow> windows(static_cast<std::size_t>(count));
  for (std::int64_t j = 0; j < count; ++j) {
    windows[static_cast<std::size_t>(j)] = {intervals.DueOf(j), n, 0, intervals.BeginOf(j)};
  }
  for (const auto& sample : samples) {
    if (sample.time < valid.start || sample.time >= valid.end) continue;
    const auto clock = ClockAt(intervals.stretches, sample.time);
    const auto end = std::min(clock / every + 1, count);
    for (auto j = std::max<std::int64_t>(time::FloorDivide(clock - grace, every), 0); j < end;
         ++j) {
      auto& window = windows[static_cast<std::size_t>(j)];
      if (window.collected >= n) continue;
      ++window.collected;
      break;
    }
  }
  return windows;
}

std::optional<std::int64_t> BeginOfNewest(std::span<const StateSegment> segments,
                                          const Period& valid, std::int64_t every,
                                          std::int64_t grace, std::int64_t now,
                                          std::int64_t seconds) {
  const Intervals intervals(segments, valid, every, grace);
  const auto over =
      Intervals::CountOf(intervals.count, [&](std::int64_t j) { return intervals.DueOf(j) < now; });
  if (over == 0) return std::nullopt;
  const auto oldest = intervals.DueOf(over - 1) - seconds;
  const auto begun =
      Intervals::CountOf(over, [&](std::int64_t j) { return intervals.BeginOf(j) <= oldest; });
  return intervals.BeginOf(std::max<std::int64_t>(begun - 1, 0));
}

std::vector<SamplingWindow> OccasionSampling(std::span<const StateSegment> segments,
                                             const Period& valid, std::int64_t n,
                                             std::span<const Occasion> occasions,
                                             std::span<const TakenSample> samples) {
  std::vector<SamplingWindow> windows;
  const auto stretches = RunningTime(segments, valid);
  for (const auto& occasion : occasions) {
    const bool ran = std::any_of(stretches.begin(), stretches.end(), [&](const Stretch& each) {
      return each.start < occasion.end && occasion.start < each.end;
    });
    if (!ran) continue;
    const auto start = std::max(occasion.start, valid.start);
    const auto end = std::min(occasion.end, valid.end);
    auto& window = windows.emplace_back(SamplingWindow{occasion.end - 1, n, 0, occasion.start});
    for (auto at = std::ranges::lower_bound(samples, start, {}, &TakenSample::time);
         at != samples.end() && at->time < end && window.collected < n; ++at) {
      if (occasion.item == 0 || at->item == occasion.item) ++window.collected;
    }
  }
  return windows;
}

std::vector<Due> DueBySegment(std::span<const StateSegment> segments,
                              std::span<const SamplingWindow> windows) {
  std::vector<Due> due(segments.size());
  for (const auto& window : windows) {
    const auto next = std::ranges::upper_bound(segments, window.due, {}, &StateSegment::start);
    auto& place =
        due[next == segments.begin() ? 0 : static_cast<std::size_t>(next - segments.begin()) - 1];
    place.expected += window.expected;
    place.collected += window.collected;
  }
  return due;
}

}  // namespace orvspc::engine::compliance
