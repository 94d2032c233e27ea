// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/batch_digest.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/import/RecordSet.h"
#include "engine/write/import/import_kind.h"
#include "engine/write/import/values_batch.h"

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
  // After the last: gives the file the number of records, and their digest.
  void Finish();

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

  struct Row {
    double value = 0.0;
    store::RowKey key{};
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
    WrittenKey key;
    std::array<Shared, kSharedColumns> shared;
    std::vector<Row> rows;
    std::vector<std::int32_t> derived_pieces;
  };

  // What is written of a batch: measurements, ordered by stream, time and subgroup. Rows that were
  // not yet complete in the batch lie in values and keys.
  struct Finished {
    std::vector<store::Measurement> measurements;
    std::vector<std::int64_t> streams;     // beside them
    std::vector<std::string_view> labels;  // of the subgroups
    struct Place {
      std::size_t measurement, first_row, rows;
    };
    std::vector<Place> places;  // of the rows here
    std::vector<double> values;
    std::vector<store::RowKey> keys;
  };

  void WriteSubgroups();
  void RaiseLabels(const std::vector<store::SubgroupFacts>& facts);
  void WriteMeasurements();
  void WriteComments();
  void WriteDescriptors();
  void Begin(const WrittenKey& key, std::uint32_t place);
  bool IsComplete() const;
  void ReadRows();
  std::optional<store::RecordView> FindStored();
  void Merge(const store::RecordView& record);
  void KeepState(WrittenState state);
  WrittenState TakeState();
  void MergeRows(const store::RecordView& record, const WrittenState& state);
  void MergeShared(std::size_t column, double before);
  void OrderRows();
  void AddRows();
  void AddRow(const Row& row);
  void FinishRecord(std::span<const double> values, std::span<const store::RowKey> keys);
  void CheckDefectives();
  void Store();
  void NoteRefusal(std::int64_t line, std::string_view column, std::string_view value,
                   std::string_view reason);
  std::int32_t ContextId(const store::Context& context);
  store::Context ContextOf(std::int32_t id);

  ImportFile& file_;
  sql::Connection& db_;
  ValuesBatch& batch_;
  store::BatchDigest digest_;

  std::map<store::Context, std::int32_t> contexts_;
  std::pair<store::Context, std::int32_t> latest_context_{};
  std::int64_t highest_before_ = 0;  // identifier of a subgroup stored by earlier imports
  RecordSet added_to_old_;
  // Of the first record, and those that differ: most files have one or few. Those beyond some are
  // kept record by record.
  std::optional<WrittenState> usual_state_;
  std::vector<std::pair<WrittenState, RecordSet>> states_;
  std::map<WrittenKey, WrittenState> rare_states_;
  std::optional<Refusal> refusal_;
  std::vector<Subgroup> subgroups_;  // of the batch
  Open open_;
  Finished finished_;
  // Through what is stored of a stream, whose records are asked for in order.
  std::optional<store::StreamWalk> walk_;
  std::optional<store::StreamWalk::Run> run_;
  std::int64_t walked_stream_ = 0;
};

}  // namespace orvspc::engine::import
