// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

using EwmaDocument = StreamStudies<studies::EwmaStudy>;
std::string EwmaJson(const EwmaDocument& document, const Names& names);
StudyView MakeEwmaView(const EwmaDocument& document, const Names& names);

using CusumDocument = StreamStudies<studies::CusumStudy>;
std::string CusumJson(const CusumDocument& document, const Names& names);
StudyView MakeCusumView(const CusumDocument& document, const Names& names);

}  // namespace orvspc::render
