// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/studies/coverage.h"

namespace orvspc::studies {
namespace {

constexpr Coverage kExact{2000, 0.935, 0.965}, kAtLeast{2000, 0.935, 1.0};

TEST(CapabilityCoverageSlow, IndicesOfSubgroups) {
  for (const auto* const estimator :
       {"R-est mvlue", "S-est mvlue", "S-est pooled", "S-est pooled-as-sbar", "pooled"})
    CheckIndices(estimator, 25, 5, kExact);
}

TEST(CapabilityCoverageSlow, IndicesOfSingleValues) {
  CheckIndices("MR-est", 30, 1, kExact);
  CheckIndices("MR-est", 100, 1, kExact);
}

// The figures are for reading: about 0.93 by a law of 100 values, 0.97 between and within, where
// resamples in another order have wider moving ranges.
TEST(CapabilityCoverageSlow, Bootstrap) { CheckBootstrap(400, {2000, 0.90, 0.985}); }

TEST(CapabilityCoverageSlow, Tolerance) { CheckTolerances(kExact, kAtLeast); }

TEST(CapabilityCoverageSlow, Counts) { CheckCounts(kAtLeast); }

}  // namespace
}  // namespace orvspc::studies
