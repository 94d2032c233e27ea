// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/dom/tree.h"

namespace orvspc::engine::dom {

// The text of a node and all below it.
std::string Write(const Tree& tree, Id node);

}  // namespace orvspc::engine::dom
