// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/import/import_kind.h"
#include "engine/import/values_batch.h"
#include "engine/store/packing.h"

// The writing of what an import of values has read.
namespace orvspc::engine::import {

inline constexpr std::string_view kWholeSize =
    "the size is no whole number, as only that of a test of defects may be";
inline constexpr std::string_view kDiffers =
    "differs from an earlier line of the same subgroup and test";

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

  struct Subgroup {
    std::int32_t id = 0;
    bool is_new = false;  // to the database
  };

  struct Row : store::TestRow {
    std::int64_t line = 0;  // 0: written before
    bool is_numbered = false;
  };

  // What the lines of a record give in a shared column.
  struct Shared {
    double value = kNotGiven;
    std::int64_t line = 0;  // 0: written before
    std::string_view text{};
  };

  // The record that is being written.
  struct Open {
    BatchRecord record;
    std::array<Shared, kSharedColumns> shared;
    std::vector<Row> rows;
    std::vector<store::TestRow> finished;
    std::vector<std::int32_t> derived_pieces;
    double size = 0.0;
  };

  void WriteSubgroups();
  void WriteMeasurements();
  void WriteComments();
  void WriteDescriptors();
  void Begin(std::uint32_t place);
  void Merge(const WrittenKey& key);
  void MergeRows(const store::PackedView& view, const WrittenState& state);
  void MergeShared(std::size_t column, double before);
  void Finish(const WrittenKey& key);
  void AddPieceValues();
  void CheckDefectives();
  void NoteRefusal(std::int64_t line, std::string_view column, std::string_view value,
                   std::string_view reason);
  std::int32_t ContextId(const store::Context& context);
  store::Context ContextOf(std::int32_t id);

  ImportFile& file_;
  sql::Connection& db_;
  ValuesBatch& batch_;

  std::map<store::Context, std::int32_t> contexts_;
  std::int64_t highest_before_ = 0;  // identifier of a subgroup stored by earlier imports
  std::int64_t highest_ = 0;         // of all subgroups so far
  std::set<WrittenKey> added_to_old_;
  std::map<WrittenKey, WrittenState> states_;  // those that differ from WrittenState{}
  std::optional<Refusal> refusal_;
  std::vector<Subgroup> subgroups_;  // of the batch
  Open open_;
  std::vector<std::byte> packed_;
};

}  // namespace orvspc::engine::import
