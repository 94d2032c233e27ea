// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/render/study/StudyDocument.h"

// What plots of stretches are made of: one place a subgroup, phases side by side.
namespace orvspc::render {

// A column of a stretch at its places.
std::vector<double> Places(const StretchPlace& place, std::size_t count);
// Raw values, faint, below what is drawn of them.
void AddFaint(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch);
// Points of a statistic: used ones, those that are forgotten, and those with a signal.
void AddPoints(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const std::vector<double>& values, const std::vector<std::uint8_t>& signals);

// "74.001 (mean)"
std::string FigureText(const studies::Figure& figure);
// "UCL 74.02", the newest
std::string LimitLabel(const char* name, const std::vector<double>& line);

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
