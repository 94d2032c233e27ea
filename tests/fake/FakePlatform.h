// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"
#include "tests/fake/CallLog.h"
#include "tests/fake/Script.h"

namespace orvspc::fake {

// What all fakes of one platform share.
struct World {
  Script script;
  CallLog log;
  // The selection as the call of the alarm mask got it.
  API_DSInfo alarm_mask_info = {};
  std::vector<std::int32_t> alarm_mask_filter;
  int time_conversions_made = 0;
  int trimmers_made = 0;
};

// Logs ConnectionHandle and DatabaseValue; the latter swaps.
class FakeDatabase : public platform::Database {
 public:
  explicit FakeDatabase(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t ConnectionHandle() override;
  std::int32_t DatabaseValue(std::int32_t value) override;

  std::int32_t value = 0;

 private:
  std::shared_ptr<World> world_;
};

// The rows that a limit table took over, or that a test gives it.
template <class Interface>
class FakeLimitTable : public Interface {
 public:
  FakeLimitTable(std::shared_ptr<World> world, std::string name)
      : world_(std::move(world)), name_(std::move(name)) {}

  void Let(std::string_view column, const platform::Cell& value) override {
    world_->log.External(name_ + ".Let", column);
    current_[std::string(column)] = value;
  }
  platform::Cell Get(std::string_view column) override {
    const auto& row = at_ < rows.size() ? rows[at_] : current_;
    const auto found = row.find(column);
    return found == row.end() ? platform::Cell(std::int32_t{0}) : found->second;
  }
  void Add(platform::LimitTable& row) override {
    world_->log.External(name_ + ".Add");
    rows.push_back(dynamic_cast<FakeLimitTable&>(row).current_);
    at_ = rows.size() - 1;
  }
  bool MoveFirst() override {
    world_->log.External(name_ + ".MoveFirst");
    at_ = 0;
    return !rows.empty();
  }
  bool MoveNext() override {
    if (at_ + 1 >= rows.size()) return false;
    ++at_;
    return true;
  }

  using Row = std::map<std::string, platform::Cell, std::less<>>;
  std::vector<Row> rows;

 private:
  std::shared_ptr<World> world_;
  std::string name_;
  Row current_;
  std::size_t at_ = 0;
};

class FakeRuleDef : public platform::RuleDef {
 public:
  explicit FakeRuleDef(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void FirstSetting(std::int32_t value) override;
  void SecondSetting(std::int32_t value) override;
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override;
  bool MoveFirst() override;
  bool MoveNext() override;
  std::int32_t Number() override;
  std::string Text() override;
  void Add(platform::RuleDef& other) override;

 private:
  std::shared_ptr<World> world_;
  std::vector<Rule> rules_;
  std::size_t at_ = 0;
};

// A platform whose closed libraries and objects log every call and answer from the script. Helpers
// for stamps and text and the XML document are real and log nothing.
class FakePlatform : public platform::Platform {
 public:
  FakePlatform();
  ~FakePlatform() override;

  Script& script() { return world_->script; }
  CallLog& log() { return world_->log; }
  World& world() { return *world_; }
  std::shared_ptr<FakeDatabase> MakeDatabase();

  platform::DBLib6& DBLib() override { return *database_library_; }
  platform::CtrlChrt6& CtrlChrt() override { return *chart_library_; }
  platform::CapAna6& CapAna() override { return *capability_library_; }
  platform::Pareto6& Pareto() override { return *pareto_library_; }
  platform::SReqCompliance& Compliance() override { return *compliance_library_; }
  std::string Identity() override;
  std::shared_ptr<platform::RuleDef> MakeRuleDef() override;
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override;
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override;
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override;
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override;
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override;
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override;
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view name) override;
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind kind) override;
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override;

 private:
  std::shared_ptr<World> world_;
  std::unique_ptr<platform::DBLib6> database_library_;
  std::unique_ptr<platform::CtrlChrt6> chart_library_;
  std::unique_ptr<platform::CapAna6> capability_library_;
  std::unique_ptr<platform::Pareto6> pareto_library_;
  std::unique_ptr<platform::SReqCompliance> compliance_library_;
};

// A fake platform in force on this thread while it lives, with a database.
struct FakeScope {
  std::shared_ptr<FakePlatform> platform = std::make_shared<FakePlatform>();
  platform::Scope scope{platform};
  std::shared_ptr<FakeDatabase> database = platform->MakeDatabase();

  Script& script() { return platform->script(); }
  CallLog& log() { return platform->log(); }
};

}  // namespace orvspc::fake
