// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <compare>
#include <memory>
#include <optional>
#include <queue>
#include <vector>

#include "engine/store/SharedReading.h"

namespace orvspc::engine::store {
namespace {

// Order of delivery.
struct Place {
  std::int32_t time, subgroup, test;
  std::uint32_t index;  // in the set that was read
  friend auto operator<=>(const Place&, const Place&) = default;
};

struct Selection {
  sql::Connection& connection;
  const StoreCache& cache;
  Conditions conditions;
  TimeRange range;
  TwoThreads& threads;
  StreamReader reader{cache, conditions, range};

  // Both return the newest time; none when nothing was selected.
  std::optional<std::int32_t> Run(DataSet& out);
  std::optional<std::int32_t> RunInBatches(BatchTaker& taker);
  void FindNewest();
  void Read(DataSet& out);
  void RunOne(const Stream& stream, bool forward, DataSet& out);
  bool TakeNewest(const Stream& stream, StreamWalk::Run run, std::size_t limit,
                  DescendingRuns& read);
  void RunAllMerged(DataSet& out);
  void RunNewestMerged(DataSet& out);
  bool IsLimited() const;

  // A stream between two times, both ends belonging to it.
  struct Stretch {
    const Stream* stream;
    std::int32_t start, end;
  };
  std::vector<Stretch> Stretches() const;
  void Cut(const Stream& stream, int pieces, std::vector<Stretch>& out) const;
  std::optional<std::int32_t> Bring(sql::Connection& db, const Stretch& stretch, std::size_t part,
                                    BatchTaker& taker) const;
};

void Selection::FindNewest() {
  if (!range.NeedsNewest()) return;
  DataSet scratch;
  std::optional<std::int32_t> newest;
  for (const auto& stream : conditions.streams) {
    reader.Walk(connection, stream, false).ForEach([&](const RecordView& record) {
      if (newest && record.Time() <= *newest) return false;
      if (!reader.Take(stream, record, scratch)) return true;
      newest = record.Time();
      return false;
    });
  }
  if (newest) range.SetNewest(*newest);
}

// Whether the number of subgroups asked for can cut any off.
bool Selection::IsLimited() const {
  return conditions.limit <
         cache.highest_subgroup * static_cast<std::int64_t>(conditions.streams.size());
}

std::optional<std::int32_t> Selection::Run(DataSet& out) {
  Read(out);
  return out.subgroups.empty() ? std::nullopt : std::optional(out.subgroups.back().Sgtm);
}

void Selection::Read(DataSet& out) {
  const auto& streams = conditions.streams;
  if (streams.empty()) return;
  const bool limited = IsLimited();
  if (streams.size() == 1 && limited) return RunOne(streams.front(), false, out);
  FindNewest();
  if (range.NeedsNewest()) return;
  if (streams.size() == 1) {
    RunOne(streams.front(), true, out);
  } else if (limited) {
    RunNewestMerged(out);
  } else {
    RunAllMerged(out);
  }
}

// Takes from a run no more than are still wanted, the newest first. The walk began before the range
// of the newest was known. False: the walk is at its end.
bool Selection::TakeNewest(const Stream& stream, StreamWalk::Run run, std::size_t limit,
                           DescendingRuns& read) {
  while (run.Count() > 0 && read.Count() < limit) {
    if (!range.NeedsNewest()) {
      run.begin = std::max(run.begin, run.chunk->FirstFrom(range.Start()));
      if (run.begin >= run.end) return false;
    }
    const auto count =
        range.NeedsNewest() ? std::size_t{1} : std::min(run.Count(), limit - read.Count());
    reader.TakeRun(stream, {run.chunk, run.end - count, run.end}, read.Next());
    if (range.NeedsNewest() && read.Count() > 0) range.SetNewest(read.data.subgroups.back().Sgtm);
    run.end -= count;
  }
  return read.Count() < limit;
}

void Selection::RunOne(const Stream& stream, bool forward, DataSet& out) {
  DescendingRuns read, others;
  const auto limit = forward ? SIZE_MAX : static_cast<std::size_t>(conditions.limit);
  const auto alone = threads.second == nullptr ? kNoLimit : threads.from / 8;
  std::int64_t seen = 0;
  bool may_share = true;
  std::unique_ptr<OtherEnd> other;
  auto walk = reader.Walk(connection, stream, forward);
  while (const auto run = walk.Next()) {
    const bool is_first = read.Count() == 0;
    if (forward) {
      reader.TakeRun(stream, *run, read.data);
    } else {
      if (!TakeNewest(stream, *run, limit, read)) break;
      walk.StartAt(range.Start());
    }
    if (is_first && read.Count() > 0) reader.Reserve(read.data);
    if (other && other->Meets(*run)) break;
    seen += static_cast<std::int64_t>(run->Count());
    if (may_share && seen > alone && !range.NeedsNewest()) {
      other = Share(reader, stream, !forward, threads);
      may_share = false;
    }
  }
  if (other && read.Count() < limit) others = other->Finish();
  other.reset();
  if (!forward) std::swap(read, others);
  out = Join(std::move(read.data), std::move(others), conditions.limit);
}

Place PlaceOf(const DataSet& set, std::size_t index) {
  const auto& subgroup = set.subgroups[index];
  return {subgroup.Sgtm, subgroup.Sgrp, subgroup.Test, static_cast<std::uint32_t>(index)};
}

// Merges ascending runs, whose ends are given, pair by pair.
void MergeRuns(std::vector<Place>& places, std::vector<std::ptrdiff_t> ends) {
  const auto at = [&](std::ptrdiff_t place) { return places.begin() + place; };
  while (ends.size() > 1) {
    std::vector<std::ptrdiff_t> fewer;
    std::ptrdiff_t start = 0;
    for (std::size_t i = 0; i < ends.size(); i += 2) {
      const auto last = std::min(i + 1, ends.size() - 1);
      std::inplace_merge(at(start), at(ends[i]), at(ends[last]));
      start = ends[last];
      fewer.push_back(start);
    }
    ends = std::move(fewer);
  }
}

void Gather(const DataSet& read, std::span<const Place> places, DataSet& out) {
  out.subgroups.reserve(places.size());
  for (const auto& place : places) CopySubgroups(read, place.index, place.index + 1, out);
}

void Selection::RunAllMerged(DataSet& out) {
  DataSet read;
  std::vector<Place> places;
  std::vector<std::ptrdiff_t> ends;
  for (const auto& stream : conditions.streams) {
    auto walk = reader.Walk(connection, stream, true);
    while (const auto run = walk.Next()) {
      reader.TakeRun(stream, *run, read);
      while (places.size() < read.subgroups.size()) {
        places.push_back(PlaceOf(read, places.size()));
      }
    }
    ends.push_back(static_cast<std::ptrdiff_t>(places.size()));
  }
  MergeRuns(places, std::move(ends));
  Gather(read, places, out);
}

void Selection::RunNewestMerged(DataSet& out) {
  DataSet read;
  const auto limit = static_cast<std::size_t>(conditions.limit);
  // The newest so far, the oldest of them on top.
  std::priority_queue<Place, std::vector<Place>, std::greater<>> newest;
  for (const auto& stream : conditions.streams) {
    reader.Walk(connection, stream, false).ForEach([&](const RecordView& record) {
      const Place next{record.Time(), record.Subgroup(), stream.test, 0};
      if (newest.size() == limit && next < newest.top()) return false;
      if (!reader.Take(stream, record, read)) return true;
      newest.push(PlaceOf(read, read.subgroups.size() - 1));
      if (newest.size() > limit) newest.pop();
      return true;
    });
  }
  std::vector<Place> places;
  places.reserve(newest.size());
  for (; !newest.empty(); newest.pop()) places.push_back(newest.top());
  Gather(read, places, out);
}

// Cuts a stream into pieces of equal time. Equal time spans approximate equal work without counting
// rows.
void Selection::Cut(const Stream& stream, int pieces, std::vector<Stretch>& out) const {
  std::int64_t ends[2];
  for (const bool forward : {true, false}) {
    StreamWalk walk(connection, stream.id, forward, range.Start(), range.End());
    const auto run = walk.Next();
    if (!run) return;
    ends[forward ? 0 : 1] = run->chunk->Record(forward ? run->begin : run->end - 1).Time();
  }
  const auto [first, last] = ends;
  std::int64_t start = first;
  for (int i = 1; i <= pieces && start <= last; ++i) {
    const auto end = first + (last - first) * i / pieces;
    if (end < start) continue;
    out.push_back({&stream, static_cast<std::int32_t>(start), static_cast<std::int32_t>(end)});
    start = end + 1;
  }
}

std::vector<Selection::Stretch> Selection::Stretches() const {
  // Enough for two threads to end together.
  constexpr int kPieces = 32;
  const auto streams = static_cast<int>(std::min<std::size_t>(conditions.streams.size(), kPieces));
  std::vector<Stretch> stretches;
  for (const auto& stream : conditions.streams) {
    if (!threads.is_large) {
      stretches.push_back({&stream, range.Start(), range.End()});
    } else {
      Cut(stream, kPieces / streams, stretches);
    }
  }
  return stretches;
}

std::optional<std::int32_t> Selection::Bring(sql::Connection& db, const Stretch& stretch,
                                             std::size_t part, BatchTaker& taker) const {
  constexpr std::size_t kBatch = 4096;  // rows: what the nearest caches hold
  std::optional<std::int32_t> newest;
  DataSet batch;
  const auto flush = [&] {
    if (batch.subgroups.empty()) return;
    newest = batch.subgroups.back().Sgtm;
    taker.Take(part, batch);
    batch.subgroups.clear();
    batch.values.clear();
    batch.keys.clear();
    batch.sizes.clear();
  };
  StreamWalk walk(db, stretch.stream->id, true, stretch.start, stretch.end);
  while (const auto run = walk.Next()) {
    reader.TakeRun(*stretch.stream, *run, batch);
    if (batch.values.size() >= kBatch) flush();
  }
  flush();
  return newest;
}

std::optional<std::int32_t> Selection::RunInBatches(BatchTaker& taker) {
  if (IsLimited()) {
    DataSet all;
    const auto newest = Run(all);
    taker.Begin(1);
    taker.Take(0, all);
    return newest;
  }
  FindNewest();
  const auto stretches = range.NeedsNewest() ? std::vector<Stretch>() : Stretches();
  taker.Begin(stretches.size());
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> failed = false;
  std::optional<std::int32_t> newest_of[2];
  const auto work = [&](sql::Connection& db, std::optional<std::int32_t>& found) {
    try {
      for (std::size_t i = next++; i < stretches.size() && !failed; i = next++) {
        const auto time = Bring(db, stretches[i], i, taker);
        found = std::max(found, time);
      }
    } catch (...) {
      failed = true;
      throw;
    }
  };
  if (threads.second != nullptr && stretches.size() > 1 && threads.second->Join()) {
    const struct Reading {
      SecondReader& second;
      ~Reading() { second.Leave(); }
    } reading{*threads.second};
    threads.used = true;
    RunBoth([&] { work(connection, newest_of[0]); },
            [&] { work(reading.second.Get(), newest_of[1]); });
  } else {
    work(connection, newest_of[0]);
  }
  return std::max(newest_of[0], newest_of[1]);
}

}  // namespace

void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet* out, BatchTaker* taker) {
  Selection selection{connection, cache, LookUp(connection, cache, info, filter, options),
                      TimeRange(info, cache.zone_offset), threads};
  const auto newest = out != nullptr ? selection.Run(*out) : selection.RunInBatches(*taker);
  selection.range.WriteBack(info, newest);
  ResolveStatus(info);
}

}  // namespace orvspc::engine::store
