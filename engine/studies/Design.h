// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "platform/NaN.h"
#include "platform/Reports.h"

// Charts that give a false alarm as seldom as wanted and find a shift as soon as they can.
namespace orvspc::studies {

struct DesignOptions {
  double arl0 = 370.0;  // run length without a shift, 2 to 1e6
  double shift = 1.0;   // to be found, in sigmas of a point, 0.05 to 10
  bool exact = true;    // limits of the EWMA
  double wanted = 0.0;  // run length at the shift for the least size; 0: not asked, else above 1
};

// Its run length at the shift is `arl`.
struct CusumDesign {
  double k = platform::kNaN, h = platform::kNaN, arl = platform::kNaN;
};
struct EwmaDesign {
  double weight = platform::kNaN, width = platform::kNaN, arl = platform::kNaN;
};
// Width of the limits of a chart with rule 1 alone.
struct ShewhartDesign {
  double width = platform::kNaN, arl = platform::kNaN;
  // The least pieces a point whose run length at the shift, in sigmas of a piece, is at most the
  // wanted one, and that run length; 0: not asked, or above 1,000,000.
  std::int64_t least_size = 0;
  double arl_at_size = platform::kNaN;
};

struct DesignStudy {
  CusumDesign cusum;
  EwmaDesign ewma;
  ShewhartDesign shewhart;
  std::vector<Note> notes;
};

//   cusum     k = shift / 2, at most 3; h by its run length
//   EWMA      the weight of 0.01 to 0.99, by steps of 0.01, whose run length at the shift is least,
//             with asymptotic limits; the width by the run length with the limits asked for. A
//             note says so of exact ones
//   Shewhart  width = the quantile of 1 - 1 / (2 arl0)
// Throws std::invalid_argument for an option out of its range.
// Source   Hawkins, J. Quality Technology 25 (1993); Lucas & Saccucci, Technometrics 32 (1990)
DesignStudy StudyDesign(const DesignOptions& options = {});

// h of a cusum, and the width of an EWMA, of that run length; NaN: there is none in range.
double CusumDecision(double k, double arl0);
double EwmaWidth(double weight, double arl0, bool exact);

}  // namespace orvspc::studies
