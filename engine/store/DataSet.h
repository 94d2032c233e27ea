// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/RowRecords.h"

namespace orvspc::engine::store {

// The part of a test row that is not its value. In a plain row Tsno counts 1, 2, ... inside the
// subgroup and the rest is 0.
struct RowKey {
  std::int32_t Sn, Tsno, Sbno, Def, Gage;
};

// A selected data set, oldest subgroup first. Test_Start and Test_End of a subgroup are places in
// values; every subgroup has at least one row.
struct DataSet {
  std::vector<API_SubgroupData> subgroups;
  std::vector<double> values;  // one for each test row
  std::vector<RowKey> keys;    // beside values, or empty when every row is plain
  std::vector<double> sizes;   // inspected, beside subgroups; empty where all are whole numbers

  double SizeOf(std::size_t subgroup) const {
    return sizes.empty() ? subgroups[subgroup].Size : sizes[subgroup];
  }
  // Notes the inspected size of the last subgroup.
  void AddSize(double size);

  // A row of a subgroup; row 0 is its first.
  API_TestData Row(std::size_t subgroup, std::size_t row) const;
  // Every row in its wire form; a span that is too short gets the first ones.
  void WriteTests(std::span<API_TestData> out) const;
};

// Appends a subgroup of another data set with its rows.
void CopySubgroup(const DataSet& from, std::size_t place, DataSet& out);

}  // namespace orvspc::engine::store
