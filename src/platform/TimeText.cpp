// SPDX-License-Identifier: Apache-2.0
#include "platform/TimeText.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace orvspc::platform {
namespace {

namespace chr = std::chrono;

constexpr std::int64_t kSecond = 1'000'000'000;  // in nanoseconds
constexpr std::int64_t kDaySeconds = 86'400;

// Exactly so many decimal digits at the front of the text.
template <std::size_t kDigits>
std::optional<int> TakeDigits(std::string_view& text) {
  if (text.size() < kDigits) return std::nullopt;
  unsigned value = 0, highest = 0;
  for (std::size_t i = 0; i < kDigits; ++i) {
    const auto digit = static_cast<unsigned>(static_cast<unsigned char>(text[i])) - '0';
    highest = std::max(highest, digit);
    value = value * 10 + digit;
  }
  if (highest > 9) return std::nullopt;
  text.remove_prefix(kDigits);
  return static_cast<int>(value);
}

bool Take(std::string_view& text, char wanted) {
  if (text.empty() || text.front() != wanted) return false;
  text.remove_prefix(1);
  return true;
}

// Digits of a fraction of a second as nanoseconds.
std::optional<std::int64_t> TakeFraction(std::string_view& text) {
  std::int64_t value = 0, unit = kSecond;
  const std::size_t before = text.size();
  for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; text.remove_prefix(1)) {
    unit /= 10;
    value += unit * (text.front() - '0');
  }
  return text.size() < before ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> TakeDay(std::string_view& text) {
  auto rest = text;
  const auto year = TakeDigits<4>(rest);
  if (!year || !Take(rest, '-')) return std::nullopt;
  const auto month = TakeDigits<2>(rest);
  if (!month || !Take(rest, '-')) return std::nullopt;
  const auto day = TakeDigits<2>(rest);
  if (!day) return std::nullopt;
  const chr::year_month_day date(chr::year(*year), chr::month(static_cast<unsigned>(*month)),
                                 chr::day(static_cast<unsigned>(*day)));
  if (*year == 0 || !date.ok()) return std::nullopt;
  text = rest;
  return chr::sys_days(date).time_since_epoch().count();
}

std::optional<std::int64_t> TakeClock(std::string_view& text) {
  auto rest = text;
  const auto hours = TakeDigits<2>(rest);
  if (!hours || *hours > 23 || !Take(rest, ':')) return std::nullopt;
  const auto minutes = TakeDigits<2>(rest);
  if (!minutes || *minutes > 59) return std::nullopt;
  std::int64_t time = (*hours * 3600 + *minutes * 60) * kSecond;
  if (Take(rest, ':')) {
    const auto seconds = TakeDigits<2>(rest);
    if (!seconds || *seconds > 59) return std::nullopt;
    time += *seconds * kSecond;
    if (Take(rest, '.') || Take(rest, ',')) {
      const auto fraction = TakeFraction(rest);
      if (!fraction) return std::nullopt;
      time += *fraction;
    }
  }
  text = rest;
  return time;
}

std::optional<std::int32_t> TakeZoneOffset(std::string_view& text) {
  auto rest = text;
  const int sign = Take(rest, '+') ? 1 : Take(rest, '-') ? -1 : 0;
  auto hours = TakeDigits<2>(rest);
  if (!hours) hours = TakeDigits<1>(rest);
  if (sign == 0 || !hours) return std::nullopt;
  std::optional<int> minutes = 0;
  const bool colon = Take(rest, ':');
  if (colon || (!rest.empty() && rest.front() >= '0' && rest.front() <= '9'))
    minutes = TakeDigits<2>(rest);
  constexpr int kMaxHours = 14;
  if (!minutes || *minutes > 59 || *hours * 60 + *minutes > kMaxHours * 60) return std::nullopt;
  text = rest;
  return sign * (*hours * 3600 + *minutes * 60);
}

std::optional<IsoTime> TakeIsoTime(std::string_view& text) {
  auto rest = text;
  const auto day = TakeDay(rest);
  if (!day) return std::nullopt;
  IsoTime time;
  time.day = *day;
  if (Take(rest, 'T') || Take(rest, 't') || Take(rest, ' ')) {
    const auto clock = TakeClock(rest);
    if (!clock) return std::nullopt;
    time.nanoseconds = *clock;
    time.has_clock = true;
    if (Take(rest, 'Z') || Take(rest, 'z')) {
      time.offset = 0;
    } else if (!rest.empty() && (rest.front() == '+' || rest.front() == '-')) {
      time.offset = TakeZoneOffset(rest);
      if (!time.offset) return std::nullopt;
    }
  }
  text = rest;
  return time;
}

std::optional<std::int64_t> ParseIsoTime(std::string_view text) {
  const auto time = TakeIsoTime(text);
  if (!time || !text.empty()) return std::nullopt;
  return time->day * kDaySeconds + (time->nanoseconds + kSecond / 2) / kSecond -
         time->offset.value_or(0);
}

std::string IsoText(std::int64_t stamp) {
  const auto moment = chr::sys_seconds(chr::seconds(stamp));
  const auto midnight = chr::floor<chr::days>(moment);
  const chr::year_month_day date(midnight);
  const auto seconds = static_cast<int>((moment - midnight).count());
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

}  // namespace orvspc::platform
