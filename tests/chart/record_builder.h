// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "chart/ChartResultRecord.h"

// Small builders of records, and readers of arrays, for the tests of the chart classes.
namespace orvspc::chart_test {

template <class T>
Array<T> ArrayOf(const std::vector<T>& values) {
  Array<T> array;
  if (values.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  std::copy(values.begin(), values.end(), array.Elements().begin());
  return array;
}

template <class T>
std::vector<T> VectorOf(const Array<T>& array) {
  return {array.Elements().begin(), array.Elements().end()};
}

// A record with these subgroups and test rows and three empty graphs.
inline API_CCResults Record(const std::vector<API_SubgroupData>& subgroups,
                            const std::vector<API_TestData>& tests = {}) {
  API_CCResults record;
  record.Totals.SubgroupCount = static_cast<std::int32_t>(subgroups.size());
  record.Totals.TestCount = static_cast<std::int32_t>(tests.size());
  record.Subgroups = ArrayOf(subgroups);
  record.Tests = ArrayOf(tests);
  record.Graphs.Dimension(0, 2);
  return record;
}

}  // namespace orvspc::chart_test
