// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/change/change_kill.h"

namespace orvspc::engine::change {
namespace {

class ChangeKillSlow : public ChangeKillTest {};

TEST_F(ChangeKillSlow, AThousandKillsLeaveEachChangeAndEachAlarmOnce) {
  KillAtRandom(4000, 1000, 2);
}

}  // namespace
}  // namespace orvspc::engine::change
