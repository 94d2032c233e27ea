// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/ParetoPlan.h"

#include <gtest/gtest.h>

#include "tests/engine/pareto/pareto_fixture.h"

namespace orvspc::engine::pareto {
namespace {

TEST(ParetoPlan, TheReasonOfAnEarlierRefusalDoesNotRefuseTheNext) {
  std::string reason;
  EXPECT_FALSE(MakePlan(paSubgroups, ParetoOptions({}), 0, reason).has_value());
  EXPECT_NE(reason, "");
  EXPECT_TRUE(MakePlan(paSubgroups, ParetoOptions({paBinTypeDefect}), 0, reason).has_value());
  EXPECT_EQ(reason, "");
}

}  // namespace
}  // namespace orvspc::engine::pareto
