// SPDX-License-Identifier: Apache-2.0
#include "tests/postgres/random_selections.h"

namespace orvspc::engine::store {
namespace {

TEST_F(RandomSelectionsTest, AreTheSameFromAFileAndAServer) { CompareAtRandom(42, 23); }

}  // namespace
}  // namespace orvspc::engine::store
