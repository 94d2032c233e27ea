// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace orvspc::engine::pareto {

// Periods of the calendar that times are binned by: `interval` periods (paTimePeriods) long, in a
// zone that is `offset` seconds ahead of UTC. Weeks begin on Monday; several months or quarters
// count from January of year 0, so that 3 months are quarters; longer runs of the others count from
// 1970-01-01, those of weeks from Monday 1969-12-29.
class TimeBins {
 public:
  TimeBins() = default;
  // An interval below 1 is 1. The period must be one that IsPeriod knows.
  TimeBins(std::int32_t period, std::int32_t interval, std::int32_t offset);

  static bool IsPeriod(std::int32_t period);

  // Start of the bin that the time lies in, as a stamp; saturates at the ends of stamps.
  std::int32_t StartOf(std::int32_t stamp) const;
  // Start of the next bin; above INT32_MAX if there is none.
  std::int64_t NextAfter(std::int64_t start) const;

  // The start, "2024-02-29 12:30", in the zone.
  std::string NameOf(std::int32_t start) const;

 private:
  std::int64_t SecondsOfMonth(std::int64_t month) const;
  std::int64_t ExactStartOf(std::int64_t stamp) const;

  std::int64_t seconds_ = 60;  // length; 0: of months
  std::int64_t origin_ = 0;    // local seconds of one start
  std::int64_t months_ = 0;
  std::int64_t offset_ = 0;
};

}  // namespace orvspc::engine::pareto
