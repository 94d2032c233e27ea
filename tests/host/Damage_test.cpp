// SPDX-License-Identifier: Apache-2.0
#include "tests/host/damage.h"

namespace orvspc::host {
namespace {

TEST_F(DamageTest, AChangedByteOrACutIsReportedOrHarmless) {
  const auto count = Damage({45, 15});
  EXPECT_GT(count.failed, 15U * 13);
  EXPECT_GT(count.same, 0U);
  RecordProperty("failed", std::to_string(count.failed));
  RecordProperty("same", std::to_string(count.same));
}

}  // namespace
}  // namespace orvspc::host
