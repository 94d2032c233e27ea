// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/write/log/Log.h"
#include "platform/Batches.h"

// Imports and batches of records, and their undoing.
namespace orvspc::engine::change {

// The newest first. Inside a transaction.
std::vector<ListedImport> ReadImports(sql::Connection& db);

// A stream in which values were changed, with the ends of these.
struct TouchedStream {
  std::int64_t stream = 0;
  store::RecordKey first, last;
};

struct UndoneBatch {
  UndoReport report;
  std::vector<TouchedStream> streams;
};

// Takes out what a batch added. Inside a write transaction.
//   entries   "delete" for each record, "deactivate" for each name that nothing uses
//             any more, and "undo" of "batch N"; one event
//   comments  that came with values that go, go with them; so do descriptors of a subgroup without
//             values
//   Refused   unknown, undone already, of another kind than values; records
//             that were changed since, unless these are kept
UndoneBatch UndoBatch(log::Writing& writing, std::int64_t id, bool keep_changed,
                      std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
