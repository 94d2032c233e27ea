// SPDX-License-Identifier: Apache-2.0
#include "engine/write/chunks/StreamWriter.h"

#include <algorithm>
#include <utility>

namespace orvspc::engine::store {
namespace {

RecordKey KeyOf(const Measurement& measurement) { return {measurement.time, measurement.subgroup}; }

}  // namespace

StreamWriter::StreamWriter(sql::Connection& db, std::size_t max_hot, SealedEnds* ends)
    : db_(db),
      max_hot_(max_hot),
      ends_(ends),
      hot_(db.InsertMany("measurement(stream, time, subgroup, packed)", sql::OnConflict::Fail)),
      chunks_(db.InsertMany("measurement_chunk(stream, first_time, first_subgroup, last_time, "
                            "last_subgroup, count, packed)",
                            sql::OnConflict::Fail)) {}

void StreamWriter::Finish() {
  hot_->Finish();
  chunks_->Finish();
  unfinished_.clear();
}

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
  // What is on its way is not seen by what reads here.
  if (unfinished_.contains(stream)) Finish();
  unfinished_.insert(stream);
  stream_ = stream;
  NamingStream(db_, stream_, changes.front().key, [&] {
    ChangeSealed(changes);
    if (changes.size() <= max_hot_) {
      const auto hot = HotKeys();
      if (hot.size() + changes.size() <= max_hot_) return WriteHot(changes, hot);
    }
    Seal(changes);
  });
}

void StreamWriter::ChangeSealed(std::vector<Change>& changes) {
  if (ends_ != nullptr && ends_->IsBefore(stream_, changes.front().key)) return;
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
  // Sealing reads the chunks.
  chunks_->Finish();
}

// Of the stream, in order: all, or one more than may stay hot.
std::vector<RecordKey> StreamWriter::HotKeys() {
  std::vector<RecordKey> keys;
  sql::Query query(db_,
                   "SELECT time, subgroup FROM measurement WHERE stream = ?1 "
                   "ORDER BY time, subgroup LIMIT ?2",
                   stream_, max_hot_ + 1);
  while (query.Step()) keys.push_back({query.Int(0), query.Int(1)});
  return keys;
}

void StreamWriter::WriteHot(Changes changes, std::span<const RecordKey> hot) {
  for (const auto& [key, measurement] : changes) {
    if (std::ranges::binary_search(hot, key)) {
      sql::Query(db_, "DELETE FROM measurement WHERE stream = ?1 AND time = ?2 AND subgroup = ?3",
                 stream_, key.time, key.subgroup)
          .Run();
    }
    if (measurement == nullptr) continue;
    packer_.Add(*measurement);
    packer_.Pack(stream_, packed_);
    hot_->Bind(stream_, key.time, key.subgroup, packed_);
    hot_->Add();
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
    // The chunk that was next is the one before what is still to be placed.
    if (!before) chunks_->Finish();
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
  if (ends_ != nullptr) ends_->Forget(stream_);
  const auto first = packer_.First(), last = packer_.Last();
  const auto count = packer_.Count();
  packer_.Pack(stream_, packed_);
  chunks_->Bind(stream_, first.time, first.subgroup, last.time, last.subgroup, count, packed_);
  chunks_->Add();
}

}  // namespace orvspc::engine::store
