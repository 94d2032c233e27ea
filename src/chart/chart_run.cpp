// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_run.h"

#include "chart/CCResults.h"
#include "frame/Trail.h"

namespace orvspc {

using platform::ChartData;

API_CCTotals Totals(const ChartRun& run) {
  return Traced(run.path.totals, [&] {
    Array<API_CCTotals> totals;
    run.Fetch(totals, 1, ChartData::Totals);
    return totals[0];
  });
}

void ReadEstimates(platform::CtrlChrt6& library, API_CCResults& record) {
  library.VLXCRT_VAR_LIMITS(0, record.MeanEstimate, record.SPEstimate, record.SWEstimate,
                            record.Graphs[0].AverageSize, record.Graphs[1].AverageSize,
                            record.Graphs[2].AverageSize);
}

void LoadAlarms(const ChartRun& run, API_CCResults& record, const CCResults& results) {
  Traced(run.path.alarms, [&] {
    const auto load = [&](Array<std::int32_t>& signals, ChartData code, std::int32_t graph) {
      run.Fetch(signals, record.Totals.SubgroupCount, code, graph + 1);
      MaskArray(signals, record.AlarmMask[graph]);
    };
    const std::int32_t graphs = results.GraphCount();
    for (std::int32_t i = 0; i < graphs; ++i) {
      load(record.Graphs[i].cOOCs, ChartData::cOOCs, i);
      load(record.Graphs[i].OOCs, ChartData::OOCs, i);
    }
  });
}

void MaskArray(Array<std::int32_t>& array, std::int32_t mask) {
  Traced("CCModule.MaskArray", [&] {
    array.UpperBound();  // fails where there are no bounds
    for (std::int32_t& element : array.Elements()) element &= mask;
  });
}

}  // namespace orvspc
