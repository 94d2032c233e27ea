// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/SelectionRecord.h"

// The blocks of the flat selection, cut out of the filter array and not yet looked up.
namespace orvspc::engine::store {

struct FilterBlock {
  bool limited = false;    // false: every item
  bool is_group = false;   // true: the group cell and an item of 0 stand for the members
  std::int32_t group = 0;  // group cell
  std::vector<std::int32_t> items;
};

struct FlatFilter {
  FilterBlock part, process, test, job, lot, shift, employee, defect;
  std::vector<FilterBlock> others;  // of further descriptors
};

// Throws std::out_of_range with a reason for a person when the blocks pass the end of the array or
// are none of the known forms.
FlatFilter ReadFilter(const API_DSInfo& info, std::span<const std::int32_t> cells);

}  // namespace orvspc::engine::store
