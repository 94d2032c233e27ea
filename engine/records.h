// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/RowList.h"
#include "platform/NameRecord.h"
#include "platform/PrcsStateLog.h"
#include "platform/RuleDef.h"

// The record objects that the library reads from a quality database.
namespace orvspc::engine {

struct RuleRow {
  std::int32_t number = 0;
  std::string text;
};
struct NameRow {
  std::int32_t id = 0;
  std::string name;
};
struct StateRow {
  double time = 0.0;
  std::int32_t process = 0, state = 0, type = 0;
  std::string name;
};

// Run rules in the order of the database's list.
class RuleRecords final : public RowList<platform::RuleDef, RuleRow> {
 public:
  // Both settings are the library's own and change nothing here.
  void FirstSetting(std::int32_t) override {}
  void SecondSetting(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  // 0 and empty on an empty list.
  std::int32_t Number() override { return Current().number; }
  std::string Text() override { return Current().text; }
  void Add(platform::RuleDef& other) override { Append({other.Number(), other.Text()}); }
};

// Parts, processes, tests, sampling requirements and process states by their identifiers.
class NameRecords final : public RowList<platform::NameRecord, NameRow> {
 public:
  explicit NameRecords(platform::NameRecordKind kind) : kind_(kind) {}

  std::int32_t ID() override { return Current().id; }
  void ID(std::int32_t value) override { Current().id = value; }
  void KeyMode(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  void Add(platform::NameRecord& record) override { Append({record.ID(), record.Name()}); }
  std::string Name() override { return Current().name; }

 private:
  platform::NameRecordKind kind_;
};

// Records of the log of process states. A row limit below 1 is none; process 0 is every one.
class StateLogRecords final : public RowList<platform::PrcsStateLog, StateRow> {
 public:
  void RowLimit(std::int32_t value) override { row_limit_ = value; }
  void KeyMode(std::int32_t) override {}
  void ProcessID(std::int32_t value) override { process_ = value; }
  void QueryType(std::int32_t value) override { query_ = value; }
  double Time() override { return IsEmpty() ? time_ : Current().time; }
  void Time(double value) override { time_ = value; }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  void Add(platform::PrcsStateLog& record) override;
  // 0 and empty on an empty list.
  std::int32_t Process() override { return Current().process; }
  std::int32_t StateID() override { return Current().state; }
  std::string StateName() override { return Current().name; }
  std::int32_t StateType() override { return Current().type; }

 private:
  std::int32_t row_limit_ = 0, process_ = 0, query_ = 0;
  double time_ = 0.0;
};

}  // namespace orvspc::engine
