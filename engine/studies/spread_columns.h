// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/Estimators.h"
#include "engine/studies/Figures.h"
#include "engine/studies/SpreadGraph.h"
#include "engine/studies/StudyData.h"

// What studies estimate from the subgroups of several parts or streams.
namespace orvspc::studies {

// One element a subgroup; NaN: no such figure.
struct SpreadColumns {
  std::vector<double> levels;  // that moving ranges are taken of
  std::vector<double> ranges, sds;
  std::vector<std::int32_t> sizes;
  std::vector<std::uint8_t> used;
  std::vector<std::uint8_t> base;  // those of the used ones that estimates are made of
  std::vector<std::uint8_t> anew;  // not 0: no moving range leads here; empty: nowhere
  SpreadGraph graph = SpreadGraph::Range;

  bool Moving() const { return graph == SpreadGraph::MovingRange; }
  const std::vector<double>& Spreads() const { return graph == SpreadGraph::Range ? ranges : sds; }
};

// Without levels and starts; asked: Auto, Range or Deviation.
SpreadColumns SpreadColumnsOf(const Stretch& stretch, SpreadGraph asked);

// In both: takes has an element a subgroup, 0 where it is left out; empty: all of the base.
// Sigma of a piece; scales: what each level or spread is divided by; empty: nothing.
engine::statistics::SigmaEstimate SigmaOf(const SpreadColumns& columns,
                                          const std::vector<std::uint8_t>& takes = {},
                                          const std::vector<double>& scales = {});
// Of values; singles count alike, others by their sizes.
Figure MeanOf(const SpreadColumns& columns, const std::vector<double>& values,
              const std::vector<std::uint8_t>& takes = {});

// all: subgroups that it might have been made from.
Figure AsFigure(const engine::statistics::SigmaEstimate& sigma, std::size_t all);

// Lines of graph 2 at sizes of a subgroup.
engine::statistics::PointLimits SpreadLimits(SpreadGraph graph, double sigma, std::int32_t size);

}  // namespace orvspc::studies
