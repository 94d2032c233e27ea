// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/TimeBins.h"

#include <gtest/gtest.h>

#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::pareto {
using namespace time;

namespace {

std::int32_t At(const char* time) {
  return static_cast<std::int32_t>(*platform::ParseIsoTime(time));
}

TEST(TimeBins, TimesLieInPeriodsOfTheZone) {
  struct Row {
    const char* reason;
    std::int32_t period, interval, offset;
    const char* time;
    const char* start;  // UTC
    const char* next;
    const char* name;
  };
  const Row rows[] = {
      {"seconds", paSeconds, 10, 0, "2024-05-15T10:20:39", "2024-05-15T10:20:30",
       "2024-05-15T10:20:40", "2024-05-15 10:20"},
      {"a quarter of an hour", paMinutes, 15, 0, "2024-05-15T10:44:59", "2024-05-15T10:30:00",
       "2024-05-15T10:45:00", "2024-05-15 10:30"},
      {"on the edge is in the new bin", paMinutes, 15, 0, "2024-05-15T10:45:00",
       "2024-05-15T10:45:00", "2024-05-15T11:00:00", "2024-05-15 10:45"},
      {"an interval of 0 is 1", paMinutes, 0, 0, "2024-05-15T10:44:59", "2024-05-15T10:44:00",
       "2024-05-15T10:45:00", "2024-05-15 10:44"},
      {"an interval below 0 is 1", paHours, -5, 0, "2024-05-15T10:44:59", "2024-05-15T10:00:00",
       "2024-05-15T11:00:00", "2024-05-15 10:00"},
      {"the zone's own hours", paHours, 1, 19800, "2024-05-15T10:44:59", "2024-05-15T10:30:00",
       "2024-05-15T11:30:00", "2024-05-15 16:00"},
      {"the zone's own days", paDays, 1, 7200, "2024-05-15T22:30:00", "2024-05-15T22:00:00",
       "2024-05-16T22:00:00", "2024-05-16 00:00"},
      {"weeks begin on Monday", paWeeks, 1, 0, "2024-05-19T23:59:59", "2024-05-13", "2024-05-20",
       "2024-05-13 00:00"},
      {"a Monday begins one", paWeeks, 1, 0, "2024-05-20", "2024-05-20", "2024-05-27",
       "2024-05-20 00:00"},
      {"February of a leap year", paMonths, 1, 0, "2024-02-29T12:00:00", "2024-02-01", "2024-03-01",
       "2024-02-01 00:00"},
      {"the zone's own months", paMonths, 1, -18000, "2024-03-01T04:59:59", "2024-02-01T05:00:00",
       "2024-03-01T05:00:00", "2024-02-01 00:00"},
      {"quarters", paQuarters, 1, 0, "2024-05-15", "2024-04-01", "2024-07-01", "2024-04-01 00:00"},
      {"the last quarter", paQuarters, 1, 0, "2024-12-31T23:59:59", "2024-10-01", "2025-01-01",
       "2024-10-01 00:00"},
      {"three months are a quarter", paMonths, 3, 0, "2024-05-15", "2024-04-01", "2024-07-01",
       "2024-04-01 00:00"},
      {"half years", paQuarters, 2, 0, "2024-12-15", "2024-07-01", "2025-01-01",
       "2024-07-01 00:00"},
      {"before 1970", paDays, 1, 0, "1965-03-02T05:00:00", "1965-03-02", "1965-03-03",
       "1965-03-02 00:00"},
      {"months before 1970", paMonths, 1, 0, "1965-03-02T05:00:00", "1965-03-01", "1965-04-01",
       "1965-03-01 00:00"},
  };
  for (const auto& row : rows) {
    const TimeBins bins(row.period, row.interval, row.offset);
    const auto start = bins.StartOf(At(row.time));
    EXPECT_EQ(start, At(row.start)) << row.reason;
    EXPECT_EQ(bins.NextAfter(start), At(row.next)) << row.reason;
    EXPECT_EQ(bins.NameOf(start), row.name) << row.reason;
  }
}

TEST(TimeBins, TheEndsOfStampsHaveBins) {
  for (const auto period : {paSeconds, paMinutes, paHours, paDays, paWeeks, paMonths, paQuarters}) {
    for (const std::int32_t interval : {1, 7, 1000, INT32_MAX}) {
      const TimeBins bins(period, interval, 3600);
      for (const std::int32_t stamp : {INT32_MIN, 0, INT32_MAX}) {
        const auto start = bins.StartOf(stamp);
        EXPECT_LE(start, stamp) << period << " " << interval;
        EXPECT_GT(bins.NextAfter(start), stamp) << period << " " << interval;
        EXPECT_FALSE(bins.NameOf(start).empty());
      }
    }
  }
}

TEST(TimeBins, OnlySevenPeriodsExist) {
  for (const std::int32_t period : {-1, 7, 1000}) EXPECT_FALSE(TimeBins::IsPeriod(period));
  for (std::int32_t period = 0; period <= 6; ++period) EXPECT_TRUE(TimeBins::IsPeriod(period));
}

}  // namespace
}  // namespace orvspc::engine::pareto
