// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Marks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>

#include "engine/store/alarm_rules.h"
#include "platform/ChartWord.h"
#include "tests/engine/charts/FakeStore.h"

namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

std::vector<RunRule> AllRules() {
  FakeStore store;
  std::vector<RunRule> rules;
  ConvertRules(store.rules, rules);
  return rules;
}

std::vector<std::int32_t> NumbersFor(ChartKind kind, bool cusum = false) {
  std::vector<RunRule> selected;
  SelectForGraph(AllRules(), kind, cusum, selected);
  std::vector<std::int32_t> numbers;
  for (const auto& rule : selected) numbers.push_back(rule.number);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace

TEST(Marks, RulesWhereTheyMeanSomething) {
  const std::vector<std::int32_t> all = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  for (const auto kind : {ChartKind::Mean, ChartKind::Median, ChartKind::Individuals}) {
    EXPECT_EQ(NumbersFor(kind), all);
  }
  for (const auto kind : {ChartKind::Range, ChartKind::Sd, ChartKind::MovingRange, ChartKind::Cv,
                          ChartKind::MovingAverage, ChartKind::PieceRange, ChartKind::PieceSd}) {
    EXPECT_EQ(NumbersFor(kind), std::vector<std::int32_t>{1});
  }
  EXPECT_EQ(NumbersFor(ChartKind::Mean, true), std::vector<std::int32_t>{1}) << "cusum";
  EXPECT_EQ(NumbersFor(ChartKind::PreControl), (std::vector<std::int32_t>{16, 17, 18}));
}

// The masks of alarms are made by the store, which does not know the plans.
TEST(Marks, RulesAreThoseThatMayRaiseAlarms) {
  const FakeStore store;
  for (std::int32_t word = 0x100; word <= 0xF00; word += 0x100) {
    if (!platform::IsChartWord(word)) continue;
    const auto code = word >> 8;
    const auto* const row =
        std::find_if(std::begin(charts::kKinds), std::end(charts::kKinds),
                     [&](const auto& each) { return each.graph == 1 && each.code == code; });
    const auto kind = row == std::end(charts::kKinds) ? ChartKind::Attribute : row->kind;
    std::uint32_t bits = 0;
    for (const auto number : NumbersFor(kind)) bits |= std::uint32_t{1} << number;
    EXPECT_EQ(store::ApplicableRules(store.rules, word, 1), bits) << word;
  }
}

TEST(Marks, RulesThatCannotRunAreLeftOut) {
  std::vector<RunRule> rules;
  ConvertRules(std::vector<StoredRule>{{1, 0, "limit", 1, 1, 0.0, "either", ""},
                                       {2, 0, "nonsense", 1, 1, 0.0, "either", ""},
                                       {3, 0, "zone", 5, 2, 0.0, "same", ""}},
               rules);
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].number, 1);
}

// Long streams are worked through in stretches; the seams must not show.
TEST(Marks, StretchesGiveWhatTheWholeGives) {
  std::mt19937 random(7);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::bernoulli_distribution rare(0.1);
  constexpr std::size_t kCount = 13000;
  std::vector<double> points(kCount), centre(kCount, 0.0), sigma(kCount, 1.0), upper(kCount, 3.0),
      lower(kCount, -3.0);
  std::vector<std::uint8_t> used(kCount, 1), restart(kCount, 0);
  for (std::size_t i = 0; i < kCount; ++i) {
    // Long stretches of one side and long rows of unused points lie across the seams.
    points[i] = std::round(2.0 * noise(random)) / 2.0 + (i / 300 % 2 == 0 ? 0.7 : -0.7);
    used[i] = rare(random) || (i > 4085 && i < 4110) ? 0 : 1;
    restart[i] = i % 997 == 0 ? 1 : 0;
  }
  const auto rules = AllRules();
  RunInput whole;
  whole.points = points;
  whole.centre = centre;
  whole.sigma = sigma;
  whole.ucl = upper;
  whole.lcl = lower;
  whole.used = used;
  whole.restart = restart;
  const auto expected = EvaluateRules(whole, rules);

  MarkInput input;
  input.points = points;
  input.used = used;
  input.lines = [](std::size_t) { return PointLimits{0.0, 3.0, -3.0, 1.0}; };
  input.restart = [&](std::size_t i) { return restart[i] != 0; };
  std::vector<std::uint32_t> marks(kCount);
  EvaluateMarks(input, rules, marks, 0, kCount);
  EXPECT_EQ(marks, expected);
  std::fill(marks.begin(), marks.end(), 0U);
  EvaluateMarks(input, rules, marks, 4100, kCount);
  EvaluateMarks(input, rules, marks, 0, 4100);
  EXPECT_EQ(marks, expected) << "in two parts";
  EXPECT_NE(std::count(marks.begin() + 4096, marks.begin() + 4140, 0U), 44);
}

}  // namespace orvspc::engine::test
