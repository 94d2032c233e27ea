// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "engine/compliance/Sampling.h"
#include "engine/store/Store.h"
#include "engine/store/StoreCache.h"

namespace orvspc::engine::compliance {

enum class SamplingKind { Interval, Shift, Lot, Job };

struct Requirement {
  std::int32_t id = 0;
  std::int32_t part = 0;  // 0: any
  std::int32_t process = 0, test = 0;
  SamplingKind kind = SamplingKind::Interval;
  std::int64_t n = 0, every = 0, grace = 0;  // the latter two in seconds
  Period valid;

  bool Covers(const API_SubgroupData& subgroup) const {
    return subgroup.Prcs == process && subgroup.Test == test &&
           (part == 0 || subgroup.Part == part);
  }
};

// What the database says about the sampling in a window of time, beside the samples.
struct SamplingInput {
  Period window;
  std::vector<Requirement> requirements;                       // of the selected items
  std::map<std::int32_t, std::vector<StateSegment>> segments;  // of each process of interest
  std::map<std::int32_t, std::vector<Occasion>> occasions;     // by requirement; not of intervals
};

// The first state of a process or its first subgroup that counts, of a part (0: any) and whatever
// test; empty: it has neither. Inside a transaction. Throws.
std::optional<std::int64_t> BeginOfProcess(sql::Connection& connection,
                                           const store::StoreCache& cache, std::int32_t process,
                                           std::int32_t part);

// Inside a transaction. info has the resolved range of the selection; subgroups are the selected
// ones, oldest first. A range that is open at its start begins with the first subgroup or state; it
// ends now, or with the newest subgroup, where it is open at its end or would end later. In one
// that is open at its start, intervals and shifts of a process without states ask from the first of
// these subgroups that is of their process and part. Throws.
SamplingInput ReadSamplingInput(store::Store& store, sql::Connection& connection,
                                const API_DSInfo& info, std::span<const std::int32_t> filter,
                                std::span<const API_SubgroupData> subgroups);

// What a subgroup is to a requirement that covers it.
TakenSample SampleOf(const Requirement& requirement, const API_SubgroupData& subgroup);
// The windows of a requirement of the input; samples ascend.
std::vector<SamplingWindow> WindowsOf(const SamplingInput& input, const Requirement& requirement,
                                      std::span<const TakenSample> samples);

}  // namespace orvspc::engine::compliance
