// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/ItemKind.h"

namespace orvspc {
class DataSelect;
}

namespace orvspc::render {

using NameKind = ItemKind;
// Name for an identifier; empty when it has none.
using Names = std::function<std::string(NameKind, std::int32_t)>;
// For people: the name, else "#12"; empty for identifier 0.
std::string ShownName(const Names& names, NameKind kind, std::int32_t id);

// "Ring / 2 processes / Diameter": what the selection names; empty when it names nothing.
std::string SelectedText(const DataSelect* select, const Names& names);

}  // namespace orvspc::render
