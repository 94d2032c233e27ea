// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/ShortRun.h"

#include <algorithm>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

const char* WordOfGraph(studies::SpreadGraph graph) {
  switch (graph) {
    case studies::SpreadGraph::MovingRange:
      return "moving-range";
    case studies::SpreadGraph::Deviation:
      return "deviation";
    default:
      return "range";
  }
}

const char* TitleOfGraph(studies::SpreadGraph graph) {
  switch (graph) {
    case studies::SpreadGraph::MovingRange:
      return "Moving range";
    case studies::SpreadGraph::Deviation:
      return "Standard deviation";
    default:
      return "Range";
  }
}

bool IsOfScores(const ShortRunDocument& document) {
  return std::ranges::any_of(document.head.options, [](const ResolvedOption& option) {
    return option.key == "Kind" && option.value == decltype(option.value)(std::string("z"));
  });
}

void WriteGraph(JsonWriter& json, const char* number, const studies::ShortRunGraph& graph) {
  const std::string end = number;
  json.Members("Points" + end, graph.points, "CL" + end, graph.centre, "UCL" + end, graph.upper,
               "LCL" + end, graph.lower, "Marks" + end, graph.marks);
}

// A line and a name above the plot where another part begins.
void AddPartBorders(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
                    const Names& names) {
  for (std::size_t i = 0; i < stretch.members.size(); ++i) {
    if (i > 0 && stretch.members[i] == stretch.members[i - 1]) continue;
    plot.borders.push_back({place.first + static_cast<double>(i) - 0.5,
                            NameOrNumber(names, NameKind::Part, stretch.members[i]), "b", true});
  }
}

std::string SigmaText(const studies::ShortRunPart& part) {
  const auto name = EstimatorText(part.sigma.estimator);
  return name.empty() || part.sigma_of.empty() ? name : name + " of " + part.sigma_of;
}

Table PartsTable(const ShortRunDocument& document, const Names& names) {
  Table table{"Parts",
              {"process", "test", "phase", "part", "#subgroups", "#runs", "#nominal", "nominal is",
               "#mean", "#sigma", "sigma from"},
              {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const studies::ShortRunStudy& study) {
    for (const auto& part : study.parts) {
      table.rows.push_back(
          {NameOrNumber(names, NameKind::Process, stream.process),
           NameOrNumber(names, NameKind::Test, stream.test), stretch.phase.name,
           NameOrNumber(names, NameKind::Part, part.part), std::to_string(part.subgroups),
           std::to_string(part.runs), Significant(part.nominal, 7), part.source,
           Significant(part.mean.value, 7), Significant(part.sigma.value, 5), SigmaText(part)});
    }
  });
  return table;
}

Table ChartTable(const ShortRunDocument& document, const Names& names) {
  Table table{"Charts",
              {"stream", "phase", "#points", "#parts", "#mean of deviations", "sigma",
               "#P of equal spreads", "#signals", "#signals of spread"},
              {}};
  const auto count = [](const std::vector<std::vector<std::int32_t>>& marks) {
    return std::to_string(
        std::ranges::count_if(marks, [](const auto& rules) { return !rules.empty(); }));
  };
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const studies::ShortRunStudy& study) {
    table.rows.push_back({StreamName(names, stream.part, stream.process, stream.test),
                          stretch.phase.name, std::to_string(stretch.points.size()),
                          std::to_string(study.parts.size()), Significant(study.mean.value, 5),
                          FigureText(study.sigma), ShareText(study.spreads.p),
                          count(study.level.marks), count(study.spread.marks)});
  });
  return table;
}

}  // namespace

std::string ShortRunJson(const ShortRunDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [&](JsonWriter& to, const studies::Stretch& stretch, const studies::ShortRunStudy& study) {
          std::vector<std::string> parts;
          for (const auto part : stretch.members) parts.push_back(names(NameKind::Part, part));
          to.Members("PartOf", parts, "Values", stretch.points, "Nominals", study.nominals);
          WriteGraph(to, "", study.level);
          to.Member("SGSizes", stretch.sizes);
          to.Member("Graph2", WordOfGraph(study.spread_graph));
          WriteGraph(to, "2", study.spread);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "Sigma", study.sigma);
          WriteFigure(to, "Variation", study.variation);
          WriteTest(to, "EqualSpreads", study.spreads);
          to.Objects<Spread::Blocks>("Parts", study.parts, [&](const studies::ShortRunPart& part) {
            to.Members("Part", names(NameKind::Part, part.part), "Subgroups", part.subgroups,
                       "Runs", part.runs, "Nominal", part.nominal, "Source", part.source);
            WriteFigure(to, "Mean", part.mean);
            WriteFigure(to, "Sigma", part.sigma);
            to.Member("SigmaOf", part.sigma_of);
          });
        });
  });
}

StudyView MakeShortRunView(const ShortRunDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Short runs");
  const auto graph_of = [&](const std::string& title, bool named,
                            studies::ShortRunGraph studies::ShortRunStudy::*graph) {
    AddPlots(
        view, document, names, title,
        [&](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
            const studies::ShortRunStudy& study) {
          const auto& shown = study.*graph;
          if (!named) plot.title = TitleOfGraph(study.spread_graph);
          AddPartBorders(plot, place, stretch, names);
          AddLimits(plot, place, {shown.upper, shown.centre, shown.lower});
          plot.lines.push_back({"d", Places(place, shown.points.size()), shown.points, false, ""});
          AddPoints(plot, place, stretch, shown.points, shown.marks);
        });
  };
  graph_of(IsOfScores(document) ? "z of the part" : "Deviation from nominal", true,
           &studies::ShortRunStudy::level);
  graph_of("Spread", false, &studies::ShortRunStudy::spread);
  view.tables = {ChartTable(document, names), PartsTable(document, names)};
  return view;
}

}  // namespace orvspc::render
