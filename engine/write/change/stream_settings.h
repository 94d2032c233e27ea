// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "engine/write/log/Log.h"
#include "platform/ItemKind.h"

namespace orvspc::engine::change {

// Settings of one stream, "NAME:PART/PROCESS/TEST", follow an item that gets another name or gives
// way to another: before the names change. One of the new name that is there already stays, and the
// other is dropped. Each adds its entries.
void MoveStreamSettings(log::Writing& writing, ItemKind kind, std::string_view from,
                        std::string_view to);

}  // namespace orvspc::engine::change
