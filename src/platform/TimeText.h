// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Moments as ISO 8601 text: the one parser of files, options and XML, and the writer of stamps.
namespace orvspc::platform {

// What such a text says, before a zone or a rounding is applied to it.
struct IsoTime {
  std::int64_t day = 0;          // days since 1970-01-01
  std::int64_t nanoseconds = 0;  // of the day, below 86400 s; digits beyond the ninth are dropped
  bool has_clock = false;        // a time of day was given
  std::optional<std::int32_t> offset;  // seconds east of UTC; empty when no zone was given
};

// Takes the front of the text as far as it is a time, and the text forward past it:
//
//   2024-02-29                        a day
//   2024-02-29T12:30  ...12:30:15.25  with a time of day; t or one blank serve for T, a comma for
//                                     the point
//   ...Z  ...+02:00  -0530  +1        with a zone, at most 14 hours from UTC
//
// Empty, with the text unchanged, when it begins with no such time: a day that the calendar lacks,
// hour 24, second 60.
std::optional<IsoTime> TakeIsoTime(std::string_view& text);

// Seconds east of UTC of an offset such as +02:00, -0530 or +1 at the front of the text.
std::optional<std::int32_t> TakeZoneOffset(std::string_view& text);

// Nanoseconds of the day of a clock such as 12:30, 12:30:15 or 12:30:15.25.
std::optional<std::int64_t> TakeClock(std::string_view& text);

// Days since 1970-01-01 of a day such as 2024-02-29, from year 1 on.
std::optional<std::int64_t> TakeDay(std::string_view& text);

// The whole text as seconds since 1970 UTC, rounded to the nearest second; UTC without a zone, the
// start of the day without a time of day. May lie outside the range of stamps.
std::optional<std::int64_t> ParseIsoTime(std::string_view text);

// 2024-02-29T12:30:15 in UTC.
std::string IsoText(std::int64_t stamp);

// What every reader answers to a text that is none, and to a time that no stamp can hold.
inline constexpr std::string_view kNoTime = "is no time; write it as 2024-02-29T12:30:00";
inline constexpr std::string_view kTimeOutOfRange =
    "must lie between 1901-12-13T20:45:52 and 2038-01-19T03:14:07";

}  // namespace orvspc::platform
