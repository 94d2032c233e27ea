// SPDX-License-Identifier: Apache-2.0
#include "tests/postgres/server_kill.h"

namespace orvspc::engine::store {
namespace {

TEST_F(ServerKillTest, AHundredKillsLeaveWhatWasThereWithAllOrNothingOfEachFile) {
  KillAtRandom(100, 2);
  EXPECT_GT(nothing_, 20);  // else no kill came in time
  EXPECT_GT(complete_, 0);
}

TEST_F(ServerKillTest, NoReaderSeesHalfOfWhatManyWritersStoreInAMinute) {
  WriteAndRead(std::chrono::minutes(1), 1);
}

}  // namespace
}  // namespace orvspc::engine::store
