// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <span>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/chunks/columns.h"

namespace orvspc::engine::store {

// A measurement with rows of its own, for tests.
struct StoredRecord {
  std::int32_t time = 0, subgroup = 0, context = 0;
  double size = 0.0;
  std::int32_t flag = 0;
  std::int64_t batch = 0, entry = 0;
  std::vector<double> values;
  std::vector<RowKey> keys;  // beside values

  RecordKey Key() const { return {time, subgroup}; }
  Measurement View() const {
    return {time, subgroup, context, size, flag, batch, entry, values, keys};
  }
  friend bool operator==(const StoredRecord&, const StoredRecord&) = default;
  friend std::ostream& operator<<(std::ostream& out, const StoredRecord& record) {
    return out << "subgroup " << record.subgroup << " at " << record.time << " with "
               << record.values.size() << " rows, size " << record.size << ", flag " << record.flag
               << ", context " << record.context;
  }
};

inline StoredRecord CopyOf(const RecordView& record) {
  StoredRecord copy{record.Time(),
                    record.Subgroup(),
                    record.Context(),
                    record.Size(),
                    record.Flag(),
                    record.Batch(),
                    record.Entry(),
                    {},
                    {}};
  for (std::size_t i = 0; i < record.Count(); ++i) {
    copy.values.push_back(record.Value(i));
    copy.keys.push_back(record.Key(i));
  }
  return copy;
}

inline int Below(std::mt19937& random, int end) {
  return static_cast<int>(random() % static_cast<unsigned>(end));
}

// Facts and rows of every kind: plain or with keys, with a whole size or a fraction.
inline StoredRecord RandomRecord(std::mt19937& random, const RecordKey& key) {
  StoredRecord record{key.time, key.subgroup, Below(random, 4), 0.0, Below(random, 3), 0, 0, {},
                      {}};
  const int rows = 1 + Below(random, 6);
  record.size = Below(random, 3) == 0 ? Below(random, 400) / 8.0 : rows;
  if (Below(random, 4) == 0) record.batch = Below(random, 100);
  if (Below(random, 4) == 0) record.entry = (std::int64_t{1} << 40) + Below(random, 100);
  const bool has_keys = Below(random, 3) == 0;
  for (int row = 0; row < rows; ++row) {
    record.values.push_back(Below(random, 1000) / 16.0);
    record.keys.push_back(PlainKey(static_cast<std::size_t>(row)));
    if (!has_keys) continue;
    auto& each = record.keys.back();
    each = {Below(random, 2), row / 2 + 1, row % 2, Below(random, 4), Below(random, 3)};
  }
  return record;
}

inline std::vector<std::byte> PackedOf(std::span<const StoredRecord> records, std::int64_t stream) {
  ChunkPacker packer;
  for (const auto& record : records) packer.Add(record.View());
  std::vector<std::byte> packed;
  packer.Pack(stream, packed);
  return packed;
}

// Gives a changed blob the checksum of what it has become.
inline void Reseal(std::vector<std::byte>& packed, std::int64_t owner) {
  const auto checksum = Checksum(packed, owner);
  std::memcpy(packed.data() + 4, &checksum, sizeof checksum);
}

}  // namespace orvspc::engine::store
