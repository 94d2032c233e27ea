// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Signals.h"

namespace orvspc::cli {

namespace {

// What is not 0 in either; the other may have fewer elements.
template <class Other>
void AddSignals(std::vector<std::uint8_t>& signals, const std::vector<Other>& other) {
  for (std::size_t i = 0; i < other.size() && i < signals.size(); ++i) {
    if (other[i] != 0) signals[i] = 1;
  }
}

std::vector<std::uint8_t> SignalsOfGaps(const studies::GapStudy& study,
                                        const std::vector<std::uint8_t>& zeros) {
  std::vector<std::uint8_t> signals(study.marks.size(), 0);
  AddSignals(signals, study.marks);
  AddSignals(signals, zeros);
  if (study.overdue) signals.push_back(1);
  return signals;
}

}  // namespace

std::vector<std::uint8_t> SignalsOf(const studies::GStudy& study) {
  return SignalsOfGaps(study, study.zeros);
}

std::vector<std::uint8_t> SignalsOf(const studies::TStudy& study) {
  return SignalsOfGaps(study, {});
}

std::vector<std::uint8_t> SignalsOf(const studies::ShortRunStudy& study) {
  std::vector<std::uint8_t> signals(study.level.marks.size(), 0);
  for (const auto* const graph : {&study.level, &study.spread}) {
    for (std::size_t i = 0; i < graph->marks.size() && i < signals.size(); ++i) {
      if (!graph->marks[i].empty()) signals[i] = 1;
    }
  }
  return signals;
}

std::vector<std::uint8_t> SignalsOf(const studies::T2Study& study) {
  auto signals = study.signals;
  AddSignals(signals, study.variance.signals);
  return signals;
}

std::vector<std::uint8_t> SignalsOf(const studies::GroupStudy& study) {
  std::vector<std::uint8_t> signals(study.times.size(), 0);
  for (const auto* const side : {&study.high, &study.low, &study.spread}) {
    AddSignals(signals, side->signals);
    AddSignals(signals, side->long_runs);
  }
  return signals;
}

}  // namespace orvspc::cli
