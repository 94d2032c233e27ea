// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// Readings of one part, in their order.
struct Type1Document {
  StudyHead head;
  std::string of;  // what was measured, for the title; may be empty
  std::vector<double> values;
  studies::Type1Study study;
};
std::string Type1Json(const Type1Document& document, const Names& names);
StudyView MakeType1View(const Type1Document& document, const Names& names);

struct BiasDocument {
  StudyHead head;
  std::string of;
  std::vector<std::vector<double>> values;  // of each study; empty where they are not known
  std::vector<studies::BiasStudy> studies;  // one a reference
};
std::string BiasJson(const BiasDocument& document, const Names& names);
StudyView MakeBiasView(const BiasDocument& document, const Names& names);

struct LinearityDocument {
  StudyHead head;
  std::vector<double> references, values;
  studies::LinearityStudy study;
};
std::string LinearityJson(const LinearityDocument& document, const Names& names);
StudyView MakeLinearityView(const LinearityDocument& document, const Names& names);

}  // namespace orvspc::render
