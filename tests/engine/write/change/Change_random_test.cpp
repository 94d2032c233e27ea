// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/change/change_random.h"

namespace orvspc::engine::change {
namespace {

TEST_F(ChangeRandomTest, WhateverWasChangedIsTakenBackTheNewestFirst) { ChangeAtRandom(200, 1); }

}  // namespace
}  // namespace orvspc::engine::change
