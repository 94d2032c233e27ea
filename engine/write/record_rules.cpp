// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record_rules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>

#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::write {
namespace {

std::string DurationText(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60, kHour = 3600, kDay = 86400;
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " h";
  return std::to_string(seconds / kDay) + " days";
}

double DefectivesOf(std::span<const double> values, std::span<const store::RowKey> keys) {
  std::map<std::int32_t, double> units;
  double sum = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (keys[i].Tsno == 0) {
      sum += values[i];
    } else {
      units[keys[i].Tsno] = std::max(units[keys[i].Tsno], values[i]);
    }
  }
  for (const auto& [unit, count] : units) sum += count;
  return sum;
}

}  // namespace

std::string NumberText(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

std::optional<BrokenRule> BrokenRuleOfNumber(double value) {
  constexpr double kTooLarge = 1e300;
  const auto text = NumberText(value);
  if (!std::isfinite(value)) return BrokenRule{"number", "value", text, text + " is no number"};
  if (std::fabs(value) < kTooLarge) return std::nullopt;
  return BrokenRule{"number", "value", text, text + " is too large; values lie below 1e300"};
}

std::optional<BrokenRule> BrokenRuleOfCounts(std::int32_t type, double size,
                                             std::span<const double> values,
                                             std::span<const store::RowKey> keys) {
  constexpr double kMaxCount = 1e9;
  for (const auto value : values) {
    if (!(value >= 0.0 && value <= kMaxCount) || value != std::floor(value)) {
      return BrokenRule{"count", "value", NumberText(value),
                        "must be a whole number between 0 and 1000000000"};
    }
  }
  if (!(size >= 0.0 && size <= INT32_MAX)) {
    return BrokenRule{"count", "size", NumberText(size), "must lie between 0 and 2147483647"};
  }
  if (type != ttDefectives) return std::nullopt;
  if (size != std::floor(size)) {
    return BrokenRule{"count", "size", NumberText(size),
                      "must be a whole number, as only that of a test of defects need not be"};
  }
  const auto defectives = DefectivesOf(values, keys);
  if (size == 0.0 || defectives <= size) return std::nullopt;
  return BrokenRule{"count", "value", NumberText(defectives),
                    "more defectives (" + NumberText(defectives) + ") than units inspected (" +
                        NumberText(size) + ")"};
}

std::vector<ReasonableLimits> ReadReasonableLimits(sql::Connection& db, std::int32_t part,
                                                   std::int32_t test) {
  sql::Query limits(db,
                    "SELECT effective, url, lrl FROM spec_limit WHERE part = ?1 AND test = ?2 "
                    "ORDER BY effective, id",
                    part, test);
  return limits.All<ReasonableLimits>(&ReasonableLimits::effective, &ReasonableLimits::upper,
                                      &ReasonableLimits::lower);
}

std::optional<BrokenRule> BrokenRuleOfLimits(std::span<const ReasonableLimits> limits,
                                             std::int32_t time, std::span<const double> values) {
  const ReasonableLimits* in_force = nullptr;
  for (const auto& each : limits) {
    if (each.effective <= time) in_force = &each;
  }
  if (in_force == nullptr) return std::nullopt;
  for (const auto value : values) {
    const bool is_above = in_force->upper && value > *in_force->upper;
    const bool is_below = in_force->lower && value < *in_force->lower;
    if (!is_above && !is_below) continue;
    return BrokenRule{"unreasonable", "value", NumberText(value),
                      NumberText(value) + " lies beyond the reasonable limit " +
                          NumberText(is_above ? *in_force->upper : *in_force->lower) +
                          "; --force stores it"};
  }
  return std::nullopt;
}

std::optional<BrokenRule> BrokenRuleOfTime(std::int64_t time, std::int64_t now) {
  constexpr std::int64_t kMaxAhead = 300;
  if (time <= now + kMaxAhead) return std::nullopt;
  return BrokenRule{"time", "time", platform::IsoText(time),
                    "lies " + DurationText(time - now) + " in the future"};
}

}  // namespace orvspc::engine::write
