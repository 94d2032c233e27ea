// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Numbers.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

namespace orvspc::render {

namespace {

constexpr const char* kNone = "\xE2\x80\x93";  // en dash

std::string Convert(double value, std::chars_format format, int precision) {
  char buffer[400];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, format, precision);
  return error == std::errc() ? std::string(buffer, end) : std::string(kNone);
}

std::string TwoDigits(std::int64_t value) {
  const std::string text = std::to_string(value);
  return text.size() < 2 ? "0" + text : text;
}

std::chrono::sys_seconds Time(std::int64_t stamp) {
  return std::chrono::sys_seconds(std::chrono::seconds(stamp));
}

}  // namespace

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return kNone;
  if (std::abs(value) >= 1e12) return Convert(value, std::chars_format::scientific, 5);
  std::string text = Convert(value, std::chars_format::fixed, std::clamp(decimals, 0, 12));
  // A tiny negative value must not read as minus zero.
  if (text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string Shortest(double value) {
  if (!std::isfinite(value)) return kNone;
  char buffer[40];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return error == std::errc() ? std::string(buffer, end) : std::string(kNone);
}

std::string Significant(double value, int digits) {
  if (!std::isfinite(value)) return kNone;
  return Convert(value, std::chars_format::general, digits);
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
  if (std::isfinite(spread) && spread > 0.0)
    decimals = std::clamp(decimals, 2 - static_cast<int>(std::floor(std::log10(spread))),
                          4 - static_cast<int>(std::floor(std::log10(spread))));
  return std::clamp(decimals, 0, 10);
}

Ticks RoundTicks(double low, double high, int count) {
  Ticks ticks;
  const double raw = (high - low) / std::max(count, 1);
  if (!(raw > 0.0) || !std::isfinite(raw)) return ticks;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  double step = 10.0 * magnitude;
  for (const double factor : {1.0, 2.0, 5.0})
    if (raw <= factor * magnitude * (1.0 + 1e-9)) {
      step = factor * magnitude;
      break;
    }
  ticks.decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  const double first = std::ceil(low / step - 1e-9);
  for (int i = 0; i < 100; ++i) {
    const double value = (first + i) * step;
    if (value > high + step * 1e-9) break;
    ticks.values.push_back(value);
  }
  return ticks;
}

std::string DayText(std::int64_t stamp) {
  const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(Time(stamp)));
  return std::to_string(static_cast<int>(day.year())) + "-" +
         TwoDigits(static_cast<unsigned>(day.month())) + "-" +
         TwoDigits(static_cast<unsigned>(day.day()));
}

std::string ClockText(std::int64_t stamp) {
  const auto time = Time(stamp);
  const auto seconds = (time - std::chrono::floor<std::chrono::days>(time)).count();
  return TwoDigits(seconds / 3600) + ":" + TwoDigits(seconds / 60 % 60);
}

std::string IsoTime(std::int64_t stamp) {
  const std::int64_t second = ((stamp % 60) + 60) % 60;
  return DayText(stamp) + "T" + ClockText(stamp) + ":" + TwoDigits(second);
}

}  // namespace orvspc::render
