// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

using AcfDocument = StreamStudies<studies::AcfStudy>;
std::string AcfJson(const AcfDocument& document, const Names& names);
StudyView MakeAcfView(const AcfDocument& document, const Names& names);

using Ar1Document = StreamStudies<studies::Ar1Study>;
std::string Ar1Json(const Ar1Document& document, const Names& names);
StudyView MakeAr1View(const Ar1Document& document, const Names& names);

}  // namespace orvspc::render
