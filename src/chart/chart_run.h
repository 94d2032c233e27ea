// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "chart/ChartResultRecord.h"
#include "frame/Array.h"
#include "frame/Checked.h"
#include "platform/CtrlChrt6.h"

namespace orvspc {

class CCResults;

// One of the two paths through the chart library: its data call, how it ends, its names in the
// trail.
struct ChartPath {
  bool variable;
  std::int32_t (platform::CtrlChrt6::*data)(std::int32_t, const platform::ArrayRef&,
                                            platform::ChartData, std::int32_t);
  std::int32_t (platform::CtrlChrt6::*end)();
  std::string_view totals, alarms;
};
inline constexpr ChartPath kVariablePath{
    true, &platform::CtrlChrt6::VLXCRT_VAR_DATA, &platform::CtrlChrt6::VLXCRT_VAR_END,
    "CCAnalysis.GetVariableTotals", "CCModule.LoadVariableAlarms"};
inline constexpr ChartPath kAttributePath{
    false, &platform::CtrlChrt6::VLXCRT_ATTR_DATA, &platform::CtrlChrt6::VLXCRT_ATTR_END,
    "CCAnalysis.GetAttributeTotals", "CCModule.LoadAttributeAlarms"};

// The data call of a path. The library itself knows which run is open.
struct ChartRun {
  platform::CtrlChrt6& library;
  const ChartPath& path;

  // Dimensions the array to its final length and has it filled in place; what the library does not
  // write stays 0. A count below 1 fails with 9. Graph is 1 to 3, or 0 where the code has none.
  template <class T>
  void Fetch(Array<T>& array, std::int32_t count, platform::ChartData code,
             std::int32_t graph = 0) const {
    array.Dimension(0, checked::Subtract(count, 1));
    (library.*path.data)(0, array.Ref(), code, graph);
  }
};

API_CCTotals Totals(const ChartRun& run);

// The limits call of the variable path: the three estimates and the average size of each graph. The
// third graph has its place whether there is a chart on it or not.
void ReadEstimates(platform::CtrlChrt6& library, API_CCResults& record);

// The run-rule signals of a path, cut to the rules that are enabled as alarms; a signal of another
// rule is lost. The number of graphs is that of the results, the masks are AlarmMask of the record.
void LoadAlarms(const ChartRun& run, API_CCResults& record, const CCResults& results);

// Fails with 9 when the array was never dimensioned.
void MaskArray(Array<std::int32_t>& array, std::int32_t mask);

}  // namespace orvspc
