// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/chunks/chunk.h"
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
// "batch 88: 3 of 4,120 records were changed since (entries 311, 312, 340); --keep-changed ..."
[[noreturn]] void RefuseChanged(const Batch& batch, std::vector<std::int64_t> entries);

}  // namespace orvspc::engine::change
