// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/chunks/DataSet.h"
#include "engine/store/StoreCache.h"

// What an import of values has read and not yet written, in flat arrays.
namespace orvspc::engine::import {

inline constexpr std::int32_t kNotGiven = -1;

// Columns of which the lines of a (subgroup, test) give one value: size, flag, and those of the
// context.
inline constexpr std::size_t kSharedSize = 0, kSharedFlag = 1, kSharedContext = 2;
inline constexpr std::size_t kSharedColumns = kSharedContext + std::size(store::kContextKinds);
constexpr std::string_view SharedColumn(std::size_t i) {
  if (i < kSharedContext) return i == kSharedSize ? "size" : "flag";
  return store::kContextKinds[i - kSharedContext].column;
}

// The type of a new attribute test is known at the end of the file only.
struct TestState {
  std::int32_t type = 0;  // 0: attribute, open which
  bool names_defect = false;
  // First subgroup with more defectives than units, should the test turn out to be of defectives.
  std::int64_t excess_line = 0;
  std::string excess;
  // First line with a size that only a test of defects can have.
  std::int64_t fraction_line = 0;
  std::string fraction;
};

struct ImportStream {
  std::int64_t id = 0;
  std::int32_t part = 0, process = 0, test = 0;
  TestState* state = nullptr;  // of the test
};

// A part of ValuesBatch::text.
struct BatchText {
  std::uint32_t at = 0, length = 0;
};

struct BatchSubgroup {
  std::int32_t part = 0, process = 0, time = 0;
  BatchText label;
  std::int64_t line = 0;  // its first one, as of a record
};

// What a line, the first of a record that does, gives in a shared column.
struct SharedCell {
  double value = kNotGiven;  // an identifier, a flag or a size
  std::int64_t line = 0;
  BatchText text;
};

// One (subgroup, test).
struct BatchRecord {
  std::uint32_t subgroup = 0, rows = 0;
  const ImportStream* stream = nullptr;
  std::int64_t line = 0;
  std::int32_t highest_tsno = 0, last_sbno = 0;
  // After Close().
  std::size_t first_row = 0, first_run = 0;

  // Numbers a row of a variable test: one without a tsno of its own is the next piece, readings go
  // on in the piece before while their number grows.
  void Number(store::RowKey& key, bool is_numbered) {
    if (is_numbered) {
      const bool same_piece = key.Sbno > last_sbno && highest_tsno > 0;
      key.Tsno = same_piece ? highest_tsno : highest_tsno + 1;
    }
    highest_tsno = std::max(highest_tsno, key.Tsno);
    last_sbno = key.Sbno;
  }
};

// Rows of a record from lines that follow each other. The runs lie in the order of the rows.
struct BatchRun {
  std::uint32_t record = 0, rows = 0;
  std::int64_t line = 0;  // of the first row
};

struct BatchDescriptor {
  std::uint32_t subgroup = 0;
  std::int32_t descriptor = 0, tsno = 0;
  friend auto operator<=>(const BatchDescriptor&, const BatchDescriptor&) = default;
};

struct BatchComment {
  std::int32_t tsno = 0, employee = 0;
  std::string note;
  friend bool operator==(const BatchComment&, const BatchComment&) = default;
};

// Finds a place in an array by the hash of what lies there.
class PlaceTable {
 public:
  // The place where is_same holds, of those added with this hash; else adds `place` and returns it.
  template <class Same>
  std::uint32_t FindOrAdd(std::uint64_t hash, std::uint32_t place, const Same& is_same) {
    if (2 * (used_ + 1) > slots_.size()) Grow();
    for (auto at = hash;; ++at) {
      auto& slot = SlotAt(at);
      if (slot.next_place == 0) {
        slot = {hash, place + 1};
        ++used_;
        return place;
      }
      if (slot.hash == hash && is_same(slot.next_place - 1)) return slot.next_place - 1;
    }
  }
  void Clear();

 private:
  struct Slot {
    std::uint64_t hash = 0;
    std::uint32_t next_place = 0;  // 0: free
  };
  Slot& SlotAt(std::uint64_t hash) {
    return slots_[static_cast<std::size_t>(hash) & (slots_.size() - 1)];
  }
  void Grow();

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

class ValuesBatch {
 public:
  // Of the file: which shared columns it has, and whether its rows are numbered unless their line
  // says otherwise.
  std::vector<std::size_t> shared_columns;
  bool is_numbered = true;

  std::vector<BatchSubgroup> subgroups;
  std::vector<BatchRecord> records;
  std::vector<SharedCell> shared;  // of each record those of shared_columns
  std::vector<double> values;
  // Beside values; both empty when every row is plain and numbered as the file says.
  std::vector<store::RowKey> keys;
  std::vector<char> numbered;  // whether tsno was counted, not given
  std::vector<BatchRun> runs;
  std::string text;
  std::map<std::uint32_t, std::vector<BatchComment>> comments;  // by record; see AddComment()
  std::vector<BatchDescriptor> descriptors;                     // see AddDescriptor()

  bool Has(std::size_t shared_column) const {
    return std::ranges::find(shared_columns, shared_column) != shared_columns.end();
  }
  std::string_view Text(BatchText part) const {
    return std::string_view(text).substr(part.at, part.length);
  }
  BatchText Add(std::string_view new_text);

  // The places of a subgroup and of a record in it, which are added when they are new.
  std::uint32_t SubgroupAt(const ImportStream& stream, std::int32_t time, std::string_view label,
                           std::int64_t line);
  std::uint32_t RecordAt(std::uint32_t subgroup, const ImportStream& stream, std::int64_t line);

  std::span<SharedCell> SharedOf(std::uint32_t record) {
    return std::span(shared).subspan(record * shared_columns.size(), shared_columns.size());
  }

  void AddRow(std::uint32_t place, double value, const store::RowKey& key, bool is_row_numbered,
              std::int64_t line) {
    auto& record = records[place];
    const bool is_plain = is_row_numbered == is_numbered && key == store::PlainKey(record.rows);
    if (!is_plain && keys.empty()) WriteOutKeys();
    if (!is_plain || !keys.empty()) {
      keys.push_back(key);
      numbered.push_back(is_row_numbered);
    }
    values.push_back(value);
    ++record.rows;
    if (runs.empty() || runs.back().record != place ||
        runs.back().line + runs.back().rows != line) {
      runs.push_back({place, 0, line});
    }
    ++runs.back().rows;
  }

  // Keeps one of equal comments of a record.
  void AddComment(std::uint32_t record, BatchComment comment);
  void AddDescriptor(const BatchDescriptor& descriptor);

  // So much that it is to be written before a record is added.
  bool IsFull(std::size_t most_records) const;
  // So much text that it is to be written before the next line, whatever record that belongs to.
  bool IsFullOfText() const;
  // Puts the rows of each record together. Nothing is added from here to Clear().
  void Close();
  void Clear();

 private:
  void WriteOutKeys();

  std::size_t beside_ = 0;  // bytes of comments and descriptors
  PlaceTable subgroup_places_, record_places_;
  // Only these many are in the tables: in a file in the order of time none needs to be.
  std::size_t placed_subgroups_ = 0, placed_records_ = 0;
  std::int32_t latest_ = 0;       // time of all subgroups
  bool is_new_subgroup_ = false;  // the latest answer of SubgroupAt()
};

}  // namespace orvspc::engine::import
