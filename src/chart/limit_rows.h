// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Array.h"
#include "platform/ChartRecords.h"
#include "platform/LimitTable.h"

namespace orvspc::limit_rows {

// Appends the first count rows to the table, one column after the other through the one row object,
// and moves the table to its first row. Stamps become dates. Fails with 9 when a row is missing.
template <class Row>  // API_CCCtrlLim, API_CCSpecLim or API_CCDefOpp
void Load(platform::LimitTable& table, platform::LimitTable& row, const Array<Row>& records,
          std::int32_t count);

}  // namespace orvspc::limit_rows
