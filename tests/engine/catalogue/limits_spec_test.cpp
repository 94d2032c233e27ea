// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/limits.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/Enumerations.h"

namespace orvspc::engine::catalogue {

using platform::kNaN;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(SpecLimits, ALimitIsSetIfItsFlagIsAndItsValueIsFinite) {
  API_CCSpecLim row{};
  row.F_USL = 12.0;
  row.F_TAR = 10.0;
  row.F_LSL = kInfinity;
  row.F_EFLAG = slfUSL | slfLSL;
  const auto limits = SpecLimitsOf(row);
  EXPECT_EQ(limits.Upper(), 12.0);
  EXPECT_EQ(limits.Target(), std::nullopt) << "no flag";
  EXPECT_EQ(limits.Lower(), std::nullopt) << "not finite";

  API_CASpecLim8 record{};
  record.Tar = 0.0;
  record.Lsl = -1.0;
  record.EFlag = slfTAR | slfLSL;
  const auto of_record = SpecLimitsOf(record);
  EXPECT_EQ(of_record.Upper(), std::nullopt);
  EXPECT_EQ(of_record.Target(), 0.0) << "0 is a target like another";
  EXPECT_EQ(of_record.Lower(), -1.0);
}

TEST(SpecLimits, ValuesOnALimitAreInside) {
  const SpecLimits both{12.0, kNaN, 8.0}, upper{12.0, kNaN, kNaN}, none;
  EXPECT_FALSE(both.HasOutside(12.0));
  EXPECT_FALSE(both.HasOutside(8.0));
  EXPECT_TRUE(both.HasOutside(12.1));
  EXPECT_TRUE(both.HasOutside(7.9));
  EXPECT_FALSE(upper.HasOutside(-1e300));
  EXPECT_FALSE(none.HasOutside(1e300));
}

TEST(SpecLimits, TheWidthOfASingleLimitIsItsSize) {
  const auto width = [](std::initializer_list<double> limits) {
    return WidthOf(std::span(limits.begin(), limits.size()));
  };
  EXPECT_EQ(width({8.0, kNaN, 12.0}), 4.0);
  EXPECT_EQ(width({kNaN, -3.0}), 3.0);
  EXPECT_EQ(width({5.0, 5.0}), 5.0);
  EXPECT_EQ(width({kNaN}), 0.0);
  EXPECT_EQ(width({}), 0.0);
}

TEST(SpecLimits, LimitsAgreeToABillionthOfTheirWidth) {
  const SpecLimits limits{12.0, kNaN, 8.0};
  struct Case {
    SpecLimits other;
    bool agree;
    const char* reason;
  };
  const Case cases[] = {
      {limits, true, "the same"},
      {{12.0 + 3.9e-9, kNaN, 8.0}, true, "less than 1e-9 of the width 4"},
      {{12.0 + 4.1e-9, kNaN, 8.0}, false, "more than that"},
      {{12.0, kNaN, 8.0 - 4.1e-9}, false, "the lower one"},
      {{12.0, 10.0, 8.0}, true, "targets are not limits"},
      {{12.0, kNaN, kNaN}, false, "set in one only"},
      {{}, false, "not set at all"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(Agree(limits, each.other), each.agree) << each.reason;
    EXPECT_EQ(Agree(each.other, limits), each.agree) << each.reason;
  }
  EXPECT_TRUE(Agree(SpecLimits{}, SpecLimits{}));
  EXPECT_TRUE(Agree(SpecLimits{1e6, kNaN, kNaN}, SpecLimits{1e6 + 9e-4, kNaN, kNaN}));
  EXPECT_FALSE(Agree(SpecLimits{1e6, kNaN, kNaN}, SpecLimits{1e6 + 2e-3, kNaN, kNaN}));
}

}  // namespace
}  // namespace orvspc::engine::catalogue
