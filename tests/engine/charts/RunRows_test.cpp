// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/RunRows.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/engine/charts/FakeStore.h"

namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

TEST(RunRows, NewestRowThatIsEffectiveWhateverTheOrderOfTheQuestions) {
  FakeStore store;
  store.Spec(0, 0, 0, 0, 10);
  store.Spec(0, 0, 0, 0, 20);
  EffectiveRows<API_CCSpecLim> rows(store.specs);
  EXPECT_EQ(rows.PlaceAt(9), kNoRow);
  EXPECT_EQ(rows.PlaceAt(20), 1);
  EXPECT_EQ(rows.PlaceAt(10), 0) << "back in time";
  EXPECT_EQ(rows.PlaceAt(19), 0);
  EXPECT_EQ(rows.PlaceAt(1000), 1);
  EXPECT_EQ(rows.PlaceAt(-5), kNoRow);
}

TEST(RunRows, OfTwoRowsOfOneMomentThatOfTheProcessWins) {
  FakeStore store;
  store.Limit(1.0, 1.0, 1.0, 10, 4);
  store.Limit(2.0, 1.0, 1.0, 10, 0);
  store.Limit(3.0, 1.0, 1.0, 20, 0);
  SortForProcess(store.limits);
  EffectiveRows<ControlLimit> rows(store.limits);
  EXPECT_EQ(store.limits[static_cast<std::size_t>(rows.PlaceAt(15))].row.F_MEAN, 1.0);
  EXPECT_EQ(store.limits[static_cast<std::size_t>(rows.PlaceAt(25))].row.F_MEAN, 3.0);
}

TEST(RunRows, OnlyLimitsThatTheRowHas) {
  FakeStore store;
  const auto lines = SpecLimitsOf(store.Spec(1.0, 2.0, 3.0, slfUSL | slfLSL));
  EXPECT_EQ(lines.lsl, 1.0);
  EXPECT_TRUE(std::isnan(lines.target));
  EXPECT_EQ(lines.usl, 3.0);
}

}  // namespace orvspc::engine::test
