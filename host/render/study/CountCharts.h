// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

using LaneyDocument = StreamStudies<studies::LaneyStudy>;
std::string LaneyJson(const LaneyDocument& document, const Names& names);
StudyView MakeLaneyView(const LaneyDocument& document, const Names& names);

}  // namespace orvspc::render
