// SPDX-License-Identifier: Apache-2.0
#include "engine/write/counts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>

#include "platform/Enumerations.h"

namespace orvspc::engine::write {
namespace {

double DefectivesOf(std::span<const double> values, std::span<const store::RowKey> keys) {
  std::map<std::int32_t, double> units;
  double sum = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (keys[i].Tsno == 0) {
      sum += values[i];
    } else {
      units[keys[i].Tsno] = std::max(units[keys[i].Tsno], values[i]);
    }
  }
  for (const auto& [unit, count] : units) sum += count;
  return sum;
}

}  // namespace

std::string NumberText(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

std::optional<BrokenRule> BrokenRuleOfCounts(std::int32_t type, double size,
                                             std::span<const double> values,
                                             std::span<const store::RowKey> keys) {
  constexpr double kMaxCount = 1e9;
  for (const auto value : values) {
    if (!(value >= 0.0 && value <= kMaxCount) || value != std::floor(value)) {
      return BrokenRule{"count", "value", NumberText(value),
                        "must be a whole number between 0 and 1000000000"};
    }
  }
  if (!(size >= 0.0 && size <= INT32_MAX)) {
    return BrokenRule{"count", "size", NumberText(size), "must lie between 0 and 2147483647"};
  }
  if (type != ttDefectives) return std::nullopt;
  if (size != std::floor(size)) {
    return BrokenRule{"count", "size", NumberText(size),
                      "must be a whole number, as only that of a test of defects need not be"};
  }
  const auto defectives = DefectivesOf(values, keys);
  if (size == 0.0 || defectives <= size) return std::nullopt;
  return BrokenRule{"count", "value", NumberText(defectives),
                    "more defectives (" + NumberText(defectives) + ") than units inspected (" +
                        NumberText(size) + ")"};
}

}  // namespace orvspc::engine::write
