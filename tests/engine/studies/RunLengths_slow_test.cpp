// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include "tests/engine/studies/simulated_runs.h"

namespace orvspc::studies {
namespace {

TEST(RunLengthsSlow, AgreeWithAMillionSimulatedRuns) { ExpectAgreement(1'000'000, 1000); }

}  // namespace
}  // namespace orvspc::studies
