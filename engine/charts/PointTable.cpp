// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/PointTable.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "engine/statistics/Moments.h"

namespace orvspc::engine {
namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

struct RowRange {
  std::size_t begin = 0, count = 0;
};

// Rows of a subgroup; none where its bounds do not lie in the data.
RowRange RowsOf(const DataSet& data, std::size_t subgroup) {
  const auto& row = data.subgroups[subgroup];
  if (row.Test_Start < 0 || row.Test_End < row.Test_Start) return {};
  const auto begin = static_cast<std::size_t>(row.Test_Start);
  const auto end = static_cast<std::size_t>(row.Test_End) + 1;
  if (end > data.values.size()) return {};
  return {begin, end - begin};
}

// The row that stands for a subgroup without any.
bool IsEmptyMarker(const RowKey& key, double value) {
  return key.Tsno == 0 && key.Sbno == 0 && key.Def == 0 && value == 0.0;
}

using StreamTuple = std::tuple<std::int32_t, std::int32_t, std::int32_t>;

StreamTuple KeyOf(const API_SubgroupData& row) { return {row.Part, row.Prcs, row.Test}; }

double RangeOf(std::span<const double> values) {
  if (values.size() < 2) return kNoValue;
  const auto [least, largest] = std::minmax_element(values.begin(), values.end());
  return *largest - *least;
}

struct MeanAndRange {
  double mean, range;
};

// One pass, since this is what a million subgroups cost. Deviations from the first value keep the
// digits of values far from zero.
MeanAndRange SummarisePieces(std::span<const double> pieces) {
  if (pieces.empty()) return {kNoValue, kNoValue};
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
  return {mean, pieces.size() < 2 ? kNoValue : largest - least};
}

// About the mean, with the correction for its rounding; divisor n - 1. Infinite where a square is.
double DeviationOf(std::span<const double> pieces, double mean) {
  if (pieces.size() < 2) return kNoValue;
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

std::span<const double> PieceReader::Pieces(std::size_t subgroup) {
  const auto rows = RowsOf(data_, subgroup);
  if (rows.count == 0) return {};
  if (data_.keys.empty()) {
    const std::span values{data_.values.data() + rows.begin, rows.count};
    // A sum is finite only if every term is, or the rare overflow sends it the slow way.
    double sum = 0.0;
    for (const double value : values) sum += value;
    if (std::isfinite(sum)) return values;
    pieces_.assign(values.begin(), values.end());
  } else {
    if (rows.count == 1 && IsEmptyMarker(data_.keys[rows.begin], data_.values[rows.begin])) {
      return {};
    }
    SortRows(rows.begin, rows.begin + rows.count);
    pieces_.clear();
    for (const auto& row : rows_) {
      if (row.sbno == 0) pieces_.push_back(row.value);
    }
  }
  std::erase_if(pieces_, [](double value) { return !std::isfinite(value); });
  return pieces_;
}

void PieceReader::ForEachPieceWithReadings(
    std::size_t subgroup, const std::function<void(std::span<const double>)>& call) {
  if (data_.keys.empty()) return;
  const auto rows = RowsOf(data_, subgroup);
  SortRows(rows.begin, rows.begin + rows.count);
  for (std::size_t i = 0; i < rows_.size();) {
    const auto tsno = rows_[i].tsno;
    pieces_.clear();
    for (; i < rows_.size() && rows_[i].tsno == tsno; ++i) {
      if (rows_[i].sbno > 0 && std::isfinite(rows_[i].value)) pieces_.push_back(rows_[i].value);
    }
    if (!pieces_.empty()) call(pieces_);
  }
}

void PieceReader::SortRows(std::size_t first, std::size_t last) {
  rows_.clear();
  for (std::size_t i = first; i < last; ++i) {
    rows_.push_back({data_.keys[i].Tsno, data_.keys[i].Sbno, data_.values[i]});
  }
  const auto before = [](const Row& a, const Row& b) {
    return std::tie(a.tsno, a.sbno) < std::tie(b.tsno, b.sbno);
  };
  if (!std::is_sorted(rows_.begin(), rows_.end(), before)) {
    std::stable_sort(rows_.begin(), rows_.end(), before);
  }
}

void PointTable::Clear() {
  streams_.clear();
  order_.clear();
  sizes_.clear();
  used_.clear();
  means.clear();
  ranges.clear();
  overflows.Clear();
}

void PointTable::Build(const DataSet& data, std::int32_t status) {
  constexpr std::int32_t kEnabledAsked = 1;
  Clear();
  const auto count = data.subgroups.size();
  if (count == 0) return;
  sizes_.resize(count);
  means.resize(count);
  ranges.resize(count);
  // One pass over the rows, which are the largest part of the data, as long as there is one stream.
  PieceReader reader(data);
  const bool all_count = status != 0 && (status & kEnabledAsked) == 0;
  const auto key = KeyOf(data.subgroups[0]);
  std::size_t place = 0;
  while (place < count && KeyOf(data.subgroups[place]) == key)
    FillPlace(data, reader, place++, all_count);
  if (place == count) {
    streams_.push_back(
        {data.subgroups[0].Part, data.subgroups[0].Prcs, data.subgroups[0].Test, 0, count});
    return;
  }
  used_.clear();
  overflows.Clear();
  SplitStreams(data);
  for (place = 0; place < count; ++place) FillPlace(data, reader, place, all_count);
}

void PointTable::FillPlace(const DataSet& data, PieceReader& reader, std::size_t place,
                           bool all_count) {
  const auto subgroup = SubgroupAt(place);
  const auto pieces = reader.Pieces(subgroup);
  const auto summary = SummarisePieces(pieces);
  sizes_[place] = static_cast<std::int32_t>(pieces.size());
  means[place] = summary.mean;
  ranges[place] = overflows.Keep(summary.range, place);
  if (all_count || data.subgroups[subgroup].Flag == 0) return;
  if (used_.empty()) used_.assign(sizes_.size(), 1);
  used_[place] = 0;
}

// Streams in the order of their first subgroup; a counting sort keeps the order inside each.
void PointTable::SplitStreams(const DataSet& data) {
  const auto count = data.subgroups.size();
  std::map<StreamTuple, std::size_t> numbers;
  std::vector<std::uint32_t> stream_of(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& row = data.subgroups[i];
    const auto [found, fresh] = numbers.try_emplace(KeyOf(row), streams_.size());
    if (fresh) streams_.push_back({row.Part, row.Prcs, row.Test, 0, 0});
    stream_of[i] = static_cast<std::uint32_t>(found->second);
    ++streams_[found->second].end;
  }
  std::size_t place = 0;
  for (auto& stream : streams_) {
    stream.begin = place;
    place += stream.end;
    stream.end = stream.begin;
  }
  order_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    order_[streams_[stream_of[i]].end++] = static_cast<std::uint32_t>(i);
  }
}

DataShape PointTable::Shape(const DataSet& data) const {
  DataShape shape;
  const bool any_used =
      used_.empty() || std::any_of(used_.begin(), used_.end(), [](auto used) { return used != 0; });
  const bool any_readings = std::any_of(data.keys.begin(), data.keys.end(),
                                        [](const RowKey& key) { return key.Sbno > 0; });
  PieceReader reader(data);
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

std::vector<double> PointTable::Medians(const DataSet& data) const {
  std::vector<double> column(Count());
  PieceReader reader(data);
  for (std::size_t place = 0; place < column.size(); ++place) {
    column[place] = Median(reader.Pieces(SubgroupAt(place)));
  }
  return column;
}

std::vector<double> PointTable::StandardDeviations(const DataSet& data) {
  std::vector<double> column(Count());
  PieceReader reader(data);
  for (std::size_t place = 0; place < column.size(); ++place) {
    column[place] =
        overflows.Keep(DeviationOf(reader.Pieces(SubgroupAt(place)), means[place]), place);
  }
  return column;
}

WithinPieces ReadWithinPieces(const DataSet& data, PointTable& table, bool ranges) {
  WithinPieces within;
  within.begin.reserve(table.Count() + 1);
  within.points.reserve(table.Count());
  PieceReader reader(data);
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
    within.points.push_back(pieces == 0 ? kNoValue : table.overflows.Keep(sum / pieces, place));
  }
  within.begin.push_back(static_cast<std::uint32_t>(within.sizes.size()));
  return within;
}

}  // namespace orvspc::engine
