// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/ChartsInUse.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/Marks.h"
#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"
#include "engine/store/requirements.h"
#include "engine/studies/run_rules.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

// The size of most of the newest points, those of one phase.
double UsualSize(const Stretch& stretch, std::vector<Note>& notes) {
  std::vector<double> sizes;
  for (std::size_t i = 0; i < stretch.sizes.size(); ++i) {
    if (stretch.IsUsed(i) && stretch.sizes[i] > 0.0) sizes.push_back(stretch.sizes[i]);
  }
  if (sizes.empty()) return 1.0;
  std::ranges::sort(sizes);
  if (sizes.front() != sizes.back()) {
    notes.push_back({"sizes-differ",
                     "Sizes differ; the run length is that of the middle one in order of size.",
                     {}});
  }
  return sizes[sizes.size() / 2];
}

// What judges graph 1 of a stream.
std::vector<ChartRule> RulesInUse(store::Store& store, const Stream& stream,
                                  charts::ChartKind kind) {
  const auto bits = store.AlarmBits(stream.part, stream.process, stream.test, 1);
  std::vector<statistics::RunRule> stored, selected;
  const auto& list = store.Rules();
  charts::ConvertRules(list, stored);
  std::erase_if(stored,
                [&](const auto& rule) { return (bits & statistics::RuleBit(rule.number)) == 0; });
  charts::SelectForGraph(stored, kind, false, selected);
  std::erase_if(selected, IsOfPieces);
  std::vector<ChartRule> rules;
  for (auto& rule : selected) {
    const auto named = std::ranges::find(list, rule.number, &store::StoredRule::number);
    if (named != list.end()) rule.text = named->text;
    rules.push_back(AsChartRule(rule));
  }
  return rules;
}

}  // namespace

std::vector<ChartInUse> ReadChartsInUse(platform::Database& database, const API_DSInfo& selection,
                                        std::span<const std::int32_t> filter,
                                        const ReadOptions& options) {
  std::vector<ChartInUse> charts;
  const auto data = ReadStudyData(database, selection, filter, options);
  auto info = selection;
  const auto read = [&](const std::shared_ptr<store::Store>& store) {
    for (const auto& stream : data.streams) {
      auto& chart = charts.emplace_back();
      chart.part = stream.part;
      chart.process = stream.process;
      chart.test = stream.test;
      const auto& newest = stream.stretches.back();
      auto& made = chart.options;
      made.full_windows = true;
      made.rules = RulesInUse(
          *store, stream,
          options.counts ? charts::ChartKind::Attribute : charts::ChartKind::Individuals);
      made.size = UsualSize(newest, chart.notes);
      chart.interval = store::SamplingIntervalOf(*store, stream.part, stream.process, stream.test,
                                                 newest.times.back())
                           .value_or(kNaN);
      if (!options.counts) continue;
      made.points = data.defectives ? PointsOf::Defectives : PointsOf::Defects;
      if (data.counted && !data.defectives) made.size = 1.0;
      for (const double centre : newest.centre) {
        if (!std::isnan(centre)) made.mean = centre / data.scale;
      }
      if (data.counted) made.mean /= made.size;
    }
    return 1;
  };
  if (!data.Empty()) store::AnalyseWithStore(database.ConnectionHandle(), info, read);
  return charts;
}

}  // namespace orvspc::studies
