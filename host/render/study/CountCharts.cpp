// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/CountCharts.h"

#include <algorithm>

#include "host/render/core/Numbers.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

std::string LaneyJson(const LaneyDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const studies::LaneyStudy& study) {
          to.Members("Points", stretch.points, "Z", study.z, "CL", study.centre, "UCL", study.upper,
                     "LCL", study.lower, "SGSizes", stretch.sizes);
          WriteMarks(to, study.signals);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "SigmaZ", study.sigma_z);
        });
  });
}

StudyView MakeLaneyView(const LaneyDocument& document, const Names& names) {
  StudyView view;
  const auto& data = document.data;
  const auto* const title = data.defectives ? "p'" : data.counted ? "c'" : "u'";
  AddHead(view, document, names, std::string("Laney ") + title);
  AddPlots(view, document, names, title,
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::LaneyStudy& study) {
             const auto x = Places(place, study.z.size());
             AddLimits(plot, place, {study.upper, study.centre, study.lower});
             plot.lines.push_back({"d", x, stretch.points, false, ""});
             AddPoints(plot, place, stretch, stretch.points, study.signals);
           });
  view.tables.push_back(
      StretchTable(document, names, {"mean", "#sigma z"},
                   [](const studies::LaneyStudy& study) -> std::vector<std::string> {
                     return {FigureText(study.mean), Significant(study.sigma_z.value, 5)};
                   }));
  view.tables.push_back(SignalTable(
      document, names,
      [](const auto& stretch, const auto&) -> const auto& { return stretch.points; }));
  return view;
}

}  // namespace orvspc::render
