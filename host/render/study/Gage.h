// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

struct GageDocument {
  StudyHead head;
  std::string of;  // what was measured, for the title; may be empty
  studies::GageReadings readings;
  studies::GageStudy study;
};
std::string GageJson(const GageDocument& document, const Names& names);
StudyView MakeGageView(const GageDocument& document, const Names& names);

}  // namespace orvspc::render
