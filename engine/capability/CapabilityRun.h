// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/capability/Limits.h"
#include "engine/capability/Passes.h"
#include "engine/statistics/Histogram.h"
#include "engine/statistics/Sample.h"
#include "engine/store/Store.h"
#include "platform/CapabilityRecords.h"
#include "platform/Reports.h"
#include "platform/SelectionRecord.h"

namespace orvspc::engine::capability {

// What an analysis hands out. Spans are filled whole; nothing is written unless it succeeds.
struct CapabilityOutput {
  std::span<double> x, y;
  std::span<API_CABin> bins;
  API_CASummary& summary;
  API_CACPs& cps;
  API_CAPPs& pps;
  API_CAMoments& moments;
  API_CAChiSq& chi_square;
  API_CAAnova& anova;
  API_CASpecLim8& limits;
  API_CASpecResults& results;
  API_CANccLim8& net_limits;
  API_CANccResults& net_results;
};

struct JohnsonOutput {
  std::span<double> x, y;
  std::span<const API_CABin> bins;
  API_CASummary& summary;
  API_CAPPs& pps;
  API_CAChiSq& chi_square;
  const API_CASpecLim8& limits;
  API_CASpecResults& results;
};

// One capability analysis and the sample that it keeps for a Johnson fit of the same figures.
class CapabilityRun {
 public:
  // False when nothing was selected, and on a failure, which the store keeps.
  bool Process(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
               const API_CAOptions& options, const CapabilityOutput& out);

  // Replaces the normal distribution by a Johnson curve fitted to the kept sample. Returns a
  // caJohnsonTypes value; 0, and nothing is changed, when no curve serves or the summary is not
  // that of the sample.
  std::int32_t FitJohnson(const JohnsonOutput& out);

  const CapabilityReport& Report() const { return report_; }
  void Clear();

 private:
  bool Analyse(store::Store& store, std::vector<StreamSample>& streams,
               const API_CAOptions& options, const CapabilityOutput& out);

  statistics::Sample sample_;
  SampleCentre centre_;
  CapabilityReport report_;
};

}  // namespace orvspc::engine::capability
