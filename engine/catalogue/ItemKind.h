// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "platform/ItemKind.h"

namespace orvspc::engine::catalogue {

using orvspc::ItemKind;
using orvspc::kItemKinds;

// "part" and "parts" alike; empty for an unknown word.
std::optional<ItemKind> ItemKindFromWord(std::string_view word);
// The word in the singular, "part", "acc-code".
std::string_view WordOf(ItemKind kind);
// The table that holds the kind; it has at least id, name and active.
std::string_view TableOf(ItemKind kind);

}  // namespace orvspc::engine::catalogue
