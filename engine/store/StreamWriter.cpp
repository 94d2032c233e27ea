// SPDX-License-Identifier: Apache-2.0
#include "engine/store/StreamWriter.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "engine/store/StreamWalk.h"

namespace orvspc::engine::store {
namespace {

constexpr std::string_view kChunkAtOrBefore =
    "SELECT first_time, first_subgroup FROM measurement_chunk WHERE stream = ?1 "
    "AND (first_time, first_subgroup) <= (?2, ?3) "
    "ORDER BY first_time DESC, first_subgroup DESC LIMIT 1";
constexpr std::string_view kChunkBehind =
    "SELECT first_time, first_subgroup FROM measurement_chunk WHERE stream = ?1 "
    "AND (first_time, first_subgroup) > (?2, ?3) ORDER BY first_time, first_subgroup LIMIT 1";

RecordKey KeyOf(const Measurement& measurement) { return {measurement.time, measurement.subgroup}; }

}  // namespace

StreamWriter::StreamWriter(sql::Connection& db, std::size_t max_hot)
    : db_(db),
      max_hot_(max_hot),
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
  ChangeSealed(changes);
  if (changes.size() <= max_hot_) {
    const auto hot = HotKeys();
    if (hot.size() + changes.size() <= max_hot_) return WriteHot(changes, hot);
  }
  Seal(changes);
}

// The first keys of the chunks that may have one of a range of keys, in their order.
std::vector<RecordKey> StreamWriter::ChunksAcross(const RecordKey& first, const RecordKey& last) {
  const auto before = ChunkFrom(kChunkAtOrBefore, first).value_or(first);
  std::vector<RecordKey> chunks;
  sql::Query query(db_,
                   "SELECT first_time, first_subgroup FROM measurement_chunk WHERE stream = ?1 "
                   "AND (first_time, first_subgroup) BETWEEN (?2, ?3) AND (?4, ?5) "
                   "ORDER BY first_time, first_subgroup",
                   stream_, before.time, before.subgroup, last.time, last.subgroup);
  while (query.Step()) {
    auto& key = chunks.emplace_back();
    query.Read(key.time, key.subgroup);
  }
  return chunks;
}

void StreamWriter::ChangeSealed(std::vector<Change>& changes) {
  std::vector<Change> of_chunk;
  const auto chunks = ChunksAcross(changes.front().key, changes.back().key);
  const auto change_from = [&](std::size_t chunk) {
    return chunk < chunks.size()
               ? std::ranges::lower_bound(changes, chunks[chunk], {}, &Change::key)
               : changes.end();
  };
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const auto begin = change_from(i), end = change_from(i + 1);
    if (begin == end) continue;
    const auto sealed = Read(chunks[i]);
    const auto& chunk = sealed.chunk;
    of_chunk.clear();
    const auto rest = std::remove_if(begin, end, [&](const Change& change) {
      const auto place = chunk.Find(change.key);
      const bool is_there = place < chunk.Count() && chunk.Record(place).Key() == change.key;
      if (is_there) of_chunk.push_back(change);
      return is_there;
    });
    changes.erase(rest, end);
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
    const auto before = ChunkFrom(kChunkAtOrBefore, rest.front().key);
    const auto behind = ChunkFrom(kChunkBehind, rest.front().key);
    const auto end =
        behind ? std::ranges::lower_bound(rest, *behind, {}, &Change::key) : rest.end();
    const auto here = rest.first(static_cast<std::size_t>(end - rest.begin()));
    rest = rest.subspan(here.size());
    // What comes before all chunks goes into the first of them, if that has room.
    const auto beside = before ? before : behind;
    std::optional<Sealed> former;
    if (beside) former = Read(*beside);
    const bool stays = former && former->chunk.IsFull() &&
                       (!before || (!behind && former->chunk.Last() < here.front().key));
    const bool is_last = !behind || (!before && !stays && !ChunkFrom(kChunkBehind, *behind));
    Repack(former && !stays ? &*former : nullptr, here, is_last);
    // The chunk that was behind is the one before what is still to be placed.
    if (!before) chunks_->Finish();
  }
}

std::optional<RecordKey> StreamWriter::ChunkFrom(std::string_view sql, const RecordKey& key) {
  sql::Query query(db_, sql, stream_, key.time, key.subgroup);
  if (!query.Step()) return std::nullopt;
  return RecordKey{query.Int(0), query.Int(1)};
}

StreamWriter::Sealed StreamWriter::Read(const RecordKey& first) {
  sql::Query query(
      db_,
      "SELECT packed, first_time, first_subgroup, last_time, last_subgroup, count "
      "FROM measurement_chunk WHERE stream = ?1 AND first_time = ?2 AND first_subgroup = ?3",
      stream_, first.time, first.subgroup);
  Sealed sealed;
  query.Step();  // whose key has just been read
  sealed.packed.assign(query.Blob(0).begin(), query.Blob(0).end());
  DecodeRow(db_, stream_, query, sealed.packed, sealed.chunk);
  return sealed;
}

void StreamWriter::Repack(const Sealed* former, Changes changes, bool is_last) {
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
  chunks_->Bind(stream_, first.time, first.subgroup, last.time, last.subgroup, count, packed_);
  chunks_->Add();
}

}  // namespace orvspc::engine::store
