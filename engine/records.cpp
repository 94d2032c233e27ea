// SPDX-License-Identifier: Apache-2.0
#include "engine/records.h"

#include <utility>

#include "engine/RowTable.h"
#include "engine/store/SqlStore.h"
#include "engine/store/logs.h"
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
  Assign({});
  const auto store = store::StoreOf(Needed(database, "RuleDef").ConnectionHandle());
  if (!store) return false;
  std::vector<RuleRow> rules;
  for (const auto& rule : store->Rules()) rules.push_back({rule.number, rule.text});
  return Assign(std::move(rules));
}

bool NameRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  return store::Read(Needed(database, "NameRecord"), [&](store::SqlStore& store, auto&) {
    const auto& names = store.Cache().Names(ItemKindOf(kind_));
    const auto found = names.find(Current().id);
    if (found == names.end()) return false;
    Current().name = found->second;
    return true;
  });
}

bool StateLogRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  Assign({});
  auto& needed = Needed(database, "PrcsStateLog");
  const store::NotesBelongTo owner(needed.ConnectionHandle());
  return store::Read(needed, [&](store::SqlStore& store, sql::Connection& db) {
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
    const auto& names = store.Cache().Names(catalogue::ItemKind::StateCode);
    std::vector<StateRow> records;
    for (const auto& row : rows) {
      const auto name = names.find(row.state);
      records.push_back({platform::TimeStampToDate(row.time), row.process, row.state, row.type,
                         name == names.end() ? std::string() : name->second});
    }
    return Assign(std::move(records));
  });
}

void StateLogRecords::Add(platform::PrcsStateLog& record) {
  Append(
      {record.Time(), record.Process(), record.StateID(), record.StateType(), record.StateName()});
}

}  // namespace orvspc::engine
