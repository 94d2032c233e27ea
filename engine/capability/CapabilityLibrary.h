// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CapAna6.h"
#include "platform/Reports.h"

namespace orvspc::engine::capability {

class CapabilityRun;

// The capability library of the embedded engine. Nothing throws: what fails is kept in the open
// database, and the call returns 0 without having written. The sample of the latest analysis is
// kept for the thread, so that a Johnson fit need not read it again.
class CapabilityLibrary final : public platform::CapAna6 {
 public:
  std::int32_t VLXCAP_PROCESSING_LT(std::int32_t Reserved1, std::int32_t Connection,
                                    API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                    std::span<double> X, std::span<double> Y,
                                    const platform::ArrayRef& Bins, API_CASummary& Summary,
                                    API_CACPs& CPs, API_CAPPs& PPs, API_CAMoments& Moments,
                                    API_CAChiSq& ChiSq, API_CAAnova& Anova, API_CASpecLim8& SpecLim,
                                    API_CASpecResults& SpecResults, API_CANccLim8& NccLim,
                                    API_CANccResults& NccResults, API_CAReserved& Reserved,
                                    const API_CAOptions& Options, std::int32_t Reserved2) override;
  std::int32_t VLXCAP_JOHNSONCURVEFIT(std::int32_t Reserved, std::span<double> X,
                                      std::span<double> Y, const platform::ArrayRef& Bins,
                                      API_CASummary& Summary, API_CAPPs& PPs, API_CAChiSq& ChiSq,
                                      API_CASpecLim8& SpecLim, API_CASpecResults& SpecResults,
                                      const API_CAOptions& Options) override;

  // Of the latest analysis of this thread on the database; empty when that gave none.
  static CapabilityReport TakeReport(std::int32_t handle);
  // That analysis; null when it gave no values.
  static const CapabilityRun* LatestRun(std::int32_t handle);
};

}  // namespace orvspc::engine::capability
