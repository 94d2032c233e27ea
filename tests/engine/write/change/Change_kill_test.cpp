// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/change/change_kill.h"

namespace orvspc::engine::change {
namespace {

TEST_F(ChangeKillTest, WhatWasAcknowledgedIsThereOnceAndTheLogFits) { KillAtRandom(30, 5, 1); }

}  // namespace
}  // namespace orvspc::engine::change
