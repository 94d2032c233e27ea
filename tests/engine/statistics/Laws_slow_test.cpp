// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/statistics/law_samples.h"

namespace orvspc::engine::statistics {
namespace {

TEST(FitLaw, SolvesTheLikelihoodEquationsOf500Samples) {
  for (const auto& law : kLawCases) {
    const int without = CheckFits(law, 500);
    RecordProperty("without_" + std::to_string(static_cast<int>(law.kind)), without);
    if (!FamilyOf(law.kind).has_threshold) {
      EXPECT_EQ(without, 0);
    }
    EXPECT_LT(without, 250);
  }
}

}  // namespace
}  // namespace orvspc::engine::statistics
