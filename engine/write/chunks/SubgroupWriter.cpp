// SPDX-License-Identifier: Apache-2.0
#include "engine/write/chunks/SubgroupWriter.h"

#include <vector>

namespace orvspc::engine::store {
namespace {

std::unique_ptr<sql::BulkRows> Rows(sql::Connection& db) {
  return db.InsertMany("subgroup(id, part, process, label, time)", sql::OnConflict::Fail);
}

void StoreRow(sql::BulkRows& rows, const SubgroupFacts& subgroup) {
  rows.Bind(subgroup.id, subgroup.part, subgroup.process, subgroup.label, subgroup.time);
  rows.Add();
}

std::unique_ptr<sql::BulkRows> Blocks(sql::Connection& db) {
  return db.InsertMany("subgroup_block(block, packed)", sql::OnConflict::Fail);
}

void StoreBlock(sql::BulkRows& blocks, std::span<const SubgroupFacts> subgroups) {
  const auto packed = PackBlock(subgroups);
  blocks.Bind(BlockOf(subgroups.front().id), packed);
  blocks.Add();
}

}  // namespace

SubgroupWriter::SubgroupWriter(sql::Connection& db, Into into)
    : into_(into), hot_(Rows(db)), blocks_(Blocks(db)) {}

void SubgroupWriter::Add(const SubgroupFacts& subgroup) {
  if (!list_.IsEmpty() && BlockOf(list_.LastId()) != BlockOf(subgroup.id)) {
    Store(into_ == Into::EmptyDatabase);
  }
  list_.Add(subgroup);
  if (IsLastOfBlock(subgroup.id)) Store(into_ == Into::EmptyDatabase);
}

void SubgroupWriter::Flush() {
  Store(false);
  hot_->Finish();
  blocks_->Finish();
}

// is_all: there are no others of the block.
void SubgroupWriter::Store(bool is_all) {
  if (list_.IsEmpty()) return;
  const auto subgroups = list_.Subgroups();
  if (is_all || (IsFirstOfBlock(subgroups.front().id) && IsLastOfBlock(subgroups.back().id))) {
    StoreBlock(*blocks_, subgroups);
  } else {
    for (const auto& each : subgroups) StoreRow(*hot_, each);
  }
  list_.Clear();
}

void ReplaceSubgroup(sql::Connection& db, const SubgroupFacts& subgroup) {
  sql::Query(db, "UPDATE subgroup SET label = ?2, time = ?3, part = ?4, process = ?5 WHERE id = ?1",
             subgroup.id, subgroup.label, subgroup.time, subgroup.part, subgroup.process)
      .Run();
  const auto block = BlockOf(subgroup.id);
  SubgroupList list;
  ForEachSubgroup(
      db, block * kBlockSize, block * kBlockSize + (kBlockSize - 1),
      [&](const SubgroupFacts& each) { list.Add(each.id == subgroup.id ? subgroup : each); });
  if (list.IsEmpty()) return;
  const auto packed = PackBlock(list.Subgroups());
  sql::Query(db, "UPDATE subgroup_block SET packed = ?2 WHERE block = ?1", block, packed).Run();
}

void KeepFindable(sql::Connection& db, const SubgroupFacts& subgroup) {
  sql::Query(db,
             "INSERT INTO subgroup(id, part, process, label, time) VALUES(?1, ?2, ?3, ?4, ?5) "
             "ON CONFLICT DO NOTHING",
             subgroup.id, subgroup.part, subgroup.process, subgroup.label, subgroup.time)
      .Run();
}

namespace {

// Seals the hot subgroups below this identifier.
void SealBefore(sql::Connection& db, std::int64_t end) {
  SubgroupList list;
  std::vector<std::int32_t> sealed;
  const auto blocks = Blocks(db);
  const auto seal = [&] {
    if (list.IsEmpty()) return;
    sealed.push_back(BlockOf(list.LastId()));
    StoreBlock(*blocks, list.Subgroups());
    list.Clear();
  };
  {
    sql::Query hot(db,
                   "SELECT id, part, process, time, label FROM subgroup WHERE id < ?1 "
                   "AND NOT EXISTS (SELECT 1 FROM subgroup_block WHERE block = id / 256) "
                   "ORDER BY id",
                   end);
    while (hot.Step()) {
      const auto id = hot.Int(0);
      if (!list.IsEmpty() && BlockOf(id) != BlockOf(list.LastId())) seal();
      list.Add({id, hot.Int(1), hot.Int(2), hot.Int(3), hot.Text(4)});
    }
    seal();
  }
  blocks->Finish();
  for (const auto block : sealed) {
    sql::Query(db, "DELETE FROM subgroup WHERE id BETWEEN ?1 AND ?2", block * kBlockSize,
               block * kBlockSize + (kBlockSize - 1))
        .Run();
  }
}

// Gives those with these identifiers, which are sealed and ascend, rows again.
void AddRows(sql::Connection& db, std::span<const std::int32_t> ids) {
  SubgroupList list;
  ForEachSubgroup(db, ids, [&](const SubgroupFacts& each) { list.Add(each); });
  const auto rows = Rows(db);
  for (const auto& each : list.Subgroups()) StoreRow(*rows, each);
  rows->Finish();
}

}  // namespace

bool BeginBlock(std::int32_t first, std::int64_t count) {
  return first / kBlockSize != (first + count) / kBlockSize || IsFirstOfBlock(first);
}

void SealSubgroups(sql::Connection& db) {
  constexpr std::int32_t kMaxHotBlocks = 2;
  // In one SELECT they would read every row.
  sql::Query ends(db,
                  "SELECT coalesce((SELECT min(id) FROM subgroup), 0), "
                  "coalesce((SELECT max(id) FROM subgroup), 0)");
  if (!ends.Step()) return;
  const auto first = BlockOf(ends.Int(0)), last = BlockOf(ends.Int(1));
  if (last - first < kMaxHotBlocks) return;
  // Which may be the row of a sealed one.
  sql::Query hot(db,
                 "SELECT coalesce(min(id), 0) FROM subgroup "
                 "WHERE NOT EXISTS (SELECT 1 FROM subgroup_block WHERE block = id / 256)");
  if (!hot.Step() || last - BlockOf(hot.Int(0)) < kMaxHotBlocks) return;
  const auto end = std::int64_t{last} * kBlockSize;
  const auto without_measurements = HotWithoutMeasurements(db, end);
  SealBefore(db, end);
  AddRows(db, without_measurements);
}

void SealWithRows(sql::Connection& db, std::span<const std::int32_t> ids) {
  if (ids.empty()) return;
  SealBefore(db, (std::int64_t{BlockOf(ids.back())} + 1) * kBlockSize);
  AddRows(db, ids);
}

}  // namespace orvspc::engine::store
