// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "chart/ChartResultRecord.h"
#include "platform/CtrlChrt6.h"

namespace orvspc {

class CCResults;

// The out-of-control marks of a road, cut to the rules that are enabled as alarms: an unmasked
// violation is lost at once. Results tells the number of graphs, AlarmMask of the record the masks.
namespace cc_module {

void LoadVariableAlarms(platform::CtrlChrt6& library, API_CCResults& record,
                        const CCResults& results);
void LoadAttributeAlarms(platform::CtrlChrt6& library, API_CCResults& record,
                         const CCResults& results);

// Fails with 9 when the array was never dimensioned.
void MaskArray(Array<std::int32_t>& array, std::int32_t mask);

}  // namespace cc_module
}  // namespace orvspc
