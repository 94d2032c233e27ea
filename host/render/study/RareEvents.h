// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// What lies between events, out of a file or between the stamps of events.
template <class Study>
struct GapDocument {
  StudyHead head;
  std::string column;                    // its heading, or what it is
  std::vector<double> points;            // oldest first
  std::vector<std::int64_t> times = {};  // of the event that ends each; empty: not known
  Study study = {};
};

using GDocument = GapDocument<studies::GStudy>;
std::string GJson(const GDocument& document, const Names& names);
StudyView MakeGView(const GDocument& document, const Names& names);

using TDocument = GapDocument<studies::TStudy>;
std::string TJson(const TDocument& document, const Names& names);
StudyView MakeTView(const TDocument& document, const Names& names);

// Of streams that count: the points of their stretches are the units between events.
using GStreamsDocument = StreamStudies<studies::GStudy>;
std::string GStreamsJson(const GStreamsDocument& document, const Names& names);
StudyView MakeGStreamsView(const GStreamsDocument& document, const Names& names);

}  // namespace orvspc::render
