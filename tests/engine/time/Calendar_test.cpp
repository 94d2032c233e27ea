// SPDX-License-Identifier: Apache-2.0
#include "engine/time/calendar.h"

#include <gtest/gtest.h>

#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::time {

namespace {

std::int64_t At(std::string_view text) {
  const auto stamp = platform::ParseIsoTime(text);
  EXPECT_TRUE(stamp) << text;
  return stamp.value_or(0);
}

TEST(Calendar, PeriodsBeforeStepByTheCalendar) {
  struct Row {
    const char* from;
    std::int32_t period, count;
    const char* expected;
    const char* why;
  };
  const Row rows[] = {
      {"2024-05-31T10:20:30", drpMonth, 1, "2024-04-30T10:20:30", "April has 30 days"},
      {"2024-03-31T10:20:30", drpMonth, 1, "2024-02-29T10:20:30", "leap year"},
      {"2023-03-31T10:20:30", drpMonth, 1, "2023-02-28T10:20:30", "no leap year"},
      {"2024-02-29T00:00:00", drpYear, 1, "2023-02-28T00:00:00", "no such day a year before"},
      {"2024-02-29T00:00:00", drpYear, 4, "2020-02-29T00:00:00", "there is such a day"},
      {"2024-01-31T12:00:00", drpMonth, 2, "2023-11-30T12:00:00", "across the year"},
      {"2024-01-31T12:00:00", drpMonth, 12, "2023-01-31T12:00:00", "twelve months are a year"},
      {"2024-03-01T08:00:00", drpWeek, 1, "2024-02-23T08:00:00", "seven days"},
      {"2024-03-01T08:00:00", drpDay, 2, "2024-02-28T08:00:00", "days"},
      {"2024-03-01T00:30:00", drpHour, 1, "2024-02-29T23:30:00", "hours"},
      {"2024-03-01T00:00:30", drpMinute, 1, "2024-02-29T23:59:30", "minutes"},
      {"1969-12-31T23:59:59", drpMonth, 1, "1969-11-30T23:59:59", "before 1970"},
      {"1902-01-01T00:00:00", drpYear, 1, "1901-12-13T20:45:52", "ends at the lowest stamp"},
      {"2024-01-01T00:00:00", drpYear, INT32_MAX, "1901-12-13T20:45:52", "count of any size"},
      {"2024-01-01T00:00:00", drpMonth, INT32_MAX, "1901-12-13T20:45:52", "count of any size"},
      {"2024-01-01T00:00:00", drpMinute, INT32_MAX, "1901-12-13T20:45:52", "count of any size"},
  };
  for (const auto& row : rows) {
    const auto result = PeriodsBefore(At(row.from), row.period, row.count, 0);
    ASSERT_TRUE(result) << row.why;
    EXPECT_EQ(*result, At(row.expected)) << row.why;
  }
}

TEST(Calendar, MonthsAreThoseOfTheZone) {
  // Half past eleven at night in UTC is already the next day at +02:00.
  EXPECT_EQ(PeriodsBefore(At("2024-05-30T23:30:00"), drpMonth, 1, 7200),
            At("2024-04-30T01:30:00+02:00"));
  EXPECT_EQ(StartOfPeriod(At("2024-04-30T23:30:00"), drpMonth, 7200),
            At("2024-05-01T00:00:00+02:00"));
}

TEST(Calendar, UnknownPeriodsAndCountsBelowOneAreNoBound) {
  EXPECT_FALSE(PeriodsBefore(0, 5, 1, 0));
  EXPECT_FALSE(PeriodsBefore(0, 7, 1, 0));
  EXPECT_FALSE(PeriodsBefore(0, drpDay, 0, 0));
  EXPECT_FALSE(PeriodsBefore(0, drpDay, -3, 0));
  EXPECT_FALSE(StartOfPeriod(0, 5, 0));
}

TEST(Calendar, StartOfPeriod) {
  struct Row {
    std::int32_t period;
    const char* expected;
  };
  const Row rows[] = {
      {drpMinute, "2024-02-29T13:14:00"}, {drpHour, "2024-02-29T13:00:00"},
      {drpDay, "2024-02-29T00:00:00"},    {drpWeek, "2024-02-26T00:00:00"},  // a Monday
      {drpMonth, "2024-02-01T00:00:00"},  {drpYear, "2024-01-01T00:00:00"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(StartOfPeriod(At("2024-02-29T13:14:15"), row.period, 0), At(row.expected))
        << row.period;
  }
  EXPECT_EQ(StartOfPeriod(At("1969-12-31T12:00:00"), drpWeek, 0), At("1969-12-29"));
}

TEST(Calendar, TimesAreRead) {
  struct Row {
    const char* text;
    std::int64_t expected;
  };
  const Row rows[] = {
      {"1970-01-01T00:00:00Z", 0},        {"1970-01-01", 0},
      {"1970-01-01 00:01", 60},           {"1970-01-01T02:00:00+02:00", 0},
      {"1970-01-01T00:00:00-0130", 5400}, {"1970-01-01T00:00:00.4", 0},
      {"1970-01-01T00:00:00.500", 1},     {"2038-01-19T03:14:07", INT32_MAX},
      {"1901-12-13T20:45:52", INT32_MIN}, {"9999-12-31T00:00:00", 253402214400},
  };
  for (const auto& row : rows) EXPECT_EQ(At(row.text), row.expected) << row.text;
}

TEST(Calendar, WhatIsNoTimeIsRefused) {
  for (const char* text : {"", "2024", "2024-2-3", "2024-02-30", "2023-02-29", "2024-13-01",
                           "2024-01-01T24:00", "2024-01-01T10", "2024-01-01T10:60",
                           "2024-01-01T10:00:60", "2024-01-01T10:00:00x", "2024-01-01T10:00:00+",
                           "2024-01-01T10:00:00+99:00", "01.02.2024", "2024-01-01T10:00:00."}) {
    EXPECT_FALSE(platform::ParseIsoTime(text)) << text;
  }
}

TEST(Calendar, ZonesAreUtcOrAFixedOffset) {
  EXPECT_EQ(ZoneOffset("UTC"), 0);
  EXPECT_EQ(ZoneOffset("+02:00"), 7200);
  EXPECT_EQ(ZoneOffset("-0530"), -19800);
  EXPECT_EQ(ZoneOffset("UTC+1"), 3600);
  EXPECT_FALSE(ZoneOffset("Europe/Vienna"));
  EXPECT_FALSE(ZoneOffset("+25:00"));
}

}  // namespace
}  // namespace orvspc::engine::time
