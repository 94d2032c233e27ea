// SPDX-License-Identifier: Apache-2.0
#include "frame/Cursor.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvspc {
namespace {

TEST(Cursor, ANewOneStandsOnTheFirstRow) {
  const Cursor cursor;
  EXPECT_EQ(cursor.Position(), 0);
  EXPECT_EQ(cursor.CurrentIndex(), 1);
}

TEST(Cursor, MoveToOutsideReturnsFalseAndTheCursorStays) {
  Cursor cursor;
  EXPECT_TRUE(cursor.MoveTo(2, 3));
  for (const std::int32_t index : {0, 4, -1, std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_FALSE(cursor.MoveTo(index, 3)) << index;
    EXPECT_EQ(cursor.CurrentIndex(), 2);
  }
}

TEST(Cursor, WithoutRowsEveryMoveIsFalse) {
  Cursor cursor;
  EXPECT_FALSE(cursor.MoveFirst(0));
  EXPECT_FALSE(cursor.MoveLast(0));
  EXPECT_FALSE(cursor.MoveNext(0));
  EXPECT_FALSE(cursor.MovePrev(0));
  EXPECT_FALSE(cursor.MoveTo(1, 0));
  EXPECT_EQ(cursor.CurrentIndex(), 1);
}

TEST(Cursor, OnOneRowOnlyFirstAndLastAreTrue) {
  Cursor cursor;
  EXPECT_TRUE(cursor.MoveFirst(1));
  EXPECT_TRUE(cursor.MoveLast(1));
  EXPECT_FALSE(cursor.MoveNext(1));
  EXPECT_FALSE(cursor.MovePrev(1));
}

TEST(Cursor, WalksToTheLastRowAndStaysThere) {
  Cursor cursor;
  int rows = 1;
  while (cursor.MoveNext(4)) ++rows;
  EXPECT_EQ(rows, 4);
  EXPECT_EQ(cursor.CurrentIndex(), 4);
  EXPECT_TRUE(cursor.MovePrev(4));
  EXPECT_EQ(cursor.CurrentIndex(), 3);
  EXPECT_TRUE(cursor.MoveLast(4));
  EXPECT_EQ(cursor.CurrentIndex(), 4);
  EXPECT_TRUE(cursor.MoveFirst(4));
  EXPECT_EQ(cursor.CurrentIndex(), 1);
  EXPECT_FALSE(cursor.MovePrev(4));
}

TEST(Cursor, LeftBehindTheEndByAShorterSetItWalksBackRowByRow) {
  Cursor cursor;
  cursor.MoveTo(5, 5);
  EXPECT_FALSE(cursor.MoveNext(2));
  EXPECT_EQ(cursor.CurrentIndex(), 5);
  EXPECT_TRUE(cursor.MovePrev(2));
  EXPECT_EQ(cursor.CurrentIndex(), 4);
  EXPECT_FALSE(cursor.MovePrev(0));
  EXPECT_EQ(cursor.CurrentIndex(), 4);
}

}  // namespace
}  // namespace orvspc
