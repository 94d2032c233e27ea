// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/Laws.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Limits that a share of all pieces to come lies between.
namespace orvspc::studies {

enum class Sides : std::uint8_t { Both, Lower, Upper };

struct ToleranceOptions {
  double content = 0.99;                 // share of the pieces, 0 < content < 1
  double confidence = 0.95;              // that the limits hold so many, 0 < confidence < 1
  Sides sides = Sides::Both;             // a lower or an upper limit alone
  std::optional<Law> law = Law::Normal;  // or Lognormal, BoxCox, Johnson; nothing: without a law
};

struct ToleranceStudy {
  std::int64_t count = 0;
  // Of the values on the scale on which the law makes them normal; without a law none.
  Figure mean, sd;
  double factor = platform::kNaN;       // standard deviations from that mean to a limit
  double approximate = platform::kNaN;  // the same after Howe, of two limits
  LawFigures law = {};                  // as it was fitted, with its test
  // Without a law: the ranks of the values that are the limits, from 1; 0: none. The confidence
  // that they have, and the fewest values that give limits.
  std::int64_t lower_rank = 0, upper_rank = 0, least = 0;
  double attained = platform::kNaN;
  double lower = platform::kNaN, upper = platform::kNaN;  // the limits
  std::vector<Note> notes;
};

// Limits by
//   normal       mean -+ k s: one limit k = t'(confidence; N - 1, z sqrt N)/sqrt N, two exact
//   lognormal, Box-Cox, Johnson   the same of the transformed values, and back
//   without a law  the r-th value from one end, or the r-th from both: r the greatest with the
//                confidence; NaN where N is too small for any
// Fewer than 2 values (lognormal 5, Box-Cox 6, Johnson 20), or a law that does not fit: no limits.
// Throws std::invalid_argument for an option out of its range.
// Source   ISO 16269-6; Hahn & Meeker, Statistical Intervals (1991)
ToleranceStudy StudyTolerance(std::span<const double> values, const ToleranceOptions& options = {});
// Of the pieces of the used subgroups.
std::vector<double> UsedPieces(const Stretch& stretch);

}  // namespace orvspc::studies
