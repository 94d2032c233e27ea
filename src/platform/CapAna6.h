// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/ArrayRef.h"
#include "platform/CapabilityRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::platform {

// The closed capability library. Nothing here throws.
class CapAna6 {
 public:
  virtual ~CapAna6() = default;

  // The whole analysis of a selection. X and Y take CurveCount points of the fitted curve, Bins
  // (API_CABin) BinCount bins; the callee may resize Bins. Returns a number other than 0 for
  // success.
  virtual std::int32_t VLXCAP_PROCESSING_LT(
      std::int32_t Reserved1, std::int32_t Connection, API_DSInfo& DSInfo,
      std::span<std::int32_t> DSFilter, std::span<double> X, std::span<double> Y,
      const ArrayRef& Bins, API_CASummary& Summary, API_CACPs& CPs, API_CAPPs& PPs,
      API_CAMoments& Moments, API_CAChiSq& ChiSq, API_CAAnova& Anova, API_CASpecLim8& SpecLim,
      API_CASpecResults& SpecResults, API_CANccLim8& NccLim, API_CANccResults& NccResults,
      API_CAReserved& Reserved, const API_CAOptions& Options, std::int32_t Reserved2) = 0;

  // Replaces the normal fit by a Johnson curve in what the call above left. Returns a
  // caJohnsonTypes value; 0 when no curve of the family fits.
  virtual std::int32_t VLXCAP_JOHNSONCURVEFIT(std::int32_t Reserved, std::span<double> X,
                                              std::span<double> Y, const ArrayRef& Bins,
                                              API_CASummary& Summary, API_CAPPs& PPs,
                                              API_CAChiSq& ChiSq, API_CASpecLim8& SpecLim,
                                              API_CASpecResults& SpecResults,
                                              const API_CAOptions& Options) = 0;
};

}  // namespace orvspc::platform
