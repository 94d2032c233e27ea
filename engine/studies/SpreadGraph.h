// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc::studies {

// What graph 2 has. Auto: ranges of sizes 2 to 10, else deviations; of single pieces all are moving
// ranges.
enum class SpreadGraph { Auto, Range, Deviation, MovingRange };

}  // namespace orvspc::studies
