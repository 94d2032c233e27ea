// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "engine/store/DataSet.h"
#include "engine/store/parallel.h"

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

RowKey PlainKey(std::size_t row) { return {0, static_cast<std::int32_t>(row + 1), 0, 0, 0}; }

}  // namespace

void CopySubgroup(const DataSet& from, std::size_t place, DataSet& out) {
  auto subgroup = from.subgroups[place];
  const auto first = static_cast<std::ptrdiff_t>(subgroup.Test_Start);
  const auto last = static_cast<std::ptrdiff_t>(subgroup.Test_End) + 1;
  subgroup.Test_Start = static_cast<std::int32_t>(out.values.size());
  out.values.insert(out.values.end(), from.values.begin() + first, from.values.begin() + last);
  if (!from.keys.empty()) {
    out.keys.insert(out.keys.end(), from.keys.begin() + first, from.keys.begin() + last);
  }
  subgroup.Test_End = static_cast<std::int32_t>(out.values.size()) - 1;
  out.subgroups.push_back(subgroup);
  out.AddSize(from.SizeOf(place));
}

void DataSet::AddSize(double size) {
  if (sizes.empty()) {
    if (size == subgroups.back().Size) return;
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

}  // namespace orvspc::engine::store
