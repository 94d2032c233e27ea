// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/TimeTicks.h"

#include <algorithm>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

constexpr std::int64_t kHour = 3600, kDay = 86400;

std::int64_t FloorTo(std::int64_t stamp, std::int64_t step) {
  const std::int64_t rest = stamp % step;
  return stamp - (rest < 0 ? rest + step : rest);
}

// The least round step with at most so many marks.
std::int64_t StepOf(std::int64_t length, std::size_t most) {
  constexpr std::int64_t kSteps[] = {
      60,   300,      600,      1800,      kHour,     2 * kHour, 3 * kHour,  6 * kHour, 12 * kHour,
      kDay, 2 * kDay, 7 * kDay, 14 * kDay, 28 * kDay, 91 * kDay, 182 * kDay, 364 * kDay};
  for (const std::int64_t step : kSteps)
    if (length / step < static_cast<std::int64_t>(most)) return step;
  return 364 * kDay * (1 + length / (364 * kDay * static_cast<std::int64_t>(most)));
}

}  // namespace

TimeTicks RoundTimes(std::int64_t start, std::int64_t end, std::size_t most) {
  TimeTicks times;
  const std::int64_t step = StepOf(end - start, std::max<std::size_t>(most, 1));
  // Steps of weeks begin on a Monday, which 1970-01-05 was.
  const std::int64_t origin = step % (7 * kDay) == 0 ? 4 * kDay : 0;
  for (std::int64_t stamp = FloorTo(start - 1 - origin, step) + origin + step; stamp <= end;
       stamp += step)
    times.ticks.emplace_back(stamp,
                             FloorTo(stamp, kDay) == stamp ? DayText(stamp) : ClockText(stamp));
  if ((end - start) / kDay <= 62)
    for (std::int64_t day = FloorTo(start, kDay) + kDay; day < end; day += kDay)
      times.days.push_back(day);
  return times;
}

}  // namespace orvspc::render
