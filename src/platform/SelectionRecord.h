// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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
static_assert(offsetof(API_DSInfo, Count) == 0 && offsetof(API_DSInfo, Filter) == 4 &&
              offsetof(API_DSInfo, DECFGID) == 8 && offsetof(API_DSInfo, TimeType) == 12 &&
              offsetof(API_DSInfo, TimePeriod) == 16 && offsetof(API_DSInfo, TimeCount) == 20 &&
              offsetof(API_DSInfo, TimeStart) == 24 && offsetof(API_DSInfo, TimeEnd) == 28 &&
              offsetof(API_DSInfo, ItemNo) == 32 && offsetof(API_DSInfo, Type) == 36 &&
              offsetof(API_DSInfo, Status) == 40 && offsetof(API_DSInfo, DSBL) == 44 &&
              offsetof(API_DSInfo, LinkPart) == 48 && offsetof(API_DSInfo, LinkProcess) == 52 &&
              offsetof(API_DSInfo, LinkTest) == 56 && offsetof(API_DSInfo, LinkCode) == 60 &&
              offsetof(API_DSInfo, LinkJob) == 64 && offsetof(API_DSInfo, LinkLot) == 68 &&
              offsetof(API_DSInfo, LinkShift) == 72 && offsetof(API_DSInfo, LinkEmployee) == 76 &&
              offsetof(API_DSInfo, AllPart) == 80 && offsetof(API_DSInfo, AllProcess) == 84 &&
              offsetof(API_DSInfo, AllTest) == 88 && offsetof(API_DSInfo, AllCode) == 92 &&
              offsetof(API_DSInfo, AllJob) == 96 && offsetof(API_DSInfo, AllLot) == 100 &&
              offsetof(API_DSInfo, AllShift) == 104 && offsetof(API_DSInfo, AllEmployee) == 108 &&
              offsetof(API_DSInfo, TestType) == 112 && offsetof(API_DSInfo, SubgroupStart) == 116 &&
              offsetof(API_DSInfo, SubgroupEnd) == 120);

}  // namespace orvspc
