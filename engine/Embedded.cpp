// SPDX-License-Identifier: Apache-2.0
#include "engine/Embedded.h"

#include <atomic>
#include <deque>
#include <mutex>

#include "engine/RowTable.h"
#include "engine/capability/CapabilityLibrary.h"
#include "engine/charts/ChartLibrary.h"
#include "engine/compliance/ComplianceLibrary.h"
#include "engine/dom/Dom.h"
#include "engine/pareto/ParetoLibrary.h"
#include "engine/records.h"
#include "engine/store/DatabaseLibrary.h"
#include "engine/store/SqlStore.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"

namespace orvspc {
namespace engine {
namespace {

// Failures of all threads, for the process.
class FailureLog {
 public:
  void Add(LoggedFailure failure) {
    const std::lock_guard lock(mutex_);
    if (failures_.size() == kKept) failures_.pop_front();
    failures_.push_back(std::move(failure));
  }
  std::vector<LoggedFailure> All() const {
    const std::lock_guard lock(mutex_);
    return {failures_.begin(), failures_.end()};
  }

 private:
  static constexpr std::size_t kKept = 100;
  mutable std::mutex mutex_;
  std::deque<LoggedFailure> failures_;
};

// Never destroyed: constructors of objects with static life may log after it would have been.
FailureLog& Log() {
  static auto* const log = new FailureLog;
  return *log;
}

class MemoryErrorLog final : public platform::ErrorLog {
 public:
  void Log(const std::string& Procedure, std::int32_t Number, const std::string& Description,
           const std::string& Source, const std::string& Application) override {
    engine::Log().Add({Procedure, Description, Source, Application, Number});
  }
};

class StampConversion final : public platform::TimeConversion {
 public:
  std::int32_t DateToTimeStamp(double date) override { return platform::DateToTimeStamp(date); }
  double TimeStampToDate(std::int32_t stamp) override { return platform::TimeStampToDate(stamp); }
};

class FixedTextTrimmer final : public platform::TextTrimmer {
 public:
  void TrimFixedString(std::u16string& text) override {
    text.resize(platform::TrimFixedText(text).size());
  }
};

class Embedded final : public platform::Platform {
 public:
  platform::DBLib6& DBLib() override { return database_library_; }
  platform::CtrlChrt6& CtrlChrt() override { return chart_library_; }
  platform::CapAna6& CapAna() override { return capability_library_; }
  platform::Pareto6& Pareto() override { return pareto_library_; }
  platform::SReqCompliance& Compliance() override { return compliance_library_; }
  std::string Identity() override { return "orvSPCAnalysis6, embedded engine"; }

  std::shared_ptr<platform::RuleDef> MakeRuleDef() override {
    return std::make_shared<RuleRecords>();
  }
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override {
    return std::make_shared<RowTable<platform::SpecLim>>();
  }
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override {
    return std::make_shared<RowTable<platform::CtrlLim>>();
  }
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override {
    return std::make_shared<RowTable<platform::DefOpp>>();
  }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return std::make_shared<StampConversion>();
  }
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return std::make_shared<FixedTextTrimmer>();
  }
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override {
    return engine::dom::MakeXmlDocument();
  }
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view) override {
    return std::make_shared<MemoryErrorLog>();
  }
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind kind) override {
    return std::make_shared<NameRecords>(kind);
  }
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override {
    return std::make_shared<StateLogRecords>();
  }

 private:
  store::DatabaseLibrary database_library_;
  charts::ChartLibrary chart_library_;
  capability::CapabilityLibrary capability_library_;
  pareto::ParetoLibrary pareto_library_;
  compliance::ComplianceLibrary compliance_library_;
};

class OpenedDatabase final : public EmbeddedDatabase {
 public:
  explicit OpenedDatabase(std::shared_ptr<store::SqlStore> store)
      : store_(std::move(store)), handle_(store_) {}

  std::int32_t ConnectionHandle() override { return handle_.Number(); }
  std::int32_t DatabaseValue(std::int32_t value) override { return value_.exchange(value); }
  std::optional<Failure> TakeFailure() override {
    auto failure = store_->TakeFailure();
    if (!failure) return std::nullopt;
    return Failure{failure->number, std::move(failure->text)};
  }
  Report TakeReport() override {
    const auto handle = handle_.Number();
    return {store::TakeNotes(handle), charts::ChartLibrary::TakeReport(handle),
            capability::CapabilityLibrary::TakeReport(handle),
            compliance::ComplianceLibrary::TakeReport(handle)};
  }

 private:
  std::shared_ptr<store::SqlStore> store_;
  store::StoreHandle handle_;
  std::atomic<std::int32_t> value_ = 0;
};

}  // namespace
}  // namespace engine

std::shared_ptr<EmbeddedDatabase> OpenDatabase(const std::string& path, bool create) {
  return std::make_shared<engine::OpenedDatabase>(
      std::make_shared<engine::store::SqlStore>(engine::store::OpenConnection(path, create), path));
}

std::shared_ptr<platform::Platform> EmbeddedPlatform() {
  static const auto platform = std::make_shared<engine::Embedded>();
  return platform;
}

void InstallEmbedded() { platform::Install(EmbeddedPlatform()); }

std::vector<LoggedFailure> LoggedFailures() { return engine::Log().All(); }

}  // namespace orvspc
