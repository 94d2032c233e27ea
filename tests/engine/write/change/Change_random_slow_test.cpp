// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/change/change_random.h"

namespace orvspc::engine::change {
namespace {

class ChangeRandomSlow : public ChangeRandomTest {};

TEST_F(ChangeRandomSlow, TenThousandChangesAreTakenBackTheNewestFirst) {
  ChangeAtRandom(10'000, 2);
}

}  // namespace
}  // namespace orvspc::engine::change
