// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/TimeBins.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

namespace chr = std::chrono;

constexpr std::int64_t kDay = 86400;

std::int64_t FloorDiv(std::int64_t value, std::int64_t unit) {
  return value / unit - (value % unit < 0 ? 1 : 0);
}

chr::year_month_day DateOf(std::int64_t local) {
  return chr::year_month_day(chr::sys_days(chr::days(FloorDiv(local, kDay))));
}

struct Length {
  std::int64_t seconds, months, origin;
};

Length LengthOf(std::int32_t period) {
  switch (period) {
    case paSeconds:
      return {1, 0, 0};
    case paMinutes:
      return {60, 0, 0};
    case paHours:
      return {3600, 0, 0};
    case paDays:
      return {kDay, 0, 0};
    // Day 0 was a Thursday, three days behind a Monday.
    case paWeeks:
      return {7 * kDay, 0, -3 * kDay};
    case paMonths:
      return {0, 1, 0};
    case paQuarters:
      return {0, 3, 0};
    default:
      return {0, 0, 0};
  }
}

}  // namespace

bool TimeBins::IsPeriod(std::int32_t period) { return period >= paSeconds && period <= paQuarters; }

TimeBins::TimeBins(std::int32_t period, std::int32_t interval, std::int32_t offset)
    : offset_(offset) {
  // All of the calendar's years and more: a longer interval is one bin either way.
  constexpr std::int64_t kMaxMonths = 12 * 4000;
  const auto length = LengthOf(period);
  const auto count = std::max<std::int64_t>(interval, 1);
  seconds_ = length.seconds * count;
  months_ = std::min(length.months * count, kMaxMonths);
  origin_ = length.origin;
}

std::int64_t TimeBins::SecondsOfMonth(std::int64_t month) const {
  const auto year = FloorDiv(month, 12);
  const chr::year_month_day date(chr::year(static_cast<int>(year)),
                                 chr::month(static_cast<unsigned>(month - year * 12 + 1)),
                                 chr::day(1));
  return static_cast<std::int64_t>(chr::sys_days(date).time_since_epoch().count()) * kDay - offset_;
}

std::int64_t TimeBins::ExactStartOf(std::int64_t stamp) const {
  const auto local = stamp + offset_;
  if (months_ == 0) {
    return FloorDiv(local - origin_, seconds_) * seconds_ + origin_ - offset_;
  }
  const auto date = DateOf(local);
  const auto month = std::int64_t{static_cast<int>(date.year())} * 12 +
                     static_cast<std::int64_t>(static_cast<unsigned>(date.month())) - 1;
  return SecondsOfMonth(FloorDiv(month, months_) * months_);
}

std::int32_t TimeBins::StartOf(std::int32_t stamp) const {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(ExactStartOf(stamp), INT32_MIN, INT32_MAX));
}

std::int64_t TimeBins::NextAfter(std::int64_t start) const {
  // A start that was saturated lies behind the exact one.
  const auto exact = ExactStartOf(start);
  if (months_ == 0) return exact + seconds_;
  const auto date = DateOf(exact + offset_);
  const auto month = std::int64_t{static_cast<int>(date.year())} * 12 +
                     static_cast<std::int64_t>(static_cast<unsigned>(date.month())) - 1;
  return SecondsOfMonth(month + months_);
}

std::string TimeBins::NameOf(std::int32_t start) const {
  const auto local = start + offset_;
  const auto date = DateOf(local);
  const auto second = local - FloorDiv(local, kDay) * kDay;
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(second / 3600), static_cast<int>(second / 60 % 60));
  return text;
}

}  // namespace orvspc::engine::pareto
