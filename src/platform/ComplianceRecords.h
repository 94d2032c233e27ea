// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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
static_assert(offsetof(API_SCRow, ResultType) == 0 && offsetof(API_SCRow, ProcessID) == 4 &&
              offsetof(API_SCRow, PartID) == 8 && offsetof(API_SCRow, StartStamp) == 12 &&
              offsetof(API_SCRow, StateID) == 16 && offsetof(API_SCRow, StateType) == 20 &&
              offsetof(API_SCRow, Duration) == 24 && offsetof(API_SCRow, SmplReqID) == 32 &&
              offsetof(API_SCRow, Reserved) == 36 && offsetof(API_SCRow, TestID) == 48 &&
              offsetof(API_SCRow, SamplesCollected) == 52 &&
              offsetof(API_SCRow, SamplesMissed) == 56 &&
              offsetof(API_SCRow, SamplesExpected) == 60 &&
              offsetof(API_SCRow, PercentComplete) == 64 && offsetof(API_SCRow, TestCount) == 72);
static_assert(
    offsetof(API_SCRow, MinimumValue) == 76 && offsetof(API_SCRow, MaximumValue) == 84 &&
    offsetof(API_SCRow, AverageValue) == 92 && offsetof(API_SCRow, StandardDeviation) == 100 &&
    offsetof(API_SCRow, PP) == 108 && offsetof(API_SCRow, PPK) == 116 &&
    offsetof(API_SCRow, SpecFlags) == 124 && offsetof(API_SCRow, PercentAboveUSL) == 128 &&
    offsetof(API_SCRow, PercentBelowLSL) == 136 && offsetof(API_SCRow, PercentOOS) == 144 &&
    offsetof(API_SCRow, PPM) == 152 && offsetof(API_SCRow, LimitFlags) == 160 &&
    offsetof(API_SCRow, PercentAboveLSC) == 164 && offsetof(API_SCRow, PercentBelowLSC) == 172 &&
    offsetof(API_SCRow, PercentBelowMAVL) == 180 && offsetof(API_SCRow, PercentBelowT1L) == 188 &&
    offsetof(API_SCRow, PercentBelowT2L) == 196 && offsetof(API_SCRow, PercentAboveMAVU) == 204 &&
    offsetof(API_SCRow, PercentAboveT1U) == 212 && offsetof(API_SCRow, PercentAboveT2U) == 220);

}  // namespace orvspc
