// SPDX-License-Identifier: Apache-2.0
#include "chart/cc_module.h"

#include "chart/CCResults.h"
#include "chart/chart_run.h"
#include "frame/Trail.h"

namespace orvspc::cc_module {
namespace {

using platform::ChartData;
using platform::CtrlChrt6;

void LoadAlarms(const ChartRun& run, API_CCResults& record, const CCResults& results) {
  const auto load = [&](Array<std::int32_t>& signals, ChartData code, std::int32_t graph) {
    run.Fetch(signals, record.Totals.SubgroupCount, code, graph + 1);
    MaskArray(signals, record.AlarmMask[graph]);
  };
  const std::int32_t graphs = results.GraphCount();
  for (std::int32_t i = 0; i < graphs; ++i) {
    load(record.Graphs[i].cOOCs, ChartData::cOOCs, i);
    load(record.Graphs[i].OOCs, ChartData::OOCs, i);
  }
}

}  // namespace

void LoadVariableAlarms(CtrlChrt6& library, API_CCResults& record, const CCResults& results) {
  Traced("CCModule.LoadVariableAlarms", [&] {
    LoadAlarms({library, &CtrlChrt6::VLXCRT_VAR_DATA}, record, results);
  });
}

void LoadAttributeAlarms(CtrlChrt6& library, API_CCResults& record, const CCResults& results) {
  Traced("CCModule.LoadAttributeAlarms", [&] {
    LoadAlarms({library, &CtrlChrt6::VLXCRT_ATTR_DATA}, record, results);
  });
}

void MaskArray(Array<std::int32_t>& array, std::int32_t mask) {
  Traced("CCModule.MaskArray", [&] {
    array.UpperBound();  // fails where there are no bounds
    for (std::int32_t& element : array.Elements()) element &= mask;
  });
}

}  // namespace orvspc::cc_module
