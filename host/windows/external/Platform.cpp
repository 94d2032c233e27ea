// SPDX-License-Identifier: Apache-2.0
#include "host/windows/external/Platform.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/windows/external/objects.h"
#include "host/windows/msxml/XmlDocument.h"
#include "host/windows/native/ClosedLibraries.h"

namespace orvspc::windows::external {
namespace {

class ComponentPlatform final : public platform::Platform {
 public:
  ~ComponentPlatform() override {
    for (const auto& [kept, drop] : helpers_)
      if (const auto alive = kept.lock()) drop(alive.get());
  }

  platform::DBLib6& DBLib() override { return libraries_.DBLib(); }
  platform::CtrlChrt6& CtrlChrt() override { return libraries_.CtrlChrt(); }
  platform::CapAna6& CapAna() override { return libraries_.CapAna(); }
  platform::Pareto6& Pareto() override { return libraries_.Pareto(); }
  platform::SReqCompliance& Compliance() override { return libraries_.Compliance(); }

  std::string Identity() override { return PathOfProgram(); }

  std::shared_ptr<platform::RuleDef> MakeRuleDef() override { return std::make_shared<RuleDef>(); }
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override {
    return std::make_shared<SpecLim>(L"orvEngine.SpecLim");
  }
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override {
    return std::make_shared<CtrlLim>(L"orvEngine.CtrlLim");
  }
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override {
    return std::make_shared<DefOpp>(L"orvEngine.DefOpp");
  }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return Helper(std::make_shared<TimeConversion>());
  }
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return Helper(std::make_shared<TextTrimmer>());
  }
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override {
    return msxml::MakeXmlDocument();
  }
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view name) override {
    return std::make_shared<ErrorLog>(name);
  }
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind kind) override {
    using platform::NameRecordKind;
    switch (kind) {
      case NameRecordKind::Part:
        return std::make_shared<NameRecord<IPart>>(L"orvEngine.Part");
      case NameRecordKind::Process:
        return std::make_shared<NameRecord<IProcess>>(L"orvEngine.Process");
      case NameRecordKind::Test:
        return std::make_shared<NameRecord<ITest>>(L"orvEngine.Test");
      case NameRecordKind::SmplReq:
        return std::make_shared<NameRecord<ISamplingRequirement>>(L"orvEngine.SamplingRequirement");
      case NameRecordKind::State:
        break;
    }
    return std::make_shared<NameRecord<IStateCode>>(L"orvEngine.StateCode");
  }
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override {
    return std::make_shared<PrcsStateLog>();
  }

 private:
  // A thread keeps its helpers as long as it lives, which may be longer than the component.
  template <class T>
  std::shared_ptr<T> Helper(std::shared_ptr<T> helper) {
    const std::lock_guard lock(mutex_);
    std::erase_if(helpers_, [](const auto& each) { return each.first.expired(); });
    helpers_.emplace_back(helper, [](void* kept) { static_cast<T*>(kept)->Drop(); });
    return helper;
  }

  native::ClosedLibraries libraries_;
  std::mutex mutex_;
  std::vector<std::pair<std::weak_ptr<void>, void (*)(void*)>> helpers_;
};

}  // namespace

std::shared_ptr<platform::Platform> MakePlatform() { return std::make_shared<ComponentPlatform>(); }

}  // namespace orvspc::windows::external
