// SPDX-License-Identifier: Apache-2.0
#include "engine/store/StreamWriter.h"

#include <algorithm>
#include <utility>

namespace orvspc::engine::store {
namespace {

RecordKey KeyOf(const Measurement& measurement) { return {measurement.time, measurement.subgroup}; }

}  // namespace

void StreamWriter::Write(std::int64_t stream, std::span<const Measurement> measurements) {
  std::vector<Change> changes;
  changes.reserve(measurements.size());
  for (const auto& each : measurements) changes.push_back({KeyOf(each), &each});
  Apply(stream, std::move(changes));
}

void StreamWriter::Remove(std::int64_t stream, std::span<const RecordKey> keys) {
  std::vector<Change> changes;
  for (const auto& key : keys) changes.push_back({key, nullptr});
  Apply(stream, std::move(changes));
}

void StreamWriter::Apply(std::int64_t stream, std::vector<Change> changes) {
  if (changes.empty()) return;
  stream_ = stream;
  ChangeSealed(changes);
  if (HasRoomFor(changes.size())) {
    WriteHot(changes);
  } else {
    Seal(changes);
  }
}

void StreamWriter::ChangeSealed(std::vector<Change>& changes) {
  std::vector<Change> of_chunk;
  for (auto next = changes.begin(); next != changes.end();) {
    const auto first = FindChunk(db_, stream_, next->key);
    if (!first) return;
    const auto behind = ChunkBehind(db_, stream_, *first);
    const auto begin = std::ranges::lower_bound(next, changes.end(), *first, {}, &Change::key);
    const auto end = behind
                         ? std::ranges::lower_bound(begin, changes.end(), *behind, {}, &Change::key)
                         : changes.end();
    next = begin;
    if (begin == end) continue;
    const auto sealed = ReadChunk(db_, stream_, *first);
    const auto& chunk = sealed.chunk;
    of_chunk.clear();
    const auto rest = std::remove_if(begin, end, [&](const Change& change) {
      const auto place = chunk.Find(change.key);
      const bool is_there = place < chunk.Count() && chunk.Record(place).Key() == change.key;
      if (is_there) of_chunk.push_back(change);
      return is_there;
    });
    next = changes.erase(rest, end);
    if (!of_chunk.empty()) Repack(&sealed, of_chunk, false);
  }
}

// Whether so many more rows of the stream may stay hot.
bool StreamWriter::HasRoomFor(std::size_t count) {
  if (count > max_hot_) return false;
  sql::Query query(db_,
                   "SELECT count(*) FROM (SELECT 1 FROM measurement WHERE stream = ?1 LIMIT ?2) m",
                   stream_, max_hot_ + 1);
  return query.Step() && static_cast<std::size_t>(query.Int64(0)) + count <= max_hot_;
}

void StreamWriter::WriteHot(Changes changes) {
  sql::Query put(db_,
                 "INSERT INTO measurement(stream, time, subgroup, packed) VALUES(?1, ?2, ?3, ?4) "
                 "ON CONFLICT(stream, time, subgroup) DO UPDATE SET packed = excluded.packed");
  sql::Query remove(db_,
                    "DELETE FROM measurement WHERE stream = ?1 AND time = ?2 AND subgroup = ?3");
  for (const auto& [key, measurement] : changes) {
    if (measurement == nullptr) {
      remove.Bind(stream_, key.time, key.subgroup);
      remove.Run();
      continue;
    }
    packer_.Add(*measurement);
    packer_.Pack(stream_, packed_);
    put.Bind(stream_, key.time, key.subgroup, packed_);
    put.Run();
  }
}

// Moves the hot rows, changed, into chunks.
void StreamWriter::Seal(Changes changes) {
  struct Hot {
    std::vector<double> values;
    std::vector<RowKey> keys;
    Measurement measurement;  // views them
  };
  std::vector<Hot> hot;
  {
    sql::Query query(db_,
                     "SELECT packed, time, subgroup, time, subgroup, 1 FROM measurement "
                     "WHERE stream = ?1 ORDER BY time, subgroup",
                     stream_);
    for (Chunk chunk; query.Step();) {
      DecodeRow(db_, stream_, query, query.Blob(0), chunk);
      auto& row = hot.emplace_back();
      row.measurement = chunk.Record(0).Copy(row.values, row.keys);
    }
  }
  sql::Query(db_, "DELETE FROM measurement WHERE stream = ?1", stream_).Run();

  std::vector<Change> all;
  all.reserve(hot.size() + changes.size());
  auto next = changes.begin();
  for (const auto& row : hot) {
    const auto key = KeyOf(row.measurement);
    for (; next != changes.end() && next->key < key; ++next) all.push_back(*next);
    if (next == changes.end() || next->key != key) all.push_back({key, &row.measurement});
  }
  all.insert(all.end(), next, changes.end());
  std::erase_if(all, [](const Change& change) { return change.put == nullptr; });

  for (Changes rest = all; !rest.empty();) {
    const auto before = ChunkAtOrBefore(db_, stream_, rest.front().key);
    const auto behind = ChunkBehind(db_, stream_, rest.front().key);
    const auto end =
        behind ? std::ranges::lower_bound(rest, *behind, {}, &Change::key) : rest.end();
    const auto here = rest.first(static_cast<std::size_t>(end - rest.begin()));
    rest = rest.subspan(here.size());
    // What comes before all chunks goes into the first of them, if that has room.
    const auto beside = before ? before : behind;
    std::optional<SealedChunk> former;
    if (beside) former = ReadChunk(db_, stream_, *beside);
    const bool stays = former && former->chunk.IsFull() &&
                       (!before || (!behind && former->chunk.Last() < here.front().key));
    const bool is_last = !behind || (!before && !stays && !ChunkBehind(db_, stream_, *behind));
    Repack(former && !stays ? &*former : nullptr, here, is_last);
  }
}

void StreamWriter::Repack(const SealedChunk* former, Changes changes, bool is_last) {
  std::size_t begin = 0, weight = 0;
  if (former != nullptr) {
    const auto first = former->chunk.First();
    sql::Query(db_,
               "DELETE FROM measurement_chunk "
               "WHERE stream = ?1 AND first_time = ?2 AND first_subgroup = ?3",
               stream_, first.time, first.subgroup)
        .Run();
    weight = former->chunk.Weight();
  }
  for (const auto& change : changes) {
    if (change.put != nullptr) weight += ChunkPacker::WeightOf(*change.put);
  }
  // The last chunk of a stream will be filled up; others are cut evenly.
  const auto pieces = std::max<std::size_t>((weight + kFullChunk / 2) / kFullChunk, 1);
  const auto full = is_last ? kFullChunk : weight / pieces + 1;
  const auto flush = [&](std::size_t least) {
    if (packer_.Count() > 0 && packer_.Weight() >= least) StoreChunk();
  };
  const auto keep = [&](std::size_t end) {
    for (; begin < end; ++begin) {
      packer_.Add(former->chunk.Record(begin));
      flush(full);
    }
  };
  for (const auto& [key, measurement] : changes) {
    if (former != nullptr) {
      keep(former->chunk.Find(key));
      if (begin < former->chunk.Count() && former->chunk.Record(begin).Key() == key) ++begin;
    }
    if (measurement == nullptr) continue;
    packer_.Add(*measurement);
    flush(full);
  }
  if (former != nullptr) keep(former->chunk.Count());
  flush(0);
}

void StreamWriter::StoreChunk() {
  const auto first = packer_.First(), last = packer_.Last();
  const auto count = packer_.Count();
  packer_.Pack(stream_, packed_);
  sql::Query(db_,
             "INSERT INTO measurement_chunk(stream, first_time, first_subgroup, last_time, "
             "last_subgroup, count, packed) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
             stream_, first.time, first.subgroup, last.time, last.subgroup, count, packed_)
      .Run();
}

}  // namespace orvspc::engine::store
