// SPDX-License-Identifier: Apache-2.0
#include "tests/host/SampleDatabaseTest.h"

namespace orvspc::host {
namespace {

using SampleDatabaseSlowTest = SampleDatabaseTest;

TEST_F(SampleDatabaseSlowTest, FiveHundredChangedBytesAndTwoHundredCuts) {
  const auto count = Damage({500, 200});
  EXPECT_GT(count.failed, 200U * 13);
  EXPECT_GT(count.same, 0U);
  RecordProperty("failed", std::to_string(count.failed));
  RecordProperty("same", std::to_string(count.same));
}

}  // namespace
}  // namespace orvspc::host
