// SPDX-License-Identifier: Apache-2.0
#include "frame/DateText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "platform/TimeStamp.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

TEST(DateText, IsoTextOfKnownDates) {
  struct Row {
    double date;
    const char* text;
  };
  const Row rows[] = {
      {0.0, "1899-12-30T00:00:00"},
      {0.5, "1899-12-30T12:00:00"},
      {25569.0, "1970-01-01T00:00:00"},
      {25569.25, "1970-01-01T06:00:00"},
      {-1.25, "1899-12-29T06:00:00"},
      {-693593.0, "0001-01-01T00:00:00"},
      {2958465.75, "9999-12-31T18:00:00"},
      {36585.0, "2000-02-29T00:00:00"},
      {0.5 + 1.0 / 1024, "1899-12-30T12:01:24.375"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(DateToText(row.date), row.text);
    EXPECT_EQ(TextToDate(row.text), row.date) << row.text;
  }
}

TEST(DateText, ADateWithoutAnExactFormIsItsDayNumber) {
  for (const double date : {2958466.0, -693594.0, 1e300, 1e-15, -0.25}) {
    const std::string text = DateToText(date);
    EXPECT_EQ(text.find('T'), std::string::npos) << text;
    EXPECT_EQ(TextToDate(text), date) << text;
  }
}

TEST(DateText, EveryDateComesBackWithAllItsBits) {
  std::mt19937_64 random(20240502);  // NOLINT: a fixed seed on purpose
  std::uniform_real_distribution<double> any(-800000.0, 3100000.0);
  for (int i = 0; i < 50'000; ++i) {
    const double date = i % 2 == 0 ? any(random) : std::bit_cast<double>(random());
    if (std::isnan(date)) continue;
    const std::string text = DateToText(date);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(TextToDate(text)), std::bit_cast<std::uint64_t>(date))
        << text;
  }
  EXPECT_EQ(DateToText(std::numeric_limits<double>::quiet_NaN()), "NaN");
  EXPECT_TRUE(std::isnan(TextToDate("NaN")));
}

TEST(DateText, AStampIsAlwaysWholeSeconds) {
  std::mt19937 random(20240503);  // NOLINT: a fixed seed on purpose
  for (int i = 0; i < 50'000; ++i) {
    const auto stamp = static_cast<std::int32_t>(random());
    const double date = platform::TimeStampToDate(stamp);
    const std::string text = DateToText(date);
    if (date >= 0) {
      ASSERT_EQ(text.size(), 19u) << text;
    }
    ASSERT_EQ(TextToDate(text), date);
  }
}

TEST(DateText, OtherFormsAreRead) {
  struct Row {
    const char* text;
    double date;
  };
  const Row rows[] = {
      {"1/1/1970 12:00:00 PM", 25569.5},
      {"12:00:00 AM", 0.0},
      {"12:00:00 PM", 0.5},
      {"1:30:00 pm", 0.5625},
      {"2/29/2000", 36585.0},
      {"1970-01-01", 25569.0},
      {"1970-01-01 06:00", 25569.25},
      {"  1970-01-01T06:00:00.5 ", 25569.0 + 21600.5 / 86400.0},
      {"25569.5", 25569.5},
      {"-1.25", -1.25},
      {"0", 0.0},
  };
  for (const Row& row : rows) EXPECT_EQ(TextToDate(row.text), row.date) << row.text;
}

TEST(DateText, ADayTakesTheTimesThatATimeAloneTakes) {
  EXPECT_EQ(TextToDate("2024-02-29 9:05"), TextToDate("2024-02-29T09:05:00"));
  EXPECT_EQ(TextToDate("2024-02-29T9:05:00"), TextToDate("2024-02-29T09:05:00"));
  EXPECT_EQ(TextToDate("2024-02-29 3:07:09 PM"), TextToDate("2024-02-29T15:07:09"));
}

TEST(DateText, TakesWhatFilesAndOptionsTake) {
  const struct {
    const char* text;
    double date;
  } rows[] = {
      {"1970-01-01T06:00:00Z", 25569.25},
      {"1970-01-01t06:00:00", 25569.25},
      {"1970-01-01T06:00:00,5", 25569.0 + 21600.5 / 86400.0},
      {"1970-01-01T06:00:00.0000000000", 25569.25},
      {"1970-01-01T06:00:00.50000000099999999999", 25569.0 + 21600.5 / 86400.0},  // cut after nine
      {"1970-01-01T05:00:00+06:00", 25568.0 + 23.0 / 24.0},
      {"1970-01-01T23:00-3", 25570.0 + 2.0 / 24.0},
  };
  for (const auto& row : rows) EXPECT_EQ(TextToDate(row.text), row.date) << row.text;
}

TEST(DateText, WhatIsNoDateFailsAsTypeMismatch) {
  for (const char* text :
       {"", " ", "tomorrow", "1970-13-01", "1970-02-30", "0000-01-01", "1970-01-01T24:00:00",
        "1970-01-01T00:60:00", "1970-01-01T00:00:60", "1970-01-01Tx", "1970-01-01T00:00:00.",
        "13/1/1970", "1/1/70", "0:00:00 AM", "13:00:00 PM", "1970-1-1", "12:00:00 AM x"})
    EXPECT_EQ(fake::NumberOf([&] { TextToDate(text); }), 13) << text;
}

}  // namespace
}  // namespace orvspc
