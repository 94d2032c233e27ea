// SPDX-License-Identifier: Apache-2.0
#include "engine/time/calendar.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>

#include "platform/Enumerations.h"

namespace orvspc::engine::time {
namespace {

namespace chr = std::chrono;

constexpr std::int64_t kDay = 86400;

thread_local std::optional<std::int64_t> fixed_now;

std::int64_t FloorTo(std::int64_t value, std::int64_t unit) {
  const auto rest = value % unit;
  return value - (rest < 0 ? rest + unit : rest);
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

// Exactly `digits` decimal digits at the front of the text.
std::optional<int> TakeDigits(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return std::nullopt;
  int value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    if (text[i] < '0' || text[i] > '9') return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return value;
}

bool Take(std::string_view& text, char wanted) {
  if (text.empty() || text.front() != wanted) return false;
  text.remove_prefix(1);
  return true;
}

// Sign, hours and perhaps minutes, as in +02:00, -0530, +1.
std::optional<std::int32_t> TakeOffset(std::string_view& text) {
  const bool minus = !text.empty() && text.front() == '-';
  if (!minus && (text.empty() || text.front() != '+')) return std::nullopt;
  text.remove_prefix(1);
  auto hours = TakeDigits(text, 2);
  if (!hours) hours = TakeDigits(text, 1);
  if (!hours) return std::nullopt;
  int minutes = 0;
  const bool colon = Take(text, ':');
  if (colon || !text.empty()) {
    const auto given = TakeDigits(text, 2);
    if (!given) return std::nullopt;
    minutes = *given;
  }
  if (*hours > 14 || minutes > 59) return std::nullopt;
  const auto offset = static_cast<std::int32_t>(*hours * 3600 + minutes * 60);
  return minus ? -offset : offset;
}

std::optional<std::int64_t> TakeDate(std::string_view& text) {
  const auto year = TakeDigits(text, 4);
  if (!year || !Take(text, '-')) return std::nullopt;
  const auto month = TakeDigits(text, 2);
  if (!month || !Take(text, '-')) return std::nullopt;
  const auto day = TakeDigits(text, 2);
  if (!day) return std::nullopt;
  const chr::year_month_day date(chr::year(*year), chr::month(static_cast<unsigned>(*month)),
                                 chr::day(static_cast<unsigned>(*day)));
  if (!date.ok()) return std::nullopt;
  return SecondsOf(date);
}

// Hours and minutes, perhaps seconds, perhaps a fraction.
std::optional<std::int64_t> TakeClock(std::string_view& text) {
  const auto hours = TakeDigits(text, 2);
  if (!hours || *hours > 23 || !Take(text, ':')) return std::nullopt;
  const auto minutes = TakeDigits(text, 2);
  if (!minutes || *minutes > 59) return std::nullopt;
  std::int64_t seconds = *hours * 3600 + *minutes * 60;
  if (!Take(text, ':')) return seconds;
  const auto given = TakeDigits(text, 2);
  if (!given || *given > 59) return std::nullopt;
  seconds += *given;
  if (!Take(text, '.') && !Take(text, ',')) return seconds;
  const auto tenths = TakeDigits(text, 1);
  if (!tenths) return std::nullopt;
  while (!text.empty() && text.front() >= '0' && text.front() <= '9') text.remove_prefix(1);
  return *tenths >= 5 ? seconds + 1 : seconds;
}

}  // namespace

std::optional<std::int32_t> ZoneOffset(std::string_view zone) {
  if (zone.empty() || zone == "UTC" || zone == "Z" || zone == "Etc/UTC") return 0;
  if (zone.starts_with("UTC")) zone.remove_prefix(3);
  const auto offset = TakeOffset(zone);
  return zone.empty() ? offset : std::nullopt;
}

std::optional<std::int32_t> PeriodsBefore(std::int64_t stamp, std::int32_t period,
                                          std::int32_t count, std::int32_t offset) {
  if (count < 1) return std::nullopt;
  constexpr std::int32_t kMostMonths = 12 * 400;  // more than the whole range of stamps
  const auto back = [&](std::int64_t unit) { return Saturated(stamp - unit * count); };
  std::int32_t months = 0;
  switch (period) {
    case drpMinute:
      return back(60);
    case drpHour:
      return back(3600);
    case drpDay:
      return back(kDay);
    case drpWeek:
      return back(7 * kDay);
    case drpMonth:
      months = std::min(count, kMostMonths);
      break;
    case drpYear:
      months = 12 * std::min(count, kMostMonths / 12);
      break;
    default:
      return std::nullopt;
  }
  const auto local = stamp + offset;
  auto date = DateOf(local) - chr::months(months);
  if (!date.ok()) date = chr::sys_days(date.year() / date.month() / chr::last);
  return Saturated(SecondsOf(date) + (local - FloorTo(local, kDay)) - offset);
}

std::optional<std::int64_t> StartOfPeriod(std::int64_t stamp, std::int32_t period,
                                          std::int32_t offset) {
  const auto local = stamp + offset;
  const auto date = DateOf(local);
  switch (period) {
    case drpMinute:
      return FloorTo(local, 60) - offset;
    case drpHour:
      return FloorTo(local, 3600) - offset;
    case drpDay:
      return FloorTo(local, kDay) - offset;
    // Day 0 was a Thursday, three days behind a Monday.
    case drpWeek:
      return FloorTo(local + 3 * kDay, 7 * kDay) - 3 * kDay - offset;
    case drpMonth:
      return SecondsOf(date.year() / date.month() / 1) - offset;
    case drpYear:
      return SecondsOf(date.year() / 1 / 1) - offset;
    default:
      return std::nullopt;
  }
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
    if (Take(text, ' ')) continue;
    auto word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    const auto time = TakeClock(word);
    if (!time || !word.empty()) return std::nullopt;
    times.push_back(static_cast<std::int32_t>(*time));
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

std::optional<std::int64_t> ParseTime(std::string_view text) {
  auto stamp = TakeDate(text);
  if (!stamp || text.empty()) return stamp;
  if (!Take(text, 'T') && !Take(text, 't') && !Take(text, ' ')) return std::nullopt;
  const auto clock = TakeClock(text);
  if (!clock) return std::nullopt;
  *stamp += *clock;
  if (text.empty()) return stamp;
  if (text == "Z" || text == "z") return stamp;
  const auto offset = TakeOffset(text);
  if (!offset || !text.empty()) return std::nullopt;
  return *stamp - *offset;
}

}  // namespace orvspc::engine::time
