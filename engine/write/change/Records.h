// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/write/change/StoredRecord.h"
#include "engine/write/log/Log.h"
#include "platform/Changes.h"

// Changes of values that are stored. Each function changes the records of a subgroup, or that of
// one test, adds an entry for each and an event for each, and returns them as they were. Inside a
// write transaction. Throws Refused, and Conflict where the version is another than was expected.
namespace orvspc::engine::change {

// Drops the comments that came with a record which is taken out. Those that people wrote since have
// an entry, and stay. Returns the record as the entry keeps it, with the numbers of what went.
std::string DropComments(sql::Connection& db, const StoredRecord& record);

struct Which {
  std::int32_t subgroup = 0;
  std::optional<std::int32_t> test = {};  // none: all of the subgroup
  // The version that the caller saw; of all of the subgroup the newest one.
  std::optional<std::int64_t> expected = {};
};

std::vector<StoredRecord> SetFlag(log::Writing& writing, const Which& which, std::int32_t flag);

// Of a record whose flag an entry changed and that nothing has changed since: it has this flag
// again. Without an event of its own.
StoredRecord SetFlagBack(log::Writing& writing, std::int32_t subgroup, std::int32_t test,
                         std::int32_t flag, std::int64_t entry);

std::vector<StoredRecord> ChangePiece(log::Writing& writing, const Which& which,
                                      const ValueChange& change);

std::vector<StoredRecord> ChangeSubgroup(log::Writing& writing, const Which& which,
                                         const SubgroupChange& change);

// Takes records out of what analyses read. The entries keep all of them, and the type of a test
// that has lost its last values.
std::vector<StoredRecord> Delete(log::Writing& writing, const Which& which);
// Brings the record back that an entry took out or changed, as it was before, under the present
// names of its items. Returns the record, then what it moved of its subgroup.
//   Refused  "type": the test has values of another type since; "stored": the record was recorded
//            anew after it was taken out
std::vector<StoredRecord> Restore(log::Writing& writing, std::int64_t entry,
                                  std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
