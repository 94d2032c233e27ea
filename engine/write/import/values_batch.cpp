// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/values_batch.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

namespace orvspc::engine::import {
namespace {

std::uint64_t Mix(std::uint64_t state, std::uint64_t word) {
  state = (state ^ word) * 0x9e3779b97f4a7c15u;
  return state ^ (state >> 29);
}

std::uint64_t HashOf(std::int32_t part, std::int32_t process, std::int32_t time,
                     std::string_view label) {
  auto state = Mix(static_cast<std::uint32_t>(part), static_cast<std::uint32_t>(process));
  state = Mix(state, static_cast<std::uint32_t>(time));
  for (std::uint64_t word = 0; !label.empty(); word = 0) {
    const auto length = std::min(label.size(), sizeof word);
    std::memcpy(&word, label.data(), length);
    state = Mix(state, word);
    label.remove_prefix(length);
  }
  return Mix(state, 0);
}

}  // namespace

void PlaceTable::Grow() {
  constexpr std::size_t kLeastSlots = 1024;
  auto before = std::move(slots_);
  slots_.assign(std::max(kLeastSlots, 2 * before.size()), {});
  for (const auto& slot : before) {
    if (slot.next_place == 0) continue;
    auto at = slot.hash;
    while (SlotAt(at).next_place != 0) ++at;
    SlotAt(at) = slot;
  }
}

void PlaceTable::Clear() {
  if (used_ > 0) std::ranges::fill(slots_, Slot{});
  used_ = 0;
}

BatchText ValuesBatch::Add(std::string_view new_text) {
  const BatchText part{static_cast<std::uint32_t>(text.size()),
                       static_cast<std::uint32_t>(new_text.size())};
  text += new_text;
  return part;
}

std::uint32_t ValuesBatch::SubgroupAt(const ImportStream& stream, std::int32_t time,
                                      std::string_view label, std::int64_t line) {
  const auto next = static_cast<std::uint32_t>(subgroups.size());
  auto place = next;
  if (next > 0 && time <= latest_) {
    const auto hash_at = [&](std::uint32_t at) {
      const auto& each = subgroups[at];
      return HashOf(each.part, each.process, each.time, Text(each.label));
    };
    const auto is_another = [](std::uint32_t) { return false; };
    for (; placed_subgroups_ < next; ++placed_subgroups_) {
      const auto at = static_cast<std::uint32_t>(placed_subgroups_);
      subgroup_places_.FindOrAdd(hash_at(at), at, is_another);
    }
    place = subgroup_places_.FindOrAdd(
        HashOf(stream.part, stream.process, time, label), next, [&](std::uint32_t at) {
          const auto& each = subgroups[at];
          return each.time == time && each.part == stream.part && each.process == stream.process &&
                 Text(each.label) == label;
        });
    if (place == next) ++placed_subgroups_;
  }
  is_new_subgroup_ = place == next;
  if (is_new_subgroup_) {
    latest_ = next == 0 ? time : std::max(latest_, time);
    subgroups.push_back({stream.part, stream.process, time, Add(label), line});
  }
  return place;
}

std::uint32_t ValuesBatch::RecordAt(std::uint32_t subgroup, const ImportStream& stream,
                                    std::int64_t line) {
  const auto next = static_cast<std::uint32_t>(records.size());
  auto place = next;
  if (!std::exchange(is_new_subgroup_, false)) {
    const auto hash_of = [](std::uint32_t in, const ImportStream* of) {
      return Mix(Mix(in, static_cast<std::uint64_t>(of->id)), 0);
    };
    const auto is_another = [](std::uint32_t) { return false; };
    for (; placed_records_ < next; ++placed_records_) {
      const auto& each = records[placed_records_];
      record_places_.FindOrAdd(hash_of(each.subgroup, each.stream),
                               static_cast<std::uint32_t>(placed_records_), is_another);
    }
    place = record_places_.FindOrAdd(hash_of(subgroup, &stream), next, [&](std::uint32_t at) {
      return records[at].subgroup == subgroup && records[at].stream == &stream;
    });
    if (place == next) ++placed_records_;
  }
  if (place == next) {
    records.push_back({subgroup, 0, &stream, line, 0, 0, 0, 0});
    shared.resize(shared.size() + shared_columns.size());
  }
  return place;
}

void ValuesBatch::WriteOutKeys() {
  std::vector<std::uint32_t> rows(records.size());
  numbered.assign(values.size(), is_numbered);
  for (const auto& run : runs) {
    for (std::uint32_t i = 0; i < run.rows; ++i) {
      keys.push_back(store::PlainKey(rows[run.record]++));
    }
  }
}

void ValuesBatch::AddComment(std::uint32_t record, BatchComment comment) {
  auto& of_record = comments[record];
  if (std::ranges::find(of_record, comment) != of_record.end()) return;
  beside_ += sizeof comment + comment.note.size();
  of_record.push_back(std::move(comment));
}

void ValuesBatch::AddDescriptor(const BatchDescriptor& descriptor) {
  beside_ += sizeof descriptor;
  descriptors.push_back(descriptor);
}

bool ValuesBatch::IsFull(std::size_t most_records) const {
  constexpr std::size_t kMaxRows = 1 << 20;
  return records.size() >= most_records || values.size() >= kMaxRows || IsFullOfText();
}

bool ValuesBatch::IsFullOfText() const {
  constexpr std::size_t kMaxText = 1 << 24;
  return text.size() + beside_ >= kMaxText;
}

void ValuesBatch::Close() {
  const auto by_record = [](const BatchRun& a, const BatchRun& b) { return a.record < b.record; };
  if (!std::is_sorted(runs.begin(), runs.end(), by_record)) {
    std::vector<std::size_t> first_rows(runs.size());
    std::size_t rows = 0;
    for (std::size_t i = 0; i < runs.size(); ++i) {
      first_rows[i] = rows;
      rows += runs[i].rows;
    }
    std::vector<std::uint32_t> order(runs.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
      return runs[a].record < runs[b].record;
    });
    const auto gather = [&](auto& rows_of_runs) {
      if (rows_of_runs.empty()) return;
      auto gathered = std::remove_reference_t<decltype(rows_of_runs)>();
      gathered.reserve(rows_of_runs.size());
      for (const auto run : order) {
        const auto from = rows_of_runs.begin() + static_cast<std::ptrdiff_t>(first_rows[run]);
        gathered.insert(gathered.end(), from, from + runs[run].rows);
      }
      rows_of_runs.swap(gathered);
    };
    gather(values);
    gather(keys);
    gather(numbered);
    std::stable_sort(runs.begin(), runs.end(), by_record);
  }
  std::size_t row = 0, run = 0;
  for (std::uint32_t place = 0; place < records.size(); ++place) {
    records[place].first_row = row;
    records[place].first_run = run;
    for (; run < runs.size() && runs[run].record == place; ++run) row += runs[run].rows;
  }
}

void ValuesBatch::Clear() {
  subgroups.clear();
  records.clear();
  shared.clear();
  values.clear();
  keys.clear();
  numbered.clear();
  runs.clear();
  text.clear();
  comments.clear();
  descriptors.clear();
  beside_ = 0;
  subgroup_places_.Clear();
  record_places_.Clear();
  placed_subgroups_ = placed_records_ = 0;
  is_new_subgroup_ = false;
}

}  // namespace orvspc::engine::import
