// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/TimeBins.h"

#include <algorithm>
#include <chrono>

#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::pareto {
namespace {

namespace chr = std::chrono;

constexpr std::int64_t kDay = 86400;

// One row for each of paTimePeriods, in their order.
constexpr struct {
  std::int64_t seconds, months;
  std::int64_t origin = 0;  // local seconds of one start
} kPeriods[] = {
    {1, 0},
    {60, 0},
    {3600, 0},
    {kDay, 0},
    {7 * kDay, 0, -3 * kDay},  // day 0 was a Thursday, three days behind a Monday
    {0, 1},
    {0, 3},
};
static_assert(std::size(kPeriods) == paQuarters + 1);

// Months since January of year 0.
std::int64_t MonthOf(std::int64_t local) {
  const chr::year_month_day date(chr::sys_days(chr::days(time::FloorDivide(local, kDay))));
  return std::int64_t{static_cast<int>(date.year())} * 12 +
         static_cast<std::int64_t>(static_cast<unsigned>(date.month())) - 1;
}

}  // namespace

bool TimeBins::IsPeriod(std::int32_t period) { return period >= paSeconds && period <= paQuarters; }

TimeBins::TimeBins(std::int32_t period, std::int32_t interval, std::int32_t offset)
    : offset_(offset) {
  // All of the calendar's years and more: a longer interval is one bin either way.
  constexpr std::int64_t kMaxMonths = 12 * 4000;
  const auto& length = kPeriods[period];
  const auto count = std::max<std::int64_t>(interval, 1);
  seconds_ = length.seconds * count;
  months_ = std::min(length.months * count, kMaxMonths);
  origin_ = length.origin;
}

std::int64_t TimeBins::SecondsOfMonth(std::int64_t month) const {
  const auto year = time::FloorDivide(month, 12);
  const chr::year_month_day date(chr::year(static_cast<int>(year)),
                                 chr::month(static_cast<unsigned>(month - year * 12 + 1)),
                                 chr::day(1));
  return static_cast<std::int64_t>(chr::sys_days(date).time_since_epoch().count()) * kDay - offset_;
}

std::int64_t TimeBins::ExactStartOf(std::int64_t stamp) const {
  const auto local = stamp + offset_;
  if (months_ == 0) {
    return time::FloorDivide(local - origin_, seconds_) * seconds_ + origin_ - offset_;
  }
  return SecondsOfMonth(time::FloorDivide(MonthOf(local), months_) * months_);
}

std::int32_t TimeBins::StartOf(std::int32_t stamp) const {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(ExactStartOf(stamp), INT32_MIN, INT32_MAX));
}

std::int64_t TimeBins::NextAfter(std::int64_t start) const {
  // A start that was saturated lies behind the exact one.
  const auto exact = ExactStartOf(start);
  return months_ == 0 ? exact + seconds_ : SecondsOfMonth(MonthOf(exact + offset_) + months_);
}

std::string TimeBins::NameOf(std::int32_t start) const {
  auto text = platform::IsoText(start + offset_).substr(0, 16);  // up to the minute
  text[10] = ' ';
  return text;
}

}  // namespace orvspc::engine::pareto
