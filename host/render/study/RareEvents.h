// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// What lies between events, out of a file.
template <class Study>
struct GapDocument {
  StudyHead head;
  std::string column;          // its heading
  std::vector<double> points;  // oldest first
  std::optional<double> open = {};
  Study study = {};
};

using GDocument = GapDocument<studies::GStudy>;
std::string GJson(const GDocument& document, const Names& names);
StudyView MakeGView(const GDocument& document, const Names& names);

using TDocument = GapDocument<studies::TStudy>;
std::string TJson(const TDocument& document, const Names& names);
StudyView MakeTView(const TDocument& document, const Names& names);

}  // namespace orvspc::render
