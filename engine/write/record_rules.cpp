// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record_rules.h"

#include <string>

#include "platform/TimeText.h"

namespace orvspc::engine::write {
namespace {

std::string DurationText(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60, kHour = 3600, kDay = 86400;
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " h";
  return std::to_string(seconds / kDay) + " days";
}

}  // namespace

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
