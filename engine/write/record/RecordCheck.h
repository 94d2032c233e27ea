// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engine/chunks/DataSet.h"
#include "engine/write/record/KnownNames.h"
#include "platform/NewRecord.h"
#include "platform/Reports.h"

// What is asked of a record before anything is written.
namespace orvspc::engine::record {

// Throws Refused (code "key") where it is none; an empty one passes. Before it is looked for.
void CheckKey(const std::string& key);

// Whether its values and its size are numbers, not NaN or infinite, which RecordCheck refuses.
bool HasNumbers(const NewRecord& record);

struct CheckedRecord {
  const NewRecord* sent = nullptr;
  KnownStream* stream = nullptr;
  std::int32_t type = 0;  // of the test
  std::int32_t time = 0;
  std::string label;  // may still be empty
  std::int32_t flag = 0;
  double size = 0.0;
  std::vector<double> values;
  // Beside values, empty where every row is plain; without the identifiers of names, which are
  // those of the pieces.
  std::vector<store::RowKey> keys;
  // Beside keys: the row has the names of this piece of `sent`; a mean of readings, but for the
  // defect, those of the first one.
  static constexpr std::uint32_t kNoPiece = UINT32_MAX;
  std::vector<std::uint32_t> pieces;
  bool is_unreasonable = false;  // and was to be stored all the same
  std::vector<Note> notes;
};

class RecordCheck {
 public:
  RecordCheck(sql::Connection& db, KnownNames& known) : db_(db), known_(known) {}

  // now: seconds since 1970 UTC. Throws Refused with the code of the first rule that the record
  // breaks: "name", "unknown", "inactive", "type", "number", "count", "unreasonable", "size",
  // "time"; or "flag", "context", "comment".
  CheckedRecord Check(const NewRecord& record, NewNames names, std::int64_t now);

 private:
  struct Latest {
    const NewRecord* sent = nullptr;
    KnownStream* stream = nullptr;
  };
  void CheckTexts(const NewRecord& record, bool is_same_stream) const;
  void CheckKnown(std::string_view field, ItemKind kind, const std::string& name);
  void CheckActive(std::string_view field, ItemKind kind, const std::string& name,
                   std::vector<Note>& notes);
  void CheckItems(const NewRecord& record, bool is_same_stream, NewNames names,
                  std::vector<Note>& notes);
  bool GoesWithoutSize(const KnownStream& stream);
  void SettleType(CheckedRecord& checked);

  sql::Connection& db_;
  KnownNames& known_;
  std::map<std::string, std::int32_t> new_types_;  // of tests that records before have settled
  Latest latest_;                                  // which passed; must live as long as this
};

}  // namespace orvspc::engine::record
