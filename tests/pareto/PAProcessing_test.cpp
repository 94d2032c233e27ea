// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAProcessing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "frame/Friend.h"
#include "frame/Trail.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::FailureOf;
using fake::NumberOf;

API_PAOptions OptionsOf(const PAProcessing& processing) {
  API_PAOptions options;
  std::memset(&options, 0x5a, sizeof options);  // whatever stood there before
  processing.GetAPIOptions(Friend{}, options);
  return options;
}

TEST(PAProcessing, ANewObjectHasTheDefaults) {
  const PAProcessing processing;
  EXPECT_EQ(processing.BinCount(), 10);
  EXPECT_EQ(processing.ResourceType(), paSubgroups);
  EXPECT_EQ(processing.BinType(0), 13);
  EXPECT_EQ(processing.BinTimePeriod(0), 1);
  EXPECT_EQ(processing.BinTimeInterval(0), 15);
  EXPECT_EQ(processing.BinTypeID(0), 0);
  for (std::int32_t level = 1; level <= 5; ++level) {
    EXPECT_EQ(processing.BinType(level), 0) << level;
    EXPECT_EQ(processing.BinTypeID(level), 0) << level;
    EXPECT_EQ(processing.BinTimePeriod(level), 0) << level;
    EXPECT_EQ(processing.BinTimeInterval(level), 0) << level;
  }
  EXPECT_EQ(processing.ProcessingType(), paProcessByCount);
  EXPECT_EQ(processing.AccumulationType(), paAccumulateByValue);
  EXPECT_FALSE(processing.ShowEmptyBins());
  EXPECT_EQ(processing.StartTime(), 0.0);
}

TEST(PAProcessing, ALetKeepsWhatItIsGivenOutsideTheEnumerationToo) {
  PAProcessing processing;
  processing.BinCount(-7);
  processing.ResourceType(paResourceTypes{7});
  processing.ProcessingType(paProcessingTypes{5});
  processing.AccumulationType(paAccumulationTypes{-1});
  processing.BinType(1, paBinTypes{36});
  processing.BinTimePeriod(1, paTimePeriods{9});
  processing.BinTypeID(1, std::numeric_limits<std::int32_t>::min());
  processing.BinTimeInterval(1, -3);
  EXPECT_EQ(processing.BinCount(), -7);
  EXPECT_EQ(processing.ResourceType(), 7);
  EXPECT_EQ(processing.ProcessingType(), 5);
  EXPECT_EQ(processing.AccumulationType(), -1);
  EXPECT_EQ(processing.BinType(1), 36);
  EXPECT_EQ(processing.BinTimePeriod(1), 9);
  EXPECT_EQ(processing.BinTypeID(1), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(processing.BinTimeInterval(1), -3);
}

struct Fixed {
  std::int32_t given, kept;
  const char* reason;
};

TEST(PAProcessing, FixProcessingAsksForAtLeastFiveBins) {
  for (const Fixed& row :
       {Fixed{4, 5, "one less"}, Fixed{0, 5, "none"}, Fixed{-7, 5, "negative"},
        Fixed{5, 5, "the bound"}, Fixed{100000, 100000, "there is no upper bound"},
        Fixed{2147483647, 2147483647, "nor at the end of the range"}}) {
    PAProcessing processing;
    processing.BinCount(row.given);
    processing.FixProcessing();
    EXPECT_EQ(processing.BinCount(), row.kept) << row.reason;
  }
}

TEST(PAProcessing, FixProcessingTakesAnUnknownResourceAsSubgroups) {
  for (const Fixed& row :
       {Fixed{3, 0, "above"}, Fixed{-1, 0, "below"}, Fixed{7, 0, "far above"},
        Fixed{0, 0, "subgroups"}, Fixed{1, 1, "events"}, Fixed{2, 2, "states"}}) {
    PAProcessing processing;
    processing.ResourceType(paResourceTypes{row.given});
    processing.FixProcessing();
    EXPECT_EQ(processing.ResourceType(), row.kept) << row.reason;
  }
}

TEST(PAProcessing, FixProcessingLooksAtNothingElse) {
  PAProcessing processing;
  processing.BinType(0, paBinTypes{99});
  processing.BinType(1, paBinTypeTime);
  processing.BinTimeInterval(1, -1);
  processing.BinTimePeriod(1, paTimePeriods{77});
  processing.ProcessingType(paProcessingTypes{4});
  processing.AccumulationType(paAccumulationTypes{5});
  processing.ShowEmptyBins(true);
  processing.FixProcessing();
  EXPECT_EQ(processing.BinType(0), 99);
  EXPECT_EQ(processing.BinType(1), paBinTypeTime);
  EXPECT_EQ(processing.BinTimeInterval(1), -1);
  EXPECT_EQ(processing.BinTimePeriod(1), 77);
  EXPECT_EQ(processing.ProcessingType(), 4);
  EXPECT_EQ(processing.AccumulationType(), 5);
  EXPECT_TRUE(processing.ShowEmptyBins());
}

TEST(PAProcessing, BinTypePassesOverALevelOutOfRange) {
  for (const std::int32_t level : {6, -1, std::numeric_limits<std::int32_t>::max(),
                                   std::numeric_limits<std::int32_t>::min()}) {
    PAProcessing processing;
    processing.BinType(level, paBinTypePart);
    EXPECT_EQ(processing.BinType(level), 0) << level;
    EXPECT_EQ(processing.BinType(0), paBinTypeDefect) << level;
    for (std::int32_t inside = 1; inside <= 5; ++inside)
      EXPECT_EQ(processing.BinType(inside), 0) << level;
  }
}

TEST(PAProcessing, TheSistersOfBinTypeFailOnALevelOutOfRange) {
  for (const std::int32_t level : {6, -1, std::numeric_limits<std::int32_t>::max(),
                                   std::numeric_limits<std::int32_t>::min()}) {
    PAProcessing processing;
    EXPECT_EQ(NumberOf([&] { processing.BinTypeID(level); }), 9) << level;
    EXPECT_EQ(NumberOf([&] { processing.BinTypeID(level, 1); }), 9) << level;
    EXPECT_EQ(NumberOf([&] { processing.BinTimePeriod(level); }), 9) << level;
    EXPECT_EQ(NumberOf([&] { processing.BinTimePeriod(level, paDays); }), 9) << level;
    EXPECT_EQ(NumberOf([&] { processing.BinTimeInterval(level); }), 9) << level;
    EXPECT_EQ(NumberOf([&] { processing.BinTimeInterval(level, 1); }), 9) << level;
  }
  // A Get or Let without a handler leaves no entry.
  EXPECT_EQ(FailureOf([] { PAProcessing().BinTypeID(6); }).Source(), "orvSPCAnalysis6");
}

TEST(PAProcessing, LevelsThreeToFiveAreKeptAndReachNeitherTheRecordNorTheXml) {
  const fake::FakeScope fake;
  PAProcessing processing;
  const std::string before = processing.GetXML();
  for (std::int32_t level = 3; level <= 5; ++level) {
    processing.BinType(level, paBinTypePart);
    processing.BinTypeID(level, 4);
    processing.BinTimePeriod(level, paDays);
    processing.BinTimeInterval(level, 6);
  }
  EXPECT_EQ(processing.BinType(5), paBinTypePart);
  const API_PAOptions options = OptionsOf(processing);
  for (std::size_t level = 3; level <= 5; ++level) {
    EXPECT_EQ(options.BinType[level], 0);
    EXPECT_EQ(options.BinTypeID[level], 0);
    EXPECT_EQ(options.BinTimePeriod[level], 0);
    EXPECT_EQ(options.BinTimeInterval[level], 0);
  }
  EXPECT_EQ(processing.GetXML(), before);
}

TEST(PAProcessing, TimePeriodAndTimeIntervalWriteTwoLevelsAndReadTheFirst) {
  PAProcessing processing;
  processing.TimePeriod(paDays);
  processing.TimeInterval(4);
  for (const std::int32_t level : {0, 1}) {
    EXPECT_EQ(processing.BinTimePeriod(level), 3);
    EXPECT_EQ(processing.BinTimeInterval(level), 4);
  }
  EXPECT_EQ(processing.BinTimePeriod(2), 0);
  EXPECT_EQ(processing.BinTimeInterval(2), 0);
  processing.BinTimePeriod(1, paWeeks);
  processing.BinTimeInterval(1, 9);
  EXPECT_EQ(processing.TimePeriod(), paDays);
  EXPECT_EQ(processing.TimeInterval(), 4);
}

TEST(PAProcessing, MajorAndMinorFormsAreLevelsZeroAndOneAlone) {
  PAProcessing processing;
  processing.BinTypeMinor(paBinTypeShift);
  EXPECT_EQ(processing.BinType(1), paBinTypeShift);
  EXPECT_EQ(processing.BinType(0), paBinTypeDefect);
  EXPECT_EQ(processing.BinType(2), paBinTypeNone);
  EXPECT_EQ(processing.BinTypeMinor(), paBinTypeShift);
  processing.BinTypeMajor(paBinTypePart);
  EXPECT_EQ(processing.BinType(0), paBinTypePart);
  EXPECT_EQ(processing.BinTypeMajor(), paBinTypePart);
  EXPECT_EQ(processing.BinType(1), paBinTypeShift);
  processing.MajorID(5);
  processing.MinorID(6);
  EXPECT_EQ(processing.BinTypeID(0), 5);
  EXPECT_EQ(processing.BinTypeID(1), 6);
  EXPECT_EQ(processing.BinTypeID(2), 0);
  EXPECT_EQ(processing.MajorID(), 5);
  EXPECT_EQ(processing.MinorID(), 6);
}

TEST(PAProcessing, StartTimeReadsZeroAlsoAfterALet) {
  PAProcessing processing;
  EXPECT_EQ(processing.StartTime(), 0.0);
  processing.StartTime(45000.5);
  EXPECT_EQ(processing.StartTime(), 0.0);
  EXPECT_EQ(processing.Clone()->StartTime(), 0.0);
}

TEST(PAProcessing, EverySettingStandsAtItsPlaceOfTheFlatRecord) {
  PAProcessing processing;
  for (std::int32_t level = 0; level < 3; ++level) {
    processing.BinType(level, paBinTypes{10 + level});
    processing.BinTypeID(level, 20 + level);
    processing.BinTimePeriod(level, paTimePeriods{30 + level});
    processing.BinTimeInterval(level, 40 + level);
  }
  processing.ProcessingType(paProcessByDays);
  processing.AccumulationType(paAccumulateByCacTime);
  processing.BinCount(7);
  processing.ShowEmptyBins(true);
  const API_PAOptions options = OptionsOf(processing);
  std::int32_t words[31];
  std::memcpy(words, &options, sizeof words);
  const std::int32_t expected[31] = {10, 11, 12, 0,  0,  0, 20, 21, 22, 0, 0, 0, 30, 31, 32, 0,
                                     0,  0,  40, 41, 42, 0, 0,  0,  12, 4, 7, 0, 0,  0,  -1};
  for (int i = 0; i < 31; ++i) EXPECT_EQ(words[i], expected[i]) << "word " << i;
}

TEST(PAProcessing, ShowEmptyBinsIsMinusOneInTheRecordAndOneInTheXml) {
  const fake::FakeScope fake;
  PAProcessing processing;
  EXPECT_EQ(OptionsOf(processing).ShowEmptyBins, 0);
  EXPECT_NE(processing.GetXML().find(" ShowEmptyBins=\"0\""), std::string::npos);
  processing.ShowEmptyBins(true);
  EXPECT_EQ(OptionsOf(processing).ShowEmptyBins, -1);
  EXPECT_NE(processing.GetXML().find(" ShowEmptyBins=\"1\""), std::string::npos);
}

TEST(PAProcessing, ACloneHasEverySettingAndSharesNothing) {
  const fake::FakeScope fake;
  PAProcessing processing;
  processing.BinCount(3);
  processing.ResourceType(paProcessState);
  processing.ProcessingType(paProcessByHours);
  processing.AccumulationType(paAccumulateByHits);
  processing.ShowEmptyBins(true);
  processing.BinType(5, paBinTypeLot);
  processing.BinTypeID(4, 44);
  processing.SetXML("<PAProcessing><intLevel Index=\"1\" Name=\"Shifts\"/></PAProcessing>");
  const auto clone = processing.Clone();
  EXPECT_EQ(clone->GetXML(), processing.GetXML());
  EXPECT_NE(clone->GetXML().find("Name=\"Shifts\""), std::string::npos);
  EXPECT_EQ(clone->BinType(5), paBinTypeLot);
  EXPECT_EQ(clone->BinTypeID(4), 44);
  clone->BinType(5, paBinTypePart);
  clone->BinCount(9);
  EXPECT_EQ(processing.BinType(5), paBinTypeLot);
  EXPECT_EQ(processing.BinCount(), 3);
}

#ifdef ORVSPC_FAIL_POINTS
TEST(PAProcessing, AFailureOfTheConstructorIsLoggedAndTheObjectHasItsDefaults) {
  fake::FakeScope fake;
  FailPoint::Set([](std::string_view) { throw Failure(-77, "Injected", "made to fail"); });
  PAProcessing processing;
  FailPoint::Set({});
  EXPECT_EQ(fake.log().LinesOf({"ErrorLog"}),
            std::vector<std::string>{"ErrorLog.Log(PAProcessing.Class_Initialize, -77, made to "
                                     "fail, Injected, tests)"});
  EXPECT_EQ(processing.BinCount(), 10);
}
#endif

}  // namespace
}  // namespace orvspc
