// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/chunk.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "engine/chunks/columns.h"
#include "engine/chunks/large_data.h"

namespace orvspc::engine::store {
namespace {

static_assert(std::endian::native == std::endian::little, "chunks are little-endian");

constexpr std::uint8_t kVersion = 1;

struct ChunkHead {
  std::uint8_t version, spare;
  std::uint16_t count;     // records
  std::uint32_t checksum;  // of the stream and of everything else in the chunk
  std::uint32_t rows, keys, sizes, more_spare;
};
static_assert(sizeof(ChunkHead) == 24);

std::size_t WeightOfRows(std::size_t records, std::size_t rows, std::size_t keys) {
  constexpr std::size_t kFactsOfRecord = 8;
  return records * kFactsOfRecord + rows * sizeof(double) + keys * sizeof(RowKey);
}

}  // namespace

bool ArePlain(std::span<const RowKey> keys) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i] != PlainKey(i)) return false;
  }
  return true;
}

bool Chunk::Decode(std::span<const std::byte> packed, std::int64_t stream) {
  ChunkHead head{};
  if (packed.size() < sizeof head) return false;
  std::memcpy(&head, packed.data(), sizeof head);
  if (head.version != kVersion || head.count == 0) return false;
  if (Checksum(packed, stream) != head.checksum) return false;
  const auto* at = packed.data() + sizeof head;
  const auto* const end = packed.data() + packed.size();
  const auto take = [&](const std::byte*& place, std::size_t count, std::size_t width) {
    if (static_cast<std::size_t>(end - at) / width < count) return false;
    place = at;
    at += count * width;
    return true;
  };
  return take(values_, head.rows, sizeof(double)) && take(keys_, head.keys, sizeof(RowKey)) &&
         take(exact_sizes_, head.sizes, sizeof(double)) &&
         TakeColumn(at, end, head.count, times_) && TakeColumn(at, end, head.count, subgroups_) &&
         TakeColumn(at, end, head.count, row_counts_) &&
         TakeColumn(at, end, head.count, contexts_) && TakeColumn(at, end, head.count, sizes_) &&
         TakeColumn(at, end, head.count, states_) && TakeColumn(at, end, head.count, batches_) &&
         TakeColumn(at, end, head.count, entries_) && at == end &&
         PlaceRows(head.rows, head.keys, head.sizes);
}

// Where the rows, keys and size of each record lie. False when there are more or fewer than the
// head says, or when the records do not ascend or have states that no program writes.
bool Chunk::PlaceRows(std::size_t rows, std::size_t keys, std::size_t sizes) {
  const auto count = Count();
  starts_.resize(count);
  std::uint64_t next = 0;
  std::int32_t states = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (row_counts_[i] < 1) return false;
    if (i > 0 && Record(i).Key() <= Record(i - 1).Key()) return false;
    starts_[i] = static_cast<std::uint32_t>(next);
    next += static_cast<std::uint32_t>(row_counts_[i]);
    states |= states_[i];
  }
  if (next != rows || (states & ~(kKeyedState | kFractionState | kFlagBits)) != 0) return false;
  rows_ = rows;
  key_count_ = keys;
  if ((states & (kKeyedState | kFractionState)) == 0) return keys == 0 && sizes == 0;
  key_starts_.resize(count);
  size_places_.resize(count);
  std::uint64_t key = 0, size = 0;
  for (std::size_t i = 0; i < count; ++i) {
    key_starts_[i] = static_cast<std::uint32_t>(key);
    size_places_[i] = static_cast<std::uint32_t>(size);
    if ((states_[i] & kKeyedState) != 0) key += static_cast<std::uint32_t>(row_counts_[i]);
    if ((states_[i] & kFractionState) != 0) ++size;
  }
  return key == keys && size == sizes;
}

std::size_t Chunk::Weight() const { return WeightOfRows(Count(), rows_, key_count_); }

Measurement RecordView::Copy(std::vector<double>& values, std::vector<RowKey>& keys) const {
  values.resize(Count());
  std::memcpy(values.data(), Values(), values.size() * sizeof(double));
  keys.clear();
  for (std::size_t i = 0; i < values.size() && !IsPlain(); ++i) keys.push_back(Key(i));
  return {Time(), Subgroup(), Context(), Size(), Flag(), Batch(), Entry(), values, keys};
}

std::size_t Chunk::Find(const RecordKey& key) const {
  std::size_t low = 0, high = Count();
  while (low < high) {
    const auto middle = (low + high) / 2;
    if (Record(middle).Key() < key) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void ChunkPacker::Add(const Measurement& measurement) {
  const bool plain = ArePlain(measurement.keys);
  const bool whole = measurement.size == std::floor(measurement.size);
  times_.push_back(measurement.time);
  subgroups_.push_back(measurement.subgroup);
  row_counts_.push_back(static_cast<std::int32_t>(measurement.values.size()));
  contexts_.push_back(measurement.context);
  sizes_.push_back(static_cast<std::int32_t>(whole ? measurement.size
                                                   : std::max(std::round(measurement.size), 1.0)));
  states_.push_back(measurement.flag | (plain ? 0 : kKeyedState) | (whole ? 0 : kFractionState));
  batches_.push_back(measurement.batch);
  entries_.push_back(measurement.entry);
  values_.insert(values_.end(), measurement.values.begin(), measurement.values.end());
  if (!plain) keys_.insert(keys_.end(), measurement.keys.begin(), measurement.keys.end());
  if (!whole) exact_sizes_.push_back(measurement.size);
}

void ChunkPacker::Add(const RecordView& record) { Add(record.Copy(copied_values_, copied_keys_)); }

std::size_t ChunkPacker::Weight() const {
  return WeightOfRows(times_.size(), values_.size(), keys_.size());
}

std::size_t ChunkPacker::WeightOf(const Measurement& measurement) {
  return WeightOfRows(1, measurement.values.size(), measurement.keys.size());
}

void ChunkPacker::Pack(std::int64_t stream, std::vector<std::byte>& out) {
  ChunkHead head{kVersion,
                 0,
                 static_cast<std::uint16_t>(times_.size()),
                 0,
                 static_cast<std::uint32_t>(values_.size()),
                 static_cast<std::uint32_t>(keys_.size()),
                 static_cast<std::uint32_t>(exact_sizes_.size()),
                 0};
  constexpr std::size_t kColumnsOfRecord = 6 * sizeof(std::int32_t) + 2 * sizeof(std::int64_t);
  constexpr std::size_t kHeads = 128;  // of the chunk and its columns
  out.clear();
  out.reserve(values_.size() * sizeof(double) + keys_.size() * sizeof(RowKey) +
              exact_sizes_.size() * sizeof(double) + times_.size() * kColumnsOfRecord + kHeads);
  Append(out, head);
  AppendAll(out, values_);
  ClearLarge(values_);
  AppendAll(out, keys_);
  ClearLarge(keys_);
  AppendAll(out, exact_sizes_);
  ClearLarge(exact_sizes_);
  for (const auto* column : {&times_, &subgroups_, &row_counts_, &contexts_, &sizes_, &states_}) {
    AppendColumn(out, *column);
  }
  AppendColumn(out, batches_);
  AppendColumn(out, entries_);
  head.checksum = Checksum(out, stream);
  std::memcpy(out.data(), &head, sizeof head);
  for (auto* column : {&times_, &subgroups_, &row_counts_, &contexts_, &sizes_, &states_}) {
    column->clear();
  }
  batches_.clear();
  entries_.clear();
}

}  // namespace orvspc::engine::store
