// SPDX-License-Identifier: Apache-2.0
#include "engine/store/select.h"

#include <algorithm>
#include <atomic>
#include <compare>
#include <exception>
#include <memory>
#include <queue>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "engine/store/conditions.h"
#include "engine/store/large_pages.h"
#include "engine/store/packing.h"
#include "engine/store/parallel.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::store {
namespace {

// The clustered index serves each of these without sorting. Time and subgroup come out of the
// packed record: a column fetched costs as much as a value.
constexpr std::string_view kForward =
    "SELECT packed FROM measurement WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 "
    "ORDER BY time, subgroup";
constexpr std::string_view kBackward =
    "SELECT packed FROM measurement WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 "
    "ORDER BY time DESC, subgroup DESC";
constexpr std::string_view kForwardWithContext =
    "SELECT packed, context FROM measurement "
    "WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 ORDER BY time, subgroup";
constexpr std::string_view kBackwardWithContext =
    "SELECT packed, context FROM measurement "
    "WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 ORDER BY time DESC, subgroup DESC";

// Order of delivery.
struct Place {
  std::int32_t time, subgroup, test;
  std::uint32_t index;  // in the set that was read
  friend auto operator<=>(const Place&, const Place&) = default;
};

// Gives every row so far its key.
void MakeKeyed(DataSet& set) {
  if (!set.keys.empty() || set.values.empty()) return;
  set.keys.reserve(set.values.capacity());
  for (const auto& subgroup : set.subgroups) {
    for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
      set.keys.push_back({0, row - subgroup.Test_Start + 1, 0, 0, 0});
    }
  }
}

class Selection {
 public:
  Selection(sql::Connection& connection, const StoreCache& cache, Conditions conditions,
            TimeRange range, TwoThreads& threads)
      : db_(connection),
        cache_(cache),
        conditions_(std::move(conditions)),
        range_(range),
        threads_(threads),
        with_context_(cache.contexts.size() > 1) {}

  void Run(DataSet& out);
  // The newest time; none when nothing was selected.
  std::optional<std::int32_t> RunInBatches(BatchTaker& taker);
  const TimeRange& Range() const { return range_; }

  // What a second thread needs too.
  //
  // Walks a stream from its oldest or newest subgroup on; visit(record, context) returns false to
  // stop.
  template <class Visit>
  void Walk(sql::Connection& db, const Stream& stream, bool forward, Visit visit) const {
    WalkBetween(db, stream, forward, range_.Start(), range_.End(), visit);
  }
  template <class Visit>
  void WalkBetween(sql::Connection& db, const Stream& stream, bool forward, std::int32_t start,
                   std::int32_t end, Visit visit) const;
  // Appends the subgroup if it meets every condition but the time.
  bool Take(const Stream& stream, const PackedView& record, std::size_t context,
            DataSet& out) const;
  // Once the first subgroup is there and shows how many rows there are to one.
  void Reserve(DataSet& out) const;

 private:
  bool TakeRows(const Stream& stream, const PackedView& view, DataSet& out) const;
  bool HasWantedDefect(const PackedView& view) const;
  void AppendSubgroup(const Stream& stream, const PackedView& record, std::size_t context,
                      DataSet& out) const;
  void FindNewest();
  [[noreturn]] void Damaged(sql::Connection& db, const Stream& stream) const;

  void RunOne(const Stream& stream, bool forward, DataSet& out);
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

  sql::Connection& db_;
  const StoreCache& cache_;
  Conditions conditions_;
  TimeRange range_;
  TwoThreads& threads_;
  bool with_context_;
};

template <class Visit>
void Selection::WalkBetween(sql::Connection& db, const Stream& stream, bool forward,
                            std::int32_t start, std::int32_t end, Visit visit) const {
  const auto sql = forward ? (with_context_ ? kForwardWithContext : kForward)
                           : (with_context_ ? kBackwardWithContext : kBackward);
  sql::Query query(db, sql);
  query.Bind(1, stream.id);
  query.Bind(2, std::int64_t{start});
  query.Bind(3, std::int64_t{end});
  while (query.Step()) {
    const auto record = PackedView::Of(query.Blob(0));
    if (!record) Damaged(db, stream);
    std::size_t context = 0;
    if (with_context_) {
      const auto place = cache_.PlaceOfContext(query.Int64(1));
      if (!place) RaiseUnknownContext(query.Int64(1), record->Subgroup());
      context = *place;
    }
    if (!visit(*record, context)) return;
  }
}

bool Selection::Take(const Stream& stream, const PackedView& record, std::size_t context,
                     DataSet& out) const {
  const auto subgroup = record.Subgroup();
  if (subgroup < conditions_.first_subgroup || subgroup > conditions_.last_subgroup) return false;
  if (const auto& wanted = conditions_.with_descriptors;
      wanted && !std::binary_search(wanted->begin(), wanted->end(), subgroup)) {
    return false;
  }
  if (!conditions_.contexts.empty() && !conditions_.contexts[context]) return false;
  if (conditions_.states != 0 && (conditions_.states & (1 << record.Flag())) == 0) return false;

  const auto first = out.values.size();
  if (!TakeRows(stream, record, out)) return false;
  AppendSubgroup(stream, record, context, out);
  out.subgroups.back().Test_Start = static_cast<std::int32_t>(first);
  out.subgroups.back().Test_End = static_cast<std::int32_t>(out.values.size()) - 1;
  return true;
}

bool Selection::HasWantedDefect(const PackedView& view) const {
  const auto& wanted = *conditions_.defects;
  for (std::size_t i = 0; i < view.Count(); ++i) {
    if (std::binary_search(wanted.begin(), wanted.end(), view.Key(i).Def)) return true;
  }
  return false;
}

bool Selection::TakeRows(const Stream& stream, const PackedView& view, DataSet& out) const {
  const bool narrow =
      conditions_.defects && conditions_.defects_narrow_rows && stream.test_type != ttVariable;
  if (conditions_.defects && !conditions_.defects_narrow_rows && !HasWantedDefect(view)) {
    return false;
  }
  const auto count = view.Count();
  const auto first = out.values.size();
  if (!narrow && conditions_.item == 0) {
    if (!view.IsPlain()) MakeKeyed(out);
    out.values.resize(first + count);
    std::memcpy(out.values.data() + first, view.Values(), count * sizeof(double));
    if (!view.IsPlain() || !out.keys.empty()) {
      for (std::size_t i = 0; i < count; ++i) out.keys.push_back(view.Key(i));
    }
    return true;
  }
  MakeKeyed(out);
  bool has_item = false;
  for (std::size_t i = 0; i < count; ++i) {
    const auto key = view.Key(i);
    if (conditions_.item != 0 && key.Tsno != conditions_.item) continue;
    has_item = true;
    if (narrow &&
        !std::binary_search(conditions_.defects->begin(), conditions_.defects->end(), key.Def)) {
      continue;
    }
    out.values.push_back(view.Value(i));
    out.keys.push_back(key);
  }
  if (!has_item) return false;
  if (out.values.size() == first) {
    // Inspected, and none of the chosen defects found: the subgroup stays with its empty row.
    out.values.push_back(0.0);
    out.keys.push_back({});
  }
  return true;
}

void Selection::AppendSubgroup(const Stream& stream, const PackedView& record, std::size_t context,
                               DataSet& out) const {
  auto& subgroup = out.subgroups.emplace_back();
  subgroup.Sgtm = record.Time();
  subgroup.Sgrp = record.Subgroup();
  subgroup.Part = stream.part;
  subgroup.Prcs = stream.process;
  subgroup.Test = stream.test;
  subgroup.Size = record.RoundedSize();
  out.AddSize(record.Size());
  subgroup.Flag = record.Flag();
  const auto& who = cache_.contexts[context];
  subgroup.Wkst = who.workstation;
  subgroup.Job = who.job;
  subgroup.Lot = who.lot;
  subgroup.Shft = who.shift;
  subgroup.Ptrv = who.revision;
  subgroup.Empl = who.employee;
}

// Names the damaged subgroup by the columns beside its record, which is not to be trusted.
void Selection::Damaged(sql::Connection& db, const Stream& stream) const {
  std::string which = "a subgroup";
  sql::Query query(db,
                   "SELECT m.subgroup, s.label, m.packed FROM measurement m "
                   "JOIN subgroup s ON s.id = m.subgroup "
                   "WHERE m.stream = ?1 AND m.time BETWEEN ?2 AND ?3");
  query.Bind(1, stream.id);
  query.Bind(2, std::int64_t{range_.Start()});
  query.Bind(3, std::int64_t{range_.End()});
  while (query.Step()) {
    if (PackedView::Of(query.Blob(2))) continue;
    which =
        "subgroup " + std::to_string(query.Int(0)) + " (\"" + std::string(query.Text(1)) + "\")";
    break;
  }
  throw std::runtime_error("The values of " + which + ", test " + std::to_string(stream.test) +
                           ", are damaged: their checksum does not fit");
}

void Selection::FindNewest() {
  if (!range_.NeedsNewest()) return;
  DataSet scratch;
  std::optional<std::int32_t> newest;
  for (const auto& stream : conditions_.streams) {
    Walk(db_, stream, false, [&](const PackedView& record, std::size_t context) {
      if (newest && record.Time() <= *newest) return false;
      if (!Take(stream, record, context, scratch)) return true;
      newest = record.Time();
      return false;
    });
  }
  if (newest) range_.SetNewest(*newest);
}

void Selection::Reserve(DataSet& out) const {
  constexpr std::int64_t kMostSubgroups = 1 << 22;
  const auto expected = static_cast<std::size_t>(std::min(
      {conditions_.limit, std::max<std::int64_t>(cache_.highest_subgroup, 1), kMostSubgroups}));
  out.subgroups.reserve(expected);
  out.values.reserve(expected * std::min<std::size_t>(out.values.size(), 64));
  PreferLargePages(out.subgroups.data(), expected * sizeof(API_SubgroupData));
  PreferLargePages(out.values.data(), out.values.capacity() * sizeof(double));
}

// Whether the number of subgroups asked for can cut any off.
bool Selection::IsLimited() const {
  return conditions_.limit <
         cache_.highest_subgroup * static_cast<std::int64_t>(conditions_.streams.size());
}

void Selection::Run(DataSet& out) {
  const auto& streams = conditions_.streams;
  if (streams.empty()) return;
  const bool limited = IsLimited();
  if (streams.size() == 1 && limited) return RunOne(streams.front(), false, out);
  FindNewest();
  if (range_.NeedsNewest()) return;
  if (streams.size() == 1) {
    RunOne(streams.front(), true, out);
  } else if (limited) {
    RunNewestMerged(out);
  } else {
    RunAllMerged(out);
  }
}

// Time and subgroup in one word that orders as they do; 0 stands before every subgroup.
std::uint64_t PointOf(std::int32_t time, std::int32_t subgroup) {
  constexpr std::uint32_t kSign = 0x80000000u;
  return (std::uint64_t{static_cast<std::uint32_t>(time) ^ kSign} << 32) |
         (static_cast<std::uint32_t>(subgroup) ^ kSign);
}

// A second thread that reads a stream from its other end until both have met. Each of them tells
// now and then how far it has come and stops where the other has been, so the work is halved
// wherever the subgroups lie; what both have read in the meantime is dropped by Join.
class OtherEnd {
 public:
  OtherEnd(const Selection& selection, const Stream& stream, bool forward, TwoThreads& threads)
      : second_(*threads.second),
        stride_(std::clamp<std::int64_t>(threads.from / 400, 1, 256)),
        forward_(forward),
        thread_([this, &selection, &stream] { Read(selection, stream); }) {}
  OtherEnd(const OtherEnd&) = delete;
  OtherEnd& operator=(const OtherEnd&) = delete;
  ~OtherEnd() { Stop(); }

  // For the first thread, once it is done with a subgroup: whether the other has been there.
  bool Meets(const PackedView& record) { return Meets(record, !forward_, first_); }
  // The first thread needs no more.
  void Stop() {
    if (!thread_.joinable()) return;
    stopped_ = true;
    thread_.join();
    second_.Leave();
  }
  // Waits for the end. Throws what the thread has thrown.
  DataSet Finish() {
    if (thread_.joinable()) thread_.join();
    second_.Leave();
    if (failure_) std::rethrow_exception(failure_);
    return std::move(set_);
  }

 private:
  // On a cache line of its own.
  struct alignas(64) Reader {
    std::int64_t steps = 0;
    std::uint64_t other = 0;  // the other's point as it was last seen
  };

  bool Meets(const PackedView& record, bool forward, Reader& reader) {
    const auto point = PointOf(record.Time(), record.Subgroup());
    if (reader.steps++ % stride_ == 0) {
      (forward ? from_oldest_ : from_newest_) = point;
      reader.other = forward ? from_newest_ : from_oldest_;
    }
    return forward ? point >= reader.other : point <= reader.other;
  }

  void Read(const Selection& selection, const Stream& stream) noexcept {
    try {
      selection.Walk(
          second_.Get(), stream, forward_, [&](const PackedView& record, std::size_t context) {
            if (stopped_.load(std::memory_order_relaxed)) return false;
            if (selection.Take(stream, record, context, set_) && set_.subgroups.size() == 1) {
              selection.Reserve(set_);
            }
            return !Meets(record, forward_, second_reader_);
          });
    } catch (...) {
      failure_ = std::current_exception();
    }
  }

  SecondReader& second_;
  const std::int64_t stride_;
  const bool forward_;  // of the second thread
  DataSet set_;
  std::exception_ptr failure_;
  Reader first_, second_reader_;
  // How far each has come: the subgroup there and all before or behind it are read.
  alignas(64) std::atomic<std::uint64_t> from_oldest_ = 0;
  alignas(64) std::atomic<std::uint64_t> from_newest_ = UINT64_MAX;
  std::atomic<bool> stopped_ = false;
  std::thread thread_;  // last: it begins when everything else is there
};

// Null when there is nobody to share with.
std::unique_ptr<OtherEnd> Share(const Selection& selection, const Stream& stream, bool forward,
                                TwoThreads& threads) {
  if (!threads.second->Join()) return nullptr;
  try {
    auto other = std::make_unique<OtherEnd>(selection, stream, forward, threads);
    threads.used = true;
    return other;
  } catch (const std::system_error&) {
    threads.second->Leave();
    return nullptr;
  }
}

std::uint64_t PointOfLast(const DataSet& set) {
  return PointOf(set.subgroups.back().Sgtm, set.subgroups.back().Sgrp);
}

// The newest subgroups of a set that ascends and one that descends, which may overlap.
DataSet Join(DataSet ascending, DataSet descending, std::int64_t limit) {
  if (!ascending.subgroups.empty()) {
    const auto last = PointOfLast(ascending);
    while (!descending.subgroups.empty() && PointOfLast(descending) <= last) {
      descending.subgroups.pop_back();
      if (!descending.sizes.empty()) descending.sizes.pop_back();
    }
  }
  if (!ascending.keys.empty()) MakeKeyed(descending);
  if (!descending.subgroups.empty() && !descending.keys.empty()) MakeKeyed(ascending);
  const auto room = static_cast<std::int64_t>(ascending.subgroups.size()) +
                    static_cast<std::int64_t>(descending.subgroups.size()) - limit;
  if (room > 0) {
    DataSet newest;
    for (auto i = static_cast<std::size_t>(room); i < ascending.subgroups.size(); ++i) {
      CopySubgroup(ascending, i, newest);
    }
    ascending = std::move(newest);
  }
  ascending.subgroups.reserve(ascending.subgroups.size() + descending.subgroups.size());
  ascending.values.reserve(ascending.values.size() + descending.values.size());
  for (auto i = descending.subgroups.size(); i-- > 0;) CopySubgroup(descending, i, ascending);
  return ascending;
}

void Selection::RunOne(const Stream& stream, bool forward, DataSet& out) {
  DataSet read, others;
  const auto limit = static_cast<std::uint64_t>(conditions_.limit);
  const auto alone = threads_.second == nullptr ? kNoLimit : threads_.from / 8;
  std::int64_t seen = 0;
  std::unique_ptr<OtherEnd> other;
  Walk(db_, stream, forward, [&](const PackedView& record, std::size_t context) {
    // The walk began before the range of the newest was known.
    if (!forward && record.Time() < range_.Start()) return false;
    if (seen++ == alone && !range_.NeedsNewest()) other = Share(*this, stream, !forward, threads_);
    if (Take(stream, record, context, read)) {
      if (range_.NeedsNewest()) range_.SetNewest(record.Time());
      if (read.subgroups.size() == 1) Reserve(read);
      if (read.subgroups.size() >= limit && !forward) {
        if (other) other->Stop();
        return false;
      }
    }
    return !other || !other->Meets(record);
  });
  const bool shared = other && read.subgroups.size() < limit;
  if (shared) others = other->Finish();
  other.reset();
  if (forward) {
    out = shared ? Join(std::move(read), std::move(others), kNoLimit) : std::move(read);
    return;
  }
  out = Join(std::move(others), std::move(read), conditions_.limit);
}

Place PlaceOfLast(const DataSet& set) {
  const auto& subgroup = set.subgroups.back();
  return {subgroup.Sgtm, subgroup.Sgrp, subgroup.Test,
          static_cast<std::uint32_t>(set.subgroups.size() - 1)};
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
  for (const auto& place : places) CopySubgroup(read, place.index, out);
}

void Selection::RunAllMerged(DataSet& out) {
  DataSet read;
  std::vector<Place> places;
  std::vector<std::ptrdiff_t> ends;
  for (const auto& stream : conditions_.streams) {
    Walk(db_, stream, true, [&](const PackedView& record, std::size_t context) {
      if (Take(stream, record, context, read)) places.push_back(PlaceOfLast(read));
      return true;
    });
    ends.push_back(static_cast<std::ptrdiff_t>(places.size()));
  }
  MergeRuns(places, std::move(ends));
  Gather(read, places, out);
}

void Selection::RunNewestMerged(DataSet& out) {
  DataSet read;
  const auto limit = static_cast<std::size_t>(conditions_.limit);
  // The newest so far, the oldest of them on top.
  std::priority_queue<Place, std::vector<Place>, std::greater<>> newest;
  for (const auto& stream : conditions_.streams) {
    Walk(db_, stream, false, [&](const PackedView& record, std::size_t context) {
      const Place next{record.Time(), record.Subgroup(), stream.test, 0};
      if (newest.size() == limit && next < newest.top()) return false;
      if (!Take(stream, record, context, read)) return true;
      newest.push(PlaceOfLast(read));
      if (newest.size() > limit) newest.pop();
      return true;
    });
  }
  std::vector<Place> places;
  places.reserve(newest.size());
  for (; !newest.empty(); newest.pop()) places.push_back(newest.top());
  Gather(read, places, out);
}

// Cuts a stream into pieces of equal time: without an index of places that is as near to equal work
// as one look at both ends comes.
void Selection::Cut(const Stream& stream, int pieces, std::vector<Stretch>& out) const {
  std::optional<std::int32_t> ends[2];
  static constexpr std::string_view kEnds[] = {
      "SELECT time FROM measurement WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 "
      "ORDER BY time LIMIT 1",
      "SELECT time FROM measurement WHERE stream = ?1 AND time BETWEEN ?2 AND ?3 "
      "ORDER BY time DESC LIMIT 1"};
  for (int i = 0; i < 2; ++i) {
    sql::Query query(db_, kEnds[i]);
    query.Bind(1, stream.id);
    query.Bind(2, std::int64_t{range_.Start()});
    query.Bind(3, std::int64_t{range_.End()});
    if (query.Step()) ends[i] = query.Int(0);
  }
  if (!ends[0] || !ends[1]) return;
  const std::int64_t first = *ends[0], last = *ends[1];
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
  const auto streams = static_cast<int>(std::min<std::size_t>(conditions_.streams.size(), kPieces));
  std::vector<Stretch> stretches;
  for (const auto& stream : conditions_.streams) {
    if (threads_.second == nullptr) {
      stretches.push_back({&stream, range_.Start(), range_.End()});
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
  WalkBetween(db, *stretch.stream, true, stretch.start, stretch.end,
              [&](const PackedView& record, std::size_t context) {
                Take(*stretch.stream, record, context, batch);
                if (batch.values.size() >= kBatch) flush();
                return true;
              });
  flush();
  return newest;
}

std::optional<std::int32_t> Selection::RunInBatches(BatchTaker& taker) {
  std::optional<std::int32_t> newest;
  if (IsLimited()) {
    DataSet all;
    Run(all);
    if (!all.subgroups.empty()) newest = all.subgroups.back().Sgtm;
    taker.Begin(1);
    taker.Take(0, all);
    return newest;
  }
  FindNewest();
  const auto stretches = range_.NeedsNewest() ? std::vector<Stretch>() : Stretches();
  taker.Begin(stretches.size());
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> failed = false;
  std::optional<std::int32_t> newest_of[2];
  const auto work = [&](sql::Connection& db, std::optional<std::int32_t>& found) {
    try {
      for (std::size_t i = next++; i < stretches.size() && !failed; i = next++) {
        const auto time = Bring(db, stretches[i], i, taker);
        if (time && (!found || *time > *found)) found = time;
      }
    } catch (...) {
      failed = true;
      throw;
    }
  };
  if (threads_.second != nullptr && stretches.size() > 1 && threads_.second->Join()) {
    const struct Reading {
      SecondReader& second;
      ~Reading() { second.Leave(); }
    } reading{*threads_.second};
    threads_.used = true;
    RunBoth([&] { work(db_, newest_of[0]); }, [&] { work(reading.second.Get(), newest_of[1]); });
  } else {
    work(db_, newest_of[0]);
  }
  return std::max(newest_of[0], newest_of[1]);
}

}  // namespace

void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet& out) {
  Selection selection(connection, cache, LookUp(connection, cache, info, filter, options),
                      TimeRange(info, cache.zone_offset), threads);
  DataSet result;
  selection.Run(result);
  out = std::move(result);
  std::optional<std::int32_t> newest;
  if (!out.subgroups.empty()) newest = out.subgroups.back().Sgtm;
  selection.Range().WriteBack(info, newest);
  ResolveStatus(info);
}

void RunSelectionInBatches(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                           std::span<const std::int32_t> filter, const SelectOptions& options,
                           TwoThreads& threads, BatchTaker& taker) {
  Selection selection(connection, cache, LookUp(connection, cache, info, filter, options),
                      TimeRange(info, cache.zone_offset), threads);
  const auto newest = selection.RunInBatches(taker);
  selection.Range().WriteBack(info, newest);
  ResolveStatus(info);
}

}  // namespace orvspc::engine::store
