// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/write/change/UndoneBatch.h"
#include "engine/write/log/Log.h"

// Imports and batches of records, and their undoing.
namespace orvspc::engine::change {

// The newest first. Inside a transaction.
std::vector<ListedImport> ReadImports(sql::Connection& db);

// Takes out what a batch added. Inside a write transaction.
//   entries      "delete" for each record, "deactivate" for each name that nothing uses
//                any more, "type" for each other test that has lost its last values, and "undo" of
//                "batch N"; one event
//   comments     that came with values that go, go with them
//   descriptors  that the batch brought go, unless something else brought them, too, or the
//                subgroup has a record of it that is kept
//   flags, comments  of a batch of these: "restore" for each record that has the flag again that it
//                had, "comment-remove" for each comment
//   Refused      unknown, undone already, of another kind; what was changed or taken out since and
//                is not as the batch left it, unless this is kept and others are left
UndoneBatch UndoBatch(log::Writing& writing, std::int64_t id, bool keep_changed,
                      std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
