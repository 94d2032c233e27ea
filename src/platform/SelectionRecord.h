// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace orvspc {

// The flat form of a selection that every closed library takes, beside the filter array.
// All default 0; the library may write to it.
struct API_DSInfo {
  std::int32_t Count, Filter, DECFGID;
  std::int32_t TimeType, TimePeriod, TimeCount, TimeStart, TimeEnd;
  std::int32_t ItemNo, Type, Status;
  std::int32_t DSBL, LinkPart, LinkProcess, LinkTest, LinkCode, LinkJob, LinkLot, LinkShift,
      LinkEmployee;
  std::int32_t AllPart, AllProcess, AllTest, AllCode, AllJob, AllLot, AllShift, AllEmployee;
  std::int32_t TestType, SubgroupStart, SubgroupEnd;
};

static_assert(sizeof(API_DSInfo) == 124);

}  // namespace orvspc
