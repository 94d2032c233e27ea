// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/render/core/Numbers.h"
#include "host/render/study/StudyDocument.h"

// What plots of stretches are made of: one place a subgroup, phases side by side.
namespace orvspc::render {

// A column of a stretch at its places.
std::vector<double> Places(const StretchPlace& place, std::size_t count);
// Raw values, faint, below what is drawn of them.
void AddFaint(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch);
// Points of a statistic: used ones, those that are forgotten, and those with a signal. Without
// times their tips have numbers.
void AddPoints(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const std::vector<double>& values, const std::vector<std::uint8_t>& signals);

// The same with the numbers of the rules that each point breaks.
using Marks = std::vector<std::vector<std::int32_t>>;
void AddPoints(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const std::vector<double>& values, const Marks& marks);

// "74.001 (mean)"
std::string FigureText(const studies::Figure& figure);
// "UCL 74.02", the newest; a hundredth of the spread of what is drawn shows.
std::string LimitLabel(const char* name, const std::vector<double>& line, double spread = 0.0);

// Centre and limits as steps, with their labels.
struct LineColumns {
  const std::vector<double>&upper, &centre, &lower;
};
void AddLimits(Plot& plot, const StretchPlace& place, const LineColumns& lines);

// One row a stretch: its stream, phase, number of points, what figures(study) gives for these
// headings, and its number of signals.
template <class Study, class Figures>
Table StretchTable(const StreamStudies<Study>& document, const Names& names,
                   const std::vector<std::string>& headings, Figures figures) {
  Table table{"Phases", {"stream", "phase", "#points"}, {}};
  table.headings.insert(table.headings.end(), headings.begin(), headings.end());
  table.headings.emplace_back("#signals");
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const Study& study) {
    std::vector<std::string> row = {StreamName(names, stream.part, stream.process, stream.test),
                                    stretch.phase.name, std::to_string(stretch.points.size())};
    for (auto& text : figures(study)) row.push_back(std::move(text));
    const auto signals = std::ranges::count_if(study.signals, [](auto on) { return on != 0; });
    row.push_back(std::to_string(signals));
    table.rows.push_back(std::move(row));
  });
  return table;
}

// One row a signal: its stream and time, the value of the points, and the limit that it is beyond.
template <class Study, class Points>
Table SignalTable(const StreamStudies<Study>& document, const Names& names, Points points_of) {
  Table table{"Signals", {"stream", "signal at", "#value", "#limit"}, {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const Study& study) {
    const auto& points = points_of(stretch, study);
    for (std::size_t i = 0; i < study.signals.size(); ++i) {
      if (study.signals[i] == 0) continue;
      const double limit = points[i] > study.centre[i] ? study.upper[i] : study.lower[i];
      table.rows.push_back({StreamName(names, stream.part, stream.process, stream.test),
                            IsoTime(stretch.times[i]), Significant(points[i], 7),
                            Significant(limit, 7)});
    }
  });
  return table;
}

// A plot a stream; draw(plot, place, stretch, study) adds what a stretch has.
template <class Study, class Draw>
void AddPlots(StudyView& view, const StreamStudies<Study>& document, const Names& names,
              const std::string& title, Draw draw) {
  for (std::size_t s = 0; s < document.data.streams.size(); ++s) {
    const auto& stream = document.data.streams[s];
    Plot plot;
    plot.title = title;
    plot.caption = StreamName(names, stream.part, stream.process, stream.test);
    plot.x.title = "subgroup";
    plot.height = document.data.streams.size() == 1 ? 330.0 : 230.0;
    plot.borders = PhaseBordersOf(stream);
    for (const auto& place : PlacesOf(document.data, s)) {
      draw(plot, place, stream.stretches[place.stretch], document.studies[s][place.stretch]);
    }
    view.plots.push_back(std::move(plot));
  }
}

}  // namespace orvspc::render
