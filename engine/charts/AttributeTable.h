// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "engine/charts/AttributePlan.h"
#include "engine/charts/StreamTable.h"

namespace orvspc::engine::charts {

// The counts of subgroups of attribute tests, kept stream after stream.
class AttributeTable : public StreamTable {
 public:
  // type_of: TestTypes of a test. status: the states that the selection asked for.
  void Build(const store::DataSet& data, std::int32_t status,
             const std::function<std::int32_t(std::int32_t test)>& type_of);
  void Clear();

  // Over the subgroups that count; over all where none does.
  AttributeShape Shape() const;

  // Units inspected; 0 for not known. Of a test of defects also fractions.
  std::vector<double> sizes;
  // Sum over the rows, and units that are bad. A unit with a number (Tsno above 0) is one bad unit
  // if any of its rows counts something, in a test of defectives as many as its largest row says; a
  // row without a number stands for as many bad units as it counts. So a named unit with three
  // codes is one defective with three defects, and a bare count of 12 is twelve of either.
  std::vector<double> defects, defectives;

 private:
  bool only_defects_ = true;
};

}  // namespace orvspc::engine::charts
