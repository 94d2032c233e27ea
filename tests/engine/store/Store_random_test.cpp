// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/store/store_random.h"

namespace orvspc::engine::store {
namespace {

TEST_F(StoreRandomTest, WhateverIsWrittenIsReadBackWhereverItLies) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    RunWorld(seed, 30, 100);
    if (HasFatalFailure()) return;
  }
  // Else nothing is compared with nothing, or by one thread only.
  EXPECT_GT(found_, 200);
  EXPECT_GT(shared_, 200U);
}

}  // namespace
}  // namespace orvspc::engine::store
