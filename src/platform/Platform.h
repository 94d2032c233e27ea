// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/CapAna6.h"
#include "platform/CtrlChrt6.h"
#include "platform/CtrlLim.h"
#include "platform/DBLib6.h"
#include "platform/DefOpp.h"
#include "platform/Dom.h"
#include "platform/ErrorLog.h"
#include "platform/NameRecord.h"
#include "platform/Pareto6.h"
#include "platform/PrcsStateLog.h"
#include "platform/RuleDef.h"
#include "platform/SReqCompliance.h"
#include "platform/SpecLim.h"
#include "platform/TextTrimmer.h"
#include "platform/TimeConversion.h"

namespace orvspc::platform {

// Everything that the library reaches outside itself: the closed libraries and factories for the
// external objects. Factories return a new object at each call, never null.
class Platform {
 public:
  virtual ~Platform() = default;

  virtual DBLib6& DBLib() = 0;
  virtual CtrlChrt6& CtrlChrt() = 0;
  virtual CapAna6& CapAna() = 0;
  virtual Pareto6& Pareto() = 0;
  virtual SReqCompliance& Compliance() = 0;

  // Identity text of the running application, for the failure log.
  virtual std::string Identity() = 0;

  virtual std::shared_ptr<RuleDef> MakeRuleDef() = 0;
  virtual std::shared_ptr<SpecLim> MakeSpecLim() = 0;
  virtual std::shared_ptr<CtrlLim> MakeCtrlLim() = 0;
  virtual std::shared_ptr<DefOpp> MakeDefOpp() = 0;
  virtual std::shared_ptr<TimeConversion> MakeTimeConversion() = 0;
  virtual std::shared_ptr<TextTrimmer> MakeTextTrimmer() = 0;
  virtual std::shared_ptr<XmlDocument> MakeXmlDocument() = 0;
  // By name, "orvError6.Error".
  virtual std::shared_ptr<ErrorLog> MakeErrorLog(std::string_view name) = 0;
  virtual std::shared_ptr<NameRecord> MakeNameRecord(NameRecordKind kind) = 0;
  virtual std::shared_ptr<PrcsStateLog> MakePrcsStateLog() = 0;
};

// Installs the platform of the process; null takes it away.
void Install(std::shared_ptr<Platform> platform);

// The platform in force on this thread: that of the innermost Scope, else the installed one, else
// null.
std::shared_ptr<Platform> Current();

// Overrides the platform for this thread while it lives.
class Scope {
 public:
  explicit Scope(std::shared_ptr<Platform> platform);
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope();

 private:
  std::shared_ptr<Platform> former_;
};

}  // namespace orvspc::platform
