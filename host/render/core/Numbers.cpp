// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/TimeText.h"

namespace orvspc::render {

namespace {

constexpr const char* kNone = "\xE2\x80\x93";  // en dash

constexpr std::int64_t kHour = 3600, kDay = 86400;

std::int64_t FloorTo(std::int64_t stamp, std::int64_t step) {
  return stamp - (stamp % step + step) % step;
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

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return kNone;
  if (std::abs(value) >= 1e12) return fmt::format("{:.5e}", value);
  std::string text = fmt::format("{:.{}f}", value, std::clamp(decimals, 0, 12));
  // A tiny negative value must not read as minus zero.
  if (text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string Shortest(double value) {
  if (!std::isfinite(value)) return kNone;
  char buffer[40];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

std::string Significant(double value, int digits) {
  return std::isfinite(value) ? fmt::format("{:.{}g}", value, digits) : kNone;
}

std::string Significant(double value, int digits, double spread) {
  constexpr int kMost = 15;
  if (std::isfinite(value) && value != 0.0 && std::isfinite(spread) && spread > 0.0) {
    const double places =
        std::floor(std::log10(std::abs(value))) - std::floor(std::log10(spread)) + 2.0;
    if (places > digits) digits = static_cast<int>(std::min<double>(places, kMost));
  }
  return Significant(value, digits);
}

double SpreadOf(std::span<const double> values) {
  double least = std::numeric_limits<double>::quiet_NaN(), most = least;
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    least = std::fmin(least, value);
    most = std::fmax(most, value);
  }
  return std::isnan(least) ? 0.0 : most - least;
}

int DecimalsOf(std::span<const double> values) {
  int decimals = 0;
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    double scaled = std::abs(value) * std::pow(10.0, decimals);
    while (decimals < 8 && std::abs(scaled - std::round(scaled)) > 1e-9 * std::max(1.0, scaled)) {
      ++decimals;
      scaled *= 10.0;
    }
    if (decimals == 8) break;
  }
  return decimals;
}

int DecimalsForLimits(int data_decimals, double spread) {
  int decimals = data_decimals + 1;
  if (std::isfinite(spread) && spread > 0.0) {
    const int magnitude = static_cast<int>(std::floor(std::log10(spread)));
    decimals = std::clamp(decimals, 2 - magnitude, 4 - magnitude);
  }
  return std::clamp(decimals, 0, 10);
}

Ticks RoundTicks(double low, double high, int count) {
  Ticks ticks;
  const double raw = (high - low) / std::max(count, 1);
  if (!(raw > 0.0) || !std::isfinite(raw)) return ticks;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  double step = 10.0 * magnitude;
  for (const double factor : {5.0, 2.0, 1.0})
    if (raw <= factor * magnitude * (1.0 + 1e-9)) step = factor * magnitude;
  ticks.decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  const double first = std::ceil(low / step - 1e-9);
  for (int i = 0; i < 100; ++i) {
    const double value = (first + i) * step;
    if (value > high + step * 1e-9) break;
    ticks.values.push_back(value);
  }
  return ticks;
}

std::string IsoTime(std::int64_t stamp) { return platform::IsoText(stamp); }

std::string DayText(std::int64_t stamp) { return IsoTime(stamp).substr(0, 10); }

std::string ClockText(std::int64_t stamp) { return IsoTime(stamp).substr(11, 5); }

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
