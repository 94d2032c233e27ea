// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chart/ChartResultRecord.h"

namespace orvspc {

// Marks for each subgroup which specification limits one of its raw test values broke, in OOSs,
// AFlags and EFlags of the first graph. A limit row holds for the subgroups of its part and test; a
// later row wins for the flags, the violations accumulate. Also cuts F_AFLAG of each row to
// F_EFLAG. A value equal to a limit breaks nothing, and a limit that is enabled is compared
// whatever it holds. A subgroup whose rows lie outside Tests fails with 9.
void ProcessSpecLim(API_CCResults& record);

}  // namespace orvspc
