// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "engine/statistics/Numerics.h"
#include "engine/studies/Steps.h"

// Series with and without a step, for tests.
namespace orvspc::studies {

inline Stretch Points(std::vector<double> values) {
  Stretch stretch;
  stretch.points = std::move(values);
  return stretch;
}

// Points that depend on the one before by phi, with innovations of sigma 1, and a step of the mean
// in the middle.
inline std::vector<double> Series(engine::statistics::Draws& draws, double phi, double step,
                                  std::size_t count) {
  std::vector<double> values;
  double deviation = draws.Normal() / std::sqrt(1.0 - phi * phi);
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back(deviation + (i < count / 2 ? 0.0 : step));
    deviation = phi * deviation + draws.Normal();
  }
  return values;
}
inline std::vector<double> Series(double phi, double step, std::size_t count) {
  engine::statistics::Draws draws;
  return Series(draws, phi, step, count);
}

struct SeriesKind {
  std::size_t count;
  double phi, step;
};
// The share of series that have a hint.
inline double ShareOfHints(const SeriesKind& kind, int series) {
  engine::statistics::Draws draws;
  int hints = 0;
  for (int i = 0; i < series; ++i) {
    const auto study = StudySteps(Points(Series(draws, kind.phi, kind.step, kind.count)));
    if (!study.steps.empty()) ++hints;
  }
  return static_cast<double>(hints) / series;
}

}  // namespace orvspc::studies
