// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/pareto/BinKinds.h"
#include "engine/pareto/TimeBins.h"
#include "platform/ParetoRecords.h"

// What a Pareto analysis was asked for, checked.
namespace orvspc::engine::pareto {

enum class Resource { Subgroups, Events, States };
enum class Measure { Count, Factor, PerMillion, PerThousand, Minutes, Hours, Days };
enum class Accumulation { Value, Hits, EventTime, AccTime, CacTime };

inline constexpr std::size_t kMaxLevels = 3;

struct ParetoLevel {
  std::size_t place = 0;  // in the records: 0 to 2
  const BinKind* kind = nullptr;
  std::int32_t type_id = 0;
  TimeBins periods;
};

struct ParetoPlan {
  Resource resource = Resource::Subgroups;
  std::vector<ParetoLevel> levels;  // those in use; at least one
  Measure measure = Measure::Count;
  Accumulation accumulation = Accumulation::Value;
  std::size_t most_bins = 0;
  bool with_empty = false;
};

// Empty when the resource cannot be binned so; reason then says why, in words.
std::optional<ParetoPlan> MakePlan(Resource resource, const API_PAOptions& options,
                                   std::int32_t zone_offset, std::string& reason);

}  // namespace orvspc::engine::pareto
