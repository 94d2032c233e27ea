// SPDX-License-Identifier: Apache-2.0
#include "summary/PSResults.h"

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"

namespace orvspc {

void PSResults::PrcsStateLog(const Friend&, const std::shared_ptr<platform::Object>& value) {
  Traced("PSResults.PrcsStateLog(s)", [&] {
    auto log = std::dynamic_pointer_cast<platform::PrcsStateLog>(value);
    if (value && !log) FailTypeMismatch();
    prcs_state_log_ = std::move(log);
  });
}

}  // namespace orvspc
