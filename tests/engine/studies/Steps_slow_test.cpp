// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/studies/simulated_steps.h"

namespace orvspc::studies {
namespace {

// The standard error of 4 % of 40000 series is 0.1 %.
TEST(StudyStepsSimulated, SharesOfFalseHints) {
  struct Row {
    SeriesKind kind;
    double share, most;
  };
  constexpr Row kRows[] = {{{20, 0.0, 0.0}, 0.036, 0.004},
                           {{30, 0.0, 0.0}, 0.029, 0.004},
                           {{50, 0.0, 0.0}, 0.018, 0.003},
                           {{100, 0.0, 0.0}, 0.009, 0.002},
                           {{200, 0.0, 0.0}, 0.003, 0.0015}};
  for (const auto& row : kRows) {
    EXPECT_NEAR(ShareOfHints(row.kind, 40000), row.share, row.most) << row.kind.count;
  }
}

// The autoregression takes most hints away from long series.
TEST(StudyStepsSimulated, SharesWhereNeighboursAreCorrelated) {
  EXPECT_NEAR(ShareOfHints({30, 0.4, 0.0}, 20000), 0.23, 0.02);
  EXPECT_NEAR(ShareOfHints({100, 0.4, 0.0}, 20000), 0.047, 0.01);
  EXPECT_LT(ShareOfHints({200, 0.4, 0.0}, 20000), 0.005);
  EXPECT_NEAR(ShareOfHints({30, 0.7, 0.0}, 20000), 0.30, 0.02);
  EXPECT_NEAR(ShareOfHints({50, 0.7, 0.0}, 20000), 0.105, 0.01);
}

TEST(StudyStepsSimulated, SharesOfStepsFound) {
  EXPECT_NEAR(ShareOfHints({30, 0.0, 1.5}, 20000), 0.82, 0.02);
  EXPECT_NEAR(ShareOfHints({30, 0.0, 2.0}, 20000), 0.97, 0.01);
}

}  // namespace
}  // namespace orvspc::studies
