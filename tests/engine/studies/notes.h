// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "engine/Studies.h"

namespace orvspc::studies {

// Whether a note of that code is among them.
inline bool Has(const std::vector<Note>& notes, std::string_view code) {
  return std::ranges::find(notes, code, &Note::code) != notes.end();
}

}  // namespace orvspc::studies
