// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "engine/dom/tree.h"

namespace orvspc::engine::dom {

// Levels of elements that a text may have.
inline constexpr int kMaxDepth = 256;

// Reads the text into the tree, which is empty. Returns the root element, or none when the text is
// malformed; the tree is then to be thrown away.
Id Parse(std::string_view text, Tree& tree);

}  // namespace orvspc::engine::dom
