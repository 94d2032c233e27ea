// SPDX-License-Identifier: Apache-2.0
#include "tests/host/FlippedBytesTest.h"

namespace orvspc::host {
namespace {

TEST_F(FlippedBytesTest, TheCheckFindsThemOrNothingChanges) { FlipEach(41); }

}  // namespace
}  // namespace orvspc::host
