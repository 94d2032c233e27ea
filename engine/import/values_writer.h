// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/import/import_kind.h"
#include "engine/store/StoreCache.h"
#include "engine/store/StreamWriter.h"
#include "engine/store/subgroups.h"

// What an import of values has read and not yet written, and the writing of it.
namespace orvspc::engine::import {

inline constexpr std::int32_t kNotGiven = -1;

struct TestRow {
  double value = 0.0;
  store::RowKey key{};
  friend bool operator==(const TestRow&, const TestRow&) = default;
};

struct ImportRow {
  TestRow row;
  std::int64_t line = 0;
  bool is_numbered = false;  // tsno was counted, not given
};

struct OpenComment {
  std::int32_t tsno = 0, employee = 0;
  std::string note;
  friend bool operator==(const OpenComment&, const OpenComment&) = default;
};

// One subgroup, with what belongs to it as a whole.
struct OpenSubgroup {
  std::int32_t part = 0, process = 0, time = 0;
  std::string label;
  std::int64_t line = 0;
  std::int32_t id = 0;
  bool is_new = false;                                          // to the database
  std::set<std::pair<std::int32_t, std::int32_t>> descriptors;  // descriptor, tsno
};

// Columns of which the lines of a (subgroup, test) give one value: size, flag, and those of the
// context.
inline constexpr std::size_t kSharedSize = 0, kSharedFlag = 1, kSharedContext = 2;
constexpr std::string_view SharedColumn(std::size_t i) {
  if (i < kSharedContext) return i == kSharedSize ? "size" : "flag";
  return store::kContextKinds[i - kSharedContext].column;
}

// What they give in such a column.
struct SharedCell {
  double value = kNotGiven;  // an identifier, a flag or a size
  std::int64_t line = 0;     // that gave it, with the text; 0: one written before
  std::string text;
};

inline constexpr std::string_view kWholeSize =
    "the size is no whole number, as only that of a test of defects may be";
inline constexpr std::string_view kDiffers =
    "differs from an earlier line of the same subgroup and test";

// One (subgroup, test). Objects are used again, so that their storage is.
struct OpenMeasurement {
  std::size_t subgroup = 0;
  std::int64_t stream = 0;
  std::int32_t test = 0;
  std::int64_t line = 0;
  std::int32_t highest_tsno = 0, last_sbno = 0;
  std::array<SharedCell, kSharedContext + std::size(store::kContextKinds)> shared;
  std::vector<ImportRow> rows;
  std::vector<OpenComment> comments;

  void Start(std::size_t in_subgroup, std::int64_t in_stream, std::int32_t of_test,
             std::int64_t at_line) {
    subgroup = in_subgroup;
    stream = in_stream;
    test = of_test;
    line = at_line;
    highest_tsno = last_sbno = 0;
    for (auto& cell : shared) cell = {kNotGiven, 0, std::move(cell.text)};
    rows.clear();
    comments.clear();
  }

  // Numbers a row of a variable test that has no tsno of its own: readings go on in the piece
  // before while their number grows.
  void Number(ImportRow& row) {
    auto& key = row.row.key;
    if (row.is_numbered) {
      const bool same_piece = key.Sbno > last_sbno && highest_tsno > 0;
      key.Tsno = same_piece ? highest_tsno : highest_tsno + 1;
    }
    highest_tsno = std::max(highest_tsno, key.Tsno);
    last_sbno = key.Sbno;
  }
};

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

struct WrittenKey {
  std::int64_t stream;
  std::int32_t time, subgroup;
  friend auto operator<=>(const WrittenKey&, const WrittenKey&) = default;
};

// What later lines of a (subgroup, test) need that this import has written and the database does
// not hold.
struct WrittenState {
  std::vector<std::int32_t> derived_pieces;  // whose value comes from readings
  std::int32_t last_sbno = 0;
  bool lacks_size = false, lacks_flag = false;  // though the file has the column
  friend bool operator==(const WrittenState&, const WrittenState&) = default;
};

struct ValuesBatch {
  bool has_size = false, has_flag = false;  // the file has the column
  std::vector<OpenSubgroup> subgroups;      // the first subgroup_count are in use
  std::size_t subgroup_count = 0;
  // The first open_count are in use. A reference must survive growth.
  std::deque<OpenMeasurement> open;
  std::size_t open_count = 0;
  std::map<std::int32_t, TestState> tests;
};

// Completes, packs and stores batches. Refuses what is already stored; lines of a (subgroup, test)
// that this import has written before are put together with those.
class ValuesWriter {
 public:
  // Reads what the database has.
  ValuesWriter(ImportFile& file, ValuesBatch& batch);
  void Write();

 private:
  // The line to be named when several are to be refused: the first of the file.
  struct Refusal {
    std::int64_t line;
    std::string_view column;
    std::string value, reason;
  };

  void WriteSubgroups();
  void WriteMeasurements();
  template <class Visit>
  bool ForStored(const WrittenKey& key, Visit visit);
  bool IsStored(const WrittenKey& key);
  void WriteComments();
  void WriteDescriptors();
  void Merge(OpenMeasurement& open, const WrittenKey& key);
  void MergeRows(OpenMeasurement& open, const store::RecordView& record, const WrittenState& state);
  void MergeShared(OpenMeasurement& open, std::size_t column, double before);
  void Finish(OpenMeasurement& open, const WrittenKey& key);
  void AddPieceValues(const OpenMeasurement& open);
  void CheckDefectives(const OpenMeasurement& open);
  void NoteRefusal(std::int64_t line, std::string_view column, std::string_view value,
                   std::string_view reason);
  std::int32_t ContextId(const store::Context& context);
  store::Context ContextOf(std::int32_t id);

  ImportFile& file_;
  sql::Connection& db_;
  ValuesBatch& batch_;

  std::map<store::Context, std::int32_t> contexts_;
  std::int64_t highest_before_ = 0;  // identifier of a subgroup stored by earlier imports
  std::set<WrittenKey> added_to_old_;
  std::map<WrittenKey, WrittenState> states_;  // those that differ from WrittenState{}
  std::optional<Refusal> refusal_;
  // What Finish made of the latest (subgroup, test).
  std::vector<TestRow> packed_rows_;
  std::vector<std::int32_t> derived_pieces_;
  double packed_size_ = 0.0;
  std::int32_t packed_flag_ = 0;
};

}  // namespace orvspc::engine::import
