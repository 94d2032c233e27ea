// SPDX-License-Identifier: Apache-2.0
#include "tests/host/FlippedBytesTest.h"

namespace orvspc::host {
namespace {

using FlippedBytesSlowTest = FlippedBytesTest;

TEST_F(FlippedBytesSlowTest, TheCheckFindsEveryOneOrNothingChanges) { FlipEach(1); }

}  // namespace
}  // namespace orvspc::host
