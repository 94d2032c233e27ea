// SPDX-License-Identifier: Apache-2.0
#include "platform/Enumerations.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace orvspc {
namespace {

struct Row {
  const char* name;
  std::int64_t value, pinned;
};

#define ROW(name, pinned) \
  { #name, name, pinned }

// They stand in stored XML and in the words of the closed libraries.
constexpr Row kRows[] = {
    ROW(drttMostRecent, 0),
    ROW(drttCurrent, 1),
    ROW(drttPrevious, 2),
    ROW(drttStatic, 20),
    ROW(drpMinute, 0),
    ROW(drpHour, 1),
    ROW(drpDay, 2),
    ROW(drpWeek, 3),
    ROW(drpMonth, 4),
    ROW(drpYear, 6),
    ROW(ttVariable, 1),
    ROW(ttDefects, 2),
    ROW(ttDefectives, 4),
    ROW(dtPart, 0),
    ROW(dtProcess, 1),
    ROW(dtTest, 2),
    ROW(dtJob, 3),
    ROW(dtLot, 4),
    ROW(dtShift, 5),
    ROW(dtDefect, 6),
    ROW(dtEmployee, 7),
    ROW(dtOther, 8),
    ROW(ftItemList, 0),
    ROW(ftGroup, 1),
    ROW(ftUnlimited, 2),
    ROW(sfEnabled, 0),
    ROW(sfDisabled, 1),
    ROW(sfIncomplete, 2),
    ROW(slfURL, 1),
    ROW(slfUSL, 2),
    ROW(slfUGB, 4),
    ROW(slfTAR, 8),
    ROW(slfLGB, 16),
    ROW(slfLSL, 32),
    ROW(slfLRL, 64),
    ROW(slfUWP, 256),
    ROW(slfLWP, 512),
    ROW(slfUSG, 4096),
    ROW(slfLSG, 8192),
    ROW(slfUDS, 65536),
    ROW(slfLDS, 131072),
    ROW(ccGraphType1, 1),
    ROW(ccGraphType2, 2),
    ROW(ccGraphType3, 3),
    ROW(ccGraph1BestGuessVariable, 0),
    ROW(ccGraph1XBar, 1),
    ROW(ccGraph1XMed, 2),
    ROW(ccGraph1Ix, 3),
    ROW(ccGraph1Ma, 4),
    ROW(ccGraph1Pc, 5),
    ROW(ccGraph1BestGuessAttribute, 6),
    ROW(ccGraph1Ppt, 7),
    ROW(ccGraph1Dpto, 8),
    ROW(ccGraph1Ppm, 9),
    ROW(ccGraph1Dpmo, 10),
    ROW(ccGraph1Np, 11),
    ROW(ccGraph1P, 12),
    ROW(ccGraph1C, 13),
    ROW(ccGraph1U, 14),
    ROW(ccGraph2None, 0),
    ROW(ccGraph2Range, 1),
    ROW(ccGraph2Sd, 2),
    ROW(ccGraph2Mr, 3),
    ROW(ccGraph2Cv, 4),
    ROW(ccGraph3None, 0),
    ROW(ccGraph3Range, 1),
    ROW(ccGraph3Sd, 2),
    ROW(ccGroupByNone, 0),
    ROW(ccGroupByPart, 1),
    ROW(ccGroupByProcess, 2),
    ROW(ccGroupByTest, 3),
    ROW(ccCusumNone, 0),
    ROW(ccCusumStandard, 1),
    ROW(ccEwmaNone, 0),
    ROW(ccEwmaStandard, 1),
    ROW(ccEwmaWanderingMean, 2),
    ROW(ccTraditional, 0),
    ROW(ccNominal, 1),
    ROW(ccTarget, 2),
    ROW(ccShortrun, 3),
    ROW(ccStandardized, 4),
    ROW(ccProcessMean, 5),
};

TEST(Enumerations, EveryValueIsPinned) {
  for (const Row& row : kRows) EXPECT_EQ(row.value, row.pinned) << row.name;
}

TEST(Enumerations, AreThirtyTwoBitsAndKeepAnyValue) {
  static_assert(std::is_same_v<std::underlying_type_t<DateRangePeriods>, std::int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<SpecLimitFlags>, std::int32_t>);
  EXPECT_EQ(static_cast<std::int32_t>(static_cast<FilterTypes>(-7)), -7);
}

}  // namespace
}  // namespace orvspc
