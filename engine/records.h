// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/NameRecord.h"
#include "platform/PrcsStateLog.h"
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

// Parts, processes, tests, sampling requirements and process states by their identifiers.
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

// Records of the log of process states. A row limit below 1 is none; process 0 is every one.
class StateLogRecords final : public platform::PrcsStateLog {
 public:
  void RowLimit(std::int32_t value) override { row_limit_ = value; }
  void KeyMode(std::int32_t) override {}
  void ProcessID(std::int32_t value) override { process_ = value; }
  void QueryType(std::int32_t value) override { query_ = value; }
  double Time() override { return records_.empty() ? time_ : records_[cursor_].time; }
  void Time(double value) override { time_ = value; }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  void Add(platform::PrcsStateLog& record) override;
  bool MoveFirst() override;
  bool MoveNext() override;
  // 0 and empty on an empty list.
  std::int32_t Process() override { return Current().process; }
  std::int32_t StateID() override { return Current().state; }
  std::string StateName() override { return Current().name; }
  std::int32_t StateType() override { return Current().type; }

 private:
  struct Record {
    double time = 0.0;
    std::int32_t process = 0, state = 0, type = 0;
    std::string name;
  };
  const Record& Current() const;

  std::int32_t row_limit_ = 0, process_ = 0, query_ = 0;
  double time_ = 0.0;
  std::vector<Record> records_;
  std::size_t cursor_ = 0;
};

}  // namespace orvspc::engine
