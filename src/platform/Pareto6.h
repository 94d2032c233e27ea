// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/ArrayRef.h"
#include "platform/ParetoRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::platform {

// The closed Pareto library. Each function fills Bins (API_PABin, zeroed on entry) from one kind of
// resource, writes the number of bins that it made into Options.BinCount and returns a number above
// 0 when it made any. Nothing here throws.
class Pareto6 {
 public:
  virtual ~Pareto6() = default;

  using Work = std::array<std::int32_t, 6>;  // all 0 on entry, never read by the caller

  // Bins of subgroups.
  virtual std::int32_t VLXPAR_PROC(std::int32_t Reserved, std::int32_t Connection,
                                   API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                   const ArrayRef& Bins, API_PAOptions& Options, Work& Words) = 0;
  // Bins of process events.
  virtual std::int32_t VLXPAR_EVENT(std::int32_t Reserved, std::int32_t Connection,
                                    API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                    const ArrayRef& Bins, API_PAOptions& Options, Work& Words) = 0;
  // Bins of process states.
  virtual std::int32_t VLXPAR_STATE(std::int32_t Reserved, std::int32_t Connection,
                                    API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                    const ArrayRef& Bins, API_PAOptions& Options, Work& Words) = 0;
};

}  // namespace orvspc::platform
