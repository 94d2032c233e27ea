// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/chart/Chart.h"
#include "host/render/study/Laws.h"

namespace orvspc::render {

// A chart, the pieces of its newest subgroups and a capability analysis of one selection, in one
// picture.
struct SixpackDocument {
  LawsDocument capability;
  ChartDocument chart;
  studies::StudyData pieces;
};
// Three rows of two plots: graph 1 and the histogram, graph 2 and the probability plot, the pieces
// and the limits beside six sigmas. Nothing is in it that the JSON document does not have.
StudyView MakeSixpackView(const SixpackDocument& document, const Names& names);
// The capability document, with graphs and pieces in a member of its own.
std::string SixpackJson(const SixpackDocument& document);

}  // namespace orvspc::render
