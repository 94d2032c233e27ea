// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/TimeWeighted.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

const std::vector<std::string> kEstimates = {"mean", "sigma"};

template <class Study>
std::vector<std::string> EstimatesOf(const Study& study) {
  return {FigureText(study.mean), FigureText(study.sigma)};
}

}  // namespace

std::string EwmaJson(const EwmaDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const studies::EwmaStudy& study) {
          to.Members("Values", stretch.points, "Points", study.z, "Z", study.z, "CL", study.centre,
                     "UCL", study.upper, "LCL", study.lower, "SGSizes", stretch.sizes);
          WriteMarks(to, study.signals);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "Sigma", study.sigma);
        });
  });
}

StudyView MakeEwmaView(const EwmaDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "EWMA");
  AddPlots(view, document, names, "EWMA",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::EwmaStudy& study) {
             AddFaint(plot, place, stretch);
             const auto x = Places(place, study.z.size());
             AddLimits(plot, place, {study.upper, study.centre, study.lower});
             plot.lines.push_back({"d", x, study.z, false, ""});
             AddPoints(plot, place, stretch, study.z, study.signals);
           });
  view.tables.push_back(StretchTable(document, names, kEstimates,
                                     [](const auto& study) { return EstimatesOf(study); }));
  return view;
}

std::string CusumJson(const CusumDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  double h = kNaN;
  for (const auto& option : head.options)
    if (option.key == "H") h = std::get<double>(option.value);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [h](JsonWriter& to, const studies::Stretch& stretch, const studies::CusumStudy& study) {
          const auto count = study.upper.size();
          std::vector<double> points(count), new_mean(count, kNaN), start(count, kNaN);
          for (std::size_t i = 0; i < count; ++i) {
            points[i] = study.upper[i] >= study.lower[i] ? study.upper[i] : -study.lower[i];
          }
          for (const auto& change : study.changes) {
            new_mean[change.point] = change.new_mean;
            start[change.point] = static_cast<double>(change.start + 1);
          }
          const std::vector<double> none(count, kNaN);
          to.Members("Values", stretch.points, "Points", points, "Upper", study.upper, "Lower",
                     study.lower, "CountUpper", study.count_upper, "CountLower", study.count_lower,
                     "CL", std::vector<double>(count, 0.0), "UCL", std::vector<double>(count, h),
                     "LCL", std::vector<double>(count, -h), "SGSizes", stretch.sizes);
          WriteMarks(to, study.signals);
          to.Members("Start", start, "NewMean", new_mean);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "Sigma", study.sigma);
        });
  });
}

StudyView MakeCusumView(const CusumDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Cusum");
  double h = kNaN;
  for (const auto& option : document.head.options)
    if (option.key == "H") h = std::get<double>(option.value);
  AddPlots(view, document, names, "Cusum",
           [h](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const studies::CusumStudy& study) {
             plot.y.title = "sigmas";
             const auto count = study.upper.size();
             const auto x = Places(place, count);
             auto down = study.lower;
             for (auto& value : down) value = -value;
             const std::vector<double> upper(count, h), lower(count, -h), zero(count, 0.0);
             plot.lines.push_back({"lim", x, upper, true, LimitLabel("H", upper)});
             plot.lines.push_back({"cl", x, zero, true, ""});
             plot.lines.push_back({"lim", x, lower, true, LimitLabel("-H", lower)});
             plot.lines.push_back({"d", x, study.upper, false, ""});
             plot.lines.push_back({"d", x, down, false, ""});
             auto signals = study.signals;
             for (std::size_t i = 0; i < count; ++i)
               signals[i] = signals[i] != 0 && study.upper[i] > h ? 1 : 0;
             AddPoints(plot, place, stretch, study.upper, signals);
             for (std::size_t i = 0; i < count; ++i)
               signals[i] = study.signals[i] != 0 && study.lower[i] > h ? 1 : 0;
             AddPoints(plot, place, stretch, down, signals);
           });
  view.tables.push_back(StretchTable(document, names, kEstimates,
                                     [](const auto& study) { return EstimatesOf(study); }));
  Table table{"Shifts", {"stream", "signal at", "arm", "begins at", "#new mean"}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    for (const auto& place : PlacesOf(document.data, s)) {
      const auto& stretch = stream.stretches[place.stretch];
      for (const auto& change : document.studies[s][place.stretch].changes) {
        table.rows.push_back(
            {StreamName(names, stream.part, stream.process, stream.test),
             IsoTime(stretch.times[change.point]), change.is_upper ? "upper" : "lower",
             IsoTime(stretch.times[change.start]), Significant(change.new_mean, 7)});
      }
    }
  }
  view.tables.push_back(std::move(table));
  return view;
}

}  // namespace orvspc::render
