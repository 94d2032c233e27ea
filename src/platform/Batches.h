// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace orvspc {

// An import, or a batch of records.
struct ListedImport {
  std::int64_t id = 0;
  std::int64_t made = 0;  // seconds since 1970 UTC
  std::string who, kind, source;
  std::int64_t lines = 0, records = 0;
  std::string state;         // "stored", "undone"
  std::int64_t version = 0;  // the latest entry of the log about it
};

// What the undoing of an import did.
struct UndoReport {
  std::int64_t records = 0;  // taken out
  std::int64_t kept = 0;     // that were changed since
  std::int64_t names = 0;    // that became inactive
};

}  // namespace orvspc
