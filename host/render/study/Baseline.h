// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "host/render/study/StudyDocument.h"
#include "platform/LimitRecords.h"

namespace orvspc::render {

// A round of screening with the lines that its points were judged by.
struct BaselineRound {
  LimitRound round;
  std::vector<LimitLines> lines;
};

// The limits of one stretch after screening.
struct BaselineStudy {
  bool made = false;  // false: a note says why there are none
  LimitProposal proposal;
  std::vector<BaselineRound> rounds;
  // One element a subgroup: not 0 where it was left out, and where graph 1 has a signal.
  std::vector<std::uint8_t> left_out, signals;
  std::vector<Note> notes;
};

using BaselineDocument = StreamStudies<BaselineStudy>;
std::string BaselineJson(const BaselineDocument& document, const Names& names);
StudyView MakeBaselineView(const BaselineDocument& document, const Names& names);

}  // namespace orvspc::render
