// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/StudyData.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/store/Store.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;

namespace {

// Places of one stretch in the columns of a run.
template <class Run>
Stretch StretchOf(const Run& run, std::size_t s) {
  const auto& table = run.Points();
  const auto& stream = run.Streams()[s];
  const auto& data = run.Rows().Data();
  Stretch stretch;
  if (const auto* const phase = table.PhaseOf(stream)) stretch.phase = *phase;
  auto columns = run.PlainColumnsOf(s);
  stretch.points = std::move(columns.points);
  stretch.centre = std::move(columns.centre);
  stretch.sigma = std::move(columns.sigma);
  stretch.restart = std::move(columns.restart);
  const auto used = charts::Part(table.Used(), stream);
  stretch.used.assign(used.begin(), used.end());
  for (auto place = stream.begin; place < stream.end; ++place) {
    const auto& subgroup = data.subgroups[table.SubgroupAt(place)];
    stretch.times.push_back(subgroup.Sgtm);
    stretch.subgroups.push_back(subgroup.Sgrp);
  }
  const auto report = charts::ReportOf(stream, run.EstimatesOf(s));
  stretch.mean = report.mean;
  stretch.sp = report.sp;
  return stretch;
}

void AddPieces(const charts::VariableRun& run, const charts::ChartStream& stream,
               store::PieceReader& reader, Stretch& stretch) {
  const auto& table = run.Points();
  stretch.first_piece.push_back(0);
  for (auto place = stream.begin; place < stream.end; ++place) {
    const auto pieces = reader.Pieces(table.SubgroupAt(place));
    stretch.pieces.insert(stretch.pieces.end(), pieces.begin(), pieces.end());
    stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
    stretch.sizes.push_back(static_cast<double>(pieces.size()));
  }
}

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

// add(stream, stretch) gives a stretch what only this kind of run has.
template <class Run, class Add>
StudyData Taken(const Run& run, std::int32_t word, Add add) {
  StudyData data;
  data.chart_word = word;
  std::size_t first = 0;  // stretch of the stream
  const auto streams = run.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    if (s == 0 || streams[s - 1].number != stream.number) {
      data.streams.push_back({stream.part, stream.process, stream.test, {}});
      first = s;
    }
    auto stretch = StretchOf(run, s);
    stretch.limits_of = stream.limits_of < first ? 0 : stream.limits_of - first;
    add(stream, stretch);
    data.streams.back().stretches.push_back(std::move(stretch));
  }
  return data;
}

StudyData ReadVariables(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                        const ReadOptions& options) {
  charts::VariableRun run;
  run.NoteNoMisfit();
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
  run.NoteNoMisfit();
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
