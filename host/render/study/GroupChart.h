// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

struct GroupDocument : StreamStudies<studies::GroupStudy> {
  std::vector<studies::Stream> members;  // the streams side by side, without their stretches
};
std::string GroupJson(const GroupDocument& document, const Names& names);
StudyView MakeGroupView(const GroupDocument& document, const Names& names);

}  // namespace orvspc::render
