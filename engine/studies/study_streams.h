// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "engine/charts/VariableRun.h"
#include "engine/store/Store.h"
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

// A stretch that is not shown, and the place of that which has its limits from it.
struct Base {
  Stretch stretch;
  std::size_t of = 0;
};

// Puts bases before the stretches of a stream.
inline void PutBases(std::vector<Base> bases, std::vector<Stretch>& stretches) {
  const auto count = bases.size();
  for (auto& stretch : stretches) {
    const auto base = std::ranges::find(bases, stretch.limits_of, &Base::of);
    stretch.limits_of = base == bases.end() ? stretch.limits_of + count
                                            : static_cast<std::size_t>(base - bases.begin());
  }
  for (std::size_t b = count; b-- > 0;) {
    auto& base = bases[b].stretch;
    base.limits_of = b;
    base.is_shown = false;
    stretches.insert(stretches.begin(), std::move(base));
  }
}

// Puts what the run took its limits from before the stretches that have them. read(whole) reads all
// streams of a time into something with `data`; added(of, i, p, s) is called for each stretch p of
// its stream i that comes to stream s.
template <class Run, class Read, class Added>
void AddBases(const Run& run, StudyData& data, Read read, Added added) {
  std::map<typename Run::Whole, decltype(read(typename Run::Whole()))> known;
  std::size_t place = 0;
  for (std::size_t s = 0; s < data.streams.size(); ++s) {
    auto& stream = data.streams[s];
    std::vector<Base> bases;
    for (std::size_t of = 0; of < stream.stretches.size(); ++of, ++place) {
      const auto* const whole = run.TakenFrom(place);
      if (whole == nullptr) continue;
      auto found = known.find(*whole);
      if (found == known.end()) found = known.emplace(*whole, read(*whole)).first;
      const auto& streams = found->second.data.streams;
      for (std::size_t i = 0; i < streams.size(); ++i) {
        const auto& other = streams[i];
        if (other.part != stream.part || other.process != stream.process ||
            other.test != stream.test) {
          continue;
        }
        const auto stretch = std::ranges::find(other.stretches, whole->phase,
                                               [](const Stretch& each) { return each.phase.id; });
        if (stretch == other.stretches.end()) continue;
        bases.push_back({*stretch, of});
        added(found->second, i, static_cast<std::size_t>(stretch - other.stretches.begin()), s);
      }
    }
    PutBases(std::move(bases), stream.stretches);
  }
}

}  // namespace orvspc::studies
