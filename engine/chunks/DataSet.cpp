// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/DataSet.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "engine/chunks/large_data.h"

namespace orvspc::engine::store {
namespace {

// Field by field: a row built aside and copied would wait for its own bytes.
void WriteRow(const RowKey& key, double value, API_TestData& out) {
  out.Sn = key.Sn;
  out.Tsno = key.Tsno;
  out.Sbno = key.Sbno;
  out.Def = key.Def;
  out.Gage = key.Gage;
  out.Val = value;
  out.Reserved = 0;
}

// The row that marks a subgroup without rows.
bool IsEmptyMarker(const RowKey& key, double value) {
  return key.Tsno == 0 && key.Sbno == 0 && key.Def == 0 && value == 0.0;
}

}  // namespace

void CopySubgroups(const DataSet& from, std::size_t begin, std::size_t end, DataSet& out) {
  if (begin >= end) return;
  const auto first = static_cast<std::ptrdiff_t>(from.subgroups[begin].Test_Start);
  const auto last = static_cast<std::ptrdiff_t>(from.subgroups[end - 1].Test_End) + 1;
  const auto shift =
      static_cast<std::int32_t>(static_cast<std::ptrdiff_t>(out.values.size()) - first);
  out.values.insert(out.values.end(), from.values.begin() + first, from.values.begin() + last);
  if (!from.keys.empty()) {
    out.keys.insert(out.keys.end(), from.keys.begin() + first, from.keys.begin() + last);
  }
  for (auto place = begin; place < end; ++place) {
    auto& subgroup = out.subgroups.emplace_back(from.subgroups[place]);
    subgroup.Test_Start += shift;
    subgroup.Test_End += shift;
    if (from.sizes.empty() && out.sizes.empty()) continue;
    const double size = from.SizeOf(place);
    if (size != subgroup.Size || !out.sizes.empty()) out.AddSize(size);
  }
}

void DataSet::AddSize(double size) {
  if (sizes.empty()) {
    for (const auto& subgroup : subgroups) sizes.push_back(subgroup.Size);
    sizes.pop_back();
  }
  sizes.push_back(size);
}

API_TestData DataSet::Row(std::size_t subgroup, std::size_t row) const {
  const auto place = static_cast<std::size_t>(subgroups[subgroup].Test_Start) + row;
  API_TestData test;
  WriteRow(keys.empty() ? PlainKey(row) : keys[place], values[place], test);
  return test;
}

void DataSet::WriteTests(std::span<API_TestData> out) const {
  ForHalves(subgroups.size(), [&](std::size_t begin, std::size_t behind) {
    for (auto i = begin; i < behind; ++i) {
      const auto first = static_cast<std::size_t>(subgroups[i].Test_Start);
      const auto end = std::min(static_cast<std::size_t>(subgroups[i].Test_End) + 1, out.size());
      for (auto place = first; place < end; ++place) {
        WriteRow(keys.empty() ? PlainKey(place - first) : keys[place], values[place], out[place]);
      }
    }
  });
}

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
