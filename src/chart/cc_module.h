// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "chart/ChartResultRecord.h"
#include "platform/CtrlChrt6.h"

namespace orvspc {

class CCResults;

// The run-rule signals of a path, cut to the rules that are enabled as alarms; a signal of another
// rule is lost. The number of graphs is that of the results, the masks are AlarmMask of the record.
namespace cc_module {

void LoadVariableAlarms(platform::CtrlChrt6& library, API_CCResults& record,
                        const CCResults& results);
void LoadAttributeAlarms(platform::CtrlChrt6& library, API_CCResults& record,
                         const CCResults& results);

// Fails with 9 when the array was never dimensioned.
void MaskArray(Array<std::int32_t>& array, std::int32_t mask);

}  // namespace cc_module
}  // namespace orvspc
