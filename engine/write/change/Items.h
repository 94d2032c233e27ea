// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/write/log/Log.h"
#include "platform/ItemKind.h"

// Names of items, and whether they are in use. Each function adds its entry and the general event.
// Inside a write transaction. Throws Refused.
namespace orvspc::engine::change {

// The item of that name, or of which it was a name once; empty: none.
std::optional<std::int32_t> FindItem(sql::Connection& db, ItemKind kind, std::string_view name);

// The same of a name that is given to what is stored: a new one is added. Throws Refused where it
// is no name, or the item is not active. field begins the text of the refusal.
std::int32_t TakeItem(log::Writing& writing, ItemKind kind, std::string_view field,
                      const std::string& name);

// That of the name it has now; throws Refused (code "unknown").
std::int32_t NeededNamed(sql::Connection& db, ItemKind kind, std::string_view name);
// Throws Conflict unless the version of the item is the one expected.
void CheckItemVersion(sql::Connection& db, ItemKind kind, std::int32_t id, std::string_view name,
                      std::optional<std::int64_t> expected);
// The general event of a change of an item.
void AddItemEvent(log::Writing& writing, ItemKind kind, std::int32_t id);

// A name that it had. One that no other database could hold, of a former release, is forgotten.
void AddAlias(sql::Connection& db, ItemKind kind, std::string_view name, std::int32_t id);

// It keeps its identifier; the former name becomes an alias.
void Rename(log::Writing& writing, ItemKind kind, std::string_view name, std::string_view to,
            std::optional<std::int64_t> expected);

// An item that is not active is not offered, and recorded no more; what has it stays.
void SetActive(log::Writing& writing, ItemKind kind, std::string_view name, bool is_active,
               std::optional<std::int64_t> expected);

// The same of a name that nothing uses any more since a batch was undone, with no event; returns
// whether it was active. A test loses its type.
bool DeactivateUndone(log::Writing& writing, ItemKind kind, std::int32_t id, std::int64_t batch);

// A test that has lost its last values has no type until others come, whose type may be another
// one. Nothing of one that has values.
void ForgetType(log::Writing& writing, std::int32_t test);

// "Press 3" is deactivated since 2026-02-01
std::string InactiveText(sql::Connection& db, ItemKind kind, std::int32_t id,
                         const std::string& name);

}  // namespace orvspc::engine::change
