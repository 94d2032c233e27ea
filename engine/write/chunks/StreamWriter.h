// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <unordered_set>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// Writes measurements of a stream: as hot rows while there are few of them, else into chunks. What
// a reader sees does not depend on it. Inside a write transaction. Throws SqlError, and
// std::runtime_error when a record in the way is damaged.
class StreamWriter {
 public:
  // More hot rows than these are sealed.
  static constexpr std::size_t kMaxHot = 20;

  explicit StreamWriter(sql::Connection& db, std::size_t max_hot = kMaxHot,
                        SealedEnds* ends = nullptr);

  // Stores measurements, ordered by time and subgroup, each of another subgroup. One that is stored
  // already is replaced.
  void Write(std::int64_t stream, std::span<const Measurement> measurements);
  // Removes records, in order. Those that are not there are passed over.
  void Remove(std::int64_t stream, std::span<const RecordKey> keys);
  // Until then, what was written may be on its way. Needed at the end.
  void Finish();

 private:
  // A record to be stored, or to be removed where there is nothing to put.
  struct Change {
    RecordKey key;
    const Measurement* put = nullptr;
  };
  using Changes = std::span<const Change>;

  void Apply(std::int64_t stream, std::vector<Change> changes);
  // Applies those changes to chunks that have a record of the same key, and drops them.
  void ChangeSealed(std::vector<Change>& changes);
  std::vector<RecordKey> HotKeys();
  void WriteHot(Changes changes, std::span<const RecordKey> hot);
  void Seal(Changes changes);
  // Stores the records of a chunk, which goes, with these changes as one or more chunks.
  void Repack(const SealedChunk* former, Changes changes, bool is_last);
  void StoreChunk();

  sql::Connection& db_;
  std::size_t max_hot_;
  SealedEnds* ends_;
  std::unique_ptr<sql::BulkRows> hot_, chunks_;
  std::unordered_set<std::int64_t> unfinished_;  // streams
  std::int64_t stream_ = 0;                      // that is written to
  ChunkPacker packer_;
  std::vector<std::byte> packed_;
};

}  // namespace orvspc::engine::store
