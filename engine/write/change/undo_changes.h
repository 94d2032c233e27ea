// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/write/change/UndoneBatch.h"
#include "engine/write/log/Log.h"

// Undoing of imports that changed what was stored: flags and comments.
namespace orvspc::engine::change {

// As UndoBatch does, but for the entry about the batch itself.
UndoneBatch UndoChanges(log::Writing& writing, const Batch& batch, bool keep_changed);

}  // namespace orvspc::engine::change
