// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "host/render/capability/Capability.h"
#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// A capability analysis with laws that were fitted to its values, or with quantiles of these. The
// rest of the analysis is as it is without them.
struct LawsDocument {
  CapabilityDocument capability;
  std::vector<ResolvedOption> options;
  std::optional<studies::LawsStudy> laws;
  std::optional<studies::QuantilesStudy> quantiles;
};
std::string LawsJson(const LawsDocument& document);
CapabilityView MakeLawsView(const LawsDocument& document, const Names& names);

}  // namespace orvspc::render
