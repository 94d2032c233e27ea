// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// Of a selection, or of one column of a file, which is then one stream without names.
struct ToleranceDocument : StreamStudies<studies::ToleranceStudy> {
  std::string column = {};  // its heading; empty: of a selection
  studies::ToleranceOptions options = {};
};
std::string ToleranceJson(const ToleranceDocument& document, const Names& names);
StudyView MakeToleranceView(const ToleranceDocument& document, const Names& names);

using CountCapabilityDocument = StreamStudies<studies::CountCapabilityStudy>;
std::string CountCapabilityJson(const CountCapabilityDocument& document, const Names& names);
StudyView MakeCountCapabilityView(const CountCapabilityDocument& document, const Names& names);

}  // namespace orvspc::render
