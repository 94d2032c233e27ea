// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "engine/chunks/DataSet.h"

// A chunk: measurements of one stream, ordered by time and subgroup, in one blob. A row of
// measurement is a chunk of one, so that both are read alike.
//
//   head      version of the format, checksum, numbers of records, rows, keys and sizes
//   values    of all rows, as doubles
//   keys      of the rows of records that are not plain
//   sizes     that are no whole numbers, as doubles
//   columns   time, subgroup, rows, context, size, state, batch, entry: a value for each record
//
// Little-endian, written into databases: never change, add a version. A program that does not know
// a version reports the chunk as damaged.
namespace orvspc::engine::store {

// A subgroup and test to be packed.
struct Measurement {
  std::int32_t time = 0, subgroup = 0;
  std::int32_t context = 0;  // its identifier; 0: none
  double size = 0.0;         // inspected
  std::int32_t flag = 0;
  std::int64_t batch = 0;  // the import that brought it; 0: none
  std::int64_t entry = 0;  // of the log, of its last change; 0: none
  std::span<const double> values;
  std::span<const RowKey> keys;  // beside values, or empty where every row is plain
};

// Whether these are the keys of a plain record.
bool ArePlain(std::span<const RowKey> keys);

// Of a subgroup in its stream.
struct RecordKey {
  std::int32_t time = 0, subgroup = 0;
  friend auto operator<=>(const RecordKey&, const RecordKey&) = default;
};

// The weight of a full chunk: it must fit into few pages, since the newest subgroups are read with
// all of it, and not be so small that finding it costs more than reading it.
inline constexpr std::size_t kFullChunk = 10'000;

class Chunk;

// One record of a decoded chunk, which must outlive it.
class RecordView {
 public:
  RecordView(const Chunk& chunk, std::size_t place) : chunk_(&chunk), place_(place) {}

  std::int32_t Time() const;
  std::int32_t Subgroup() const;
  RecordKey Key() const { return {Time(), Subgroup()}; }
  std::int32_t Context() const;
  std::int32_t Flag() const;
  std::int64_t Batch() const;
  std::int64_t Entry() const;

  // At least 1 where the exact size is no whole number.
  std::int32_t RoundedSize() const;
  bool HasWholeSize() const;
  double Size() const;

  std::size_t Count() const;  // rows
  bool IsPlain() const;
  const std::byte* Values() const;  // Count() doubles, not aligned
  double Value(std::size_t row) const;
  const std::byte* Keys() const;  // Count() keys, not aligned, of a record that is not plain
  RowKey Key(std::size_t row) const;
  // Everything, with the rows in these.
  Measurement Copy(std::vector<double>& values, std::vector<RowKey>& keys) const;

 private:
  const Chunk* chunk_;
  std::size_t place_;
};

// A decoded chunk. Views the blob, which must outlive it.
class Chunk {
 public:
  // False when the blob is no chunk of this stream: its checksum, its length or the order of its
  // records is wrong.
  bool Decode(std::span<const std::byte> packed, std::int64_t stream);

  std::size_t Count() const { return times_.size(); }
  RecordView Record(std::size_t place) const { return {*this, place}; }
  RecordKey First() const { return {times_.front(), subgroups_.front()}; }
  RecordKey Last() const { return {times_.back(), subgroups_.back()}; }
  // Columns, for readers of many records at once.
  std::span<const std::int32_t> Times() const { return times_; }
  std::span<const std::int32_t> Subgroups() const { return subgroups_; }
  std::span<const std::int32_t> Contexts() const { return contexts_; }
  std::span<const std::int32_t> RowCounts() const { return row_counts_; }
  std::span<const std::int32_t> RoundedSizes() const { return sizes_; }
  // The flag, and whether the record has keys or a size that is no whole number.
  std::span<const std::int32_t> States() const { return states_; }

  // How large it is, as ChunkPacker weighs it.
  std::size_t Weight() const;
  bool IsFull() const { return Weight() >= kFullChunk; }
  // The first record whose key is not below this one.
  std::size_t Find(const RecordKey& key) const;
  // The first record that is not before this time.
  std::size_t FirstFrom(std::int32_t time) const {
    return static_cast<std::size_t>(std::ranges::lower_bound(times_, time) - times_.begin());
  }

 private:
  friend class RecordView;
  bool PlaceRows(std::size_t rows, std::size_t keys, std::size_t sizes);

  std::vector<std::int32_t> times_, subgroups_, row_counts_, contexts_, sizes_, states_;
  std::vector<std::int64_t> batches_, entries_;
  std::size_t rows_ = 0, key_count_ = 0;
  std::vector<std::uint32_t> starts_;  // first row of each record
  // First key and exact size of each record; only where some record has them.
  std::vector<std::uint32_t> key_starts_, size_places_;
  const std::byte* values_ = nullptr;
  const std::byte* keys_ = nullptr;
  const std::byte* exact_sizes_ = nullptr;
};

// Collects measurements and packs them.
class ChunkPacker {
 public:
  void Add(const Measurement& measurement);
  void Add(const RecordView& record);
  std::size_t Count() const { return times_.size(); }
  RecordKey First() const { return {times_.front(), subgroups_.front()}; }
  RecordKey Last() const { return {times_.back(), subgroups_.back()}; }
  // About the bytes that the chunk will have.
  std::size_t Weight() const;
  static std::size_t WeightOf(const Measurement& measurement);
  // Packs everything into out, whose storage is reused, and begins anew.
  void Pack(std::int64_t stream, std::vector<std::byte>& out);

 private:
  std::vector<std::int32_t> times_, subgroups_, row_counts_, contexts_, sizes_, states_;
  std::vector<std::int64_t> batches_, entries_;
  std::vector<double> values_, exact_sizes_;
  std::vector<RowKey> keys_;
  std::vector<double> copied_values_;
  std::vector<RowKey> copied_keys_;
};

inline constexpr std::int32_t kKeyedState = 16, kFractionState = 32, kFlagBits = 15;

inline std::int32_t RecordView::Time() const { return chunk_->times_[place_]; }
inline std::int32_t RecordView::Subgroup() const { return chunk_->subgroups_[place_]; }
inline std::int32_t RecordView::Context() const { return chunk_->contexts_[place_]; }
inline std::int32_t RecordView::Flag() const { return chunk_->states_[place_] & kFlagBits; }
inline std::int64_t RecordView::Batch() const { return chunk_->batches_[place_]; }
inline std::int64_t RecordView::Entry() const { return chunk_->entries_[place_]; }
inline std::int32_t RecordView::RoundedSize() const { return chunk_->sizes_[place_]; }
inline bool RecordView::HasWholeSize() const {
  return (chunk_->states_[place_] & kFractionState) == 0;
}
inline bool RecordView::IsPlain() const { return (chunk_->states_[place_] & kKeyedState) == 0; }
inline std::size_t RecordView::Count() const {
  return static_cast<std::size_t>(chunk_->row_counts_[place_]);
}
inline const std::byte* RecordView::Values() const {
  return chunk_->values_ + chunk_->starts_[place_] * sizeof(double);
}
inline double RecordView::Value(std::size_t row) const {
  double value = 0.0;
  std::memcpy(&value, Values() + row * sizeof(double), sizeof value);
  return value;
}
inline const std::byte* RecordView::Keys() const {
  return chunk_->keys_ + chunk_->key_starts_[place_] * sizeof(RowKey);
}
inline RowKey RecordView::Key(std::size_t row) const {
  if (IsPlain()) return PlainKey(row);
  RowKey key;
  std::memcpy(&key, Keys() + row * sizeof key, sizeof key);
  return key;
}
inline double RecordView::Size() const {
  if (HasWholeSize()) return RoundedSize();
  double size = 0.0;
  std::memcpy(&size, chunk_->exact_sizes_ + chunk_->size_places_[place_] * sizeof size,
              sizeof size);
  return size;
}

}  // namespace orvspc::engine::store
