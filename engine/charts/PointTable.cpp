// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/PointTable.h"

#include <algorithm>
#include <limits>

#include "engine/statistics/Moments.h"

namespace orvspc::engine::charts {
namespace {

using platform::kNaN;

double RangeOf(std::span<const double> values) {
  if (values.size() < 2) return kNaN;
  const auto [least, largest] = std::minmax_element(values.begin(), values.end());
  return *largest - *least;
}

struct MeanAndRange {
  double mean, range;
};

// One pass, since this is what a million subgroups cost. Deviations from the first value keep the
// digits of values far from zero.
MeanAndRange SummarisePieces(std::span<const double> pieces) {
  if (pieces.empty()) return {kNaN, kNaN};
  const double origin = pieces[0];
  double least = origin, largest = origin, sum = 0.0;
  for (const double value : pieces) {
    sum += value - origin;
    least = std::min(least, value);
    largest = std::max(largest, value);
  }
  const auto n = static_cast<double>(pieces.size());
  double mean = origin + sum / n;
  if (!std::isfinite(mean)) {
    // A mean of finite values is finite, their sum need not be.
    mean = 0.0;
    for (const double value : pieces) mean += value / n;
  }
  return {mean, pieces.size() < 2 ? kNaN : largest - least};
}

// About the mean, with the correction for its rounding; divisor n - 1. Infinite where a square is.
double DeviationOf(std::span<const double> pieces, double mean) {
  if (pieces.size() < 2) return kNaN;
  const auto n = static_cast<double>(pieces.size());
  double sum = 0.0, squares = 0.0;
  for (const double value : pieces) {
    const double distance = value - mean;
    sum += distance;
    squares += distance * distance;
  }
  if (!std::isfinite(squares)) return std::numeric_limits<double>::infinity();
  return std::sqrt(std::max(0.0, squares - sum * sum / n) / (n - 1.0));
}

}  // namespace

bool Overflows::In(const ChartStream& stream) const {
  return std::any_of(places_.begin(), places_.end(), [&](std::size_t place) {
    return stream.begin <= place && place < stream.end;
  });
}

void PointTable::Clear() {
  ClearStreams();
  sizes_.clear();
  means.clear();
  ranges.clear();
  overflows.Clear();
}

void PointTable::Build(const store::DataSet& data, std::int32_t status) {
  Clear();
  const auto count = data.subgroups.size();
  sizes_.resize(count);
  means.resize(count);
  ranges.resize(count);
  store::PieceReader reader(data);
  StreamTable::Build(
      data, status,
      [&](std::size_t place, std::size_t subgroup) { FillPlace(reader, place, subgroup); },
      [&] { overflows.Clear(); });
}

void PointTable::FillPlace(store::PieceReader& reader, std::size_t place, std::size_t subgroup) {
  const auto pieces = reader.Pieces(subgroup);
  const auto summary = SummarisePieces(pieces);
  sizes_[place] = static_cast<std::int32_t>(pieces.size());
  means[place] = summary.mean;
  ranges[place] = overflows.Keep(summary.range, place);
}

DataShape PointTable::Shape(const store::DataSet& data) const {
  DataShape shape;
  const bool any_used = Used().empty() || std::any_of(Used().begin(), Used().end(),
                                                      [](auto used) { return used != 0; });
  const bool any_readings = std::any_of(data.keys.begin(), data.keys.end(),
                                        [](const store::RowKey& key) { return key.Sbno > 0; });
  store::PieceReader reader(data);
  for (std::size_t place = 0; place < Count(); ++place) {
    if (any_used && !IsUsed(place)) continue;
    if (const auto size = sizes_[place]; size > 0) {
      shape.least_size = shape.least_size == 0 ? size : std::min(shape.least_size, size);
      shape.largest_size = std::max(shape.largest_size, size);
    }
    if (!any_readings) continue;
    reader.ForEachPieceWithReadings(SubgroupAt(place), [&](std::span<const double> readings) {
      shape.most_readings =
          std::max(shape.most_readings, static_cast<std::int32_t>(readings.size()));
    });
  }
  return shape;
}

std::vector<double> PointTable::Medians(const store::DataSet& data) const {
  std::vector<double> column(Count());
  store::PieceReader reader(data);
  for (std::size_t place = 0; place < column.size(); ++place) {
    column[place] = statistics::Median(reader.Pieces(SubgroupAt(place)));
  }
  return column;
}

std::vector<double> PointTable::StandardDeviations(const store::DataSet& data) {
  std::vector<double> column(Count());
  store::PieceReader reader(data);
  for (std::size_t place = 0; place < column.size(); ++place) {
    column[place] =
        overflows.Keep(DeviationOf(reader.Pieces(SubgroupAt(place)), means[place]), place);
  }
  return column;
}

WithinPieces ReadWithinPieces(const store::DataSet& data, PointTable& table, bool ranges) {
  WithinPieces within;
  within.begin.reserve(table.Count() + 1);
  within.points.reserve(table.Count());
  store::PieceReader reader(data);
  for (std::size_t place = 0; place < table.Count(); ++place) {
    within.begin.push_back(static_cast<std::uint32_t>(within.sizes.size()));
    double sum = 0.0;
    std::int32_t pieces = 0;
    reader.ForEachPieceWithReadings(table.SubgroupAt(place), [&](std::span<const double> readings) {
      if (readings.size() < 2) return;
      const double statistic = table.overflows.Keep(
          ranges ? RangeOf(readings) : DeviationOf(readings, SummarisePieces(readings).mean),
          place);
      if (std::isnan(statistic)) return;
      within.sizes.push_back(static_cast<std::int32_t>(readings.size()));
      within.statistics.push_back(statistic);
      sum += statistic;
      ++pieces;
    });
    within.points.push_back(pieces == 0 ? kNaN : table.overflows.Keep(sum / pieces, place));
  }
  within.begin.push_back(static_cast<std::uint32_t>(within.sizes.size()));
  return within;
}

}  // namespace orvspc::engine::charts
