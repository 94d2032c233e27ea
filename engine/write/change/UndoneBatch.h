// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/write/change/LaterNames.h"
#include "engine/write/change/StoredRecord.h"
#include "platform/Batches.h"

// What those who undo batches share.
namespace orvspc::engine::change {

struct Batch {
  std::int64_t id = 0, records = 0, entry = 0;
  std::string kind, state;
  std::string Object() const { return "batch " + std::to_string(id); }
};

// A stream in which values were changed, with the ends of these.
struct TouchedStream {
  std::int64_t stream = 0;
  store::RecordKey first, last;
};

struct UndoneBatch {
  UndoReport report;
  std::vector<TouchedStream> streams;
};

[[noreturn]] void RefuseBatch(const Batch& batch, const char* code, const std::string& text);
// Throws Refused where records were changed, unless these are to be kept and others are left:
// "batch 88: 3 of 4,120 records were changed since (entries 311, 312, 340); --keep-changed ..."
void CheckChanged(const Batch& batch, std::vector<std::int64_t> entries, bool keep_changed,
                  bool others_left);

// Whether a record is as a batch left it: nothing changed it since, or it was changed back. last is
// the latest entry of the batch about it, 0 where the batch brought it; names are those since the
// batch.
bool IsAsLeft(sql::Connection& db, const StoredRecord& now, std::int64_t last,
              const LaterNames& names);

}  // namespace orvspc::engine::change
