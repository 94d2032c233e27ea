// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/write/import/import_kill.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

// A million rows, killed at moments spread over the time that a whole import takes, the last ones
// around its commit.
TEST_F(ImportKillTest, AnImportOfAMillionRowsIsAllOrNothing) {
  WriteSubgroups(200000);
  const auto start = std::chrono::steady_clock::now();
  Check(Start(nullptr));
  ASSERT_EQ(complete_, 1);
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  for (const int percent : {5, 20, 40, 60, 75, 80, 85, 90, 95, 100, 130}) {
    KillAfter(whole * percent / 100);
  }
  EXPECT_GT(nothing_, 0);
  EXPECT_EQ(nothing_ + complete_, 12);
}

TEST_F(ImportIntoKillTest, AHundredKillsLeaveWhatWasThereWithAllOrNothingOfTheFile) {
  KillAtRandom(100, 2);
  EXPECT_GT(nothing_, 20);  // else no kill came in time
}

}  // namespace
}  // namespace orvspc::engine::import
