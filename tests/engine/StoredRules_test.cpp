// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "engine/statistics/RunRules.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;
using namespace statistics;

namespace {

using StoredRules = StoreTest;

TEST_F(StoredRules, ANewDatabaseHasTheStandardRulesAndSets) {
  const auto& rules = Opened()->Rules();
  const auto standard = StandardRules();
  ASSERT_EQ(rules.size(), standard.size());
  for (std::size_t i = 0; i < rules.size(); ++i) {
    EXPECT_EQ(rules[i].number, standard[i].number);
    EXPECT_EQ(rules[i].priority, standard[i].priority);
    EXPECT_EQ(rules[i].kind, NameOf(standard[i].kind));
    EXPECT_EQ(rules[i].k, standard[i].k);
    EXPECT_EQ(rules[i].m, standard[i].m);
    EXPECT_EQ(rules[i].zone, standard[i].zone);
    EXPECT_EQ(rules[i].side, NameOf(standard[i].side));
    EXPECT_EQ(rules[i].text, standard[i].text);
  }
  const auto sets = Data().RuleSets();
  for (const auto name : engine::RuleSetNames()) {
    EXPECT_EQ(std::ranges::count(sets, name, &orvspc::RuleSet::name), 1) << name;
  }
  Opened()->ReadOrThrow([&](Connection&) {
    for (const auto& [name, numbers] : Opened()->Cache().rule_sets) {
      const auto expected = RuleSet(name);
      EXPECT_EQ(numbers, std::vector<std::int32_t>(expected.begin(), expected.end())) << name;
    }
  });
}

}  // namespace
}  // namespace orvspc::engine
