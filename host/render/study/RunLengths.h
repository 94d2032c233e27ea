// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// The run lengths of a chart.
struct RunLengthScheme {
  std::string name;  // "cusum", "chart in use"
  studies::RunLengthStudy study;
  // Of a Shewhart chart.
  std::vector<studies::ChartRule> rules = {};
  double size = platform::kNaN;  // pieces, or units, a point
};

// What shifts are: of measurements in sigmas of a point or of a piece, of several variables the
// distance of their means, of counts the rate that there is then.
enum class ShiftUnit { Point, Piece, Distance, Rate };

// The first scheme of a stream is the one that was asked for, others are beside it. Without a
// database there is one stream, which has no names.
struct RunLengthStream {
  std::int32_t part = 0, process = 0, test = 0;
  ShiftUnit unit = ShiftUnit::Point;
  std::vector<RunLengthScheme> schemes = {};
  double interval = platform::kNaN;  // seconds from one point to the next; NaN: not known
};

struct RunLengthDocument {
  StudyHead head;
  bool in_use = false;  // of charts of a database
  std::vector<RunLengthStream> streams;
};
std::string RunLengthJson(const RunLengthDocument& document, const Names& names);
StudyView MakeRunLengthView(const RunLengthDocument& document, const Names& names);

struct DesignDocument {
  StudyHead head;
  studies::DesignStudy study;
  // The three charts, without and with many shifts.
  std::vector<RunLengthScheme> schemes;
};
std::string DesignJson(const DesignDocument& document, const Names& names);
StudyView MakeDesignView(const DesignDocument& document, const Names& names);

}  // namespace orvspc::render
