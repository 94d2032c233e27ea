// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

// Dates (days since 1899-12-30) as text. Before day 0 the time of day counts forward from the day:
// -1.25 is 1899-12-29T06:00:00.
namespace orvspc {

// YYYY-MM-DDTHH:MM:SS with the fewest fraction digits, nine at most, that read back as the same 64
// bits; a date for which nine do not suffice, or outside the years 1 to 9999, is its day number.
std::string DateToText(double date);

// Takes
//   what TakeIsoTime of platform/TimeText.h takes; a zone moves the time to UTC
//   a day number
//   1/31/1970 12:00:00 PM (month first), or with the day above
//   a time alone, 12:00:00 AM, which is of day 0
// Anything else fails with 13.
double TextToDate(std::string_view text);

}  // namespace orvspc
