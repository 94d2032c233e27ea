// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// Calendar arithmetic on stamps, the same for selections and every other period of the engine.
namespace orvspc::engine::time {

// "Not given" for a stamp; also "since ever" of a limit row.
inline constexpr std::int32_t kNoStamp = INT32_MIN;

// Offset of a time zone in seconds: "UTC", "Z", "+02:00", "-0530", "+1". Zones with a name and
// daylight saving are not known: empty.
std::optional<std::int32_t> ZoneOffset(std::string_view zone);

// The moment `count` periods (DateRangePeriods) before the stamp: weeks, months and years by the
// calendar of the zone, a missing day of a month becoming the month's last. Saturates at kNoStamp.
// Empty for a period that does not exist or a count below 1: there is no bound.
std::optional<std::int32_t> PeriodsBefore(std::int64_t stamp, std::int32_t period,
                                          std::int32_t count, std::int32_t offset);

// Start of the period that the stamp lies in; weeks start on Monday. Empty as above.
std::optional<std::int64_t> StartOfPeriod(std::int64_t stamp, std::int32_t period,
                                          std::int32_t offset);

// The quotient rounded down; unit is above 0.
std::int64_t FloorDivide(std::int64_t value, std::int64_t unit);

// When shifts start unless the setting shift_starts says otherwise.
inline constexpr std::string_view kUsualShifts = "06:00 14:00 22:00";

// The shift that a stamp lies in: its start and that of the next one, by the ascending times of day
// of the zone, of which there is at least one.
struct Shift {
  std::int64_t start = 0, end = 0;
};
Shift ShiftAround(std::int64_t stamp, std::span<const std::int32_t> starts, std::int32_t offset);

// Times of day, "06:00 14:00 22:00", as ascending seconds; empty when the text is none of these.
std::optional<std::vector<std::int32_t>> ParseTimesOfDay(std::string_view text);

// Seconds since 1970 UTC.
std::int64_t Now();

// Fixes Now() on this thread while it lives.
class FixedNow {
 public:
  explicit FixedNow(std::int64_t stamp);
  FixedNow(const FixedNow&) = delete;
  FixedNow& operator=(const FixedNow&) = delete;
  ~FixedNow();
};

}  // namespace orvspc::engine::time
