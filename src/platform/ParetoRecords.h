// SPDX-License-Identifier: Apache-2.0
#pragma once

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

struct API_PAOptions {
  std::int32_t BinType[6], BinTypeID[6], BinTimePeriod[6], BinTimeInterval[6];
  std::int32_t ProcessingType, AccumulationType;
  std::int32_t BinCount;  // the library lowers it to the number of bins that it made
  std::int32_t Reserved1[2], Reserved2;
  std::int32_t ShowEmptyBins;  // 0 or -1
};

static_assert(sizeof(API_PAOptions) == 124);

}  // namespace orvspc
