// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

using StepDocument = StreamStudies<studies::StepStudy>;
std::string StepJson(const StepDocument& document, const Names& names);
StudyView MakeStepView(const StepDocument& document, const Names& names);

}  // namespace orvspc::render
