// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/RunRules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

// A chart with centre 0, sigma 1 and limits at 3.
struct UnitChart {
  std::vector<double> points, centre, sigma, ucl, lcl;

  explicit UnitChart(std::vector<double> values)
      : points(std::move(values)),
        centre(points.size(), 0.0),
        sigma(points.size(), 1.0),
        ucl(points.size(), 3.0),
        lcl(points.size(), -3.0) {}

  RunInput Input() const {
    RunInput input;
    input.points = points;
    input.centre = centre;
    input.sigma = sigma;
    input.ucl = ucl;
    input.lcl = lcl;
    return input;
  }
};

std::vector<RunRule> Rules(std::vector<std::int32_t> numbers) {
  return SelectRules(StandardRules(), numbers);
}

// "2:9 9:8,9": rule and the points, counted from 1, that it marks.
std::string Told(const std::vector<std::uint32_t>& marks) {
  std::string text;
  for (int number = 0; number < 32; ++number) {
    std::string points;
    for (std::size_t i = 0; i < marks.size(); ++i)
      if ((marks[i] >> number & 1U) != 0)
        points += (points.empty() ? "" : ",") + std::to_string(i + 1);
    if (!points.empty()) text += (text.empty() ? "" : " ") + std::to_string(number) + ":" + points;
  }
  return text;
}

std::vector<double> Times(std::size_t count, double value) {
  return std::vector<double>(count, value);
}
std::vector<double> InTurn(std::size_t count, double first, double second) {
  std::vector<double> result;
  for (std::size_t i = 0; i < count; ++i) result.push_back(i % 2 == 0 ? first : second);
  return result;
}
std::vector<double> operator+(std::vector<double> a, const std::vector<double>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Sequences on which published programs disagree. All of rules 1 to 12 are on.
TEST(EvaluateRules, BoundarySequences) {
  const struct {
    const char* name;
    std::vector<double> points;
    const char* told;
    const char* reason;
  } rows[] = {
      {"on the upper limit", {0, 3, 0}, "", "on a limit is inside"},
      {"on the lower limit", {0, -3, 0}, "", "on a limit is inside, on both sides alike"},
      {"beyond the upper limit", {0, 3.0001, 0}, "1:2", "any distance beyond counts"},
      {"run of 8", Times(8, 0.5), "9:8 10:7,8",
       "the 8-point and 7-point rules; the 9-point one is not full"},
      {"run of 9", Times(9, 0.5), "2:9 9:8,9 10:7,8,9",
       "each later point that still completes a window is marked"},
      {"8, on the centre line, 8", Times(8, 0.5) + Times(1, 0.0) + Times(8, 0.5),
       "7:15,16,17 9:8,17 10:7,8,16,17",
       "a point on the centre line breaks the run, but it is within 1 sigma"},
      {"6 rising", {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, "3:6", "a trend of 6 counts points, not steps"},
      {"7 rising",
       {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7},
       "3:6,7 10:7 11:7",
       "7 points are also a run of 7 above"},
      {"a tie in a trend",
       {0.1, 0.2, 0.3, 0.3, 0.4, 0.5, 0.6, 0.7},
       "9:8 10:7,8",
       "a tie breaks the trend: the second part has 5 points; the run above the centre goes on"},
      {"14 in turn", InTurn(14, 0, 1), "4:14",
       "alternation counts points; the zeros break runs above the centre"},
      {"15 in turn", InTurn(15, 0, 1), "4:14,15 7:15",
       "1.0 lies on the 1-sigma line, which is inside"},
      {"first two beyond 2 sigma",
       {2.5, 2.5, 0},
       "",
       "the window of 3 is not full at 2; point 3 is not in the zone"},
      {"two beyond 2 sigma on opposite sides", {2.5, 0, -2.5}, "", "one side only"},
      {"2 of 3, then one inside",
       {0, 2.5, 2.5, 0.1},
       "5:3",
       "point 4 ends a window with two, but is not in the zone"},
      {"first four beyond 1 sigma", Times(4, 1.5), "", "the window of 5 is not full"},
      {"15 near the centre", InTurn(15, 0.3, -0.3), "4:14,15 7:15",
       "hugging and alternation are told both"},
      {"one outside, then 15 near the centre", Times(1, 1.5) + InTurn(15, 0.3, -0.3),
       "4:15,16 7:16", "1.5, 0.3, -0.3 goes down twice, so alternation begins at point 2"},
      {"8 beyond 1 sigma on both sides", InTurn(8, 1.5, -1.5), "8:8", "mixture"},
      {"8 beyond 1 sigma on one side", Times(8, 1.5), "6:5,6,7,8 8:8 9:8 10:7,8",
       "the mixture rule does not ask for both sides"},
      {"a pair exactly at 2 sigma", {0, 2, 2}, "", "on a zone line is inside"},
      {"15 exactly at 1 sigma", InTurn(15, 1, -1), "4:14,15 7:15",
       "on a zone line is inside, also for hugging"},
      {"a gap in a run", Times(4, 0.5) + Times(1, kNaN) + Times(5, 0.5), "",
       "a point without value breaks everything: 4 and 5 are left"},
  };
  const std::vector<RunRule> rules = Rules({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  for (const auto& row : rows)
    EXPECT_EQ(Told(EvaluateRules(UnitChart(row.points).Input(), rules)), row.told)
        << row.name << ": " << row.reason;
}

// The sequences of the R package qcc's own test of its rules (tests/testthat/test-rules.R).
TEST(EvaluateRules, SequencesOfAPeersTest) {
  const struct {
    std::int32_t rule;
    std::vector<double> points;
    const char* told;
  } rows[] = {
      {1, {0, 3.2, -3.5, 2.9}, "1:2,3"},
      {5, {0, 2.5, 1.0, 2.6, 0}, "5:4"},
      {6, {0, 1.2, 1.3, 0.2, 1.4, 1.5}, "6:6"},
      {9, Times(8, -1) + Times(1, 1), "9:8"},
      {1, {0, 3.2, -3.4, 3}, "1:2,3"},
      {2, Times(10, 0.5) + Times(10, -0.5), "2:9,10,19,20"},
      {3, {1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1}, "3:6,7,13,14"},
      {4, {1, 3, 2, 4, 3, 5, 4, 6, 5, 7, 6, 8, 7, 9, 8}, "4:14,15"},
      {5, {0, 2.3, 0.4, 2.2, -2.4, -0.2, -2.5}, "5:4,7"},
      {6, {1.2, 1.3, 0.2, 1.4, 1.5, -1.2, -1.3, -0.1, -1.4, -1.5}, "6:5,10"},
      {7, Times(16, 0.3) + Times(1, 1.2), "7:15,16"},
      {8, {1.2, -1.3, 1.1, -1.4, 1.5, -1.2, 1.3, -1.1, 0.2}, "8:8"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Told(EvaluateRules(UnitChart(row.points).Input(), Rules({row.rule}))), row.told);
}

// The peer asks for both sides in its mixture rule; ours is a parameter, and the standard rule
// takes either.
TEST(EvaluateRules, MixtureOnOneSideDependsOnTheSideParameter) {
  std::vector<RunRule> rules = Rules({8});
  const UnitChart chart(Times(8, 1.2));
  EXPECT_EQ(Told(EvaluateRules(chart.Input(), rules)), "8:8");
  rules[0].side = RuleSide::Both;
  EXPECT_EQ(Told(EvaluateRules(chart.Input(), rules)), "");
}

TEST(EvaluateRules, AnUnusedPointIsAsGoodAsDeleted) {
  UnitChart with(Times(5, 0.5) + Times(1, -9.0) + Times(4, 0.5)), without(Times(9, 0.5));
  std::vector<std::uint8_t> used(10, 1);
  used[5] = 0;
  RunInput input = with.Input();
  input.used = used;
  const std::vector<RunRule> rules = Rules({1, 2});
  EXPECT_EQ(Told(EvaluateRules(input, rules)), "2:10");
  EXPECT_EQ(Told(EvaluateRules(without.Input(), rules)), "2:9");
  with.points[5] = kNaN;
  EXPECT_EQ(Told(EvaluateRules(input, rules)), "2:10")
      << "an unused point without value does not break a run either";
}

TEST(EvaluateRules, ARestartBreaksRunsAlsoWhenItsPointIsUnused) {
  const UnitChart chart(Times(12, 0.5));
  std::vector<std::uint8_t> restart(12, 0), used(12, 1);
  restart[3] = 1;
  RunInput input = chart.Input();
  input.restart = restart;
  EXPECT_EQ(Told(EvaluateRules(input, Rules({2}))), "2:12");
  used[3] = 0;
  input.used = used;
  EXPECT_EQ(Told(EvaluateRules(input, Rules({2, 9}))), "9:12");
}

TEST(EvaluateRules, AValueFlagOfZeroIsAPointWithoutValue) {
  const UnitChart chart(Times(9, 5.0));
  std::vector<std::uint8_t> has_value(9, 1);
  has_value[1] = 0;
  RunInput input = chart.Input();
  input.has_value = has_value;
  EXPECT_EQ(Told(EvaluateRules(input, Rules({1, 10}))), "1:1,3,4,5,6,7,8,9 10:9");
}

TEST(EvaluateRules, WithoutSigmaOnlyTheDrawnLimitsAreTested) {
  for (const double sigma : {0.0, kNaN}) {
    UnitChart chart({2, 2, 2 + 1e-15, 2, 2, 2, 2, 2, 2, 2.1});
    for (std::size_t i = 0; i < chart.points.size(); ++i) {
      chart.sigma[i] = sigma;
      chart.centre[i] = chart.ucl[i] = chart.lcl[i] = 2.0;
    }
    EXPECT_EQ(Told(EvaluateRules(chart.Input(), Rules({1, 2, 3, 4, 5, 6, 7, 8}))), "1:10")
        << "equal to rounding is not beyond, and nothing else is tested";
  }
}

TEST(EvaluateRules, LimitsThatDoNotExistAreNotBroken) {
  UnitChart chart({9, -9});
  chart.ucl.assign(2, kNaN);
  EXPECT_EQ(Told(EvaluateRules(chart.Input(), Rules({1}))), "1:2");
  RunInput input = chart.Input();
  input.ucl = input.lcl = {};
  EXPECT_EQ(Told(EvaluateRules(input, Rules({1}))), "");
}

// 1e-9 sigma: the sums 0.1 + 0.2 and 0.3 are the same mean.
TEST(EvaluateRules, RoundingIsNeitherATrendNorASideNorBeyond) {
  const double tiny = 1e-10;
  EXPECT_EQ(
      Told(EvaluateRules(
          UnitChart({1, 1 + tiny, 1 + 2 * tiny, 1 + 3 * tiny, 1 + 4 * tiny, 1 + 5 * tiny}).Input(),
          Rules({3}))),
      "");
  EXPECT_EQ(Told(EvaluateRules(UnitChart(Times(9, tiny)).Input(), Rules({2}))), "");
  EXPECT_EQ(Told(EvaluateRules(UnitChart({3 + tiny, -3 - tiny, 3 + 1e-8}).Input(), Rules({1}))),
            "1:3");
  EXPECT_EQ(Told(EvaluateRules(UnitChart(Times(15, 1 + tiny)).Input(), Rules({7, 8}))), "7:15");
}

TEST(EvaluateRules, SteppedCentreAndSigmaAreStandardisedPointByPoint) {
  UnitChart chart({12, 25, 12, 25, 12});  // z = 1.5 five times, though the points go up and down
  chart.centre = {9, 20, 9, 20, 9};
  chart.sigma = {2, 10.0 / 3.0, 2, 10.0 / 3.0, 2};
  chart.ucl = {15, 30, 15, 30, 15};
  EXPECT_EQ(Told(EvaluateRules(chart.Input(), Rules({1, 6}))), "6:5");
}

TEST(EvaluateRules, PointsAboveAndBelowCanBeAskedForAlone) {
  std::vector<RunRule> rules(2);
  rules[0] = {20, 0, RuleKind::Zone, 2, 3, 1.0, RuleSide::Upper, ""};
  rules[1] = {21, 0, RuleKind::Zone, 2, 3, 1.0, RuleSide::Lower, ""};
  EXPECT_EQ(Told(EvaluateRules(UnitChart({0, 2, 2, -2, -2}).Input(), rules)), "20:3 21:5");
  rules[0].kind = rules[1].kind = RuleKind::Trend;
  for (RunRule& rule : rules) rule.k = rule.m = 3;
  EXPECT_EQ(Told(EvaluateRules(UnitChart({0, 1, 2, 1, 0}).Input(), rules)), "20:3 21:5");
  for (RunRule& rule : rules) rule = {rule.number, 0, RuleKind::Limit, 1, 1, 0.0, rule.side, ""};
  EXPECT_EQ(Told(EvaluateRules(UnitChart({4, -4}).Input(), rules)), "20:1 21:2");
}

TEST(EvaluateRules, NothingInNothingOut) {
  EXPECT_TRUE(EvaluateRules(RunInput{}, Rules({1, 2})).empty());
  EXPECT_EQ(Told(EvaluateRules(UnitChart({9}).Input(), {})), "");
}

TEST(EvaluateRules, MarksThatWereThereAreOverwritten) {
  std::vector<std::uint32_t> marks(2, 0xFFFFFFFFU);
  EvaluateRules(UnitChart({0, 9}).Input(), Rules({1}), marks);
  EXPECT_EQ(marks, (std::vector<std::uint32_t>{0, 2}));
}

TEST(RunRules, FifteenAndThirtyOneShareABitAndThirtyOneIsNeverSet) {
  EXPECT_EQ(RuleBit(0), 1U);
  EXPECT_EQ(RuleBit(14), 1U << 14);
  EXPECT_EQ(RuleBit(15), 1U << 15);
  EXPECT_EQ(RuleBit(31), 1U << 15);
  EXPECT_EQ(RuleBit(30), 1U << 30);
  for (const std::int32_t number : {-1, 32, 1000}) EXPECT_EQ(RuleBit(number), 0U) << number;
}

TEST(RunRules, TheStandardListCanBeUsedAndIsOrdered) {
  const std::vector<RunRule> list(StandardRules().begin(), StandardRules().end());
  EXPECT_EQ(CheckRules(list), "");
  std::vector<RunRule> sorted = list;
  SortRules(sorted);
  EXPECT_EQ(sorted, list);
  ASSERT_EQ(list.size(), 15U);
  for (const RunRule& rule : list) EXPECT_FALSE(rule.text.empty()) << rule.number;
}

TEST(RunRules, NamedSets) {
  const std::map<std::string, std::vector<std::int32_t>> sets = {
      {"nelson", {1, 2, 3, 4, 5, 6, 7, 8}}, {"western-electric", {1, 5, 6, 9}},
      {"aiag", {1, 3, 4, 5, 6, 7, 8, 10}},  {"public-health", {1, 5, 10, 11}},
      {"pre-control", {16, 17, 18}},
  };
  ASSERT_EQ(RuleSetNames().size(), sets.size());
  for (const std::string_view name : RuleSetNames()) {
    const auto numbers = RuleSet(name);
    EXPECT_EQ(std::vector<std::int32_t>(numbers.begin(), numbers.end()),
              sets.at(std::string(name)));
    EXPECT_EQ(SelectRules(StandardRules(), numbers).size(), numbers.size());
  }
  EXPECT_TRUE(RuleSet("of my own").empty());
}

TEST(RunRules, PriorityComesBeforeNumber) {
  std::vector<RunRule> list = Rules({1, 2, 3});
  list[2].priority = 0;
  list[0].priority = 2;
  SortRules(list);
  EXPECT_EQ(list[0].number, 3);
  EXPECT_EQ(list[1].number, 1) << "the same priority as rule 2: the number decides";
  EXPECT_EQ(list[2].number, 2);
}

TEST(RunRules, RulesThatCannotBeUsedAreRefusedWithAReason) {
  const struct {
    RunRule rule;
    const char* part;
  } rows[] = {
      {{32, 0, RuleKind::Limit, 1, 1, 0, RuleSide::Either, ""}, "0 to 31"},
      {{-1, 0, RuleKind::Limit, 1, 1, 0, RuleSide::Either, ""}, "0 to 31"},
      {{1, 0, static_cast<RuleKind>(99), 1, 1, 0, RuleSide::Either, ""}, "unknown"},
      {{1, 0, RuleKind::Zone, 3, 2, 0, RuleSide::Same, ""}, "k <= m"},
      {{1, 0, RuleKind::Zone, 0, 2, 0, RuleSide::Same, ""}, "k <= m"},
      {{1, 0, RuleKind::Zone, 2, 3, -1, RuleSide::Same, ""}, "sigmas"},
      {{1, 0, RuleKind::Zone, 2, 3, kNaN, RuleSide::Same, ""}, "sigmas"},
      {{1, 0, RuleKind::Zone, 50, 65, 0, RuleSide::Same, ""}, "64"},
      {{1, 0, RuleKind::Within, 14, 15, 1, RuleSide::Either, ""}, "k = m"},
      {{1, 0, RuleKind::Trend, 1, 1, 0, RuleSide::Same, ""}, "at least 2"},
      {{1, 0, RuleKind::Alternate, 2, 2, 0, RuleSide::Same, ""}, "at least 3"},
      {{1, 0, RuleKind::Limit, 2, 2, 0, RuleSide::Either, ""}, "one point"},
  };
  for (const auto& row : rows)
    EXPECT_NE(CheckRule(row.rule).find(row.part), std::string::npos) << row.part;
  EXPECT_EQ(CheckRule({1, 0, RuleKind::Zone, 200, 200, 0, RuleSide::Same, ""}), "")
      << "a long row is counted";
}

TEST(RunRules, AListHoldsANumberOnceAndNotFifteenWithThirtyOne) {
  std::vector<RunRule> list = Rules({1, 2});
  list[1].number = 1;
  EXPECT_NE(CheckRules(list).find("twice"), std::string::npos);
  list[0].number = 15;
  list[1].number = 31;
  EXPECT_NE(CheckRules(list).find("share"), std::string::npos);
  list[0].number = 14;
  EXPECT_EQ(CheckRules(list), "");
}

TEST(RunRules, NamesOfKindsAndSidesReadBack) {
  for (const char* name :
       {"limit", "zone", "within", "outside", "trend", "alternate", "red", "yellow2"}) {
    RuleKind kind{};
    ASSERT_TRUE(RuleKindFromName(name, kind)) << name;
    EXPECT_EQ(NameOf(kind), name);
  }
  for (const char* name : {"same", "either", "both", "upper", "lower"}) {
    RuleSide side{};
    ASSERT_TRUE(RuleSideFromName(name, side)) << name;
    EXPECT_EQ(NameOf(side), name);
  }
  RuleKind kind = RuleKind::Trend;
  EXPECT_FALSE(RuleKindFromName("Zone", kind));
  EXPECT_EQ(kind, RuleKind::Trend);
}

TEST(RunRules, EqualityHasATolerance) {
  EXPECT_TRUE(Tied(1.0, 1.0 + 0.9e-9, 1.0));
  EXPECT_FALSE(Tied(1.0, 1.0 + 1.1e-9, 1.0));
  EXPECT_FALSE(Tied(1.0, 1.0 + 0.9e-9, 0.5));
  EXPECT_TRUE(Tied(0.1 + 0.2, 0.3, 0.0)) << "without a sigma: 8 units in the last place";
  EXPECT_FALSE(Tied(0.3, 0.3 * (1 + 1e-14), 0.0));
  EXPECT_FALSE(Above(kNaN, 0.0, 1.0));
  EXPECT_FALSE(Above(1.0, kNaN, kNaN));
  EXPECT_TRUE(Above(2.0, 1.0, kNaN));
}

TEST(PreControl, ZonesOfAPiece) {
  const struct {
    double value, lsl, target, usl;
    PieceZone zone;
    const char* reason;
  } rows[] = {
      {10.0, 9, kNaN, 11, PieceZone::Green, "the middle serves as target"},
      {10.5, 9, kNaN, 11, PieceZone::Green, "on the line is inside"},
      {10.51, 9, kNaN, 11, PieceZone::UpperYellow, "beyond half the way"},
      {11.0, 9, kNaN, 11, PieceZone::UpperYellow, "on the limit is inside"},
      {11.01, 9, kNaN, 11, PieceZone::UpperRed, "out of specification"},
      {9.49, 9, kNaN, 11, PieceZone::LowerYellow, "beyond half the way down"},
      {8.99, 9, kNaN, 11, PieceZone::LowerRed, "out of specification"},
      {10.5, 9, 10.6, 11, PieceZone::Green, "lines lie half way from the target: 9.8 and 10.8"},
      {9.7, 9, 10.6, 11, PieceZone::LowerYellow, "the lower one is 9.8"},
      {50.0, 9, 10, kNaN, PieceZone::Green, "a side without limit is green throughout"},
      {9.4, 9, 10, kNaN, PieceZone::LowerYellow, "the other side is as usual"},
      {9.4, 9, kNaN, kNaN, PieceZone::None, "one limit without target"},
      {9.4, kNaN, 10, kNaN, PieceZone::None, "no limit"},
      {kNaN, 9, 10, 11, PieceZone::None, "no value"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ZoneOf(row.value, row.lsl, row.target, row.usl), row.zone) << row.reason;
}

TEST(PreControl, LinesOfAChart) {
  const PreControlLines both = PreControlLinesOf(9, kNaN, 11);
  EXPECT_DOUBLE_EQ(both.lower_line, 9.5);
  EXPECT_DOUBLE_EQ(both.target, 10.0);
  EXPECT_DOUBLE_EQ(both.upper_line, 10.5);
  const PreControlLines one = PreControlLinesOf(9, 10, kNaN);
  EXPECT_DOUBLE_EQ(one.lower_line, 9.5);
  EXPECT_TRUE(std::isnan(one.upper_line));
  EXPECT_TRUE(std::isnan(PreControlLinesOf(kNaN, 10, kNaN).target));
}

TEST(PreControl, MarksOfPieces) {
  using enum PieceZone;
  const struct {
    std::vector<PieceZone> pieces;
    const char* told;
    const char* reason;
  } rows[] = {
      {{Green, UpperRed, LowerRed}, "16:2,3", "red on either side"},
      {{UpperYellow, UpperYellow, UpperYellow}, "17:2,3", "each later one that still does"},
      {{LowerYellow, LowerYellow, UpperYellow}, "17:2 18:3", "the side changes"},
      {{UpperYellow, Green, UpperYellow}, "", "green lies between"},
      {{UpperYellow, UpperRed, UpperYellow}, "16:2", "red is not yellow"},
      {{UpperYellow, None, UpperYellow}, "", "a piece without value breaks the row"},
      {{UpperYellow, LowerYellow, UpperYellow}, "18:2,3", "opposite sides twice"},
  };
  for (const auto& row : rows) {
    std::vector<std::uint32_t> marks(row.pieces.size(), 7);
    EvaluatePreControl(row.pieces, Rules({1, 16, 17, 18}), marks);
    EXPECT_EQ(Told(marks), row.told) << row.reason;
  }
}

}  // namespace
}  // namespace orvspc::engine::statistics
