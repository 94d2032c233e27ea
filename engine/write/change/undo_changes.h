// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/write/change/Batches.h"

// Undoing of imports that changed what was stored: flags and comments.
namespace orvspc::engine::change {

struct Batch {
  std::int64_t id = 0, records = 0, entry = 0;
  std::string kind, state;
  std::string Object() const { return "batch " + std::to_string(id); }
};

// "batch 88: 3 of 4,120 records were changed since (entries 311, 312, 340); --keep-changed ..."
[[noreturn]] void RefuseChanged(const Batch& batch, std::vector<std::int64_t> entries);

// As UndoBatch does, but for the entry about the batch itself.
UndoneBatch UndoChanges(log::Writing& writing, const Batch& batch, bool keep_changed);

}  // namespace orvspc::engine::change
