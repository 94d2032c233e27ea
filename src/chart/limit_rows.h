// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Array.h"
#include "platform/ChartRecords.h"
#include "platform/LimitTable.h"

namespace orvspc::limit_rows {

// Appends the first count rows to the table, one column after the other through the one row object,
// and moves the table to its first row. Stamps become dates. Fails with 9 when a row is missing.
void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCCtrlLim>& records, std::int32_t count);
void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCSpecLim>& records, std::int32_t count);
void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCDefOpp>& records, std::int32_t count);

}  // namespace orvspc::limit_rows
