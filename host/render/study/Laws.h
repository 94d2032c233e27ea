// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "host/render/capability/Capability.h"
#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// A capability analysis with what was asked for beside it: laws that were fitted to its values or
// quantiles of these, intervals of indices, the spread between subgroups, indices of transformed
// values. The rest of the analysis is as it is without them.
struct LawsDocument {
  CapabilityDocument capability;
  std::vector<ResolvedOption> options;
  std::optional<studies::LawsStudy> laws;
  std::optional<studies::QuantilesStudy> quantiles;
  std::optional<studies::IndexIntervals> intervals = {};
  std::optional<studies::QuantileIndexIntervals> quantile_intervals = {};
  std::optional<studies::BetweenWithinStudy> between_within = {};
  std::optional<studies::TransformedStudy> transformed = {};
};
// more   writes further members
std::string LawsJson(const LawsDocument& document,
                     const std::function<void(JsonWriter&)>& more = {});
CapabilityView MakeLawsView(const LawsDocument& document, const Names& names);

// Members of a fit: curve, parameters, likelihood, the test.
void WriteLawFit(JsonWriter& json, const studies::LawFigures& law);
// "0.0312", "> 0.25": P, or the end of the table that it lies beyond.
std::string PText(const studies::LawFigures& law);
// The probability plot of the chosen law; limits: what the histogram shows as such.
Plot ProbabilityPlotOf(const studies::LawFigures& law, const studies::ProbabilityPlot& data,
                       const std::vector<ValueMark>& limits);

}  // namespace orvspc::render
