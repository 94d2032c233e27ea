// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "engine/store/StoreCache.h"
#include "engine/write/log/Log.h"

namespace orvspc::engine::write {

// Gives a setting a value, which was checked before; earlier ones stay in the table.
void StoreSetting(log::Writing& writing, std::string_view name, std::string_view value);

// The same of an option of charts of a graph; 0: of any part, process or test. Returns its row.
std::int32_t StoreChartOption(log::Writing& writing, const store::OptionRow& option);
// The newest row of the same part, process, test, graph and key; 0: there is none.
std::int32_t ChartOptionBefore(sql::Connection& db, const store::OptionRow& option);

}  // namespace orvspc::engine::write
