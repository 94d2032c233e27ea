// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/alarms/judge_fixture.h"

namespace orvspc::engine::alarms {
namespace {

class JudgeSlow : public JudgeTest {};

TEST_F(JudgeSlow, AlarmsOf1100HistoriesAreThoseOfTheChart) {
  // Each chart is one of all histories of its database.
  constexpr unsigned kOfDatabase = 20;
  for (unsigned seed = 1001; seed <= 2100; ++seed) {
    if (seed % kOfDatabase == 1) BeginAnew();
    RunHistory(seed);
    if (HasFailure()) return;
  }
  EXPECT_GT(alarms_, 5000U);
}

}  // namespace
}  // namespace orvspc::engine::alarms
