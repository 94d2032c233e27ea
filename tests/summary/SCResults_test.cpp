// SPDX-License-Identifier: Apache-2.0
// Which figures a row has, and the cursor.
#include "summary/SCResults.h"

#include <gtest/gtest.h>

#include <cmath>

#include "frame/Friend.h"
#include "platform/TimeStamp.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Get = double (SCResults::*)() const;

struct Figure {
  const char* name;
  Get get;
  double value;  // in the row of FullRow
};

constexpr Figure kStatistics[] = {
    {"MinimumValue", &SCResults::MinimumValue, 2.5},
    {"MaximumValue", &SCResults::MaximumValue, 3.5},
    {"AverageValue", &SCResults::AverageValue, 4.5},
    {"StandardDeviation", &SCResults::StandardDeviation, 5.5},
    {"PP", &SCResults::PP, 6.5},
    {"PPK", &SCResults::PPK, 7.5},
};

struct FlaggedFigure {
  Figure figure;
  std::int32_t API_SCRow::*word;
  std::int32_t needed;
};

constexpr FlaggedFigure kFlagged[] = {
    {{"PercentAboveUSL", &SCResults::PercentAboveUSL, 8.5}, &API_SCRow::SpecFlags, 2},
    {{"PercentBelowLSL", &SCResults::PercentBelowLSL, 9.5}, &API_SCRow::SpecFlags, 32},
    {{"PercentOOS", &SCResults::PercentOOS, 10.5}, &API_SCRow::SpecFlags, 34},
    {{"PPM", &SCResults::PPM, 11.5}, &API_SCRow::SpecFlags, 34},
    {{"PercentAboveLSC", &SCResults::PercentAboveLSC, 12.5}, &API_SCRow::LimitFlags, 8},
    {{"PercentBelowLSC", &SCResults::PercentBelowLSC, 13.5}, &API_SCRow::LimitFlags, 8},
    {{"PercentBelowMAVL", &SCResults::PercentBelowMAVL, 14.5}, &API_SCRow::LimitFlags, 1},
    {{"PercentBelowT1L", &SCResults::PercentBelowT1L, 15.5}, &API_SCRow::LimitFlags, 256},
    {{"PercentBelowT2L", &SCResults::PercentBelowT2L, 16.5}, &API_SCRow::LimitFlags, 1024},
    {{"PercentAboveMAVU", &SCResults::PercentAboveMAVU, 17.5}, &API_SCRow::LimitFlags, 16},
    {{"PercentAboveT1U", &SCResults::PercentAboveT1U, 18.5}, &API_SCRow::LimitFlags, 4096},
    {{"PercentAboveT2U", &SCResults::PercentAboveT2U, 19.5}, &API_SCRow::LimitFlags, 16384},
};

// Every field has a value of its own.
API_SCRow FullRow() {
  API_SCRow row{};
  row.StartStamp = 1'600'000'000;
  row.StateType = pst_Run;
  row.Duration = 1.5;
  row.SamplesCollected = 41;
  row.SamplesMissed = 42;
  row.SamplesExpected = 43;
  row.PercentComplete = 0.5;
  row.TestCount = 5;
  row.MinimumValue = 2.5;
  row.MaximumValue = 3.5;
  row.AverageValue = 4.5;
  row.StandardDeviation = 5.5;
  row.PP = 6.5;
  row.PPK = 7.5;
  row.PercentAboveUSL = 8.5;
  row.PercentBelowLSL = 9.5;
  row.PercentOOS = 10.5;
  row.PPM = 11.5;
  row.PercentAboveLSC = 12.5;
  row.PercentBelowLSC = 13.5;
  row.PercentBelowMAVL = 14.5;
  row.PercentBelowT1L = 15.5;
  row.PercentBelowT2L = 16.5;
  row.PercentAboveMAVU = 17.5;
  row.PercentAboveT1U = 18.5;
  row.PercentAboveT2U = 19.5;
  return row;
}

class SCResultsTest : public testing::Test {
 protected:
  void Load(const std::vector<API_SCRow>& rows) {
    Array<SCNames> names;
    if (!rows.empty()) names.Dimension(0, static_cast<std::int64_t>(rows.size()) - 1);
    results_.Load(Friend{}, fake::MakeArray(rows), names);
  }
  void ExpectFigure(const Figure& figure, bool has, const std::string& reason) {
    const double value = (results_.*figure.get)();
    EXPECT_EQ(std::isnan(value), !has) << figure.name << ": " << reason;
    if (has) {
      EXPECT_EQ(value, figure.value) << figure.name << ": " << reason;
    }
  }

  fake::FakeScope fake_;
  SCResults results_;
};

TEST_F(SCResultsTest, AnEmptyObjectHasNoRowToReadAndNowhereToMove) {
  EXPECT_EQ(results_.DataSelect(), nullptr);
  EXPECT_EQ(results_.Count(), 0);
  EXPECT_EQ(results_.CurrentIndex(), 1);
  EXPECT_FALSE(results_.MoveFirst());
  EXPECT_FALSE(results_.MoveLast());
  EXPECT_FALSE(results_.MoveNext());
  EXPECT_FALSE(results_.MovePrev());
  EXPECT_FALSE(results_.MoveTo(1));
}

TEST_F(SCResultsTest, EveryGetOfAnEmptyObjectFailsWithoutAnEntryOfItsOwn) {
  const auto expect = [](const Failure& failure, const char* name) {
    EXPECT_EQ(failure.Number(), 9) << name;
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6") << name;
  };
  for (const Figure& figure : kStatistics)
    expect(fake::FailureOf([&] { (results_.*figure.get)(); }), figure.name);
  for (const FlaggedFigure& each : kFlagged)
    expect(fake::FailureOf([&] { (results_.*each.figure.get)(); }), each.figure.name);
  for (const auto get : {&SCResults::StartTime, &SCResults::Duration, &SCResults::PercentComplete})
    expect(fake::FailureOf([&] { (results_.*get)(); }), "time or percent");
  for (const auto get : {&SCResults::Part, &SCResults::Process, &SCResults::Test, &SCResults::State,
                         &SCResults::SmplReq})
    expect(fake::FailureOf([&] { (results_.*get)(); }), "name");
  for (const auto get : {&SCResults::SamplesCollected, &SCResults::SamplesMissed,
                         &SCResults::SamplesExpected, &SCResults::TestCount})
    expect(fake::FailureOf([&] { (results_.*get)(); }), "count");
  expect(fake::FailureOf([&] { results_.ResultType(); }), "ResultType");
  expect(fake::FailureOf([&] { results_.StateType(); }), "StateType");
}

TEST_F(SCResultsTest, EachGetReadsItsField) {
  Load({FullRow()});
  EXPECT_EQ(results_.ResultType(), 0);
  EXPECT_EQ(results_.StateType(), pst_Run);
  EXPECT_EQ(results_.StartTime(), platform::TimeStampToDate(1'600'000'000));
  EXPECT_EQ(results_.Duration(), 1.5);
  EXPECT_EQ(results_.SamplesCollected(), 41);
  EXPECT_EQ(results_.SamplesMissed(), 42);
  EXPECT_EQ(results_.SamplesExpected(), 43);
  EXPECT_EQ(results_.PercentComplete(), 0.5);
  EXPECT_EQ(results_.TestCount(), 5);
}

TEST_F(SCResultsTest, NamesStandAtTheIndexOfTheirRow) {
  Array<SCNames> names;
  names.Dimension(0, 1);
  names[1] = {"part", "process", "test", "requirement", "state"};
  results_.Load(Friend{}, fake::MakeArray(std::vector{FullRow(), FullRow()}), names);
  EXPECT_EQ(results_.Part(), "");
  ASSERT_TRUE(results_.MoveNext());
  EXPECT_EQ(results_.Part(), "part");
  EXPECT_EQ(results_.Process(), "process");
  EXPECT_EQ(results_.Test(), "test");
  EXPECT_EQ(results_.SmplReq(), "requirement");
  EXPECT_EQ(results_.State(), "state");
}

TEST_F(SCResultsTest, StatisticsAreOfRowsOfDetailWithValues) {
  struct Row {
    std::int32_t type, count;
    bool statistics, start;
    const char* reason;
  };
  for (const Row& row : {Row{0, 5, true, true, "detail with values"},
                         {0, 0, false, true, "detail without values"},
                         {0, -1, true, true, "any count but 0"},
                         {rt_Data, 5, false, false, "not a detail"},
                         {rt_Part, 5, false, false, "subtotal of a part"},
                         {rt_Process, 5, false, false, "subtotal of a process"},
                         {rt_Test, 5, false, false, "subtotal of a test"},
                         {14, 5, false, false, "subtotal of all three"},
                         {rt_Summary, 5, false, false, "the whole"},
                         {rt_Summary, 0, false, false, "the whole without values"}}) {
    API_SCRow full = FullRow();
    full.ResultType = row.type;
    full.TestCount = row.count;
    Load({full});
    for (const Figure& figure : kStatistics) ExpectFigure(figure, row.statistics, row.reason);
    EXPECT_EQ(results_.StartTime(), row.start ? platform::TimeStampToDate(1'600'000'000) : 25569.0)
        << row.reason;
    EXPECT_EQ(results_.SamplesCollected(), 41) << row.reason;
    EXPECT_EQ(results_.ResultType(), row.type) << row.reason;
  }
}

TEST_F(SCResultsTest, APercentageIsThereWhenAllItsBitsAre) {
  for (const std::int32_t type : {0, 16}) {  // whatever the kind of the row
    for (const auto word : {&API_SCRow::SpecFlags, &API_SCRow::LimitFlags}) {
      for (std::int32_t flags = 0; flags < 0x8000; ++flags) {
        API_SCRow row = FullRow();
        row.ResultType = type;
        row.*word = flags;
        Load({row});
        for (const auto& [figure, its_word, needed] : kFlagged) {
          const bool has = its_word == word && (flags & needed) == needed;
          if (std::isnan((results_.*figure.get)()) == has)
            ExpectFigure(figure, has, "flags " + std::to_string(flags));
        }
      }
    }
  }
}

TEST_F(SCResultsTest, APercentageReadsItsField) {
  API_SCRow row = FullRow();
  row.SpecFlags = row.LimitFlags = -1;
  Load({row});
  for (const auto& [figure, word, needed] : kFlagged) ExpectFigure(figure, true, "all flags");
}

TEST_F(SCResultsTest, TheUpperSpecificationLimitAloneGivesOneFigure) {
  API_SCRow row = FullRow();
  row.SpecFlags = 2;
  Load({row});
  EXPECT_EQ(results_.PercentAboveUSL(), 8.5);
  EXPECT_TRUE(std::isnan(results_.PercentBelowLSL()));
  EXPECT_TRUE(std::isnan(results_.PercentOOS()));
  EXPECT_TRUE(std::isnan(results_.PPM()));
}

TEST_F(SCResultsTest, BothSpecificationLimitsGiveAllFour) {
  API_SCRow row = FullRow();
  row.SpecFlags = 34;
  Load({row});
  EXPECT_EQ(results_.PercentAboveUSL(), 8.5);
  EXPECT_EQ(results_.PercentBelowLSL(), 9.5);
  EXPECT_EQ(results_.PercentOOS(), 10.5);
  EXPECT_EQ(results_.PPM(), 11.5);
}

TEST_F(SCResultsTest, BitEightServesBothFiguresOfTheLabel) {
  API_SCRow row = FullRow();
  row.LimitFlags = 8;
  Load({row});
  EXPECT_EQ(results_.PercentAboveLSC(), 12.5);
  EXPECT_EQ(results_.PercentBelowLSC(), 13.5);
  for (const auto get :
       {&SCResults::PercentBelowMAVL, &SCResults::PercentBelowT1L, &SCResults::PercentBelowT2L,
        &SCResults::PercentAboveMAVU, &SCResults::PercentAboveT1U, &SCResults::PercentAboveT2U})
    EXPECT_TRUE(std::isnan((results_.*get)()));
}

TEST_F(SCResultsTest, NoValueIsNotEqualToItself) {
  Load({API_SCRow{}});
  EXPECT_FALSE(results_.AverageValue() == results_.AverageValue());
}

TEST_F(SCResultsTest, LoadingLeavesTheCursorAndResetTakesItBack) {
  Load({FullRow(), FullRow(), FullRow()});
  EXPECT_TRUE(results_.MoveLast());
  Load({FullRow(), FullRow(), FullRow()});
  EXPECT_EQ(results_.CurrentIndex(), 3);
  Load({FullRow()});
  EXPECT_EQ(results_.CurrentIndex(), 3);
  EXPECT_EQ(fake::NumberOf([&] { results_.Part(); }), 9);
  results_.Reset(Friend{});
  EXPECT_EQ(results_.Count(), 0);
  EXPECT_EQ(results_.CurrentIndex(), 1);
}

TEST_F(SCResultsTest, LoadingNoRowsFails) {
  const auto failure = fake::FailureOf([&] { Load({}); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "SCResults.Load|orvSPCAnalysis6");
}

TEST_F(SCResultsTest, LoadingCopies) {
  auto rows = fake::MakeArray(std::vector{FullRow()});
  Array<SCNames> names;
  names.Dimension(0, 0);
  results_.Load(Friend{}, rows, names);
  rows[0].SamplesMissed = 0;
  names[0].Part = "later";
  EXPECT_EQ(results_.SamplesMissed(), 42);
  EXPECT_EQ(results_.Part(), "");
}

}  // namespace
}  // namespace orvspc
