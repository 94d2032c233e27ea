// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/pareto/BinKinds.h"
#include "engine/pareto/TimeBins.h"
#include "platform/Enumerations.h"
#include "platform/ParetoRecords.h"

// What a Pareto analysis was asked for, checked.
namespace orvspc::engine::pareto {

// What the value of a bin is.
struct Measure {
  enum class Of { Amount, Weights, Proportion, Time };
  std::int32_t type = paProcessByCount;  // paProcessingTypes
  Of of = Of::Amount;
  double unit = 1.0;  // seconds of a time; what the whole is in a proportion
};

inline constexpr std::size_t kMaxLevels = 3;

struct ParetoLevel {
  std::size_t place = 0;  // in the records: 0 to 2
  const BinKind* kind = nullptr;
  std::int32_t type_id = 0;
  TimeBins periods;

  // Whether a subgroup has the identifier as a whole; otherwise its rows have it.
  bool IsOfSubgroup() const { return kind->of.subgroup != nullptr; }
};

struct ParetoPlan {
  paResourceTypes resource = paSubgroups;
  std::vector<ParetoLevel> levels;  // those in use; at least one
  Measure measure;
  paAccumulationTypes accumulation = paAccumulateByValue;
  std::size_t most_bins = 0;
  bool with_empty = false;
};

// Empty when the resource cannot be binned so; reason then says why, in words.
std::optional<ParetoPlan> MakePlan(paResourceTypes resource, const API_PAOptions& options,
                                   std::int32_t zone_offset, std::string& reason);

}  // namespace orvspc::engine::pareto
