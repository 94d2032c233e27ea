// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <memory>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/store/Store.h"
#include "engine/studies/StudyData.h"
#include "engine/studies/study_streams.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;

namespace {

// The run keeps no counts; they follow from the points, but for rates of opportunities.
void AddCounts(const charts::AttributeRun& run, const charts::ChartStream& stream,
               std::span<const double> units, Stretch& stretch) {
  const auto& table = run.Points();
  const auto& chart = *run.Plan().chart;
  for (auto place = stream.begin; place < stream.end; ++place) {
    const double size = units[table.SubgroupAt(place)];
    const double point = stretch.points[stretch.counts.size()];
    stretch.sizes.push_back(size);
    stretch.counts.push_back(chart.counted           ? point
                             : chart.per_opportunity ? platform::kNaN
                                                     : std::round(point / chart.scale * size));
  }
}

StudyData ReadVariables(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                        const ReadOptions& options) {
  charts::VariableRun run;
  if (options.joins_phases) run.JoinPhases();
  API_CCVarOptions asked{};
  asked.ChartWord = options.chart_word;
  asked.Constant = 2;
  const auto word = run.Process(store, info, filter, asked);
  if (word == 0) return {};
  store::PieceReader reader(run.Rows().Data());
  return Taken(run, word, [&](const charts::ChartStream& stream, Stretch& stretch) {
    AddPieces(run, stream, reader, stretch);
  });
}

StudyData ReadCounts(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                     const ReadOptions& options) {
  charts::AttributeRun run;
  if (options.joins_phases) run.JoinPhases();
  const auto word = run.Process(store, info, filter, {options.chart_word, 0, 0.0});
  if (word == 0) return {};
  const auto units = run.UnitsInspected();
  auto data = Taken(run, word, [&](const charts::ChartStream& stream, Stretch& stretch) {
    AddCounts(run, stream, units, stretch);
  });
  const auto& chart = *run.Plan().chart;
  data.defectives = chart.defectives;
  data.counted = chart.counted;
  data.scale = chart.scale;
  return data;
}

}  // namespace

StudyData ReadStudyData(platform::Database& database, const API_DSInfo& selection,
                        std::span<const std::int32_t> filter, const ReadOptions& options) {
  StudyData data;
  auto info = selection;
  const auto word = store::AnalyseWithStore(
      database.ConnectionHandle(), info, [&](const std::shared_ptr<store::Store>& store) {
        data = options.counts ? ReadCounts(*store, info, filter, options)
                              : ReadVariables(*store, info, filter, options);
        return data.chart_word;
      });
  return word == 0 ? StudyData() : data;
}

}  // namespace orvspc::studies
