// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/StreamTable.h"
#include "engine/store/DataSet.h"
#include "engine/store/Store.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {

// Places where a statistic of finite values is beyond the largest number. It has no value there.
class Overflows {
 public:
  // The value, or NaN when it is infinite.
  double Keep(double value, std::size_t place) {
    if (!std::isinf(value)) return value;
    places_.push_back(place);
    return platform::kNaN;
  }
  bool In(const ChartStream& stream) const;
  void Clear() { places_.clear(); }

 private:
  std::vector<std::size_t> places_;
};

// The subgroups as points, kept stream after stream, each in the order of the data set. All columns
// have one element for each subgroup; a value that does not exist is NaN.
class PointTable : public StreamTable {
 public:
  // status: the states that the selection asked for.
  void Build(const store::DataSet& data, std::int32_t status);
  void Clear();

  // Over the subgroups that count; over all where none does.
  DataShape Shape(const store::DataSet& data) const;

  const std::vector<std::int32_t>& Sizes() const { return sizes_; }

  // Mean and range of the pieces, made by Build; hosts of the table may move them out.
  std::vector<double> means, ranges;
  // Of every column that the table or a host of it makes.
  Overflows overflows;

  std::vector<double> Medians(const store::DataSet& data) const;
  // Needs the means.
  std::vector<double> StandardDeviations(const store::DataSet& data);

 private:
  void FillPlace(store::PieceReader& reader, std::size_t place, std::size_t subgroup);

  std::vector<std::int32_t> sizes_;
};

// The readings inside the pieces of every subgroup, for graph 3. Ordered by stream, as
// in the table.
struct WithinPieces {
  std::vector<std::uint32_t> begin;  // of a place in the columns below; one more at the end
  std::vector<std::int32_t> sizes;   // readings of a piece, at least 2
  std::vector<double> statistics;    // range or deviation of a piece; needed for the estimate only
  std::vector<double> points;        // mean over the pieces of a subgroup

  std::span<const std::int32_t> SizesAt(std::size_t place) const {
    return {sizes.data() + begin[place], begin[place + 1] - begin[place]};
  }
};

WithinPieces ReadWithinPieces(const store::DataSet& data, PointTable& table, bool ranges);

}  // namespace orvspc::engine::charts
