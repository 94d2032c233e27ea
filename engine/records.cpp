// SPDX-License-Identifier: Apache-2.0
#include "engine/records.h"

#include <utility>

#include "engine/RowTable.h"
#include "engine/reading.h"
#include "engine/store/StateLog.h"
#include "platform/ExternalFailure.h"
#include "platform/TimeStamp.h"

namespace orvspc::engine {
namespace {

platform::Database& Needed(const std::shared_ptr<platform::Database>& database,
                           const char* source) {
  if (database) return *database;
  throw platform::ExternalFailure(kMissingObject, source, "Missing object");
}

catalogue::ItemKind ItemKindOf(platform::NameRecordKind kind) {
  switch (kind) {
    case platform::NameRecordKind::Part:
      return catalogue::ItemKind::Part;
    case platform::NameRecordKind::Process:
      return catalogue::ItemKind::Process;
    case platform::NameRecordKind::Test:
      return catalogue::ItemKind::Test;
    case platform::NameRecordKind::SmplReq:
      return catalogue::ItemKind::Requirement;
    case platform::NameRecordKind::State:
      return catalogue::ItemKind::StateCode;
  }
  return catalogue::ItemKind::Part;
}

}  // namespace

bool RuleRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  rules_.clear();
  cursor_ = 0;
  const auto store = store::StoreOf(Needed(database, "RuleDef").ConnectionHandle());
  if (!store) return false;
  for (const auto& rule : store->Rules()) rules_.push_back({rule.number, rule.text});
  return !rules_.empty();
}

bool RuleRecords::MoveFirst() {
  cursor_ = 0;
  return !rules_.empty();
}

bool RuleRecords::MoveNext() {
  if (cursor_ + 1 >= rules_.size()) return false;
  ++cursor_;
  return true;
}

std::int32_t RuleRecords::Number() { return rules_.empty() ? 0 : rules_[cursor_].number; }

std::string RuleRecords::Text() { return rules_.empty() ? std::string() : rules_[cursor_].text; }

void RuleRecords::Add(platform::RuleDef& other) {
  rules_.push_back({other.Number(), other.Text()});
  cursor_ = rules_.size() - 1;
}

bool NameRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  return engine::Read(Needed(database, "NameRecord"), [&](store::SqlStore& store, auto&) {
    const auto& names = store.Names(ItemKindOf(kind_));
    const auto found = names.find(Current().id);
    if (found == names.end()) return false;
    Current().name = found->second;
    return true;
  });
}

void NameRecords::Add(platform::NameRecord& record) {
  Item copy{record.ID(), record.Name()};
  items_.push_back(std::move(copy));
  cursor_ = items_.size() - 1;
}

bool NameRecords::MoveFirst() {
  cursor_ = 0;
  return !items_.empty();
}

bool NameRecords::MoveNext() {
  if (cursor_ + 1 >= items_.size()) return false;
  ++cursor_;
  return true;
}

const StateLogRecords::Record& StateLogRecords::Current() const {
  static const Record none;
  return records_.empty() ? none : records_[cursor_];
}

bool StateLogRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  records_.clear();
  cursor_ = 0;
  auto& needed = Needed(database, "PrcsStateLog");
  const store::NotesBelongTo owner(needed.ConnectionHandle());
  return engine::Read(needed, [&](store::SqlStore& store, sql::Connection& db) {
    const auto time = platform::DateToTimeStamp(time_);
    std::vector<store::StateLogRow> rows;
    if (query_ == kForward) {
      const std::int64_t limit = row_limit_;
      // The forward read is of one process; 0 is no process, not all of them.
      if (process_ != 0)
        rows = store::ReadStateLog(db, process_, time, INT32_MAX,
                                   limit > 0 ? limit + 1 : store::kEveryRecord);
      if (limit > 0 && std::ssize(rows) > limit) {
        rows.pop_back();
        store::AddNote("states-cut",
                       "The log of states has more records than are read at once; it is "
                       "known up to the " +
                           std::to_string(limit) + "th of them.");
      }
    } else if (query_ == kLatestBefore) {
      if (const auto row = store::LatestStateBefore(db, 0, time)) rows.push_back(*row);
    }
    const auto& names = store.Names(catalogue::ItemKind::StateCode);
    for (const auto& row : rows) {
      const auto name = names.find(row.state);
      records_.push_back({platform::TimeStampToDate(row.time), row.process, row.state, row.type,
                          name == names.end() ? std::string() : name->second});
    }
    return !records_.empty();
  });
}

void StateLogRecords::Add(platform::PrcsStateLog& record) {
  records_.push_back(
      {record.Time(), record.Process(), record.StateID(), record.StateType(), record.StateName()});
  cursor_ = records_.size() - 1;
}

bool StateLogRecords::MoveFirst() {
  cursor_ = 0;
  return !records_.empty();
}

bool StateLogRecords::MoveNext() {
  if (cursor_ + 1 >= records_.size()) return false;
  ++cursor_;
  return true;
}

}  // namespace orvspc::engine
