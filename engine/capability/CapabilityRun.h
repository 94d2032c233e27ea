// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/capability/Figures.h"
#include "engine/capability/StreamSample.h"
#include "engine/statistics/Estimators.h"
#include "platform/SelectionRecord.h"

namespace orvspc::engine::capability {

// What an analysis hands out; nothing is written unless it succeeds. Spans may be longer than the
// options say.
struct CapabilityOutput : FitOutput {
  API_CACPs& cps;
  API_CAMoments& moments;
  API_CAAnova& anova;
  API_CANccLim8& net_limits;
  API_CANccResults& net_results;
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
  std::int32_t FitJohnson(const FitOutput& out);

  const CapabilityReport& Report() const { return report_; }
  // Of the latest analysis, normalised; empty when that gave none.
  const statistics::Sample& Values() const { return sample_; }
  const SampleCentre& Centre() const { return centre_; }
  const statistics::SigmaEstimate& ShortTerm() const { return short_term_; }
  // Subgroups of each stream, in the order of the values.
  std::span<const std::size_t> StreamGroups() const { return stream_groups_; }

 private:
  bool Analyse(store::Store& store, std::vector<StreamSample>& streams,
               const API_CAOptions& options, const CapabilityOutput& out);

  statistics::Sample sample_;
  SampleCentre centre_;
  statistics::SigmaEstimate short_term_;
  std::vector<std::size_t> stream_groups_;
  CapabilityReport report_;
};

}  // namespace orvspc::engine::capability
