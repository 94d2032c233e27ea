// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/store/store_random.h"

namespace orvspc::engine::store {
namespace {

TEST_F(StoreRandomTest, LongHistoriesAreReadBackWhereverTheyLie) {
  for (unsigned seed = 101; seed <= 120; ++seed) {
    RunWorld(seed, 150, 200);
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(found_, 1600);
  EXPECT_GT(shared_, 1600U);
}

}  // namespace
}  // namespace orvspc::engine::store
