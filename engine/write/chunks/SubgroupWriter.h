// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "engine/chunks/subgroups.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// Stores subgroups with new identifiers, in their order, each above all before. Whole blocks are
// sealed at once; in a database without others each is but the last, whichever of it there are.
class SubgroupWriter {
 public:
  enum class Into { AnyDatabase, EmptyDatabase };
  explicit SubgroupWriter(sql::Connection& db, Into into = Into::AnyDatabase);
  void Add(const SubgroupFacts& subgroup);
  // Stores what is left. Needed at the end.
  void Flush();

 private:
  void Store(bool is_all);

  Into into_;
  std::unique_ptr<sql::BulkRows> hot_, blocks_;
  SubgroupList list_;  // of one block
};

// Gives a stored subgroup another label, time, part or process. Within a write transaction.
void ReplaceSubgroup(sql::Connection& db, const SubgroupFacts& subgroup);
// Keeps a subgroup that has lost its last measurement findable: a sealed one gets a row.
void KeepFindable(sql::Connection& db, const SubgroupFacts& subgroup);

// Seals the hot subgroups once there are many of them. Within the transaction that wrote them, and
// after their measurements, since those without any keep their rows.
void SealSubgroups(sql::Connection& db);
// Whether so many identifiers from the first on begin another block; only then there may be more to
// seal than before.
bool BeginBlock(std::int32_t first, std::int64_t count);

// Seals the subgroups with these identifiers, which ascend and have no measurements, and lets them
// keep their rows.
//   - Hot ones before them and in the block of the last are sealed too.
//   - Identifiers continue after that block, from the next transaction on: this one gives none.
void SealWithRows(sql::Connection& db, std::span<const std::int32_t> ids);

}  // namespace orvspc::engine::store
