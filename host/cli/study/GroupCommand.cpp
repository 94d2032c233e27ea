// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"
#include "host/render/study/GroupChart.h"

namespace orvspc::cli {

namespace {

using studies::SpreadGraph;

constexpr Number kThreshold{{"group-threshold", "SECONDS", "longest time inside a group", "3600"},
                            0};
constexpr render::Word kSpreadWords[] = {
    {"auto", static_cast<std::int32_t>(SpreadGraph::Auto)},
    {"range", static_cast<std::int32_t>(SpreadGraph::Range)},
    {"deviation", static_cast<std::int32_t>(SpreadGraph::Deviation)}};
constexpr Choice<SpreadGraph> kSpread{
    {"spread", "WORD", "graph 2 of subgroups", "", false, kSpreadWords}};

int RunGroup(const Arguments& arguments, Console& console) {
  studies::GroupOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked.threshold = options.Get("GroupThreshold", kThreshold).value_or(asked.threshold);
    asked.spread = options.Get("Spread", kSpread);
  };
  return RunOnStreams<render::GroupDocument>(
      arguments, console, "group", render::GroupJson, render::MakeGroupView, take,
      [&](render::GroupDocument& filled) {
        for (const auto& stream : filled.data.streams) {
          filled.members.push_back({stream.part, stream.process, stream.test, {}});
        }
        filled.data = studies::MixedStreams(filled.data);
        for (auto& stream : filled.data.streams) {
          auto& row = filled.studies.emplace_back();
          for (auto& stretch : stream.stretches) {
            const bool own = stretch.limits_of >= row.size();
            row.push_back(
                studies::StudyGroup(stretch, asked, own ? nullptr : &row[stretch.limits_of]));
            // What is shown has a place a group.
            studies::Stretch shown;
            shown.phase = stretch.phase;
            shown.limits_of = stretch.limits_of;
            shown.is_shown = stretch.is_shown;
            shown.times = row.back().times;
            shown.points = row.back().high.values;
            stretch = std::move(shown);
          }
        }
      },
      {.bases = true});
}

}  // namespace

Command GroupStudyCommand() {
  return {
      "study group",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "One chart of many streams that do the same: their extremes",
      "Of the heads, cavities or spindles that were measured together the greatest and the "
      "least mean and the greatest spread are drawn, with the number of the stream. A stream "
      "that is extreme too often in a row differs from the others.\n"
      "Formats: text, json, svg, html.",
      "orvspc study group --db q.db --test \"Fill volume\" --group-threshold 600 -o heads.svg",
      Together(SelectionOptions(),
               std::vector<Option>{kStudyMax, kThreshold, kSpread, kPhase, kAllPhases, kSignalExit},
               kPageOptions),
      RunGroup};
}

}  // namespace orvspc::cli
