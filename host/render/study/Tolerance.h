// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// Of a selection, or of one column of a file, which is then one stream without names.
struct ToleranceDocument : StreamStudies<studies::ToleranceStudy> {
  std::string column = {};  // its heading; empty: of a selection
  studies::ToleranceOptions options = {};
};
std::string ToleranceJson(const ToleranceDocument& document, const Names& names);
StudyView MakeToleranceView(const ToleranceDocument& document, const Names& names);

// What the test of a stream counts.
struct CountKind {
  bool defectives = true;                  // bad units, otherwise defects
  std::vector<double> opportunities = {};  // of each phase, for a defect in a unit
};
struct CountCapabilityDocument : StreamStudies<studies::CountCapabilityStudy> {
  std::vector<CountKind> kinds = {};  // of each stream
};
std::string CountCapabilityJson(const CountCapabilityDocument& document, const Names& names);
StudyView MakeCountCapabilityView(const CountCapabilityDocument& document, const Names& names);

}  // namespace orvspc::render
