// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Pieces.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace orvspc::engine::store {
namespace {

// The row that stands for a subgroup without any.
bool IsEmptyMarker(const RowKey& key, double value) {
  return key.Tsno == 0 && key.Sbno == 0 && key.Def == 0 && value == 0.0;
}

}  // namespace

RowRange RowsOf(const DataSet& data, std::size_t subgroup) {
  const auto& row = data.subgroups[subgroup];
  if (row.Test_Start < 0 || row.Test_End < row.Test_Start) return {};
  const auto begin = static_cast<std::size_t>(row.Test_Start);
  const auto end = static_cast<std::size_t>(row.Test_End) + 1;
  if (end > data.values.size()) return {};
  return {begin, end - begin};
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

}  // namespace orvspc::engine::store
