// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/MovedRecords.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace orvspc::engine::log {
namespace {

TEST(MovedRecords, RunsOfOneStepAreShort) {
  MovedRecords moved;
  for (const int subgroup : {9, 4, 7, 11, 13, 40, 41}) moved.Add(3, subgroup);
  for (int i = 1; i <= 5000; ++i) moved.Add(MovedRecords::kAnyTest, i);
  EXPECT_EQ(CanonicalText(moved.AsJson()),
            R"([{"test":0,"subgroups":[[1,1,5000]]},{"test":3,"subgroups":[4,[7,2,13],40,41]}])");
}

TEST(MovedRecords, WhatIsReadHoldsWhatWasAdded) {
  std::mt19937 random(7);
  MovedRecords moved;
  std::set<int> added;
  for (int i = 1; i < 3000; ++i) {
    if (i % 7 == 0 || (i > 1000 && i < 1500) || random() % 5 == 0) added.insert(i);
  }
  for (const int subgroup : added) moved.Add(2, subgroup);
  const MovedRecords read(ReadJson(CanonicalText(moved.AsJson())));
  for (int i = 0; i < 3010; ++i) {
    EXPECT_EQ(read.Holds(2, i), added.contains(i)) << i;
    EXPECT_FALSE(read.Holds(1, i));
  }
}

TEST(MovedRecords, OfAnythingElseThereIsNothing) {
  for (const auto* const text : {"3", "{}", "[4]", R"([{"test":1}])", R"([{"subgroups":[1]}])"}) {
    EXPECT_FALSE(MovedRecords(ReadJson(text)).Holds(1, 1)) << text;
  }
}

}  // namespace
}  // namespace orvspc::engine::log
