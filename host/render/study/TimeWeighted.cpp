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

bool IsOfCounts(const CusumDocument& document) {
  for (const auto& stream : document.studies) {
    for (const auto& study : stream) {
      if (!study.reference.empty()) return true;
    }
  }
  return false;
}

// "1.25", "1.25 to 2": reference values of counts
std::string ReferenceText(const studies::CusumStudy& study) {
  double least = kNaN, most = kNaN;
  for (const double k : study.reference) {
    least = std::fmin(least, k);
    most = std::fmax(most, k);
  }
  const auto text = Significant(least, 7);
  return least == most || std::isnan(least) ? text : text + " to " + Significant(most, 7);
}

// Signals of one arm.
std::vector<std::uint8_t> SignalsOf(const studies::CusumStudy& study, bool is_upper) {
  std::vector<std::uint8_t> signals(study.signals.size(), 0);
  for (const auto& change : study.changes) {
    if (change.is_upper == is_upper) signals[change.point] = 1;
  }
  return signals;
}

// h for each point of an arm, the lower one below 0; NaN: there is no such arm.
std::vector<double> LimitOf(const studies::CusumStudy& study, bool is_upper) {
  const auto& arm = is_upper ? study.upper : study.lower;
  const bool is_missing = std::ranges::all_of(arm, [](double c) { return std::isnan(c); });
  const double h = is_upper ? study.h : -study.h;
  return std::vector<double>(arm.size(), is_missing ? kNaN : h);
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
  view.tables.push_back(SignalTable(
      document, names, [](const auto&, const auto& study) -> const auto& { return study.z; }));
  return view;
}

std::string CusumJson(const CusumDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const studies::CusumStudy& study) {
          const auto count = study.upper.size();
          std::vector<double> points(count), new_mean(count, kNaN), start(count, kNaN);
          for (std::size_t i = 0; i < count; ++i) {
            const double up = study.upper[i], down = study.lower[i];
            points[i] = up >= down || std::isnan(down) ? up : -down;
          }
          for (const auto& change : study.changes) {
            new_mean[change.point] = change.new_mean;
            start[change.point] = static_cast<double>(change.start + 1);
          }
          to.Members("Values", stretch.points, "Points", points, "Upper", study.upper, "Lower",
                     study.lower, "CountUpper", study.count_upper, "CountLower", study.count_lower,
                     "CL", std::vector<double>(count, 0.0), "UCL", LimitOf(study, true), "LCL",
                     LimitOf(study, false), "SGSizes", stretch.sizes);
          to.MemberIf(!study.reference.empty(), "Reference", study.reference);
          WriteMarks(to, study.signals);
          to.Members("Start", start, "NewMean", new_mean);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "Sigma", study.sigma);
        });
  });
}

StudyView MakeCusumView(const CusumDocument& document, const Names& names) {
  StudyView view;
  const bool of_counts = IsOfCounts(document);
  AddHead(view, document, names, of_counts ? "Cusum of counts" : "Cusum");
  AddPlots(view, document, names, "Cusum",
           [of_counts](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
                       const studies::CusumStudy& study) {
             plot.y.title = of_counts ? "counts" : "sigmas";
             const auto x = Places(place, study.upper.size());
             const std::vector<double> zero(x.size(), 0.0);
             plot.lines.push_back({"cl", x, zero, true, ""});
             for (const bool is_upper : {true, false}) {
               auto arm = is_upper ? study.upper : study.lower;
               if (!is_upper) {
                 for (auto& value : arm) value = -value;
               }
               const auto limit = LimitOf(study, is_upper);
               plot.lines.push_back({"lim", x, limit, true, LimitLabel("H", limit)});
               plot.lines.push_back({"d", x, arm, false, ""});
               AddPoints(plot, place, stretch, arm, SignalsOf(study, is_upper));
             }
           });
  view.tables.push_back(StretchTable(
      document, names, of_counts ? std::vector<std::string>{"mean", "#K"} : kEstimates,
      [&](const auto& study) {
        return of_counts ? std::vector<std::string>{FigureText(study.mean), ReferenceText(study)}
                         : EstimatesOf(study);
      }));
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
