// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Steps.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

std::string Number(std::size_t index) { return std::to_string(index + 1); }

void AddLevels(Plot& plot, const StretchPlace& place, const studies::StepStudy& study) {
  for (const auto& segment : study.segments) {
    const auto last =
        segment.last == study.segments.back().last ? study.level.size() - 1 : segment.last;
    const auto first = segment.first == study.segments.front().first ? 0 : segment.first;
    const std::vector<double> x = {place.first + static_cast<double>(first) - 0.5,
                                   place.first + static_cast<double>(last) + 0.5};
    plot.lines.push_back({"cl", x, {segment.mean, segment.mean}, false, ""});
  }
  if (!study.segments.empty())
    plot.lines.back().label = LimitLabel("CL", study.level, SpreadOf(study.level));
}

// Where a step may be as well.
void AddPlaceOf(Plot& plot, const StretchPlace& place, const studies::LevelStep& step,
                const Range& shown) {
  const auto x = [&](std::size_t after) { return place.first + static_cast<double>(after) + 0.5; };
  if (step.earliest < step.latest) {
    plot.bands.push_back({"band",
                          {x(step.earliest), x(step.latest)},
                          {shown.low, shown.low},
                          {shown.high, shown.high}});
  }
  plot.borders.push_back({x(step.after), "after " + Number(step.after), "hint"});
}

Range RangeOf(const std::vector<double>& values) {
  Range range{kNaN, kNaN};
  for (const double value : values) {
    range.low = std::fmin(range.low, value);
    range.high = std::fmax(range.high, value);
  }
  return range;
}

}  // namespace

std::string StepJson(const StepDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const studies::StepStudy& study) {
          to.Members("Points", stretch.points, "Level", study.level, "SGSizes", stretch.sizes);
          to.Objects<Spread::Lines>("Steps", study.steps, [&](const studies::LevelStep& step) {
            to.Members("After", step.after + 1, "Time", IsoTime(stretch.times[step.after]),
                       "Earliest", step.earliest + 1, "Latest", step.latest + 1, "MeanBefore",
                       step.mean_before, "Mean", step.mean, "Gain", step.gain);
          });
          to.Objects<Spread::Lines>(
              "Segments", study.segments, [&](const studies::LevelSegment& segment) {
                to.Members("First", segment.first + 1, "Last", segment.last + 1, "Used",
                           segment.used, "Mean", segment.mean, "Further", segment.further);
              });
          to.Member("Penalty", study.penalty);
          WriteFigure(to, "Sigma", study.sigma);
          WriteTest(to, "LjungBoxPoints", study.points);
          WriteTest(to, "LjungBoxFirst", study.neighbours);
        });
  });
}

StudyView MakeStepView(const StepDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Steps of the mean");
  AddPlots(view, document, names, "Points and levels",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::StepStudy& study) {
             const auto shown = RangeOf(stretch.points);
             for (const auto& step : study.steps) AddPlaceOf(plot, place, step, shown);
             AddLevels(plot, place, study);
             plot.lines.push_back(
                 {"d", Places(place, stretch.points.size()), stretch.points, false, ""});
             AddPoints(plot, place, stretch, stretch.points,
                       std::vector<std::uint8_t>(stretch.points.size(), 0));
           });
  Table steps{"Steps",
              {"stream", "phase", "#after", "time", "#earliest", "#latest", "#mean before", "#mean",
               "#gain", "#needed"},
              {}};
  Table levels{
      "Levels", {"stream", "phase", "#first", "#last", "#used", "#mean", "#best further gain"}, {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const studies::StepStudy& study) {
    const auto name = StreamName(names, stream.part, stream.process, stream.test);
    for (const auto& step : study.steps) {
      steps.rows.push_back(
          {name, stretch.phase.name, Number(step.after), IsoTime(stretch.times[step.after]),
           Number(step.earliest), Number(step.latest), Significant(step.mean_before, 7),
           Significant(step.mean, 7), Significant(step.gain, 4), Significant(study.penalty, 4)});
    }
    for (const auto& segment : study.segments) {
      levels.rows.push_back({name, stretch.phase.name, Number(segment.first), Number(segment.last),
                             std::to_string(segment.used), Significant(segment.mean, 7),
                             Significant(segment.further, 4)});
    }
  });
  view.tables = {std::move(steps), std::move(levels)};
  return view;
}

}  // namespace orvspc::render
