// SPDX-License-Identifier: Apache-2.0
#include "frame/ConstructorLog.h"

#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {

std::shared_ptr<platform::ErrorLog> LogConstructorFailure(std::string_view class_name) noexcept {
  std::shared_ptr<platform::ErrorLog> log;
  try {
    const Failure failure = CurrentFailure();
    const auto platform = PlatformInForce();
    log = platform->MakeErrorLog("orvError6.Error");
    if (log)
      log->Log(ConstructorName(class_name), failure.Number(), failure.Description(),
               failure.Source(), platform->Identity());
  } catch (...) {  // NOLINT: nothing may leave, and there is nowhere left to report to
  }
  return log;
}

}  // namespace orvspc
