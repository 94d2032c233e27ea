// SPDX-License-Identifier: Apache-2.0
#include "capability/CAStatistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "frame/Friend.h"
#include "tests/capability/statistics_rows.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using statistics_rows::kRows;
using statistics_rows::Row;

constexpr double kOld = 7.0;  // what the caller's value holds before

// Every field that an operation reads has a value of its own: 2, 3, 4, ... in their order.
API_CAStatistics DistinctFields() {
  API_CAStatistics record;
  double value = 2.0;
  for (const Row& row : kRows) row.set(record, value++);
  record.SpecLim.EFlag = 0;
  record.NccLim.EFlag = 0;
  return record;
}

struct Loaded : CAStatistics {
  explicit Loaded(const API_CAStatistics& record) : CAStatistics(Friend{}) {
    Load(Friend{}, record);
  }
};

Loaded WithSpecFlags(std::int32_t flags) {
  API_CAStatistics record;
  record.SpecLim.EFlag = flags;
  return Loaded(record);
}

Loaded WithNccFlags(std::int32_t flags) {
  API_CAStatistics record;
  record.NccLim.EFlag = flags;
  return Loaded(record);
}

bool Answer(const CAStatistics& statistics, const Row& row) {
  double value = kOld;
  return row.get(statistics, value);
}

// The value and the answer of an operation.
template <class Number, class Result>
std::pair<double, double> Both(const CAStatistics& statistics,
                               Result (CAStatistics::*get)(Number&) const) {
  Number value = static_cast<Number>(kOld);
  const Result answer = (statistics.*get)(value);
  return {static_cast<double>(value), static_cast<double>(answer)};
}

using Pair = std::pair<double, double>;

TEST(CAStatistics, TheHeaderHasTheOperationsInTheirOrder) {
  std::ifstream file(std::string(ORVSPC_TESTS_DIR) + "/../src/capability/CAStatistics.h");
  std::stringstream text;
  text << file.rdbuf();
  const std::string header = text.str();
  const std::regex declaration(R"(\n  (?:bool|double|caJohnsonTypes) (\w+)\([^F)]*\) const)");
  std::vector<std::string> there, expected = {"JohnsonCurveType"};
  for (std::sregex_iterator at(header.begin(), header.end(), declaration), end; at != end; ++at)
    if ((*at)[1].str().rfind("Get", 0) == 0 || (*at)[1] == "JohnsonCurveType")
      there.push_back((*at)[1]);
  for (const Row& row : kRows) expected.emplace_back(row.operation);
  EXPECT_EQ(expected.size(), 116u);
  EXPECT_EQ(there, expected);
}

TEST(CAStatistics, EachOperationReadsItsField) {
  const Loaded statistics(DistinctFields());
  double expected = 2.0;
  for (const Row& row : kRows) {
    const double field = expected++;
    if (row.operation == "GetSpecLimEFlag" || row.operation == "GetNccLimEFlag" ||
        row.operation == "GetTargetRatio")
      continue;  // words of flags and the operation that computes have tests of their own
    double value = kOld;
    row.get(statistics, value);
    EXPECT_EQ(value, field) << row.operation;
  }
}

TEST(CAStatistics, TheWordsOfFlagsComeWhole) {
  API_CAStatistics record;
  record.SpecLim.EFlag = -5;
  record.NccLim.EFlag = 1 << 30;
  const Loaded statistics(record);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetSpecLimEFlag), Pair(-5.0, 1.0));
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimEFlag), Pair(double{1 << 30}, 1.0));
}

TEST(CAStatistics, EveryBitOfTheSpecificationFlagsAnswersItsOperations) {
  for (int bit = 0; bit < 32; ++bit) {
    const auto flags = static_cast<std::int32_t>(std::uint32_t{1} << bit);
    const Loaded statistics = WithSpecFlags(flags);
    for (const Row& row : kRows)
      EXPECT_EQ(Answer(statistics, row), row.rule.always || (row.rule.spec & flags) != 0)
          << row.operation << ", bit " << bit;
  }
}

TEST(CAStatistics, EveryBitOfTheNetContentFlagsAnswersItsOperations) {
  for (int bit = 0; bit < 32; ++bit) {
    const auto flags = static_cast<std::int32_t>(std::uint32_t{1} << bit);
    const Loaded statistics = WithNccFlags(flags);
    for (const Row& row : kRows)
      EXPECT_EQ(Answer(statistics, row), row.rule.always || (row.rule.ncc & flags) != 0)
          << row.operation << ", bit " << bit;
  }
}

TEST(CAStatistics, OnlyTheFirstWordOfTheHeadTellsOfTheCentralLimit) {
  for (int word = 0; word < 10; ++word) {
    API_CAStatistics record;
    record.NccLim.Head[word] = -1;
    record.SpecLim.Head[word] = -1;
    const Loaded statistics(record);
    for (const Row& row : kRows)
      EXPECT_EQ(Answer(statistics, row), row.rule.always || (row.rule.head && word == 0))
          << row.operation << ", word " << word;
  }
}

TEST(CAStatistics, FriendsTellEachBit) {
  struct Flag {
    bool (CAStatistics::*has)(const Friend&) const;
    std::int32_t bit;
  };
  const Flag spec[] = {{&CAStatistics::HasSpecUrl, 1},  {&CAStatistics::HasSpecUsl, 2},
                       {&CAStatistics::HasSpecUwl, 4},  {&CAStatistics::HasSpecTar, 8},
                       {&CAStatistics::HasSpecLwl, 16}, {&CAStatistics::HasSpecLsl, 32},
                       {&CAStatistics::HasSpecLrl, 64}};
  const Flag ncc[] = {{&CAStatistics::HasNccMavL, 1},     {&CAStatistics::HasNccMavLp, 2},
                      {&CAStatistics::HasNccMavU, 16},    {&CAStatistics::HasNccMavUp, 32},
                      {&CAStatistics::HasNccT1L, 256},    {&CAStatistics::HasNccT1Lp, 512},
                      {&CAStatistics::HasNccT2L, 1024},   {&CAStatistics::HasNccT2Lp, 2048},
                      {&CAStatistics::HasNccT1U, 4096},   {&CAStatistics::HasNccT1Up, 8192},
                      {&CAStatistics::HasNccT2U, 16384},  {&CAStatistics::HasNccT2Up, 32768},
                      {&CAStatistics::HasNccLsc, 0x10000}};  // no bit
  for (int bit = 0; bit < 16; ++bit) {
    const std::int32_t flags = 1 << bit;
    for (const Flag& flag : spec)
      EXPECT_EQ((WithSpecFlags(flags).*flag.has)(Friend{}), flag.bit == flags) << bit;
    for (const Flag& flag : ncc)
      EXPECT_EQ((WithNccFlags(flags).*flag.has)(Friend{}), flag.bit == flags) << bit;
  }
  API_CAStatistics record;
  record.NccLim.Head[0] = 1;
  EXPECT_TRUE(Loaded(record).HasNccLsc(Friend{}));
}

TEST(CAStatistics, ANewObjectIsAllZero) {
  const CAStatistics statistics(Friend{});
  EXPECT_EQ(Both(statistics, &CAStatistics::GetPieceCount), Pair(0.0, 1.0));
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCp), Pair(0.0, 0.0));
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimT1U), Pair(0.0, 1.0));
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimT1L), Pair(0.0, 0.0));
  EXPECT_EQ(Both(statistics, &CAStatistics::GetANovaSSWithin), Pair(0.0, -1.0));
  EXPECT_EQ(statistics.JohnsonCurveType(), caJohnsonTypeNone);
  for (const Row& row : kRows) {
    double value = kOld;
    EXPECT_EQ(row.get(statistics, value), row.rule.always) << row.operation;
    EXPECT_EQ(value, row.operation == "GetTargetRatio" ? kOld : 0.0) << row.operation;
  }
}

TEST(CAStatistics, SumOfSquaresWithinAnswersMinusOneWhateverTheData) {
  EXPECT_EQ(Both(Loaded(DistinctFields()), &CAStatistics::GetANovaSSWithin).second, -1.0);
}

TEST(CAStatistics, AnUpperLimitAloneAnswersTheUpperIndices) {
  API_CAStatistics record;
  record.SpecLim.EFlag = 2;
  record.SpecLim.Lsl = 4.5;
  const Loaded statistics(record);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCp).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCpu).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCpl).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetSpecLimUsl).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetSpecLimLsl), Pair(4.5, 0.0));
}

TEST(CAStatistics, ALowerLimitAloneAnswersTheLowerIndices) {
  const Loaded statistics = WithSpecFlags(32);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCp).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCpu).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCpl).second, 1.0);
}

TEST(CAStatistics, TheTargetAloneIsNoLimitForTheIndices) {
  const Loaded statistics = WithSpecFlags(8);
  for (const auto get : {&CAStatistics::GetSpecLimTar, &CAStatistics::GetSpecLimTarZ,
                         &CAStatistics::GetDistActAboveTAR, &CAStatistics::GetDistActBelowTAR,
                         &CAStatistics::GetDistExpAboveTAR, &CAStatistics::GetDistExpBelowTAR})
    EXPECT_EQ(Both(statistics, get).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetCp).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetTargetRatio).second, 0.0);
}

TEST(CAStatistics, TheTargetRatioWithoutALimitLeavesTheValue) {
  API_CAStatistics record;
  record.CPs.Cpr = 2.5;
  EXPECT_EQ(Both(Loaded(record), &CAStatistics::GetTargetRatio), Pair(7.0, 0.0));
}

TEST(CAStatistics, TheTargetRatioIsThreeTimesTheAbsoluteField) {
  for (const std::int32_t flags : {2, 32, 34}) {
    API_CAStatistics record;
    record.CPs.Cpr = -2.5;
    record.SpecLim.EFlag = flags;
    EXPECT_EQ(Both(Loaded(record), &CAStatistics::GetTargetRatio), Pair(7.5, 1.0)) << flags;
  }
}

TEST(CAStatistics, ATargetRatioThatIsNoNumberOrOverflowsFailsWithSixAndNoEntry) {
  for (const double field : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), -1e308}) {
    API_CAStatistics record;
    record.CPs.Cpr = field;
    record.SpecLim.EFlag = 2;
    const Loaded statistics(record);
    double value = kOld;
    const Failure failure = fake::FailureOf([&] { statistics.GetTargetRatio(value); });
    EXPECT_EQ(failure.Number(), 6) << field;
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6") << field;
    EXPECT_EQ(value, kOld) << field;
  }
}

TEST(CAStatistics, TheLowerBandAnswersItsCompanionToo) {
  const Loaded statistics = WithNccFlags(1);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimMavL).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimMavLp).second, 1.0);
}

TEST(CAStatistics, TheUpperCompanionOfT1FollowsThatOfT2) {
  EXPECT_EQ(Both(WithNccFlags(0x2000), &CAStatistics::GetNccLimT1T2Up).second, 0.0);
  EXPECT_EQ(Both(WithNccFlags(0x8000), &CAStatistics::GetNccLimT1T2Up).second, 1.0);
  EXPECT_EQ(Both(WithNccFlags(0x8000), &CAStatistics::GetNccLimT2Up).second, 1.0);
}

TEST(CAStatistics, TheUpperT1IsTrueWhereItsSharesAreNot) {
  const Loaded statistics = WithNccFlags(0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimT1U).second, 1.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccResultActPercentAboveT1U).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccResultExpPercentAboveT1U).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccResultzT1U).second, 0.0);
}

TEST(CAStatistics, WithoutAHeadTheCentralLimitIsFalseWhateverTheFlags) {
  const Loaded statistics = WithNccFlags(-1);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccLimLsc).second, 0.0);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetNccResultzLSC).second, 0.0);
}

TEST(CAStatistics, LoadReplacesTheWholeValue) {
  API_CAStatistics record = DistinctFields();
  record.JohnsonCurveType = caJohnsonTypeB;
  record.SpecLim.EFlag = -1;
  Loaded statistics(record);
  EXPECT_EQ(statistics.JohnsonCurveType(), caJohnsonTypeB);
  record.JohnsonCurveType = 9;
  statistics.Load(Friend{}, record);
  EXPECT_EQ(statistics.JohnsonCurveType(), 9) << "kept, though no type has that number";
  statistics.Load(Friend{}, API_CAStatistics{});
  EXPECT_EQ(statistics.JohnsonCurveType(), caJohnsonTypeNone);
  EXPECT_EQ(Both(statistics, &CAStatistics::GetSpecLimUsl), Pair(0.0, 0.0));
}

}  // namespace
}  // namespace orvspc
