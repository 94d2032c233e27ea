// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/column_storage.h"

#include <gtest/gtest.h>

namespace orvspc::engine::charts {

TEST(Forget, LargeColumnsGiveTheirStorageBackAndSmallOnesKeepIt) {
  std::vector<double> large(kKeptElements + 1), small(100);
  Forget(large);
  Forget(small);
  EXPECT_TRUE(large.empty());
  EXPECT_EQ(large.capacity(), 0U);
  EXPECT_TRUE(small.empty());
  EXPECT_GE(small.capacity(), 100U);
}

}  // namespace orvspc::engine::charts
