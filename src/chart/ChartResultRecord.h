// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Array.h"
#include "platform/ChartRecords.h"
#include "platform/RowRecords.h"

// The flat result of one chart analysis: filled by the analysis, served by CCResults. Memory of the
// library alone; only its elements cross to the chart library. A new record is all zero and no
// array of it is dimensioned. Records are moved; nothing here can be copied by accident.
namespace orvspc {

// One chart. Every array has one element a subgroup or was never dimensioned.
struct API_CCGraph {
  double AverageSize = 0.0;
  Array<std::int32_t> SGSizes;
  Array<double> Points, Overlays;   // an analysis never fills Overlays
  Array<std::int32_t> cOOCs, OOCs;  // bits of broken run rules, masked by AlarmMask
  Array<std::int32_t> OOSs;         // bits of SpecLimitFlags; the first graph only
  Array<double> USLs, Targets, LSLs;
  Array<double> cUCLs, cCLs, cLCLs;
  Array<double> UCLs, Cls, LCLs;
  Array<std::int32_t> AFlags, EFlags;  // the first graph only
};

struct API_CCResults {
  API_CCTotals Totals = {};
  Array<API_CCGraph> Graphs;  // three, whatever the number of charts
  Array<API_CCSpecLim> SpecLims;
  Array<API_CCCtrlLim> CtrlLims;
  Array<API_CCDefOpp> DefOpps;
  Array<API_SubgroupData> Subgroups;
  Array<API_TestData> Tests;
  double MeanEstimate = 0.0, SPEstimate = 0.0, SWEstimate = 0.0;
  Array<std::int32_t> GroupIDs, GroupIndex;  // one element a subgroup
  Array<std::int32_t> GroupStart, GroupEnd;  // one element a group
  Array<std::int32_t> AlarmMask;             // one element a graph
};

}  // namespace orvspc
