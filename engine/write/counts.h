// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "engine/chunks/DataSet.h"

// What is asked of the counts of a subgroup and test, whoever stores or changes them.
namespace orvspc::engine::write {

// What recording numbers pieces up to.
inline constexpr std::int32_t kMaxPiece = 1'000'000'000;

// Why values cannot be stored, in the words of Refused.
struct BrokenRule {
  const char* code;
  std::string_view field;
  std::string value, reason;
};

// Of a test of this type that counts, with keys beside the values.
//
//   counts      whole numbers from 0 to 1e9
//   size        from 0 to INT32_MAX, a whole number where units are counted (defectives)
//   defectives  at most as many as units, where a size is given: of a named unit its largest
//               count, of those without a unit the sum
std::optional<BrokenRule> BrokenRuleOfCounts(std::int32_t type, double size,
                                             std::span<const double> values,
                                             std::span<const store::RowKey> keys);

// The shortest text that reads back.
std::string NumberText(double number);

}  // namespace orvspc::engine::write
