// SPDX-License-Identifier: Apache-2.0
#include "engine/records.h"

#include <optional>
#include <utility>

#include "engine/RowTable.h"
#include "engine/store/Catalogue.h"
#include "engine/store/Store.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine {
namespace {

platform::Database& Needed(const std::shared_ptr<platform::Database>& database,
                           const char* source) {
  if (database) return *database;
  throw platform::ExternalFailure(kMissingObject, source, "Missing object");
}

std::optional<ItemKind> ItemKindOf(platform::NameRecordKind kind) {
  switch (kind) {
    case platform::NameRecordKind::Part:
      return ItemKind::Part;
    case platform::NameRecordKind::Process:
      return ItemKind::Process;
    case platform::NameRecordKind::Test:
      return ItemKind::Test;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool RuleRecords::Read(const std::shared_ptr<platform::Database>& database, std::int32_t) {
  rules_.clear();
  cursor_ = 0;
  const auto store = StoreOf(Needed(database, "RuleDef").ConnectionHandle());
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
  auto& owner = Needed(database, "NameRecord");
  const auto kind = ItemKindOf(kind_);
  if (!kind) return false;
  auto name = ItemName(owner, *kind, Current().id);
  if (name.empty()) return false;
  Current().name = std::move(name);
  return true;
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

bool StateLogRecords::Read(const std::shared_ptr<platform::Database>&, std::int32_t) {
  records_.clear();
  return false;
}

void StateLogRecords::Add(platform::PrcsStateLog& record) {
  records_.push_back(dynamic_cast<StateLogRecords&>(record).Current());
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
