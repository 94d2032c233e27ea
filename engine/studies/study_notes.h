// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Refusals and notes that several studies give.
namespace orvspc::studies {

// Of an option that is out of its range.
inline void Need(bool holds, const char* text) {
  if (!holds) throw std::invalid_argument(text);
}

// Fewer than `none`: no figures; fewer than `few`: a note.
struct LeastAmounts {
  std::size_t none, few;
};

// Whether there is enough for figures; notes "too-few" and "few-data" say that there is not, or
// barely. what: "subgroups", "values"
bool HasEnough(std::size_t count, const LeastAmounts& least, const std::string& what,
               std::vector<Note>& notes);

// Points of a stretch that are used and have a value.
std::size_t UsedPoints(const Stretch& stretch);
// Of so many points, or groups of them, those that estimates are made of: fewer where the phase is
// frozen after its first ones.
std::size_t CountInBase(const Stretch& stretch, std::size_t count);
// Not 0: used, and not past the point that the phase is frozen after.
std::vector<std::uint8_t> BaseOf(const Stretch& stretch);
// Subgroups of a stretch that no estimate of it is made of: without a point, not used, or past the
// one that the phase is frozen after.
std::int64_t LeftOut(const Stretch& stretch);
// No subgroup has more than one piece.
bool IsOfSingles(const Stretch& stretch);

}  // namespace orvspc::studies
