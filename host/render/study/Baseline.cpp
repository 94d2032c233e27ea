// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Baseline.h"

#include <algorithm>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

void WriteLines(JsonWriter& json, const std::vector<LimitLines>& lines) {
  json.Objects("Graphs", lines, [&](const LimitLines& each) {
    json.Members("Graph", each.graph, "CL", each.centre, "UCL", each.upper, "LCL", each.lower,
                 "Differ", each.differ);
  });
}

void WriteCauses(JsonWriter& json, const std::vector<LimitExclusion>& exclusions) {
  json.Objects("LeftOut", exclusions, [&](const LimitExclusion& each) {
    json.Members("Subgroup", each.subgroup, "Cause", each.reason);
  });
}

void WriteProposal(JsonWriter& json, const BaselineStudy& study) {
  json.Key("Proposal");
  if (!study.made) return json.Null();
  const auto& limits = study.proposal;
  json.BeginObject();
  json.Members("Mean", limits.mean, "MeanName", limits.mean_name, "SP", limits.sp, "SW", limits.sw,
               "Estimator", limits.estimator, "SWEstimator", limits.within_estimator, "Constant",
               limits.constant, "Used", limits.used, "Subgroups", limits.subgroups);
  WriteLines(json, limits.lines);
  WriteCauses(json, limits.exclusions);
  json.Objects("Signals", limits.signals, [&](const LimitSignal& each) {
    json.Members("Subgroup", each.subgroup, "Time", IsoTime(each.time), "Graph", each.graph,
                 "Rules", each.rules);
  });
  json.Members("Warnings", limits.warnings, "Missing", limits.missing);
  json.EndObject();
}

const LimitLines* GraphOne(const std::vector<LimitLines>& lines) {
  const auto found = std::ranges::find(lines, 1, &LimitLines::graph);
  return found == lines.end() ? nullptr : &*found;
}

// Lines of graph 1, as long as the stretch.
void AddLines(Plot& plot, const StretchPlace& place, std::size_t count, const LimitLines& lines,
              bool are_first) {
  const auto x = Places(place, count);
  const std::string old = are_first ? " old" : "";
  const struct {
    const char *style, *name;
    double at;
  } each[] = {{"lim", "UCL", lines.upper}, {"cl", "CL", lines.centre}, {"lim", "LCL", lines.lower}};
  const double spread = lines.upper - lines.lower;
  for (const auto& line : each) {
    const std::vector<double> y(count, line.at);
    plot.lines.push_back({line.style + old, x, y, true,
                          are_first ? std::string() : LimitLabel(line.name, y, spread)});
  }
}

Table RoundsTable(const BaselineDocument& document, const Names& names) {
  Table table{"Rounds",
              {"stream", "phase", "#round", "#LCL", "#CL", "#UCL", "#candidates", "left out"},
              {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const BaselineStudy& study) {
    for (std::size_t r = 0; r < study.rounds.size(); ++r) {
      const auto& [round, lines] = study.rounds[r];
      std::vector<std::string> causes;
      for (const auto& each : round.left_out) {
        causes.push_back("#" + std::to_string(each.subgroup) + " " + PlainText(each.reason));
      }
      const auto* const first = GraphOne(lines);
      const auto figure = [&](double LimitLines::*line) {
        return first == nullptr ? std::string() : Significant(first->*line, 7);
      };
      table.rows.push_back({StreamName(names, stream.part, stream.process, stream.test),
                            stretch.phase.name, std::to_string(r + 1), figure(&LimitLines::lower),
                            figure(&LimitLines::centre), figure(&LimitLines::upper),
                            std::to_string(round.candidates.size()), Joined(causes, "; ")});
    }
  });
  return table;
}

Table LimitsTable(const BaselineDocument& document, const Names& names) {
  Table table{
      "Limits", {"stream", "phase", "#used", "#subgroups", "mean", "sigma", "to be proposed"}, {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const BaselineStudy& study) {
    if (!study.made) return;
    const auto& limits = study.proposal;
    table.rows.push_back({StreamName(names, stream.part, stream.process, stream.test),
                          stretch.phase.name, std::to_string(limits.used),
                          std::to_string(limits.subgroups),
                          Significant(limits.mean, 7) + " (" + limits.mean_name + ")",
                          Significant(limits.sp, 6) + " (" + EstimatorText(limits.estimator) + ")",
                          limits.missing.empty() ? "yes" : "no: " + Joined(limits.missing, "; ")});
  });
  return table;
}

}  // namespace

std::string BaselineJson(const BaselineDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const BaselineStudy& study) {
          to.Members("Points", stretch.points, "SGSizes", stretch.sizes, "Left", study.left_out);
          to.Objects<Spread::Blocks>("Rounds", study.rounds, [&](const BaselineRound& each) {
            to.Member("Sigma", each.round.sigma);
            WriteLines(to, each.lines);
            to.Member("Candidates", each.round.candidates);
            WriteCauses(to, each.round.left_out);
          });
          WriteProposal(to, study);
        });
  });
}

StudyView MakeBaselineView(const BaselineDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Baseline");
  AddPlots(view, document, names, "Points, and limits of those that are left",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const BaselineStudy& study) {
             const auto count = stretch.points.size();
             const auto* const first =
                 study.rounds.size() > 1 ? GraphOne(study.rounds.front().lines) : nullptr;
             if (first != nullptr) AddLines(plot, place, count, *first, true);
             const auto* const last = GraphOne(study.proposal.lines);
             if (last != nullptr) AddLines(plot, place, count, *last, false);
             plot.lines.push_back({"d", Places(place, count), stretch.points, false, ""});
             auto shown = stretch;
             shown.used.resize(count, 1);
             for (std::size_t i = 0; i < count; ++i) {
               if (study.left_out[i] != 0) shown.used[i] = 0;
             }
             AddPoints(plot, place, shown, stretch.points, study.marks);
           });
  view.tables = {LimitsTable(document, names), RoundsTable(document, names)};
  return view;
}

}  // namespace orvspc::render
