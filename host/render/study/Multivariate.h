// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// A study of vectors. Streams are those of a part and process, or of a file.
template <class Study>
struct VectorStudies : StreamStudies<Study> {
  std::vector<std::string> titles;                  // of the streams: "Ring / Press", the file
  std::vector<std::vector<std::string>> variables;  // of each stream
  std::vector<std::string> labels;                  // of the subgroups of a file
  // Whether the picture shows the terms of its signals, which takes room.
  bool shows_terms = false;
  bool shows_orders = false;  // of T2: every order of the terms of a signal
};

using T2Document = VectorStudies<studies::T2Study>;
std::string T2Json(const T2Document& document, const Names& names);
StudyView MakeT2View(const T2Document& document, const Names& names);

using MewmaDocument = VectorStudies<studies::MewmaStudy>;
std::string MewmaJson(const MewmaDocument& document, const Names& names);
StudyView MakeMewmaView(const MewmaDocument& document, const Names& names);

}  // namespace orvspc::render
