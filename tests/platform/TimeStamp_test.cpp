// SPDX-License-Identifier: Apache-2.0
#include "platform/TimeStamp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace orvspc::platform {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

TEST(TimeStamp, KnownDates) {
  struct Row {
    double date;
    std::int32_t stamp;
    const char* reason;
  };
  const Row rows[] = {
      {25569.0, 0, "1970-01-01"},
      {25569.5, 43200, "noon"},
      {25568.0, -86400, "the day before"},
      {25569.0 + 0.4 / 86400, 0, "rounds to the nearest second"},
      {25569.0 + 0.6 / 86400, 1, "rounds to the nearest second"},
      {0.0, kLowest, "not given"},
      {-1e300, kLowest, "saturates"},
      {1e300, kHighest, "saturates"},
      {std::numeric_limits<double>::infinity(), kHighest, "saturates"},
      {std::numeric_limits<double>::quiet_NaN(), kLowest, "NaN is the lower end"},
      {50424.13480324074, kHighest, "2038-01-19T03:14:07"},
  };
  for (const Row& row : rows) EXPECT_EQ(DateToTimeStamp(row.date), row.stamp) << row.reason;
}

TEST(TimeStamp, TheTwoAreExactInversesForWholeSeconds) {
  std::mt19937 random(20240501);  // NOLINT: a fixed seed on purpose
  for (int i = 0; i < 200'000; ++i) {
    const auto stamp = static_cast<std::int32_t>(random());
    ASSERT_EQ(DateToTimeStamp(TimeStampToDate(stamp)), stamp);
  }
  for (const std::int32_t stamp : {kLowest, kLowest + 1, -1, 0, 1, kHighest - 1, kHighest})
    EXPECT_EQ(DateToTimeStamp(TimeStampToDate(stamp)), stamp);
}

TEST(TimeStamp, TheLowerEndIsADateOf1901) {
  EXPECT_DOUBLE_EQ(TimeStampToDate(kLowest), 25569.0 - 2147483648.0 / 86400.0);
}

}  // namespace
}  // namespace orvspc::platform
