// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

using ShortRunDocument = StreamStudies<studies::ShortRunStudy>;
std::string ShortRunJson(const ShortRunDocument& document, const Names& names);
StudyView MakeShortRunView(const ShortRunDocument& document, const Names& names);

}  // namespace orvspc::render
