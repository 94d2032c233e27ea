// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/store/Store.h"

namespace orvspc::engine {

// Subgroups of one part, process and test. Nothing is estimated, compared or run across streams.
struct ChartStream {
  std::int32_t part = 0, process = 0, test = 0;
  std::size_t begin = 0, end = 0;  // places in the columns of the table

  std::size_t Count() const { return end - begin; }
};

// A place in a column that belongs to the stream.
template <class T>
std::span<const T> Part(const std::vector<T>& column, const ChartStream& stream) {
  if (column.empty()) return {};
  return {column.data() + stream.begin, stream.Count()};
}

// Places where a statistic of finite values is beyond the largest number. It has no value there.
class Overflows {
 public:
  // The value, or NaN when it is infinite.
  double Keep(double value, std::size_t place) {
    if (!std::isinf(value)) return value;
    places_.push_back(place);
    return std::numeric_limits<double>::quiet_NaN();
  }
  bool In(const ChartStream& stream) const;
  void Clear() { places_.clear(); }

 private:
  std::vector<std::size_t> places_;
};

// Reads the pieces of subgroups: a piece is a distinct Tsno, its value the row with Sbno 0, and the
// rows above it are readings inside it. Values that are not finite are left out.
class PieceReader {
 public:
  explicit PieceReader(const DataSet& data) : data_(data) {}

  // Finite values of the pieces in the order of Tsno. The span lives until the next call.
  std::span<const double> Pieces(std::size_t subgroup);

  // Calls once for each piece that has readings, in the order of Tsno.
  void ForEachPieceWithReadings(std::size_t subgroup,
                                const std::function<void(std::span<const double>)>& call);

 private:
  struct Row {
    std::int32_t tsno, sbno;
    double value;
  };
  void SortRows(std::size_t first, std::size_t last);

  const DataSet& data_;
  std::vector<double> pieces_;
  std::vector<Row> rows_;
};

// The subgroups as points, kept stream after stream, each in the order of the data set. All columns
// have one element for each subgroup; a value that does not exist is NaN.
class PointTable {
 public:
  // status: the states that the selection asked for, bits 1, 2, 4 for enabled, disabled,
  // incomplete. Where enabled ones were not asked for, whatever was asked for counts.
  void Build(const DataSet& data, std::int32_t status);
  void Clear();

  std::size_t Count() const { return sizes_.size(); }
  std::span<const ChartStream> Streams() const { return streams_; }
  // Place in the data set of a place in the columns.
  std::size_t SubgroupAt(std::size_t place) const { return order_.empty() ? place : order_[place]; }
  bool InOrder() const { return order_.empty(); }

  // Over the subgroups that count; over all where none does.
  DataShape Shape(const DataSet& data) const;

  const std::vector<std::int32_t>& Sizes() const { return sizes_; }
  // 0: plotted, but neither estimated from nor run through. Empty: every subgroup counts.
  const std::vector<std::uint8_t>& Used() const { return used_; }
  bool IsUsed(std::size_t place) const { return used_.empty() || used_[place] != 0; }

  // Mean and range of the pieces, made by Build; hosts of the table may move them out.
  std::vector<double> means, ranges;
  // Of every column that the table or a host of it makes.
  Overflows overflows;

  std::vector<double> Medians(const DataSet& data) const;
  // Needs the means.
  std::vector<double> StandardDeviations(const DataSet& data);

 private:
  void SplitStreams(const DataSet& data);
  void FillPlace(const DataSet& data, PieceReader& reader, std::size_t place, bool all_count);

  std::vector<ChartStream> streams_;
  std::vector<std::uint32_t> order_;
  std::vector<std::int32_t> sizes_;
  std::vector<std::uint8_t> used_;
};

// The readings inside the pieces of every subgroup, for graph 3. Streams stand one after the other
// as in the table.
struct WithinPieces {
  std::vector<std::uint32_t> begin;  // of a place in the columns below; one more at the end
  std::vector<std::int32_t> sizes;   // readings of a piece, at least 2
  std::vector<double> statistics;    // range or deviation of a piece; needed for the estimate only
  std::vector<double> points;        // mean over the pieces of a subgroup

  std::span<const std::int32_t> SizesAt(std::size_t place) const {
    return {sizes.data() + begin[place], begin[place + 1] - begin[place]};
  }
};

WithinPieces ReadWithinPieces(const DataSet& data, PointTable& table, bool ranges);

}  // namespace orvspc::engine
