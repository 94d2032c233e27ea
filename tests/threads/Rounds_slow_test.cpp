// SPDX-License-Identifier: Apache-2.0
#include "tests/threads/thread_rounds.h"

namespace orvspc::host {
namespace {

TEST_F(ThreadRounds, FourThreadsReadWhatOneReadsInTwoHundredRounds) {
  EXPECT_EQ(Differences(200, Reading::Alone), std::vector<std::string>());
}

TEST_F(ThreadRounds, SoTheyDoInTwoHundredRoundsWhenEachReadsWithASecondOne) {
  EXPECT_EQ(Differences(200, Reading::Shared), std::vector<std::string>());
}

}  // namespace
}  // namespace orvspc::host
