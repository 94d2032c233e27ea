// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/CapabilityRecords.h"

// The statistics of one capability analysis as the library keeps them: memory of the library alone.
// Toward the capability library the two records with a text have it in the 8-bit code page; what
// stands behind the text is the same bytes in both forms. A new value is all zero.
namespace orvspc {

struct API_CASpecLim {
  std::int32_t Head[10];
  char16_t Text[256];
  std::int32_t Word296, Scale;
  platform::WireDouble Usl, Tar, Lsl, Ugb, Lgb, Url, Lrl, Uwp, Lwp, Usg, Lsg, Uds, Lds, Cp, Cpk;
  platform::WireDouble Double424, Double432, RRmar, RRmax, Fctr;
  std::int32_t EFlag, AFlag, Word472, Word476, Word480, Word484;
};

static_assert(offsetof(API_CASpecLim, Text) == offsetof(API_CASpecLim8, Text));
static_assert(sizeof(API_CASpecLim) - offsetof(API_CASpecLim, Word296) ==
              sizeof(API_CASpecLim8) - offsetof(API_CASpecLim8, Word296));
static_assert(offsetof(API_CASpecLim, EFlag) - offsetof(API_CASpecLim, Word296) ==
              offsetof(API_CASpecLim8, EFlag) - offsetof(API_CASpecLim8, Word296));

struct API_CANccLim {
  std::int32_t Head[10];
  char16_t Text[256];
  platform::WireDouble Lsc, MavU, MavUp, MavL, MavLp, T2U, T2Up, T2L, T2Lp, T1U, T1Up, T1L, T1Lp;
  platform::WireDouble Fctr;
  std::int32_t EFlag, AFlag, Word416, Word420, Word424, Word428;
};

static_assert(offsetof(API_CANccLim, Text) == offsetof(API_CANccLim8, Text));
static_assert(sizeof(API_CANccLim) - offsetof(API_CANccLim, Lsc) ==
              sizeof(API_CANccLim8) - offsetof(API_CANccLim8, Lsc));
static_assert(offsetof(API_CANccLim, EFlag) - offsetof(API_CANccLim, Lsc) ==
              offsetof(API_CANccLim8, EFlag) - offsetof(API_CANccLim8, Lsc));

// The fit leaves CPs, Moments, Anova and the records of net contents as the normal analysis made
// them.
struct API_CAStatistics {
  API_CASummary Summary = {};
  API_CACPs CPs = {};
  API_CAPPs PPs = {};
  API_CAMoments Moments = {};
  API_CAChiSq ChiSq = {};
  API_CAAnova Anova = {};
  API_CASpecLim SpecLim = {};
  API_CASpecResults SpecResults = {};
  API_CANccLim NccLim = {};
  API_CANccResults NccResults = {};
  API_CAReserved Reserved = {};
  std::int32_t JohnsonCurveType = 0;  // a caJohnsonTypes
};

}  // namespace orvspc
