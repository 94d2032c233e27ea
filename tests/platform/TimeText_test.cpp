// SPDX-License-Identifier: Apache-2.0
#include "platform/TimeText.h"

#include <gtest/gtest.h>

namespace orvspc::platform {
namespace {

TEST(TimeText, EveryFormReadsAsSecondsOfUtc) {
  struct Row {
    const char* text;
    std::int64_t expected;
  };
  for (const Row& row : {Row{"1970-01-02", 86'400}, Row{"1970-01-01T00:01", 60},
                         Row{"1970-01-01 00:00:01", 1}, Row{"1970-01-01t00:00:01z", 1},
                         Row{"1970-01-01T00:00:00.5", 1}, Row{"1970-01-01T00:00:00,49999", 0},
                         Row{"1970-01-01T01:00+1", 0}, Row{"1970-01-01T01:00+01:00", 0},
                         Row{"1969-12-31T20:30:00-0330", 0}, Row{"1970-01-01T14:00+14", 0}}) {
    EXPECT_EQ(ParseIsoTime(row.text), row.expected) << row.text;
  }
}

TEST(TimeText, WhatIsNoTimeIsRefused) {
  for (const char* text :
       {"", "1970", "1970-1-01", "1970-02-30", "0000-01-01", "1970-01-01T", "1970-01-01T24:00",
        "1970-01-01T10:60", "1970-01-01T10:00:60", "1970-01-01T10:00:00.", "1970-01-01T10:00+15:00",
        "1970-01-01T10:00+14:01", "1970-01-01T10:00+01:60", "1970-01-01T10:00+",
        "1970-01-01T10:00Zx", " 1970-01-01"}) {
    EXPECT_FALSE(ParseIsoTime(text)) << text;
  }
}

TEST(TimeText, AFrontIsTakenAndTheRestLeft) {
  std::string_view text = "2024-02-29T12:30:15.25+02:00, next";
  const auto time = TakeIsoTime(text);
  ASSERT_TRUE(time);
  EXPECT_EQ(text, ", next");
  EXPECT_EQ(time->nanoseconds, 45'015'250'000'000);
  EXPECT_EQ(time->offset, 7200);
}

TEST(TimeText, AStampIsWrittenAsItReads) {
  for (const std::int64_t stamp : {std::int64_t{INT32_MIN}, std::int64_t{-1}, std::int64_t{0},
                                   std::int64_t{1'709'208'615}, std::int64_t{INT32_MAX}}) {
    EXPECT_EQ(ParseIsoTime(IsoText(stamp)), stamp);
  }
  EXPECT_EQ(IsoText(1'709'209'815), "2024-02-29T12:30:15");
}

}  // namespace
}  // namespace orvspc::platform
