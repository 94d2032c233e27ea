// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "engine/write/log/Log.h"

namespace orvspc::engine::write {

// Gives a setting a value, which was checked before; earlier ones stay in the table.
void StoreSetting(log::Writing& writing, std::string_view name, std::string_view value);

}  // namespace orvspc::engine::write
