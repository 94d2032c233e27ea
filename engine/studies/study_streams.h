// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "engine/charts/VariableRun.h"
#include "engine/studies/StudyData.h"

// Streams and stretches of studies out of the run of a chart.
namespace orvspc::studies {

// Places of one stretch in the columns of a run.
template <class Run>
Stretch StretchOf(const Run& run, std::size_t s) {
  namespace charts = engine::charts;
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

inline void AddPieces(const engine::charts::VariableRun& run,
                      const engine::charts::ChartStream& stream, engine::store::PieceReader& reader,
                      Stretch& stretch) {
  const auto& table = run.Points();
  stretch.first_piece.push_back(0);
  for (auto place = stream.begin; place < stream.end; ++place) {
    const auto pieces = reader.Pieces(table.SubgroupAt(place));
    stretch.pieces.insert(stretch.pieces.end(), pieces.begin(), pieces.end());
    stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
    stretch.sizes.push_back(static_cast<double>(pieces.size()));
  }
}

// add(s, stretch) gives stretch s of the run what only this kind of run has.
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
    add(s, stretch);
    data.streams.back().stretches.push_back(std::move(stretch));
  }
  return data;
}

}  // namespace orvspc::studies
