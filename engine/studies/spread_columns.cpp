// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/spread_columns.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/statistics/Moments.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr std::int32_t kLargestForRanges = 10;

std::vector<std::uint8_t> Both(const std::vector<std::uint8_t>& base,
                               const std::vector<std::uint8_t>& takes) {
  auto both = base;
  for (std::size_t i = 0; i < takes.size(); ++i) {
    if (takes[i] == 0) both[i] = 0;
  }
  return both;
}

}  // namespace

SpreadColumns SpreadColumnsOf(const Stretch& stretch, SpreadGraph asked) {
  SpreadColumns columns;
  columns.base = BaseOf(stretch);
  std::int32_t smallest = INT32_MAX, largest = 0;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    statistics::SampleSummary summary{1, 0.0, kNaN, kNaN, 0.0, 0.0};
    if (!stretch.first_piece.empty()) summary = statistics::Summarise(stretch.PiecesOf(i));
    columns.used.push_back(stretch.IsUsed(i) ? 1 : 0);
    columns.sizes.push_back(summary.count);
    columns.ranges.push_back(summary.range);
    columns.sds.push_back(summary.sd);
    if (!stretch.IsUsed(i) || summary.count == 0) continue;
    smallest = std::min(smallest, summary.count);
    largest = std::max(largest, summary.count);
  }
  const bool suits_ranges = smallest > 1 && largest <= kLargestForRanges;
  columns.graph = largest <= 1                 ? SpreadGraph::MovingRange
                  : asked != SpreadGraph::Auto ? asked
                  : suits_ranges               ? SpreadGraph::Range
                                               : SpreadGraph::Deviation;
  return columns;
}

statistics::SigmaEstimate SigmaOf(const SpreadColumns& columns,
                                  const std::vector<std::uint8_t>& takes,
                                  const std::vector<double>& scales) {
  auto values = columns.Moving() ? columns.levels : columns.Spreads();
  for (std::size_t i = 0; i < scales.size(); ++i) values[i] /= scales[i];
  const auto used = Both(columns.base, takes);
  constexpr auto kSetting = statistics::kUsualEstimator;
  switch (columns.graph) {
    case SpreadGraph::MovingRange:
      return statistics::SigmaFromMovingRanges(values, used, kSetting, columns.anew);
    case SpreadGraph::Range:
      return statistics::SigmaFromRanges(values, columns.sizes, kSetting, used);
    default:
      return statistics::SigmaFromSds(values, columns.sizes, kSetting, used);
  }
}

Figure MeanOf(const SpreadColumns& columns, const std::vector<double>& values,
              const std::vector<std::uint8_t>& takes) {
  const auto used = Both(columns.base, takes);
  Figure mean{kNaN, "mean", kNaN, 0, 0};
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!takes.empty() && takes[i] == 0) continue;
    ++(used[i] != 0 && std::isfinite(values[i]) ? mean.used : mean.left);
  }
  mean.value = columns.Moving() ? statistics::PlainCentre(values, used)
                                : statistics::WeightedCentre(values, columns.sizes, used);
  return mean;
}

Figure AsFigure(const statistics::SigmaEstimate& sigma, std::size_t all) {
  if (!sigma.Exists()) return {};
  return {sigma.value, std::string(sigma.name), sigma.constant, sigma.used,
          static_cast<std::int64_t>(all) - sigma.used};
}

statistics::PointLimits SpreadLimits(SpreadGraph graph, double sigma, std::int32_t size) {
  return graph == SpreadGraph::MovingRange ? statistics::MovingRangeLimits(sigma)
         : graph == SpreadGraph::Range     ? statistics::RangeLimits(sigma, size)
                                           : statistics::SdLimits(sigma, size);
}

}  // namespace orvspc::studies
