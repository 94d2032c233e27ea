// SPDX-License-Identifier: Apache-2.0
#include "frame/Array.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using fake::NumberOf;

TEST(Array, NeverDimensionedIsNotEmpty) {
  Array<int> array;
  EXPECT_FALSE(array.IsDimensioned());
  EXPECT_EQ(array.Count(), 0);
  EXPECT_TRUE(array.Elements().empty());
  EXPECT_EQ(NumberOf([&] { array.UpperBound(); }), 9);
  EXPECT_EQ(NumberOf([&] { array[0] = 1; }), 9);
}

TEST(Array, DimensionGivesZeroes) {
  Array<double> array;
  array.Dimension(0, 2);
  array[1] = 5.0;
  array.Dimension(0, 4);
  EXPECT_EQ(array.UpperBound(), 4);
  for (const double value : array.Elements()) EXPECT_EQ(value, 0.0);
}

TEST(Array, BoundsThatCannotBeFailAndLeaveTheContent) {
  Array<int> array;
  array.Dimension(0, 1);
  array[1] = 8;
  for (const auto& bounds : {std::pair<int, int>{0, -1}, {0, -5}, {1, 3}}) {
    EXPECT_EQ(NumberOf([&] { array.Dimension(bounds.first, bounds.second); }), 9);
    EXPECT_EQ(NumberOf([&] { array.Preserve(bounds.first, bounds.second); }), 9);
  }
  EXPECT_EQ(array[1], 8);
}

TEST(Array, EveryAccessIsChecked) {
  Array<int> array;
  array.Dimension(0, 2);
  const Array<int>& fixed = array;
  for (const std::int64_t index : {std::int64_t{-1}, std::int64_t{3}, std::int64_t{1} << 40}) {
    EXPECT_EQ(NumberOf([&] { array[index] = 1; }), 9) << index;
    EXPECT_EQ(NumberOf([&] { static_cast<void>(fixed[index]); }), 9) << index;
  }
}

TEST(Array, PreserveKeepsWhatFitsAndFillsWithZero) {
  Array<int> array;
  array.Preserve(0, 1);
  array[0] = 1;
  array[1] = 2;
  array.Preserve(0, 3);
  EXPECT_EQ(array[1], 2);
  EXPECT_EQ(array[3], 0);
  array.Preserve(0, 0);
  EXPECT_EQ(array.Count(), 1);
  EXPECT_EQ(array[0], 1);
  array.Preserve(0, 1);
  EXPECT_EQ(array[1], 0);  // what was cut does not come back
}

TEST(Array, HoldsElementsThatOwnSomething) {
  Array<std::string> array;
  array.Dimension(0, 1);
  array[1] = "a text that is too long to stand inside the string object";
  array.Preserve(0, 2);
  auto copy = array.Copy();
  array.Erase();
  EXPECT_EQ(copy[1].size(), 57u);
  copy.Preserve(0, 0);
  EXPECT_EQ(copy[0], "");
}

TEST(Array, ACopySharesNothing) {
  Array<int> array;
  EXPECT_FALSE(array.Copy().IsDimensioned());
  array.Dimension(0, 0);
  auto copy = array.Copy();
  copy[0] = 7;
  EXPECT_EQ(array[0], 0);
}

TEST(Array, AnArrayOfRecordsWithArraysIsCopiedInDepth) {
  struct Record {
    Array<int> numbers;
    Record Copy() const {
      Record copy;
      copy.numbers = numbers.Copy();
      return copy;
    }
  };
  Array<Record> records;
  records.Dimension(0, 1);
  records[0].numbers.Dimension(0, 0);
  auto copy = records.Copy();
  copy[0].numbers[0] = 3;
  EXPECT_EQ(records[0].numbers[0], 0);
  EXPECT_FALSE(copy[1].numbers.IsDimensioned());
}

TEST(Array, MovingLeavesTheSourceNeverDimensioned) {
  Array<int> array;
  array.Dimension(0, 1);
  array[0] = 4;
  Array<int> moved = std::move(array);
  EXPECT_FALSE(array.IsDimensioned());  // NOLINT: what a moved array is, is part of its contract
  array = std::move(moved);
  EXPECT_EQ(array[0], 4);
}

TEST(Array, EraseForgets) {
  Array<int> array;
  array.Dimension(0, 1);
  array.Erase();
  EXPECT_FALSE(array.IsDimensioned());
  array.Erase();
  EXPECT_EQ(array.Count(), 0);
}

TEST(Array, ARefSeesTheElementsAndTheirSize) {
  Array<std::int32_t> array;
  array.Dimension(0, 2);
  const auto ref = array.Ref();
  ASSERT_EQ(ref.As<std::int32_t>().size(), 3u);
  ref.As<std::int32_t>()[2] = 6;
  EXPECT_EQ(array[2], 6);
  EXPECT_TRUE(ref.As<double>().empty());
  EXPECT_FALSE(ref.resize);
}

}  // namespace
}  // namespace orvspc
