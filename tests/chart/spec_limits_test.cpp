// SPDX-License-Identifier: Apache-2.0
#include "chart/spec_limits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/Enumerations.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::ArrayOf;
using chart_test::VectorOf;
using fake::FailureOf;
using Ints = std::vector<std::int32_t>;

constexpr std::int32_t kPart = 4;
constexpr std::int32_t kTest = 9;
constexpr std::int32_t kEveryBit = 0x3337F;

API_TestData Value(double value, std::int32_t sbno = 0) {
  API_TestData row{};
  row.Sbno = sbno;
  row.Val = value;
  return row;
}

API_SubgroupData Subgroup(std::int32_t first, std::int32_t last, std::int32_t flag = sfEnabled) {
  API_SubgroupData row{};
  row.Part = kPart;
  row.Test = kTest;
  row.Flag = flag;
  row.Test_Start = first;
  row.Test_End = last;
  return row;
}

// Limits at 30, 20, 10 above and -10, -20, -30 below; within a piece 5 and -5.
API_CCSpecLim Row(std::int32_t enabled, std::int32_t active) {
  API_CCSpecLim row{};
  row.F_PART = kPart;
  row.F_TEST_ = kTest;
  row.F_EFLAG = enabled;
  row.F_AFLAG = active;
  row.F_URL = 30.0;
  row.F_UGB = 20.0;
  row.F_USL = 10.0;
  row.F_LSL = -10.0;
  row.F_LGB = -20.0;
  row.F_LRL = -30.0;
  row.F_UWP = 5.0;
  row.F_LWP = -5.0;
  return row;
}

API_CCResults Evaluated(const std::vector<API_SubgroupData>& subgroups,
                        const std::vector<API_TestData>& tests,
                        const std::vector<API_CCSpecLim>& limits) {
  API_CCResults record = chart_test::Record(subgroups, tests);
  record.Totals.SpecLimCount = static_cast<std::int32_t>(limits.size());
  record.SpecLims = ArrayOf(limits);
  ProcessSpecLim(record);
  return record;
}

std::int32_t MarkOf(const API_TestData& test, std::int32_t bits = kEveryBit) {
  return Evaluated({Subgroup(0, 0)}, {test}, {Row(bits, bits)}).Graphs[0].OOSs[0];
}

TEST(ProcessSpecLim, WithoutRowsTheFirstGraphHasThreeArraysOfZeros) {
  const auto record = Evaluated({Subgroup(0, 0), Subgroup(1, 1)}, {Value(1.0), Value(2.0)}, {});
  const auto& graph = record.Graphs[0];
  EXPECT_EQ(VectorOf(graph.OOSs), (Ints{0, 0}));
  EXPECT_EQ(VectorOf(graph.AFlags), (Ints{0, 0}));
  EXPECT_EQ(VectorOf(graph.EFlags), (Ints{0, 0}));
  for (const std::int32_t other : {1, 2}) {
    EXPECT_FALSE(record.Graphs[other].OOSs.IsDimensioned());
    EXPECT_FALSE(record.Graphs[other].AFlags.IsDimensioned());
    EXPECT_FALSE(record.Graphs[other].EFlags.IsDimensioned());
  }
}

TEST(ProcessSpecLim, ARowWithoutAnyFlagIsSkipped) {
  const auto record = Evaluated({Subgroup(0, 0)}, {Value(99.0)}, {Row(2, 2), Row(0, 0)});
  EXPECT_EQ(record.Graphs[0].EFlags[0], 2) << "the skipped row does not overwrite";
}

TEST(ProcessSpecLim, ARowThatIsActiveButNotEnabledClearsTheFlagsAndTestsNothing) {
  const auto record = Evaluated({Subgroup(0, 0)}, {Value(99.0)}, {Row(2, 2), Row(0, 3)});
  EXPECT_EQ(record.SpecLims[1].F_AFLAG, 0);
  EXPECT_EQ(record.Graphs[0].EFlags[0], 0);
  EXPECT_EQ(record.Graphs[0].AFlags[0], 0);
  EXPECT_EQ(record.Graphs[0].OOSs[0], 2) << "of the first row alone";
}

TEST(ProcessSpecLim, ARowThatIsEnabledButNotActiveShowsItsFlagAndTestsNothing) {
  const auto record = Evaluated({Subgroup(0, 0)}, {Value(99.0)}, {Row(2, 0)});
  EXPECT_EQ(record.Graphs[0].EFlags[0], 2);
  EXPECT_EQ(record.Graphs[0].AFlags[0], 0);
  EXPECT_EQ(record.Graphs[0].OOSs[0], 0);
}

TEST(ProcessSpecLim, TheActiveFlagNeverShowsABitThatIsNotEnabled) {
  const auto record = Evaluated({Subgroup(0, 0)}, {Value(99.0)}, {Row(6, 3)});
  EXPECT_EQ(record.SpecLims[0].F_AFLAG, 2);
  EXPECT_EQ(record.SpecLims[0].F_EFLAG, 6);
  EXPECT_EQ(record.Graphs[0].AFlags[0], 2);
  EXPECT_EQ(record.Graphs[0].EFlags[0], 6);
  EXPECT_EQ(record.Graphs[0].OOSs[0], 2);
}

TEST(ProcessSpecLim, AValueMustPassALimitToBreakIt) {
  struct Case {
    double value;
    std::int32_t broken;
    const char* reason;
  };
  for (const Case& row :
       {Case{10.0, 0, "equal to the upper limit"},
        Case{std::nextafter(10.0, 11.0), 2, "just above"},
        Case{20.0, 2, "equal to the upper gauge bound"}, Case{20.5, 2 | 4, "above two"},
        Case{30.5, 2 | 4 | 1, "above all three"}, Case{-10.0, 0, "equal to the lower limit"},
        Case{std::nextafter(-10.0, -11.0), 32, "just below"}, Case{-20.5, 32 | 16, "below two"},
        Case{-30.5, 32 | 16 | 64, "below all three"}, Case{0.0, 0, "inside"},
        Case{std::nan(""), 0, "no number breaks nothing"}, Case{HUGE_VAL, 1 | 2 | 4, "infinite"}})
    EXPECT_EQ(MarkOf(Value(row.value)), row.broken) << row.reason;
}

TEST(ProcessSpecLim, OnlyActiveBitsAreTested) {
  for (const std::int32_t bit : {1, 2, 4}) EXPECT_EQ(MarkOf(Value(99.0), bit), bit);
  for (const std::int32_t bit : {16, 32, 64}) EXPECT_EQ(MarkOf(Value(-99.0), bit), bit);
  EXPECT_EQ(MarkOf(Value(HUGE_VAL), 32), 0);
  EXPECT_EQ(MarkOf(Value(-HUGE_VAL), 2), 0);
}

TEST(ProcessSpecLim, AnEnabledLimitThatWasNeverSetIsComparedAsZero) {
  API_CCSpecLim row = Row(2, 2);
  row.F_USL = 0.0;
  EXPECT_EQ(Evaluated({Subgroup(0, 0)}, {Value(0.5)}, {row}).Graphs[0].OOSs[0], 2);
}

TEST(ProcessSpecLim, ASubgroupThatIsNotEnabledGetsFlagsButNoMark) {
  for (const std::int32_t flag : {std::int32_t{sfDisabled}, std::int32_t{sfIncomplete}, 9}) {
    const auto record = Evaluated({Subgroup(0, 0, flag)}, {Value(99.0)}, {Row(2, 2)});
    EXPECT_EQ(record.Graphs[0].EFlags[0], 2);
    EXPECT_EQ(record.Graphs[0].AFlags[0], 2);
    EXPECT_EQ(record.Graphs[0].OOSs[0], 0);
  }
}

TEST(ProcessSpecLim, AReadingWithinAPieceIsTestedAgainstTheTwoOtherLimits) {
  EXPECT_EQ(MarkOf(Value(4.0, 1)), 0);
  EXPECT_EQ(MarkOf(Value(99.0, 1)), 256) << "and none of the six";
  EXPECT_EQ(MarkOf(Value(-99.0, -1)), 512);
  EXPECT_EQ(MarkOf(Value(99.0, 1), 2), 0) << "above F_USL, bit 256 is not active";
  EXPECT_EQ(MarkOf(Value(99.0, 0), 256 | 512), 0) << "a whole piece is not tested against them";
  EXPECT_EQ(MarkOf(Value(5.0, 1)), 0) << "equal";
}

TEST(ProcessSpecLim, OfTwoRowsTheMarksGatherAndTheLaterFlagsWin) {
  const auto record = Evaluated({Subgroup(0, 1)}, {Value(25.0), Value(-15.0)},
                                {Row(2 | 4, 2 | 4), Row(32 | 1, 32)});
  EXPECT_EQ(record.Graphs[0].OOSs[0], 2 | 4 | 32);
  EXPECT_EQ(record.Graphs[0].EFlags[0], 33);
  EXPECT_EQ(record.Graphs[0].AFlags[0], 32);
}

TEST(ProcessSpecLim, UntestedBitsAreShownButNeverMarked) {
  const std::int32_t untested = slfTAR | slfUSG | slfLSG | slfUDS | slfLDS;
  for (const double value : {99.0, -99.0}) {
    const auto record = Evaluated({Subgroup(0, 0)}, {Value(value)}, {Row(untested, untested)});
    EXPECT_EQ(record.Graphs[0].AFlags[0], untested);
    EXPECT_EQ(record.Graphs[0].OOSs[0], 0);
  }
}

TEST(ProcessSpecLim, ARowConcernsItsPartAndTestWhateverTheProcess) {
  auto other_part = Subgroup(0, 0), other_test = Subgroup(0, 0), other_process = Subgroup(0, 0);
  other_part.Part = kPart + 1;
  other_test.Test = kTest + 1;
  other_process.Prcs = 77;
  const auto record =
      Evaluated({other_part, other_test, other_process}, {Value(99.0)}, {Row(2, 2)});
  EXPECT_EQ(VectorOf(record.Graphs[0].EFlags), (Ints{0, 0, 2}));
  EXPECT_EQ(VectorOf(record.Graphs[0].OOSs), (Ints{0, 0, 2}));
}

TEST(ProcessSpecLim, ASubgroupWithoutTestRowsHasNoMark) {
  EXPECT_EQ(Evaluated({Subgroup(5, 4)}, {Value(99.0)}, {Row(2, 2)}).Graphs[0].OOSs[0], 0);
}

TEST(ProcessSpecLim, TestRowsOutsideTheArrayFailWithSubscript) {
  struct Case {
    std::int32_t first, last;
  };
  for (const Case& row : {Case{0, 2}, Case{-1, 0}, Case{2, 2}, Case{-5, -4}}) {
    const auto caught = FailureOf([&] {
      Evaluated({Subgroup(row.first, row.last)}, {Value(1), Value(2)}, {Row(2, 2)});
    });
    EXPECT_EQ(caught.Number(), 9) << row.first << ".." << row.last;
    EXPECT_EQ(caught.Source(), "CCAnalysis.ProcessSpecLim|orvSPCAnalysis6");
  }
}

TEST(ProcessSpecLim, TestRowsThatNobodyLooksAtMayLieAnywhere) {
  EXPECT_EQ(FailureOf([] { Evaluated({Subgroup(0, 9)}, {Value(1.0)}, {Row(2, 0)}); }).Number(), 0);
  EXPECT_EQ(FailureOf([] {
              Evaluated({Subgroup(0, 9, sfDisabled)}, {Value(1.0)}, {Row(2, 2)});
            }).Number(),
            0);
}

TEST(ProcessSpecLim, MoreRowsToldThanThereFailWithSubscript) {
  API_CCResults record = chart_test::Record({Subgroup(0, 0)}, {Value(1.0)});
  record.Totals.SpecLimCount = 1;
  EXPECT_EQ(FailureOf([&] { ProcessSpecLim(record); }).Number(), 9);
}

// Row by row, subgroup by subgroup, bit by bit.
void Reference(API_CCResults& record) {
  auto& graph = record.Graphs[0];
  const std::int32_t count = record.Totals.SubgroupCount;
  for (auto* array : {&graph.OOSs, &graph.AFlags, &graph.EFlags}) array->Dimension(0, count - 1);
  for (std::int32_t k = 0; k < record.Totals.SpecLimCount; ++k) {
    auto& row = record.SpecLims[k];
    if (row.F_EFLAG == 0 && row.F_AFLAG == 0) continue;
    row.F_AFLAG = row.F_AFLAG & row.F_EFLAG;
    for (std::int32_t i = 0; i < count; ++i) {
      const auto& subgroup = record.Subgroups[i];
      if (subgroup.Part != row.F_PART || subgroup.Test != row.F_TEST_) continue;
      graph.EFlags[i] = row.F_EFLAG;
      graph.AFlags[i] = row.F_AFLAG;
      if (row.F_AFLAG == 0 || subgroup.Flag != 0) continue;
      for (std::int32_t t = subgroup.Test_Start; t <= subgroup.Test_End; ++t) {
        const auto& test = record.Tests[t];
        const auto check = [&](std::int32_t bit, bool broken) {
          if ((row.F_AFLAG & bit) != 0 && broken) graph.OOSs[i] |= bit;
        };
        if (test.Sbno != 0) {
          check(256, test.Val > row.F_UWP);
          check(512, test.Val < row.F_LWP);
        } else {
          check(1, test.Val > row.F_URL);
          check(64, test.Val < row.F_LRL);
          check(4, test.Val > row.F_UGB);
          check(16, test.Val < row.F_LGB);
          check(2, test.Val > row.F_USL);
          check(32, test.Val < row.F_LSL);
        }
      }
    }
  }
}

TEST(ProcessSpecLim, AgreesWithTheSlowWalkOnRandomData) {
  std::mt19937 random(19870531);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  for (int round = 0; round < 200; ++round) {
    std::vector<API_SubgroupData> subgroups;
    std::vector<API_TestData> tests;
    for (std::int32_t i = pick(1, 60); i > 0; --i) {
      const auto first = static_cast<std::int32_t>(tests.size());
      for (std::int32_t n = pick(0, 5); n > 0; --n)
        tests.push_back(Value(pick(-35, 35), std::max(0, pick(-3, 2))));
      auto subgroup =
          Subgroup(first, static_cast<std::int32_t>(tests.size()) - 1, std::max(0, pick(-4, 2)));
      subgroup.Part = pick(1, 3);
      subgroup.Test = pick(1, 3);
      subgroups.push_back(subgroup);
    }
    if (tests.empty()) tests.push_back(Value(0));
    std::vector<API_CCSpecLim> limits;
    for (std::int32_t k = pick(0, 12); k > 0; --k) {
      auto row = Row(pick(0, 3) == 0 ? 0 : pick(0, kEveryBit), pick(0, 3) == 0 ? 0 : kEveryBit);
      row.F_PART = pick(1, 3);
      row.F_TEST_ = pick(1, 3);
      row.F_USL = pick(-20, 20);
      row.F_LWP = pick(-20, 20);
      limits.push_back(row);
    }
    const auto record = Evaluated(subgroups, tests, limits);
    API_CCResults slow = chart_test::Record(subgroups, tests);
    slow.Totals.SpecLimCount = static_cast<std::int32_t>(limits.size());
    slow.SpecLims = ArrayOf(limits);
    Reference(slow);
    ASSERT_EQ(VectorOf(record.Graphs[0].OOSs), VectorOf(slow.Graphs[0].OOSs)) << round;
    ASSERT_EQ(VectorOf(record.Graphs[0].AFlags), VectorOf(slow.Graphs[0].AFlags)) << round;
    ASSERT_EQ(VectorOf(record.Graphs[0].EFlags), VectorOf(slow.Graphs[0].EFlags)) << round;
    for (std::int32_t k = 0; k < record.Totals.SpecLimCount; ++k)
      ASSERT_EQ(record.SpecLims[k].F_AFLAG, slow.SpecLims[k].F_AFLAG) << round;
  }
}

}  // namespace
}  // namespace orvspc
