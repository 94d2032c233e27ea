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
             plot.lines.push_back({"lim", x, study.upper, true, LimitLabel("UCL", study.upper)});
             plot.lines.push_back({"cl", x, study.centre, true, LimitLabel("CL", study.centre)});
             plot.lines.push_back({"lim", x, study.lower, true, LimitLabel("LCL", study.lower)});
             plot.lines.push_back({"d", x, stretch.points, false, ""});
             AddPoints(plot, place, stretch, stretch.points, study.signals);
           });
  Table table{"Phases", {"stream", "phase", "#points", "mean", "#sigma z", "#signals"}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto signals = std::ranges::count_if(study.signals, [](auto on) { return on != 0; });
      table.rows.push_back(
          {StreamName(names, stream.part, stream.process, stream.test),
           stream.stretches[p].phase.name, std::to_string(stream.stretches[p].points.size()),
           FigureText(study.mean), Significant(study.sigma_z.value, 5), std::to_string(signals)});
    }
  }
  view.tables.push_back(std::move(table));
  return view;
}

}  // namespace orvspc::render
