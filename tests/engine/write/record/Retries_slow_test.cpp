// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/write/record/retries.h"

namespace orvspc::engine::record {
namespace {

class RetriesSlow : public Retries {};

// A million sendings.
TEST_F(RetriesSlow, OfAKilledProgramStoreEachRecordOnce) { Run({1, 100'000, 10, 100}); }

TEST_F(RetriesSlow, OfEightProgramsStoreEachRecordOnce) { Run({8, 10'000, 1, 20}); }

}  // namespace
}  // namespace orvspc::engine::record
