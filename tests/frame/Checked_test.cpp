// SPDX-License-Identifier: Apache-2.0
#include "frame/Checked.h"

#include <gtest/gtest.h>

#include "tests/fake/FailureOf.h"

namespace orvspc::checked {
namespace {

using fake::NumberOf;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

TEST(Checked, SumsAndDifferencesAtTheEnds) {
  EXPECT_EQ(Add(kHighest - 1, 1), kHighest);
  EXPECT_EQ(NumberOf([] { Add(kHighest, 1); }), 6);
  EXPECT_EQ(NumberOf([] { Add(kLowest, -1); }), 6);
  EXPECT_EQ(Subtract(kLowest + 1, 1), kLowest);
  EXPECT_EQ(NumberOf([] { Subtract(kLowest, 1); }), 6);
  EXPECT_EQ(NumberOf([] { Subtract(0, kLowest); }), 6);
  EXPECT_EQ(Absolute(-kHighest), kHighest);
  EXPECT_EQ(NumberOf([] { Absolute(kLowest); }), 6);
}

TEST(Checked, MultiplicationStopsAtTheRange) {
  EXPECT_EQ(Multiply(8388607, 256), 2147483392);
  EXPECT_EQ(Multiply(-8388608, 256), kLowest);
  EXPECT_EQ(NumberOf([] { Multiply(8388608, 256); }), 6);
  EXPECT_EQ(NumberOf([] { Multiply(-8388609, 256); }), 6);
  EXPECT_EQ(NumberOf([] { Multiply(kLowest, -1); }), 6);
}

TEST(Checked, RoundsHalvesToEven) {
  struct Row {
    double value;
    std::int32_t rounded;
  };
  for (const Row& row : {Row{0.5, 0},
                         {1.5, 2},
                         {2.5, 2},
                         {-0.5, 0},
                         {-1.5, -2},
                         {2.4999, 2},
                         {2147483647.4, kHighest},
                         {-2147483648.4, kLowest}})
    EXPECT_EQ(Round(row.value), row.rounded) << row.value;
}

TEST(Checked, WhatHasNoIntegerFails) {
  for (const double value :
       {2147483647.5, -2147483648.6, 1e300, std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN()})
    EXPECT_EQ(NumberOf([&] { Round(value); }), 6) << value;
  EXPECT_EQ(fake::DescriptionOf([] { Round(1e300); }), "Overflow");
}

}  // namespace
}  // namespace orvspc::checked
