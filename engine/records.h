// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/NameRecord.h"
#include "platform/RuleDef.h"

// The record objects that the library reads from a quality database.
namespace orvspc::engine {

// Run rules in the order of the database's list.
class RuleRecords final : public platform::RuleDef {
 public:
  // Both settings are the library's own and change nothing here.
  void FirstSetting(std::int32_t) override {}
  void SecondSetting(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  bool MoveFirst() override;
  bool MoveNext() override;
  // 0 and empty on an empty list.
  std::int32_t Number() override;
  std::string Text() override;
  void Add(platform::RuleDef& other) override;

 private:
  struct Rule {
    std::int32_t number;
    std::string text;
  };
  std::vector<Rule> rules_;
  std::size_t cursor_ = 0;
};

// Parts, processes and tests by their identifiers. The database holds neither sampling requirements
// nor process states: reading one of those finds nothing.
class NameRecords final : public platform::NameRecord {
 public:
  explicit NameRecords(platform::NameRecordKind kind) : kind_(kind) {}

  std::int32_t ID() override { return Current().id; }
  void ID(std::int32_t value) override { Current().id = value; }
  void KeyMode(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  void Add(platform::NameRecord& record) override;
  bool MoveFirst() override;
  bool MoveNext() override;
  std::string Name() override { return Current().name; }

 private:
  struct Item {
    std::int32_t id = 0;
    std::string name;
  };
  // The record itself while the list is empty.
  Item& Current() { return items_.empty() ? record_ : items_[cursor_]; }

  platform::NameRecordKind kind_;
  Item record_;
  std::vector<Item> items_;
  std::size_t cursor_ = 0;
};

}  // namespace orvspc::engine
