// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/PointTable.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "engine/statistics/Moments.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::charts {

void StreamTable::ClearStreams() {
  streams_.clear();
  Forget(order_);
  Forget(used_);
  Forget(anew_);
  phases_.clear();
  are_cut_ = false;
}

void StreamTable::AddStream(const API_SubgroupData& row, std::size_t count) {
  const auto number = streams_.size();
  streams_.push_back({row.Part, row.Prcs, row.Test, 0, count, number, number});
}

void StreamTable::Disuse(std::size_t place, std::size_t count) {
  if (used_.empty()) used_.assign(count, 1);
  used_[place] = 0;
}

// Streams in the order of their first subgroup; a counting sort keeps the order inside each.
void StreamTable::SplitStreams(const store::DataSet& data) {
  const auto count = data.subgroups.size();
  std::map<std::tuple<std::int32_t, std::int32_t, std::int32_t>, std::size_t> numbers;
  std::vector<std::uint32_t> stream_of(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& row = data.subgroups[i];
    const auto [found, fresh] =
        numbers.try_emplace(std::tuple(row.Part, row.Prcs, row.Test), streams_.size());
    if (fresh) AddStream(row, 0);
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

struct Counts {
  double defects = 0.0, defectives = 0.0;
};

class CountReader {
 public:
  explicit CountReader(const store::DataSet& data) : data_(data) {}

  Counts Read(std::size_t subgroup, bool of_defectives) {
    Counts counts;
    units_.clear();
    const auto rows = store::RowsOf(data_, subgroup);
    for (auto row = rows.begin; row < rows.begin + rows.count; ++row) {
      const double value = data_.values[row];
      if (!std::isfinite(value)) continue;
      counts.defects += value;
      // Rows without keys count 1, 2, ... inside their subgroup.
      const auto unit = data_.keys.empty() ? static_cast<std::int32_t>(row - rows.begin) + 1
                                           : data_.keys[row].Tsno;
      if (unit == 0) {
        counts.defectives += value;
      } else {
        units_.emplace_back(unit, of_defectives ? value : (value > 0.0 ? 1.0 : 0.0));
      }
    }
    std::sort(units_.begin(), units_.end());
    double bad = 0.0;
    for (std::size_t i = 0; i < units_.size(); ++i) {
      // The last of a unit is its largest.
      if (i + 1 == units_.size() || units_[i + 1].first != units_[i].first) bad += units_[i].second;
    }
    counts.defectives += bad;
    return counts;
  }

 private:
  const store::DataSet& data_;
  std::vector<std::pair<std::int32_t, double>> units_;
};

}  // namespace

bool Overflows::In(const ChartStream& stream) const {
  return std::any_of(places_.begin(), places_.end(), [&](std::size_t place) {
    return stream.begin <= place && place < stream.end;
  });
}

void PointTable::Clear() {
  ClearStreams();
  Forget(sizes_);
  Forget(means);
  Forget(ranges);
  overflows.Clear();
}

void PointTable::Build(const store::DataSet& data, std::int32_t status) {
  Clear();
  const auto count = data.subgroups.size();
  sizes_.resize(count);
  means.resize(count);
  ranges.resize(count);
  store::PieceReader reader(data);
  const auto fill = [&](std::size_t place, std::size_t subgroup) {
    const auto pieces = reader.Pieces(subgroup);
    const auto [mean, range] = SummarisePieces(pieces);
    sizes_[place] = static_cast<std::int32_t>(pieces.size());
    means[place] = mean;
    ranges[place] = overflows.Keep(range, place);
  };
  StreamTable::Build(data, status, fill, [&] { overflows.Clear(); });
}

DataShape PointTable::Shape(const store::DataSet& data) const {
  DataShape shape;
  const bool any_readings = std::any_of(data.keys.begin(), data.keys.end(),
                                        [](const store::RowKey& key) { return key.Sbno > 0; });
  store::PieceReader reader(data);
  ForEachThatCounts([&](std::size_t place) {
    shape.AddSize(sizes_[place]);
    if (!any_readings) return;
    reader.ForEachPieceWithReadings(SubgroupAt(place), [&](std::span<const double> readings) {
      shape.most_readings =
          std::max(shape.most_readings, static_cast<std::int32_t>(readings.size()));
    });
  });
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

void AttributeTable::Clear() {
  ClearStreams();
  Forget(sizes);
  Forget(defects);
  Forget(defectives);
  only_defects_ = true;
}

void AttributeTable::Build(const store::DataSet& data, std::int32_t status,
                           const std::function<std::int32_t(std::int32_t test)>& type_of) {
  Clear();
  const auto count = data.subgroups.size();
  sizes.resize(count);
  defects.resize(count);
  defectives.resize(count);
  CountReader reader(data);
  std::int32_t test = 0;
  bool of_defectives = false;
  const auto fill = [&](std::size_t place, std::size_t subgroup) {
    const auto& row = data.subgroups[subgroup];
    if (place == 0 || row.Test != test) {
      test = row.Test;
      of_defectives = type_of(test) == ttDefectives;
      only_defects_ = only_defects_ && !of_defectives;
    }
    const auto counts = reader.Read(subgroup, of_defectives);
    sizes[place] = std::max(data.SizeOf(subgroup), 0.0);
    defects[place] = counts.defects;
    defectives[place] = counts.defectives;
  };
  StreamTable::Build(data, status, fill, [] {});
}

AttributeShape AttributeTable::Shape() const {
  AttributeShape shape;
  shape.only_defects = only_defects_;
  std::optional<double> first;
  ForEachThatCounts([&](std::size_t place) {
    if (!first) first = sizes[place];
    shape.sizes_differ = shape.sizes_differ || sizes[place] != *first;
  });
  return shape;
}

}  // namespace orvspc::engine::charts
