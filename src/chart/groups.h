// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chart/CCProcessing.h"
#include "chart/ChartResultRecord.h"

// Neighbouring subgroups that belong together on a chart which follows several parts, processes or
// tests at once. A group is a run of subgroups, in the order of the chart library, in which no
// identifier occurs twice and any two members lie within GroupThreshold of each other.
namespace orvspc::groups {

// Fills GroupIDs, GroupIndex, GroupStart and GroupEnd; without grouping each subgroup is a group of
// its own. Needs at least one subgroup, else fails with 9. Fails with 6 when two stamps that are
// compared lie further apart than 32 bits can say.
void BuildGroupInformation(const CCProcessing& processing, API_CCResults& record);

}  // namespace orvspc::groups
