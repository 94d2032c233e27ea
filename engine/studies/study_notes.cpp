// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/study_notes.h"

#include <algorithm>
#include <cmath>

namespace orvspc::studies {

bool HasEnough(std::size_t count, const LeastAmounts& least, const std::string& what,
               std::vector<Note>& notes) {
  const auto said = std::to_string(count) + " " + what;
  if (count < least.none) {
    notes.push_back(
        {"too-few", said + " are too few: " + std::to_string(least.none) + " are needed.", {}});
    return false;
  }
  if (count < least.few) {
    notes.push_back({"few-data",
                     said + " are few data; figures of " + std::to_string(least.few) +
                         " and more are steadier.",
                     {}});
  }
  return true;
}

std::size_t UsedPoints(const Stretch& stretch) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (stretch.IsUsed(i) && !std::isnan(stretch.points[i])) ++count;
  }
  return count;
}

std::size_t CountInBase(const Stretch& stretch, std::size_t count) {
  const auto most = stretch.phase.freeze_after;
  return most > 0 ? std::min(count, static_cast<std::size_t>(most)) : count;
}

std::vector<std::uint8_t> BaseOf(const Stretch& stretch) {
  std::vector<std::uint8_t> base(stretch.points.size(), 0);
  auto left = CountInBase(stretch, UsedPoints(stretch));
  for (std::size_t i = 0; i < base.size() && left > 0; ++i) {
    if (!stretch.IsUsed(i)) continue;
    base[i] = 1;
    if (!std::isnan(stretch.points[i])) --left;
  }
  return base;
}

std::int64_t LeftOut(const Stretch& stretch) {
  const auto in_base = CountInBase(stretch, UsedPoints(stretch));
  return static_cast<std::int64_t>(stretch.points.size() - in_base);
}

bool IsOfSingles(const Stretch& stretch) {
  return stretch.counts.empty() &&
         std::ranges::all_of(stretch.sizes, [](double size) { return size <= 1.0; });
}

}  // namespace orvspc::studies
