// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/NaN.h"

// What the results of all studies are made of. A figure that does not exist is NaN, which documents
// show as null; the notes of the study say why.
namespace orvspc::studies {

// An estimate and where it comes from.
struct Figure {
  double value = platform::kNaN;
  std::string estimator;             // "MR-est mvlue", "mean", "given"
  double constant = platform::kNaN;  // d2 or c4 that was divided by; NaN: none, or several
  std::int64_t used = 0, left = 0;   // what went in, and what was left out
};

// A figure with its confidence interval. A bound that does not exist, as the other one of a
// one-sided interval, is NaN.
struct Interval {
  double value = platform::kNaN;
  double lower = platform::kNaN, upper = platform::kNaN;
  double level = 0.95;
  std::string method;  // "chi-square", "Clopper-Pearson", "bootstrap"
};

// A test of significance.
struct TestOfSignificance {
  std::string statistic;  // "t", "F", "Q", "A2"
  double value = platform::kNaN;
  std::vector<double> degrees = {};  // of freedom; two of an F; empty: none
  double p = platform::kNaN;         // 0 below 1e-300
  std::string method;
};

// A P below this is shown as 0.
inline constexpr double kLeastP = 1e-300;

}  // namespace orvspc::studies
