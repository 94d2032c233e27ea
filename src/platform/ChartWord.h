// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The chart word of the chart library, in which limits are stored, too: a hex digit for each graph.
namespace orvspc::platform {

//   graph 1   0 the best guess, 1 to 5 charts of values, 8 to F charts of counts; 6 and 7 are free
//   graph 2   0 none, 1 to 4
//   graph 3   0 none, 1 and 2
struct ChartCodes {
  std::int32_t graph1, graph2, graph3;

  bool IsOfCounts() const { return graph1 >= 8; }
};
constexpr ChartCodes ChartCodesOf(std::int32_t word) {
  return {(word >> 8) & 15, (word >> 4) & 15, word & 15};
}

constexpr bool IsChartWord(std::int32_t word) {
  const auto codes = ChartCodesOf(word);
  return (word & ~0xFFF) == 0 && codes.graph1 != 6 && codes.graph1 != 7 && codes.graph2 <= 4 &&
         codes.graph3 <= 2;
}

}  // namespace orvspc::platform
