// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"
#include "host/render/study/CountCharts.h"

namespace orvspc::cli {

namespace {

// As chart words have graph 1.
constexpr render::Word kChartWords[] = {{"auto", 0}, {"p", 0xD00}, {"c", 0xE00}, {"u", 0xF00}};
constexpr Choice<std::int32_t> kChart{
    {"chart", "WORD", "what is plotted: proportions, counts or rates", "auto", false, kChartWords}};
constexpr Option kFloor{"floor", nullptr, "never narrow the limits: a sigma z below 1 is 1"};

int RunLaney(const Arguments& arguments, Console& console) {
  studies::ReadOptions read;
  read.counts = true;
  read.bases = true;
  read.chart_word = arguments.Get(kChart);
  studies::LaneyOptions asked;
  render::LaneyDocument document;
  document.head = {"laney", {}, {}, {}};
  const auto prepare = [&](const Analysis& run, render::LaneyDocument& filled) {
    StudyOptions options(arguments, StoredOptionsOf(run, filled.data, "laney"));
    const auto chart = options.Get("Chart", kChart);
    asked.floor = options.Get("Floor", kFloor);
    filled.head.options = options.Take();
    if (chart == read.chart_word) return;
    read.chart_word = chart;
    ReadAnew(run, read, filled);
  };
  return RunOnStreams<render::LaneyDocument>(
      arguments, console, document, render::LaneyJson, render::MakeLaneyView,
      [&](render::LaneyDocument& filled) {
        auto of_data = asked;
        if (filled.data.defectives) of_data.most = filled.data.scale;
        filled.FillByLimits([&](const auto& stretch, const auto* limits_of) {
          return studies::StudyLaney(stretch, of_data, limits_of);
        });
      },
      read, 0, prepare);
}

}  // namespace

Command LaneyStudyCommand() {
  return {"study laney",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Laney's p' and u' charts of counts that vary more than their sizes explain",
          "Where thousands of units are inspected, the limits of p and u charts lie so close that "
          "most points are beyond them. Here they are as wide as the points vary from one to the "
          "next.\n"
          "Formats: text, json, svg, html.",
          "orvspc study laney --db q.db --part Can --test Leaks -o laney.svg",
          Together(SelectionOptions(),
                   std::vector<Option>{kStudyMax, kChart, kFloor, kPhase, kAllPhases, kSignalExit},
                   kPageOptions),
          RunLaney};
}

}  // namespace orvspc::cli
