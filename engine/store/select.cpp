// SPDX-License-Identifier: Apache-2.0
#include "engine/store/select.h"

#include <algorithm>
#include <compare>
#include <memory>
#include <queue>
#include <stdexcept>
#include <string>

#include "engine/store/cache.h"
#include "engine/store/conditions.h"
#include "engine/store/halves.h"
#include "engine/store/large_pages.h"
#include "engine/store/packing.h"
#include "platform/Enumerations.h"

namespace orvspc::engine {
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
  Selection(Connection& connection, const StoreCache& cache, Conditions conditions, TimeRange range)
      : db_(connection),
        cache_(cache),
        conditions_(std::move(conditions)),
        range_(range),
        with_context_(cache.contexts.size() > 1) {}

  void Run(DataSet& out);
  const TimeRange& Range() const { return range_; }

 private:
  // Walks a stream from its oldest or newest subgroup on; visit(record, context) returns false to
  // stop.
  template <class Visit>
  void Walk(const Stream& stream, bool forward, Visit visit);
  // Appends the subgroup if it meets every condition but the time.
  bool Take(const Stream& stream, const PackedView& record, std::size_t context, DataSet& out);
  bool TakeRows(const Stream& stream, const PackedView& view, DataSet& out);
  bool HasWantedDefect(const PackedView& view) const;
  void AppendSubgroup(const Stream& stream, const PackedView& record, std::size_t context,
                      DataSet& out);
  void FindNewest();
  void Reserve(DataSet& out) const;
  [[noreturn]] void Damaged(const Stream& stream);

  void RunForward(const Stream& stream, DataSet& out);
  void RunNewestOfOne(const Stream& stream, DataSet& out);
  void RunAllMerged(DataSet& out);
  void RunNewestMerged(DataSet& out);

  Connection& db_;
  const StoreCache& cache_;
  Conditions conditions_;
  TimeRange range_;
  bool with_context_;
};

template <class Visit>
void Selection::Walk(const Stream& stream, bool forward, Visit visit) {
  const auto sql = forward ? (with_context_ ? kForwardWithContext : kForward)
                           : (with_context_ ? kBackwardWithContext : kBackward);
  Query query(db_, sql);
  query.Bind(1, stream.id);
  query.Bind(2, std::int64_t{range_.Start()});
  query.Bind(3, std::int64_t{range_.End()});
  while (query.Step()) {
    const auto record = PackedView::Of(query.Blob(0));
    if (!record) Damaged(stream);
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
                     DataSet& out) {
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

bool Selection::TakeRows(const Stream& stream, const PackedView& view, DataSet& out) {
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
                               DataSet& out) {
  auto& subgroup = out.subgroups.emplace_back();
  subgroup.Sgtm = record.Time();
  subgroup.Sgrp = record.Subgroup();
  subgroup.Part = stream.part;
  subgroup.Prcs = stream.process;
  subgroup.Test = stream.test;
  subgroup.Size = record.Size();
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
void Selection::Damaged(const Stream& stream) {
  std::string which = "a subgroup";
  Query query(db_,
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
    Walk(stream, false, [&](const PackedView& record, std::size_t context) {
      if (newest && record.Time() <= *newest) return false;
      if (!Take(stream, record, context, scratch)) return true;
      newest = record.Time();
      return false;
    });
  }
  if (newest) range_.SetNewest(*newest);
}

// Once the first subgroup shows how many rows there are to one.
void Selection::Reserve(DataSet& out) const {
  constexpr std::int64_t kMostSubgroups = 1 << 22;
  const auto expected = static_cast<std::size_t>(std::min(
      {conditions_.limit, std::max<std::int64_t>(cache_.highest_subgroup, 1), kMostSubgroups}));
  out.subgroups.reserve(expected);
  out.values.reserve(expected * std::min<std::size_t>(out.values.size(), 64));
  PreferLargePages(out.subgroups.data(), expected * sizeof(API_SubgroupData));
  PreferLargePages(out.values.data(), out.values.capacity() * sizeof(double));
}

void Selection::Run(DataSet& out) {
  const auto& streams = conditions_.streams;
  if (streams.empty()) return;
  const auto bound = cache_.highest_subgroup * static_cast<std::int64_t>(streams.size());
  const bool limited = conditions_.limit < bound;
  if (streams.size() == 1 && limited) return RunNewestOfOne(streams.front(), out);
  FindNewest();
  if (range_.NeedsNewest()) return;
  if (streams.size() == 1) {
    RunForward(streams.front(), out);
  } else if (limited) {
    RunNewestMerged(out);
  } else {
    RunAllMerged(out);
  }
}

void Selection::RunForward(const Stream& stream, DataSet& out) {
  Walk(stream, true, [&](const PackedView& record, std::size_t context) {
    if (Take(stream, record, context, out) && out.subgroups.size() == 1) Reserve(out);
    return true;
  });
}

void Selection::RunNewestOfOne(const Stream& stream, DataSet& out) {
  DataSet read;
  const auto limit = static_cast<std::size_t>(conditions_.limit);
  Walk(stream, false, [&](const PackedView& record, std::size_t context) {
    if (record.Time() < range_.Start()) return false;
    if (!Take(stream, record, context, read)) return true;
    if (range_.NeedsNewest()) range_.SetNewest(record.Time());
    if (read.subgroups.size() == 1) Reserve(read);
    return read.subgroups.size() < limit;
  });
  out.subgroups.reserve(read.subgroups.size());
  out.values.reserve(read.values.size());
  out.keys.reserve(read.keys.size());
  for (auto i = read.subgroups.size(); i-- > 0;) CopySubgroup(read, i, out);
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
    Walk(stream, true, [&](const PackedView& record, std::size_t context) {
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
    Walk(stream, false, [&](const PackedView& record, std::size_t context) {
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

}  // namespace

void CopySubgroup(const DataSet& from, std::size_t place, DataSet& out) {
  auto subgroup = from.subgroups[place];
  const auto first = static_cast<std::ptrdiff_t>(subgroup.Test_Start);
  const auto last = static_cast<std::ptrdiff_t>(subgroup.Test_End) + 1;
  subgroup.Test_Start = static_cast<std::int32_t>(out.values.size());
  out.values.insert(out.values.end(), from.values.begin() + first, from.values.begin() + last);
  if (!from.keys.empty()) {
    out.keys.insert(out.keys.end(), from.keys.begin() + first, from.keys.begin() + last);
  }
  subgroup.Test_End = static_cast<std::int32_t>(out.values.size()) - 1;
  out.subgroups.push_back(subgroup);
}

void RunSelection(Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  DataSet& out) {
  Selection selection(connection, cache, LookUp(connection, cache, info, filter, options),
                      TimeRange(info, cache.zone_offset));
  DataSet result;
  selection.Run(result);
  out = std::move(result);
  std::optional<std::int32_t> newest;
  if (!out.subgroups.empty()) newest = out.subgroups.back().Sgtm;
  selection.Range().WriteBack(info, newest);
  constexpr std::int32_t kEveryState = 7;
  if (info.Status == 0) info.Status = kEveryState;
}

bool SqliteStore::Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                         const SelectOptions& options, DataSet& out) {
  out = {};
  auto resolved = info;
  const bool done = Read([&](Connection& connection) {
    RunSelection(connection, Cache(), resolved, filter, options, out);
  });
  if (done) {
    info = resolved;
  } else {
    out = {};
  }
  return done;
}

namespace {

// Field by field: a row built aside and copied would wait for its own bytes.
void WriteRow(const RowKey& key, double value, API_TestData& out) {
  out.Sn = key.Sn;
  out.Tsno = key.Tsno;
  out.Sbno = key.Sbno;
  out.Def = key.Def;
  out.Gage = key.Gage;
  out.Val = value;
  out.Reserved = 0;
}

RowKey PlainKey(std::size_t row) { return {0, static_cast<std::int32_t>(row + 1), 0, 0, 0}; }

}  // namespace

API_TestData DataSet::Row(std::size_t subgroup, std::size_t row) const {
  const auto place = static_cast<std::size_t>(subgroups[subgroup].Test_Start) + row;
  API_TestData test;
  WriteRow(keys.empty() ? PlainKey(row) : keys[place], values[place], test);
  return test;
}

void DataSet::WriteTests(std::span<API_TestData> out) const {
  ForHalves(subgroups.size(), [&](std::size_t begin, std::size_t behind) {
    for (auto i = begin; i < behind; ++i) {
      const auto first = static_cast<std::size_t>(subgroups[i].Test_Start);
      const auto end = std::min(static_cast<std::size_t>(subgroups[i].Test_End) + 1, out.size());
      for (auto place = first; place < end; ++place) {
        WriteRow(keys.empty() ? PlainKey(place - first) : keys[place], values[place], out[place]);
      }
    }
  });
}

}  // namespace orvspc::engine
