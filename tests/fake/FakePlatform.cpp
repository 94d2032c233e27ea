// SPDX-License-Identifier: Apache-2.0
#include "tests/fake/FakePlatform.h"

#include <utility>

#include "engine/dom/Dom.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"
#include "tests/fake/libraries.h"

namespace orvspc::fake {
namespace {

class FakeTimeConversion : public platform::TimeConversion {
 public:
  std::int32_t DateToTimeStamp(double date) override { return platform::DateToTimeStamp(date); }
  double TimeStampToDate(std::int32_t stamp) override { return platform::TimeStampToDate(stamp); }
};

class FakeTextTrimmer : public platform::TextTrimmer {
 public:
  void TrimFixedString(std::u16string& text) override {
    text.resize(platform::TrimFixedText(text).size());
  }
};

class FakeErrorLog : public platform::ErrorLog {
 public:
  explicit FakeErrorLog(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void Log(const std::string& Procedure, std::int32_t Number, const std::string& Description,
           const std::string& Source, const std::string& Application) override {
    world_->log.External("ErrorLog.Log", Procedure, Number, Description, Source, Application);
  }

 private:
  std::shared_ptr<World> world_;
};

class FakeNameRecord : public platform::NameRecord {
 public:
  FakeNameRecord(std::shared_ptr<World> world, platform::NameRecordKind kind)
      : world_(std::move(world)), kind_(kind) {}

  std::int32_t ID() override { return list_.at(at_).first; }
  void ID(std::int32_t value) override {
    world_->log.External("NameRecord.ID", value);
    id_ = value;
  }
  void KeyMode(std::int32_t value) override { world_->log.External("NameRecord.KeyMode", value); }
  bool Read(const std::shared_ptr<platform::Database>&, std::int32_t mode) override {
    world_->log.External("NameRecord.Read", mode);
    const auto found = world_->script.names.find({kind_, id_});
    if (found == world_->script.names.end()) return false;
    name_ = found->second;
    return true;
  }
  void Add(platform::NameRecord& record) override {
    world_->log.External("NameRecord.Add");
    const auto& other = dynamic_cast<FakeNameRecord&>(record);
    list_.emplace_back(other.id_, other.name_);
    at_ = list_.size() - 1;
  }
  bool MoveFirst() override {
    at_ = 0;
    return !list_.empty();
  }
  bool MoveNext() override {
    if (at_ + 1 >= list_.size()) return false;
    ++at_;
    return true;
  }
  std::string Name() override { return list_.at(at_).second; }

 private:
  std::shared_ptr<World> world_;
  platform::NameRecordKind kind_;
  std::int32_t id_ = 0;
  std::string name_;
  std::vector<std::pair<std::int32_t, std::string>> list_;
  std::size_t at_ = 0;
};

}  // namespace

std::int32_t FakeDatabase::ConnectionHandle() {
  world_->log.External("Database.ConnectionHandle");
  return world_->script.connection;
}

std::int32_t FakeDatabase::DatabaseValue(std::int32_t new_value) {
  world_->log.External("Database.DatabaseValue", new_value);
  return std::exchange(value, new_value);
}

void FakeRuleDef::FirstSetting(std::int32_t value) {
  world_->log.External("RuleDef.FirstSetting", value);
}

void FakeRuleDef::SecondSetting(std::int32_t value) {
  world_->log.External("RuleDef.SecondSetting", value);
}

bool FakeRuleDef::Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) {
  world_->log.External("RuleDef.Read", database ? "database" : "null", mode);
  rules_ = world_->script.rules;
  at_ = 0;
  return !rules_.empty();
}

bool FakeRuleDef::MoveFirst() {
  world_->log.External("RuleDef.MoveFirst");
  at_ = 0;
  return !rules_.empty();
}

bool FakeRuleDef::MoveNext() {
  if (at_ + 1 >= rules_.size()) return false;
  ++at_;
  return true;
}

std::int32_t FakeRuleDef::Number() { return rules_.at(at_).number; }
std::string FakeRuleDef::Text() { return rules_.at(at_).text; }

void FakeRuleDef::Add(platform::RuleDef& other) {
  world_->log.External("RuleDef.Add");
  rules_.push_back({other.Number(), other.Text()});
}

FakePlatform::FakePlatform()
    : world_(std::make_shared<World>()),
      database_library_(MakeDatabaseLibrary(world_)),
      chart_library_(MakeChartLibrary(world_)),
      capability_library_(MakeCapabilityLibrary(world_)),
      pareto_library_(MakeParetoLibrary(world_)),
      compliance_library_(MakeComplianceLibrary(world_)) {}

FakePlatform::~FakePlatform() = default;

std::shared_ptr<FakeDatabase> FakePlatform::MakeDatabase() {
  return std::make_shared<FakeDatabase>(world_);
}

std::string FakePlatform::Identity() { return world_->script.identity; }

std::shared_ptr<platform::RuleDef> FakePlatform::MakeRuleDef() {
  log().External("MakeRuleDef");
  return std::make_shared<FakeRuleDef>(world_);
}

std::shared_ptr<platform::SpecLim> FakePlatform::MakeSpecLim() {
  log().External("MakeSpecLim");
  return std::make_shared<FakeLimitTable<platform::SpecLim>>(world_, "SpecLim");
}

std::shared_ptr<platform::CtrlLim> FakePlatform::MakeCtrlLim() {
  log().External("MakeCtrlLim");
  return std::make_shared<FakeLimitTable<platform::CtrlLim>>(world_, "CtrlLim");
}

std::shared_ptr<platform::DefOpp> FakePlatform::MakeDefOpp() {
  log().External("MakeDefOpp");
  return std::make_shared<FakeLimitTable<platform::DefOpp>>(world_, "DefOpp");
}

std::shared_ptr<platform::TimeConversion> FakePlatform::MakeTimeConversion() {
  ++world_->time_conversions_made;
  return std::make_shared<FakeTimeConversion>();
}

std::shared_ptr<platform::TextTrimmer> FakePlatform::MakeTextTrimmer() {
  ++world_->trimmers_made;
  return std::make_shared<FakeTextTrimmer>();
}

std::shared_ptr<platform::XmlDocument> FakePlatform::MakeXmlDocument() {
  return engine::dom::MakeXmlDocument();
}

std::shared_ptr<platform::ErrorLog> FakePlatform::MakeErrorLog(std::string_view name) {
  log().External("MakeErrorLog", name);
  return std::make_shared<FakeErrorLog>(world_);
}

std::shared_ptr<platform::NameRecord> FakePlatform::MakeNameRecord(platform::NameRecordKind kind) {
  log().External("MakeNameRecord", static_cast<int>(kind));
  return std::make_shared<FakeNameRecord>(world_, kind);
}

std::shared_ptr<platform::PrcsStateLog> FakePlatform::MakePrcsStateLog() {
  log().External("MakePrcsStateLog");
  return MakeStateLog(world_);
}

}  // namespace orvspc::fake
