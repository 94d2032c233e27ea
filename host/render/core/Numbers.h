// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/NaN.h"

// Numbers and times as people read them. The decimal point is a point whatever the locale says.
namespace orvspc::render {

using platform::kNaN;

// "1.6930"; a value too large for plain notation in scientific; "–" (an en dash) for no number.
std::string Fixed(double value, int decimals);

// Shortest text that reads back as the same double; "–" for no number.
std::string Shortest(double value);

// At most digits significant digits, no trailing zeros: 2.326, 25, 0.1398.
std::string Significant(double value, int digits);

// At least digits of them, and as many as show a hundredth of a spread: 25.0008 among values that
// spread over 0.006. spread 0 or no number: digits.
std::string Significant(double value, int digits, double spread);
// Largest less smallest number of them; 0 without numbers.
double SpreadOf(std::span<const double> values);

// Decimals that show every value exactly, at most 8: 1.41 and 2.5 give 2.
int DecimalsOf(std::span<const double> values);

// Decimals for limits of a chart: one more than the data has, but three to five digits of spread.
// spread 0 or no number: one more than the data.
int DecimalsForLimits(int data_decimals, double spread);

// Round values inside [low, high], at most about count of them, and the decimals that they need.
struct Ticks {
  std::vector<double> values;
  int decimals = 0;
};
Ticks RoundTicks(double low, double high, int count);

// "2024-03-01T08:00:00"
std::string IsoTime(std::int64_t stamp);
// Parts of it: "2024-03-01", "08:00"
std::string DayText(std::int64_t stamp);
std::string ClockText(std::int64_t stamp);

// Marks of a time axis between two stamps: round times with their texts, and where days begin
// (none for more than two months).
struct TimeTicks {
  std::vector<std::pair<std::int64_t, std::string>> ticks;
  std::vector<std::int64_t> days;
};
TimeTicks RoundTimes(std::int64_t start, std::int64_t end, std::size_t most);

}  // namespace orvspc::render
