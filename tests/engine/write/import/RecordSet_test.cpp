// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/RecordSet.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <utility>

namespace orvspc::engine::import {
namespace {

TEST(RecordSet, HoldsWhatASetOfPairsHolds) {
  std::mt19937 random(3);
  RecordSet records;
  std::set<std::pair<std::int64_t, std::int32_t>> wanted;
  const std::int64_t streams[] = {1, 2, 3, 1'000'000};
  const auto subgroup = [&] {
    const auto near = static_cast<std::int32_t>(random() % 2000);
    return random() % 2 == 0 ? near : INT32_MAX - near;
  };
  for (int i = 0; i < 50'000; ++i) {
    const std::pair key(streams[random() % 4], subgroup());
    const bool is_there = wanted.contains(key);
    ASSERT_EQ(records.Contains(key.first, key.second), is_there);
    if (random() % 3 != 0) {
      records.Insert(key.first, key.second);
      wanted.insert(key);
    } else {
      ASSERT_EQ(records.Erase(key.first, key.second), is_there);
      wanted.erase(key);
    }
  }
  EXPECT_GT(wanted.size(), 5'000U);
}

}  // namespace
}  // namespace orvspc::engine::import
