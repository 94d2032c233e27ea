// SPDX-License-Identifier: Apache-2.0
#include "engine/store/stream_reader.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <string>

#include "engine/chunks/large_data.h"
#include "platform/Enumerations.h"
#include "system/system.h"

namespace orvspc::engine::store {

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

bool StreamReader::Take(const Stream& stream, const RecordView& record, DataSet& out) const {
  const auto subgroup = record.Subgroup();
  if (subgroup < conditions_.first_subgroup || subgroup > conditions_.last_subgroup) return false;
  if (const auto& wanted = conditions_.with_descriptors;
      wanted && !std::binary_search(wanted->begin(), wanted->end(), subgroup)) {
    return false;
  }
  const auto context = cache_.PlaceOfContextOf(record);
  if (!conditions_.contexts.empty() && !conditions_.contexts[context]) return false;
  if (conditions_.states != 0 && (conditions_.states & (1 << record.Flag())) == 0) return false;

  const auto first = out.values.size();
  if (!TakeRows(stream, record, out)) return false;
  AppendSubgroup(stream, record, context, out);
  out.subgroups.back().Test_Start = static_cast<std::int32_t>(first);
  out.subgroups.back().Test_End = static_cast<std::int32_t>(out.values.size()) - 1;
  return true;
}

// Whether the records of the run go into the data set whole, as they lie side by side: none has a
// size that is no whole number, and all have keys or none.
bool StreamReader::IsSimple(const StreamWalk::Run& run) const {
  if (!takes_all_) return false;
  const auto states = run.chunk->States().subspan(run.begin, run.Count());
  const auto keyed = states.front() & kKeyedState;
  return std::ranges::all_of(states, [&](std::int32_t state) {
    if ((state & (kKeyedState | kFractionState)) != keyed) return false;
    return conditions_.states == 0 || (conditions_.states & (1 << (state & kFlagBits))) != 0;
  });
}

void StreamReader::TakeRun(const Stream& stream, const StreamWalk::Run& run, DataSet& out) const {
  const auto& chunk = *run.chunk;
  const auto oldest = chunk.Record(run.begin);
  if (!IsSimple(run) || !out.sizes.empty() || (oldest.IsPlain() && !out.keys.empty())) {
    for (auto i = run.begin; i < run.end; ++i) Take(stream, chunk.Record(i), out);
    return;
  }
  const auto times = chunk.Times(), subgroups = chunk.Subgroups(), contexts = chunk.Contexts(),
             counts = chunk.RowCounts(), sizes = chunk.RoundedSizes(), states = chunk.States();
  const auto first_row = out.values.size();
  const auto rows = static_cast<std::size_t>(
      std::accumulate(counts.begin() + static_cast<std::ptrdiff_t>(run.begin),
                      counts.begin() + static_cast<std::ptrdiff_t>(run.end), std::int64_t{0}));
  if (!oldest.IsPlain()) {
    MakeKeyed(out);
    out.keys.resize(first_row + rows);
    std::memcpy(out.keys.data() + first_row, oldest.Keys(), rows * sizeof(RowKey));
  }
  out.values.resize(first_row + rows);
  std::memcpy(out.values.data() + first_row, oldest.Values(), rows * sizeof(double));
  const auto first = out.subgroups.size();
  out.subgroups.resize(first + run.Count());
  auto* to = out.subgroups.data() + first;
  auto row = static_cast<std::int32_t>(first_row);
  std::int32_t context = 0;
  auto like = cache_.context_rows[0];
  like.Part = stream.part;
  like.Prcs = stream.process;
  like.Test = stream.test;
  for (auto i = run.begin; i < run.end; ++i) {
    if (contexts[i] != context) {
      context = contexts[i];
      like = cache_.context_rows[cache_.PlaceOfContextOf(chunk.Record(i))];
      like.Part = stream.part;
      like.Prcs = stream.process;
      like.Test = stream.test;
    }
    like.Sgtm = times[i];
    like.Sgrp = subgroups[i];
    like.Size = sizes[i];
    like.Flag = states[i] & kFlagBits;
    like.Test_Start = row;
    row += counts[i];
    like.Test_End = row - 1;
    *to++ = like;
  }
}

bool StreamReader::HasWantedDefect(const RecordView& view) const {
  const auto& wanted = *conditions_.defects;
  for (std::size_t i = 0; i < view.Count(); ++i) {
    if (std::binary_search(wanted.begin(), wanted.end(), view.Key(i).Def)) return true;
  }
  return false;
}

// Inline, as AppendSubgroup: a part of every Take.
inline bool StreamReader::TakeRows(const Stream& stream, const RecordView& view,
                                   DataSet& out) const {
  const bool narrow =
      conditions_.defects && conditions_.defects_narrow_rows && stream.test_type != ttVariable;
  if (conditions_.defects && !conditions_.defects_narrow_rows && !HasWantedDefect(view)) {
    return false;
  }
  const auto count = view.Count();
  const auto first = out.values.size();
  if (!narrow && conditions_.item == 0) {
    if (!view.IsPlain() && out.keys.empty()) MakeKeyed(out);
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
    // Inspected without one of the chosen defects: the subgroup stays, with an empty row.
    out.values.push_back(0.0);
    out.keys.push_back({});
  }
  return true;
}

inline void StreamReader::AppendSubgroup(const Stream& stream, const RecordView& record,
                                         std::size_t context, DataSet& out) const {
  auto& subgroup = out.subgroups.emplace_back(cache_.context_rows[context]);
  subgroup.Sgtm = record.Time();
  subgroup.Sgrp = record.Subgroup();
  subgroup.Part = stream.part;
  subgroup.Prcs = stream.process;
  subgroup.Test = stream.test;
  subgroup.Size = record.RoundedSize();
  if (!record.HasWholeSize() || !out.sizes.empty()) out.AddSize(record.Size());
  subgroup.Flag = record.Flag();
}

void StreamReader::Reserve(DataSet& out) const {
  constexpr std::int64_t kMaxSubgroups = 1 << 22;
  const auto expected = static_cast<std::size_t>(std::min(
      {conditions_.limit, std::max<std::int64_t>(cache_.highest_subgroup, 1), kMaxSubgroups}));
  out.subgroups.reserve(expected);
  out.values.reserve(expected * std::min<std::size_t>(out.values.size(), 64));
  system::PreferLargePages(out.subgroups.data(), expected * sizeof(API_SubgroupData));
  system::PreferLargePages(out.values.data(), out.values.capacity() * sizeof(double));
}

}  // namespace orvspc::engine::store
