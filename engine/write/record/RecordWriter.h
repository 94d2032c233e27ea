// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/write/log/Canonical.h"
#include "engine/write/log/Log.h"
#include "engine/write/record/RecordCheck.h"
#include "platform/Actor.h"

namespace orvspc::engine::record {

// Stores records that passed their check: Place for each subgroup, then DropStored, then Write.
// Nothing is written before that. Inside a write transaction; functions throw SqlError, and
// std::runtime_error where a record in the way is damaged.
class RecordWriter {
 public:
  RecordWriter(sql::Connection& db, KnownNames& known) : db_(db), known_(known) {}

  struct Subgroup {
    std::int32_t id = 0;  // 0 until it is written
    std::int32_t time = 0;
    std::string label;
    bool is_counted = false;            // the label is the next number
    const CheckedRecord* of = nullptr;  // its first record
    std::vector<const KnownStream*> streams;
    bool is_new = true;
  };
  struct Placed {
    CheckedRecord* record;
    std::size_t subgroup;  // place among all
  };
  const std::vector<Placed>& Records() const { return records_; }
  const Subgroup& SubgroupOf(const Placed& placed) const { return subgroups_[placed.subgroup]; }

  // Takes records of one subgroup: the same part, process, label and time. They live as long as
  // this. Throws Refused (code "stored") where the subgroup has that test already, and takes none.
  void Place(std::span<CheckedRecord> records);
  // Looks the subgroups up; leaves out the records that are stored already, and says which.
  std::vector<std::pair<const NewRecord*, Refused>> DropStored();
  // batch: what the measurements name as theirs; 0: none.
  void Write(log::Writing& writing, std::int64_t batch);

  // Of a batch that was written, see batch_digest.h.
  const std::string& Digest() const { return digest_; }
  // A record as it is stored.
  log::CanonicalRecord Described(const Placed& placed) const;

 private:
  struct Counter {
    std::int64_t last = 0;
    bool is_changed = false;
  };
  using Source = std::pair<std::string, std::string>;  // present names of a part and a process

  Counter& CounterOf(const KnownStream& stream);
  std::string NextLabel(const CheckedRecord& record);
  void PassLabel(const CheckedRecord& record);
  void FindSubgroups();
  void WriteLabels();
  void WriteSubgroups();
  void SealSubgroups();
  void WriteMeasurements(std::int64_t batch);
  void WriteBeside(log::Writing& writing, const Placed& placed, std::int64_t batch);
  std::int32_t ContextOf(const CheckedRecord& record);

  sql::Connection& db_;
  KnownNames& known_;
  std::vector<Placed> records_;
  std::vector<Subgroup> subgroups_;
  std::unordered_map<std::string, std::size_t> places_;  // of subgroups, by what they are known by
  std::map<Source, Counter> counters_;
  std::pair<const std::map<std::string, std::string>*, std::int32_t> latest_context_{};
  std::string digest_;
};

}  // namespace orvspc::engine::record
