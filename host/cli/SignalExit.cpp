// SPDX-License-Identifier: Apache-2.0
#include "host/cli/SignalExit.h"

#include <algorithm>

#include "host/cli/AlarmOutput.h"

namespace orvspc::cli {

int SignalStatus(const Arguments& arguments, bool empty,
                 const std::vector<std::vector<bool>>& streams) {
  if (!arguments.Has(kSignalExit)) return 0;
  const bool of_any = arguments.Get(kSignalExit) == SignalOf::Any;
  if (empty) return kEmptyStatus;
  const bool has_signal = std::ranges::any_of(streams, [&](const std::vector<bool>& points) {
    if (of_any) return std::ranges::find(points, true) != points.end();
    return !points.empty() && points.back();
  });
  return has_signal ? kAlarmStatus : 0;
}

}  // namespace orvspc::cli
