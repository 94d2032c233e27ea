// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/WireDouble.h"

// The row that the sampling-compliance library delivers.
namespace orvspc {

struct API_SCRow {
  std::int32_t ResultType;
  std::int32_t ProcessID, PartID;  // 0: none
  std::int32_t StartStamp;
  std::int32_t StateID, StateType;
  platform::WireDouble Duration;
  std::int32_t SmplReqID;
  std::int32_t Reserved[3];
  std::int32_t TestID;
  std::int32_t SamplesCollected, SamplesMissed, SamplesExpected;
  platform::WireDouble PercentComplete;
  std::int32_t TestCount;
  platform::WireDouble MinimumValue, MaximumValue, AverageValue, StandardDeviation, PP, PPK;
  std::int32_t SpecFlags;  // which of the next figures are valid
  platform::WireDouble PercentAboveUSL, PercentBelowLSL, PercentOOS, PPM;
  std::int32_t LimitFlags;  // which of the next figures are valid
  platform::WireDouble PercentAboveLSC, PercentBelowLSC, PercentBelowMAVL, PercentBelowT1L;
  platform::WireDouble PercentBelowT2L, PercentAboveMAVU, PercentAboveT1U, PercentAboveT2U;
};

static_assert(sizeof(API_SCRow) == 228);

}  // namespace orvspc
