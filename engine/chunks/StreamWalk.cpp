// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/StreamWalk.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "engine/chunks/subgroup_block.h"

namespace orvspc::engine::store {
namespace {

// Chunks of a stream do not overlap, so that only the last of those that begin before the range can
// reach into it. Whether it does is asked of the chunk, as last_time has no checksum.
constexpr std::string_view kSealed =
    " FROM measurement_chunk WHERE stream = ?1 AND first_time <= ?3 "
    "AND first_time >= coalesce((SELECT max(first_time) FROM measurement_chunk "
    "WHERE stream = ?1 AND first_time < ?2), ?2) "
    "ORDER BY first_time";
constexpr std::string_view kHot =
    " FROM measurement WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 ORDER BY time";

// The rows of a walk in its direction, and one of them without what it has packed: ?4 come before.
struct RowTexts {
  RowTexts(const std::string& columns, std::string_view from, const std::string& subgroup) {
    for (const bool is_forward : {false, true}) {
      const std::string order = is_forward ? "" : " DESC";
      const auto rows = std::string(from) + order + ", " + subgroup + order;
      all[is_forward ? 1 : 0] = "SELECT packed, " + columns + rows;
      times[is_forward ? 1 : 0] = "SELECT " + columns + rows + " LIMIT 1 OFFSET ?4";
    }
  }
  std::string all[2], times[2];
};

const RowTexts& SealedTexts() {
  static const RowTexts texts("first_time, first_subgroup, last_time, last_subgroup, count",
                              kSealed, "first_subgroup");
  return texts;
}

const RowTexts& HotTexts() {
  static const RowTexts texts("time, subgroup, time, subgroup, 1", kHot, "subgroup");
  return texts;
}

std::string WhenText(std::int32_t first, std::int32_t last) {
  if (first == last) return " at " + platform::IsoText(first);
  return " from " + platform::IsoText(first) + " to " + platform::IsoText(last);
}

constexpr std::string_view kChunkAtOrBefore =
    "SELECT first_time, first_subgroup FROM measurement_chunk "
    "WHERE stream = ?1 AND (first_time, first_subgroup) <= (?2, ?3) "
    "ORDER BY first_time DESC, first_subgroup DESC LIMIT 1";
constexpr std::string_view kChunkBehind =
    "SELECT first_time, first_subgroup FROM measurement_chunk "
    "WHERE stream = ?1 AND (first_time, first_subgroup) > (?2, ?3) "
    "ORDER BY first_time, first_subgroup LIMIT 1";

std::optional<RecordKey> ChunkOf(sql::Connection& db, std::string_view text, std::int64_t stream,
                                 const RecordKey& key) {
  return NamingStream(db, stream, key, [&]() -> std::optional<RecordKey> {
    sql::Query query(db, text, stream, key.time, key.subgroup);
    if (!query.Step()) return std::nullopt;
    RecordKey first;
    query.Read(first.time, first.subgroup);
    return first;
  });
}

// The time of some sealed subgroup of the part and process of a stream; empty when none is read.
std::optional<std::int32_t> AnySealedTime(sql::Connection& db, std::int64_t stream) {
  std::int32_t part = 0, process = 0;
  {
    sql::Query query(db, "SELECT part, process FROM stream WHERE id = ?1", stream);
    if (!query.Step()) return std::nullopt;
    query.Read(part, process);
  }
  std::optional<std::int32_t> time;
  sql::Query blocks(db, "SELECT block, packed FROM subgroup_block ORDER BY block");
  while (!time && blocks.Step()) {
    // What of a damaged block comes before the damage is not believed either.
    std::optional<std::int32_t> found;
    const bool is_whole = UnpackBlock(blocks.Blob(1), blocks.Int(0), [&](const auto& each) {
      if (each.part == part && each.process == process) found = each.time;
    });
    if (is_whole) time = found;
  }
  return time;
}

// Some time of a stream part of which cannot be read; empty when there is none.
std::string AnyTimeOf(sql::Connection& db, std::int64_t stream) {
  const auto ask = [&](std::string_view text) -> std::optional<std::int32_t> {
    sql::Query query(db, text, stream);
    if (query.Step()) return query.Int(0);
    return std::nullopt;
  };
  const struct {
    const char* word;
    std::function<std::optional<std::int32_t>()> look;
  } places[] = {
      {" from ",
       [&] {
         return ask(
             "SELECT first_time FROM measurement_chunk WHERE stream = ?1 "
             "ORDER BY first_time, first_subgroup LIMIT 1");
       }},
      {" before ",
       [&] {
         return ask(
             "SELECT first_time FROM measurement_chunk WHERE stream = ?1 "
             "ORDER BY first_time DESC, first_subgroup DESC LIMIT 1");
       }},
      {" near ",
       [&] {
         return ask(
             "SELECT time FROM measurement WHERE stream = ?1 ORDER BY time, subgroup LIMIT 1");
       }},
      {" near ",
       [&] {
         return ask(
             "SELECT g.time FROM subgroup g JOIN stream s ON s.part = g.part "
             "AND s.process = g.process WHERE s.id = ?1 ORDER BY g.time LIMIT 1");
       }},
      {" near ", [&] { return AnySealedTime(db, stream); }}};
  for (const auto& [word, look] : places) {
    try {
      if (const auto time = look()) return word + platform::IsoText(*time);
    } catch (const sql::SqlError&) {
      // Damaged, too, or a server's transaction is over.
    }
  }
  return {};
}

}  // namespace

std::string StreamText(sql::Connection& db, std::int64_t stream) {
  sql::Query query(db,
                   "SELECT p.name, r.name, t.name FROM stream s JOIN part p ON p.id = s.part "
                   "JOIN process r ON r.id = s.process JOIN test t ON t.id = s.test "
                   "WHERE s.id = ?1",
                   stream);
  if (!query.Step()) return std::to_string(stream);
  std::string part, process, test;
  query.Read(part, process, test);
  return part + " / " + process + " / " + test;
}

void RethrowWithStream(sql::Connection& db, std::int64_t stream, const sql::SqlError& error,
                       std::string when) {
  if (error.Which() != sql::SqlError::Kind::Damaged) throw error;
  std::string name;
  try {
    name = StreamText(db, stream);
  } catch (const sql::SqlError&) {
    // A server's transaction is over, or the names are damaged, too.
    name = "stream " + std::to_string(stream);
  }
  if (when.empty()) when = AnyTimeOf(db, stream);
  throw std::runtime_error("The values of " + name + when + " are damaged: " + error.what());
}

void DecodeRow(sql::Connection& db, std::int64_t stream, const sql::Query& row,
               std::span<const std::byte> packed, Chunk& chunk) {
  RecordKey first, last;
  std::size_t count = 0;
  row.ReadFrom(1, first.time, first.subgroup, last.time, last.subgroup, count);
  const bool is_whole = chunk.Decode(packed, stream);
  if (is_whole && chunk.First() == first && chunk.Last() == last && chunk.Count() == count) return;
  throw std::runtime_error("The values of " + StreamText(db, stream) +
                           WhenText(first.time, last.time) + " are damaged: their " +
                           (is_whole ? "times or their number differ" : "checksum does not fit"));
}

std::optional<RecordKey> ChunkAtOrBefore(sql::Connection& db, std::int64_t stream,
                                         const RecordKey& key) {
  return ChunkOf(db, kChunkAtOrBefore, stream, key);
}

std::optional<RecordKey> ChunkBehind(sql::Connection& db, std::int64_t stream,
                                     const RecordKey& key) {
  return ChunkOf(db, kChunkBehind, stream, key);
}

std::optional<RecordKey> FindChunk(sql::Connection& db, std::int64_t stream, const RecordKey& key) {
  const auto before = ChunkAtOrBefore(db, stream, key);
  return before ? before : ChunkBehind(db, stream, key);
}

SealedChunk ReadChunk(sql::Connection& db, std::int64_t stream, const RecordKey& first) {
  return NamingStream(db, stream, first, [&] {
    sql::Query query(
        db,
        "SELECT packed, first_time, first_subgroup, last_time, last_subgroup, count "
        "FROM measurement_chunk WHERE stream = ?1 AND first_time = ?2 AND first_subgroup = ?3",
        stream, first.time, first.subgroup);
    SealedChunk sealed;
    query.Step();  // whose key has just been read
    sealed.packed.assign(query.Blob(0).begin(), query.Blob(0).end());
    DecodeRow(db, stream, query, sealed.packed, sealed.chunk);
    return sealed;
  });
}

std::vector<std::int32_t> SubgroupsAt(sql::Connection& db, std::int64_t stream,
                                      std::span<const std::int32_t> times, SealedEnds* ends) {
  std::vector<std::int32_t> subgroups;
  if (times.empty()) return subgroups;
  NamingStream(db, stream, RecordKey{times.front(), 0}, [&] {
    sql::Query hot(db,
                   "SELECT time, subgroup FROM measurement "
                   "WHERE stream = ?1 AND time BETWEEN ?2 AND ?3",
                   stream, times.front(), times.back());
    while (hot.Step()) {
      if (std::ranges::binary_search(times, hot.Int(0))) subgroups.push_back(hot.Int(1));
    }
  });
  const auto drop_before = [&](std::int32_t time) {
    const auto first = std::ranges::lower_bound(times, time);
    times = times.subspan(static_cast<std::size_t>(first - times.begin()));
  };
  const RecordKey from{times.front(), INT32_MIN};
  if (ends != nullptr && ends->IsBefore(stream, from)) return subgroups;
  auto first = FindChunk(db, stream, from);
  if (ends != nullptr && !first) ends->Set(stream, {});
  while (first) {
    drop_before(first->time);
    const auto behind = ChunkBehind(db, stream, *first);
    if (!times.empty() && (!behind || times.front() <= behind->time)) {
      const auto sealed = ReadChunk(db, stream, *first);
      const auto& chunk = sealed.chunk;
      if (ends != nullptr && !behind) ends->Set(stream, chunk.Last());
      for (const auto time : times) {
        if (time > chunk.Last().time) break;
        auto place = chunk.FirstFrom(time);
        for (; place < chunk.Count() && chunk.Times()[place] == time; ++place) {
          subgroups.push_back(chunk.Subgroups()[place]);
        }
      }
    }
    if (!behind) break;
    // Others of its first time may be in the next chunk.
    drop_before(behind->time);
    if (times.empty()) break;
    first =
        times.front() == behind->time ? behind : FindChunk(db, stream, {times.front(), INT32_MIN});
  }
  return subgroups;
}

StreamWalk::StreamWalk(sql::Connection& db, std::int64_t stream, bool forward, std::int32_t start,
                       std::int32_t end)
    : db_(db),
      stream_(stream),
      forward_(forward),
      asked_start_(start),
      start_(start),
      end_(end),
      sealed_{{db, sql::ManyRows{2}, SealedTexts().all[forward ? 1 : 0], stream, start, end},
              SealedTexts().times[forward ? 1 : 0]},
      hot_{{db, HotTexts().all[forward ? 1 : 0], stream, start, end},
           HotTexts().times[forward ? 1 : 0]} {
  hot_.query.Send();
  sealed_.query.Send();
}

// When the row was that cannot be read; empty where its times cannot be read either.
std::string StreamWalk::TimesOfNext(const Source& source) const {
  try {
    sql::Query row(db_, source.times, stream_, asked_start_, end_, source.rows);
    if (!row.Step()) return {};
    RecordKey first, last;
    row.Read(first.time, first.subgroup, last.time, last.subgroup);
    return WhenText(first.time, last.time);
  } catch (const sql::SqlError&) {
    return {};  // a server's transaction is over, or the whole page is damaged
  }
}

bool StreamWalk::Step(Source& source) {
  try {
    const bool is_row = source.query.Step();
    ++source.rows;
    return is_row;
  } catch (const sql::SqlError& error) {
    auto when = TimesOfNext(source);
    if (!when.empty()) RethrowWithStream(db_, stream_, error, std::move(when));
    const auto bound = forward_ ? start_ : end_;
    const bool is_bounded = bound != INT32_MIN && bound != INT32_MAX;
    if (source.reached) {
      when = (forward_ ? " after " : " before ") + platform::IsoText(*source.reached);
    } else if (is_bounded) {
      when = (forward_ ? " from " : " up to ") + platform::IsoText(bound);
    }
    RethrowWithStream(db_, stream_, error, std::move(when));
  }
}

// Brings the next chunk of a source with what lies in the range, unless there is one at hand.
void StreamWalk::Fill(Source& source) {
  while (source.IsEmpty() && !source.done) {
    if (!Step(source)) {
      source.done = true;
      return;
    }
    DecodeRow(db_, stream_, source.query, source.query.Blob(0), source.chunk);
    // The range may have become narrower since the query began.
    if (!forward_ && source.chunk.Last().time < start_) {
      source.done = true;
      return;
    }
    source.reached = (forward_ ? source.chunk.Last() : source.chunk.First()).time;
    source.begin = source.chunk.FirstFrom(start_);
    source.end = end_ == INT32_MAX ? source.chunk.Count() : source.chunk.FirstFrom(end_ + 1);
    // A chunk across a range that ends before it starts.
    source.end = std::max(source.begin, source.end);
  }
}

// Hands out the next records of a source in the direction of the walk.
StreamWalk::Run StreamWalk::Take(Source& source, std::size_t count) const {
  Run run{&source.chunk, source.begin, source.end};
  if (forward_) {
    run.end = source.begin += count;
  } else {
    run.begin = source.end -= count;
  }
  return run;
}

std::optional<StreamWalk::Run> StreamWalk::Next() {
  Fill(hot_);
  Fill(sealed_);
  if (sealed_.IsEmpty()) {
    if (hot_.IsEmpty()) return std::nullopt;
    return Take(hot_, 1);
  }
  const auto all = sealed_.end - sealed_.begin;
  if (hot_.IsEmpty()) return Take(sealed_, all);
  // The records of the chunk that come before the hot one.
  const auto hot = NextOf(hot_).Key();
  const auto place = std::clamp(sealed_.chunk.Find(hot), sealed_.begin, sealed_.end);
  const auto before = forward_ ? place - sealed_.begin : sealed_.end - place;
  return before == 0 ? Take(hot_, 1) : Take(sealed_, before);
}

}  // namespace orvspc::engine::store
