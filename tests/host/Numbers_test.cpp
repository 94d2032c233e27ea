// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace orvspc::host {

using namespace render;
namespace {

TEST(Numbers, FixedKeepsItsDecimalsAndNeverShowsMinusZero) {
  EXPECT_EQ(Fixed(1.693, 4), "1.6930");
  EXPECT_EQ(Fixed(-0.00001, 3), "0.000");
  EXPECT_EQ(Fixed(-0.01, 2), "-0.01");
  EXPECT_EQ(Fixed(1e15, 2), "1.00000e+15");
  EXPECT_EQ(Fixed(std::nan(""), 2), "\xE2\x80\x93");
}

TEST(Numbers, DecimalsOfDataAreThoseThatShowEveryValue) {
  EXPECT_EQ(DecimalsOf(std::vector<double>{1.0, 25.0}), 0);
  EXPECT_EQ(DecimalsOf(std::vector<double>{74.03, 73.995}), 3);
  EXPECT_EQ(DecimalsOf(std::vector<double>{1.3235, std::nan("")}), 4);
  EXPECT_EQ(DecimalsOf(std::vector<double>{1.0 / 3.0}), 8);
  EXPECT_EQ(DecimalsOf(std::vector<double>{}), 0);
}

TEST(Numbers, LimitsHaveOneDecimalMoreAndThreeToFiveDigitsOfSpread) {
  EXPECT_EQ(DecimalsForLimits(0, 4.6), 2);
  EXPECT_EQ(DecimalsForLimits(3, 0.0134), 4);
  EXPECT_EQ(DecimalsForLimits(0, 300.0), 1);
  EXPECT_EQ(DecimalsForLimits(8, 0.5), 5);     // data of endless digits
  EXPECT_EQ(DecimalsForLimits(1, 1656.6), 1);  // digits that no limit needs
  EXPECT_EQ(DecimalsForLimits(2, 0.0), 3);
  EXPECT_EQ(DecimalsForLimits(2, std::nan("")), 3);
}

TEST(Numbers, TicksAreRoundAndInside) {
  const Ticks ticks = RoundTicks(1.318, 1.693, 5);
  ASSERT_FALSE(ticks.values.empty());
  EXPECT_GE(ticks.values.front(), 1.318);
  EXPECT_LE(ticks.values.back(), 1.693);
  EXPECT_EQ(Fixed(ticks.values.front(), ticks.decimals), "1.4");
  EXPECT_EQ(ticks.decimals, 1);
  EXPECT_TRUE(RoundTicks(1.0, 1.0, 5).values.empty());
}

TEST(Numbers, TimesAreIsoAlsoBefore1970) {
  EXPECT_EQ(IsoTime(0), "1970-01-01T00:00:00");
  EXPECT_EQ(IsoTime(-1), "1969-12-31T23:59:59");
  EXPECT_EQ(IsoTime(1709280000), "2024-03-01T08:00:00");
  EXPECT_EQ(IsoTime(INT32_MIN), "1901-12-13T20:45:52");
}

TEST(Numbers, DigitsShowAHundredthOfASpread) {
  EXPECT_EQ(Significant(1000.0012, 5, 0.03), "1000.001") << "five would be 1000";
  EXPECT_EQ(Significant(-25.000818, 5, 0.006), "-25.0008");
  EXPECT_EQ(Significant(74.00881, 5, 20.0), "74.009") << "never fewer";
  EXPECT_EQ(Significant(0.0, 5, 1.0), "0");
  for (const double none : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(Significant(1000.0012, 5, none), "1000");
  }
  EXPECT_EQ(SpreadOf(std::vector{2.5, std::numeric_limits<double>::quiet_NaN(), -1.0}), 3.5);
  EXPECT_EQ(SpreadOf({}), 0.0);
}

TEST(Numbers, WidthCountsCodePoints) {
  EXPECT_EQ(Width("\xC3\xA9t\xC3\xA9"), 3U);
  EXPECT_EQ(Padded("\xC3\xA9t\xC3\xA9", 5), "\xC3\xA9t\xC3\xA9  ");
  EXPECT_EQ(Padded("\xC3\xA9t\xC3\xA9", 2), "\xC3\xA9t");
  EXPECT_EQ(Padded("7", 3, true), "  7");
}

}  // namespace
}  // namespace orvspc::host
