// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/sql/Connection.h"
#include "platform/TimeText.h"

namespace orvspc::engine::store {

// "part / process / test" by name.
std::string StreamText(sql::Connection& db, std::int64_t stream);

// Throws an error as std::runtime_error that names the stream, when it is one of damage: a page of
// the file that does not match its checksum is met before the chunk's own is. when is where in the
// stream it was met, as " after 2024-01-01T00:00:00Z"; where that is empty, some time of the stream
// that can still be read is named.
[[noreturn]] void RethrowWithStream(sql::Connection& db, std::int64_t stream,
                                    const sql::SqlError& error, std::string when);

// What reads values of a stream, so that its failures name it. key is where they are looked for.
template <class Work>
auto NamingStream(sql::Connection& db, std::int64_t stream, const std::optional<RecordKey>& key,
                  Work work) {
  try {
    return work();
  } catch (const sql::SqlError& error) {
    RethrowWithStream(db, stream, error, key ? " near " + platform::IsoText(key->time) : "");
  }
}

// Decodes what a row of a stream has packed. Its columns from the second on, which have no checksum
// of their own, are the first and the last key, time, subgroup, time, subgroup, and the number of
// records. Throws std::runtime_error when the chunk is damaged or has other ones.
void DecodeRow(sql::Connection& db, std::int64_t stream, const sql::Query& row,
               std::span<const std::byte> packed, Chunk& chunk);

// A chunk is named by its first key, and is the one to look into for every key up to that of the
// next: where it ends is asked of the chunk, as that column has no checksum. Inside a transaction.

// The last chunk of a stream that begins at a key or before it, and the first that begins after it.
std::optional<RecordKey> ChunkAtOrBefore(sql::Connection& db, std::int64_t stream,
                                         const RecordKey& key);
std::optional<RecordKey> ChunkBehind(sql::Connection& db, std::int64_t stream,
                                     const RecordKey& key);
// The first chunk that may have a key or a later one; empty when there is none.
std::optional<RecordKey> FindChunk(sql::Connection& db, std::int64_t stream, const RecordKey& key);

// A chunk with what it views. Moving keeps the view.
struct SealedChunk {
  std::vector<std::byte> packed;
  Chunk chunk;
};
// The chunk of a stream that begins with a key. Throws std::runtime_error when it is damaged.
SealedChunk ReadChunk(sql::Connection& db, std::int64_t stream, const RecordKey& first);

// Where the chunks of streams end, so that whoever keeps adding records after them need not read
// the last chunk each time. Holds while nobody else writes.
class SealedEnds {
 public:
  void Set(std::int64_t stream, const std::optional<RecordKey>& last) { ends_[stream] = last; }
  // Whether no chunk can have this key or a later one.
  bool IsBefore(std::int64_t stream, const RecordKey& key) const {
    const auto found = ends_.find(stream);
    return found != ends_.end() && (!found->second || *found->second < key);
  }
  void Forget(std::int64_t stream) { ends_.erase(stream); }
  void Clear() { ends_.clear(); }

 private:
  std::unordered_map<std::int64_t, std::optional<RecordKey>> ends_;  // empty: there are no chunks
};

// The subgroups that a stream has at these times, which ascend. Reads the chunks that may have
// one of them, each once, and passes over those between. Inside a transaction; throws as
// StreamWalk.
std::vector<std::int32_t> SubgroupsAt(sql::Connection& db, std::int64_t stream,
                                      std::span<const std::int32_t> times,
                                      SealedEnds* ends = nullptr);

// Walks the records of a stream between two times, both ends belonging to it, from the oldest or
// from the newest on, wherever they are stored. Only one walk at a time on a connection, inside a
// transaction. Throws SqlError, and std::runtime_error when a record is damaged.
class StreamWalk {
 public:
  StreamWalk(sql::Connection& db, std::int64_t stream, bool forward, std::int32_t start,
             std::int32_t end);

  // Leaves out what lies before this time from the next call of Next on.
  void StartAt(std::int32_t start) { start_ = start; }

  // Neighbours in one chunk, which live until the next call: those from begin up to and without
  // end. A walk from the newest on visits the last of them first.
  struct Run {
    const Chunk* chunk = nullptr;
    std::size_t begin = 0, end = 0;
    std::size_t Count() const { return end - begin; }
  };
  // The next run in the direction of the walk; empty at the end.
  std::optional<Run> Next();

  // Calls visit(record) for each record in the direction of the walk until it returns false.
  template <class Visit>
  void ForEach(Visit visit) {
    while (const auto run = Next()) {
      for (std::size_t i = 0; i < run->Count(); ++i) {
        if (!visit(run->chunk->Record(forward_ ? run->begin + i : run->end - 1 - i))) return;
      }
    }
  }

 private:
  // The next of a query, and what of it is left.
  struct Source {
    sql::Query query;
    std::string_view times;  // the text that reads one row's
    Chunk chunk = {};
    std::size_t begin = 0, end = 0;
    std::int64_t rows = 0;  // that were read
    bool done = false;
    std::optional<std::int32_t> reached = {};  // the time of the last record that was read
    bool IsEmpty() const { return begin == end; }
  };
  void Fill(Source& source);
  bool Step(Source& source);
  std::string TimesOfNext(const Source& source) const;
  Run Take(Source& source, std::size_t count) const;
  RecordView NextOf(const Source& source) const {
    return source.chunk.Record(forward_ ? source.begin : source.end - 1);
  }

  sql::Connection& db_;
  std::int64_t stream_;
  bool forward_;
  std::int32_t asked_start_, start_, end_;
  Source sealed_, hot_;
};

// Calls visit(record) for every record of a stream, the oldest first.
template <class Visit>
void ForEachRecord(sql::Connection& db, std::int64_t stream, Visit visit,
                   std::int32_t start = INT32_MIN, std::int32_t end = INT32_MAX) {
  StreamWalk(db, stream, true, start, end).ForEach([&](const RecordView& record) {
    visit(record);
    return true;
  });
}

}  // namespace orvspc::engine::store
