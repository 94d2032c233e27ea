// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/CapabilityRecords.h"

// The statistics of one capability analysis as the library keeps them: memory of the library alone.
// Toward the capability library the two records with a text have it in the 8-bit code page; the
// bytes behind the text are the same in both forms. A new value is all zero.
namespace orvspc {

using API_CASpecLim = CASpecLimRecord<char16_t>;
using API_CANccLim = CANccLimRecord<char16_t>;

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
