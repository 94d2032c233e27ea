// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/sql/Connection.h"
#include "engine/store/StoreCache.h"
#include "engine/write/log/Canonical.h"

namespace orvspc::engine::change {

// A subgroup as it is stored.
struct StoredSubgroup {
  std::int32_t id = 0, part = 0, process = 0, time = 0;
  std::string label;
};
std::optional<StoredSubgroup> FindSubgroup(sql::Connection& db, std::int32_t id);
// Throws Refused (code "unknown") where there is none.
StoredSubgroup NeededSubgroup(sql::Connection& db, std::int32_t id);

// The values of a subgroup and test as they are stored.
struct StoredRecord {
  StoredSubgroup subgroup;
  std::int64_t stream = 0;
  std::int32_t test = 0;
  std::int32_t context = 0, flag = 0;
  double size = 0.0;
  std::int64_t batch = 0, entry = 0;
  std::vector<double> values;
  std::vector<store::RowKey> keys;  // of every row

  // Views it.
  store::Measurement View() const;
  std::string Object() const;  // in the log: "subgroup 4711 test 3"
};

// "#4711 Diameter"
std::string CalledBy(sql::Connection& db, const StoredRecord& record);

// What is packed of a record: without stream, test, and what a subgroup is beside identifier and
// time.
StoredRecord StoredRecordOf(const store::RecordView& view);

// All records of a subgroup, or that of one test; none where it has no values. Inside a
// transaction. Throws std::runtime_error where one is damaged.
std::vector<StoredRecord> ReadRecords(sql::Connection& db, const StoredSubgroup& subgroup,
                                      std::optional<std::int32_t> test = {});

// One that has lost its last values is still found, by what is recorded for it or brought back, and
// keeps no descriptors, which are in the entries of what it lost.
void EmptySubgroup(sql::Connection& db, const StoredSubgroup& subgroup);
// One without values leaves its label to another one; returns whether it has none. It gets its
// label back when values of it are restored, unless that is taken then.
bool GivesWay(sql::Connection& db, std::int32_t subgroup);
// The label that it has from then on.
std::string LabelGivenUp(std::int32_t subgroup);

// Whether anything is stored in a stream, or in one of a test.
bool HasValues(sql::Connection& db, std::int64_t stream);
bool TestHasValues(sql::Connection& db, std::int32_t test);

// TestTypes; 0: not known yet.
std::int32_t TypeOf(sql::Connection& db, std::int32_t test);
void SetType(sql::Connection& db, std::int32_t test, std::int32_t type);
// Whether a test has values, not counts.
bool IsMeasured(sql::Connection& db, std::int32_t test);

// By names, with its comments and the descriptors of its subgroup.
log::CanonicalRecord CanonicalOf(sql::Connection& db, const StoredRecord& stored);

store::Context ReadContext(sql::Connection& db, std::int32_t id);
// The identifier of a context that is stored.
std::optional<std::int32_t> FindContext(sql::Connection& db, const store::Context& context);
// The identifier of a context, which is stored if it is new; 0 for one of nothing. Inside a write
// transaction.
std::int32_t ContextId(sql::Connection& db, const store::Context& context);

}  // namespace orvspc::engine::change
