// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/WireDouble.h"

// Records exchanged with the Pareto library.
namespace orvspc {

struct API_PABin {
  std::int32_t ID[6];  // identifier at each level; levels 0 to 2 are used
  char16_t Name[32];
  platform::WireDouble BinCount, Factor, Value;
  platform::WireDouble Percentage[6];
  platform::WireDouble Total, Yield, PPK;
  std::int32_t Flag, SubgroupID;
};

static_assert(sizeof(API_PABin) == 192);
static_assert(offsetof(API_PABin, ID) == 0 && offsetof(API_PABin, Name) == 24 &&
              offsetof(API_PABin, BinCount) == 88 && offsetof(API_PABin, Factor) == 96 &&
              offsetof(API_PABin, Value) == 104 && offsetof(API_PABin, Percentage) == 112 &&
              offsetof(API_PABin, Total) == 160 && offsetof(API_PABin, Yield) == 168 &&
              offsetof(API_PABin, PPK) == 176 && offsetof(API_PABin, Flag) == 184 &&
              offsetof(API_PABin, SubgroupID) == 188);

struct API_PAOptions {
  std::int32_t BinType[6], BinTypeID[6], BinTimePeriod[6], BinTimeInterval[6];
  std::int32_t ProcessingType, AccumulationType;
  std::int32_t BinCount;  // the library lowers it to the number of bins that it made
  std::int32_t Reserved1[2], Reserved2;
  std::int32_t ShowEmptyBins;  // 0 or -1
};

static_assert(sizeof(API_PAOptions) == 124);
static_assert(offsetof(API_PAOptions, BinType) == 0 && offsetof(API_PAOptions, BinTypeID) == 24 &&
              offsetof(API_PAOptions, BinTimePeriod) == 48 &&
              offsetof(API_PAOptions, BinTimeInterval) == 72 &&
              offsetof(API_PAOptions, ProcessingType) == 96 &&
              offsetof(API_PAOptions, AccumulationType) == 100 &&
              offsetof(API_PAOptions, BinCount) == 104 &&
              offsetof(API_PAOptions, Reserved1) == 108 &&
              offsetof(API_PAOptions, Reserved2) == 116 &&
              offsetof(API_PAOptions, ShowEmptyBins) == 120);

}  // namespace orvspc
