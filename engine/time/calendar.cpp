// SPDX-License-Identifier: Apache-2.0
#include "engine/time/calendar.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>

#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::time {
namespace {

namespace chr = std::chrono;

constexpr std::int64_t kDay = 86400;

thread_local std::optional<std::int64_t> fixed_now;

std::int64_t FloorTo(std::int64_t value, std::int64_t unit) {
  return FloorDivide(value, unit) * unit;
}

// In seconds; 0 for months, years and what is no period.
std::int64_t LengthOf(std::int32_t period) {
  constexpr std::pair<std::int32_t, std::int64_t> kLengths[] = {
      {drpMinute, 60}, {drpHour, 3600}, {drpDay, kDay}, {drpWeek, 7 * kDay}};
  for (const auto& [each, length] : kLengths)
    if (each == period) return length;
  return 0;
}

chr::year_month_day DateOf(std::int64_t local) {
  return chr::year_month_day(chr::sys_days(chr::days(FloorTo(local, kDay) / kDay)));
}

std::int64_t SecondsOf(const chr::year_month_day& date) {
  return static_cast<std::int64_t>(chr::sys_days(date).time_since_epoch().count()) * kDay;
}

std::int32_t Saturated(std::int64_t stamp) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(stamp, INT32_MIN, INT32_MAX));
}

}  // namespace

std::optional<std::int32_t> ZoneOffset(std::string_view zone) {
  if (zone.empty() || zone == "UTC" || zone == "Z" || zone == "Etc/UTC") return 0;
  if (zone.starts_with("UTC")) zone.remove_prefix(3);
  const auto offset = platform::TakeZoneOffset(zone);
  return zone.empty() ? offset : std::nullopt;
}

std::optional<std::int32_t> PeriodsBefore(std::int64_t stamp, std::int32_t period,
                                          std::int32_t count, std::int32_t offset) {
  if (count < 1) return std::nullopt;
  if (const auto length = LengthOf(period); length != 0) return Saturated(stamp - length * count);
  if (period != drpMonth && period != drpYear) return std::nullopt;
  constexpr std::int32_t kMaxMonths = 12 * 400;  // more than the whole range of stamps
  const std::int32_t each = period == drpYear ? 12 : 1;
  const std::int32_t months = each * std::min(count, kMaxMonths / each);
  const auto local = stamp + offset;
  auto date = DateOf(local) - chr::months(months);
  if (!date.ok()) date = chr::sys_days(date.year() / date.month() / chr::last);
  return Saturated(SecondsOf(date) + (local - FloorTo(local, kDay)) - offset);
}

std::optional<std::int64_t> StartOfPeriod(std::int64_t stamp, std::int32_t period,
                                          std::int32_t offset) {
  const auto local = stamp + offset;
  if (const auto length = LengthOf(period); length != 0) {
    // Day 0 was a Thursday, three days behind a Monday.
    const auto shift = period == drpWeek ? 3 * kDay : 0;
    return FloorTo(local + shift, length) - shift - offset;
  }
  const auto date = DateOf(local);
  if (period == drpMonth) return SecondsOf(date.year() / date.month() / 1) - offset;
  if (period == drpYear) return SecondsOf(date.year() / 1 / 1) - offset;
  return std::nullopt;
}

std::int64_t FloorDivide(std::int64_t value, std::int64_t unit) {
  return value / unit - (value % unit < 0 ? 1 : 0);
}

Shift ShiftAround(std::int64_t stamp, std::span<const std::int32_t> starts, std::int32_t offset) {
  const auto local = stamp + offset;
  const auto midnight = FloorTo(local, kDay);
  auto start = midnight - kDay + starts.back();
  for (const auto time : starts) {
    if (midnight + time > local) return {start - offset, midnight + time - offset};
    start = midnight + time;
  }
  return {start - offset, midnight + kDay + starts.front() - offset};
}

std::optional<std::vector<std::int32_t>> ParseTimesOfDay(std::string_view text) {
  std::vector<std::int32_t> times;
  while (!text.empty()) {
    if (text.front() == ' ') {
      text.remove_prefix(1);
      continue;
    }
    const auto time = platform::TakeClock(text);
    if (!time || !(text.empty() || text.front() == ' ')) return std::nullopt;
    times.push_back(static_cast<std::int32_t>(*time / 1'000'000'000));
  }
  if (times.empty() || std::ranges::adjacent_find(times, std::greater_equal()) != times.end()) {
    return std::nullopt;
  }
  return times;
}

std::int64_t Now() {
  if (fixed_now) return *fixed_now;
  return chr::duration_cast<chr::seconds>(chr::system_clock::now().time_since_epoch()).count();
}

FixedNow::FixedNow(std::int64_t stamp) { fixed_now = stamp; }
FixedNow::~FixedNow() { fixed_now.reset(); }

}  // namespace orvspc::engine::time
