// SPDX-License-Identifier: Apache-2.0
#include "platform/TimeStamp.h"

#include <cmath>
#include <limits>

namespace orvspc::platform {
namespace {

constexpr double kUnixEpoch = 25569.0;  // 1970-01-01 in days since 1899-12-30
constexpr double kSecondsPerDay = 86400.0;

}  // namespace

std::int32_t DateToTimeStamp(double date) {
  using Limits = std::numeric_limits<std::int32_t>;
  // Before day 0 the time of day counts forward from the day: -1.25 is 1899-12-29T06:00.
  const double day = std::trunc(date);
  const double linear = date < 0.0 ? day + (day - date) : date;
  const double seconds = std::nearbyint((linear - kUnixEpoch) * kSecondsPerDay);
  if (!(seconds > static_cast<double>(Limits::min()))) return Limits::min();  // NaN too
  if (seconds >= static_cast<double>(Limits::max())) return Limits::max();
  return static_cast<std::int32_t>(seconds);
}

double TimeStampToDate(std::int32_t stamp) {
  return kUnixEpoch + static_cast<double>(stamp) / kSecondsPerDay;
}

}  // namespace orvspc::platform
