// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/write/log/Log.h"
#include "platform/ItemKind.h"

// Whether items are in use, and names that no batch has brought any more: they are out of use, with
// an entry that says so, until somebody names them again.
namespace orvspc::engine::log {

bool IsActive(sql::Connection& db, ItemKind kind, std::int32_t id);
// Its entry is to be added by the caller.
void StoreActive(sql::Connection& db, ItemKind kind, std::int32_t id, bool is_active);

// Whether the latest that is known of an item which is not active is that its batch was undone. To
// those who name it, it is in use.
bool WasUndone(sql::Connection& db, ItemKind kind, std::int32_t id);
// One of which that is so becomes active; returns whether it was one. With a connection alone its
// entry is to be added by AddActivate.
bool ReviveUndone(sql::Connection& db, ItemKind kind, std::int32_t id);
bool ReviveUndone(Writing& writing, ItemKind kind, std::int32_t id);
void AddActivate(Writing& writing, ItemKind kind, std::int32_t id);

}  // namespace orvspc::engine::log
