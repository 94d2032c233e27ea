// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/Studies.h"
#include "host/cli/SignalExit.h"
#include "host/render/study/StudyDocument.h"

// Which points of a study signal, for --exit-code.
namespace orvspc::cli {

// One element a point of a study, not 0 where it signals; none of studies without signals.
template <class Study>
std::vector<std::uint8_t> SignalsOf(const Study& study) {
  if constexpr (requires { study.signals; }) {
    return study.signals;
  } else {
    return {};
  }
}
// The open gap after the last event is a point only where it is overdue, which is a signal.
std::vector<std::uint8_t> SignalsOf(const studies::GStudy& study);
std::vector<std::uint8_t> SignalsOf(const studies::TStudy& study);
// Of both graphs.
std::vector<std::uint8_t> SignalsOf(const studies::ShortRunStudy& study);
std::vector<std::uint8_t> SignalsOf(const studies::T2Study& study);
// Of the extremes and of streams that are extreme too often.
std::vector<std::uint8_t> SignalsOf(const studies::GroupStudy& study);

// Of each stream whether its points signal that count: not those of excluded phases, nor those that
// are not used. add(points, stretch, study) appends those of one stretch.
template <class Study, class Add>
std::vector<std::vector<bool>> SignalsOfStreams(const render::StreamStudies<Study>& document,
                                                Add add) {
  std::vector<std::vector<bool>> streams;
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    auto& points = streams.emplace_back();
    const auto& stretches = document.data.streams[s].stretches;
    for (std::size_t p = 0; p < stretches.size(); ++p) {
      if (stretches[p].phase.Counts()) add(points, stretches[p], document.studies[s][p]);
    }
  }
  return streams;
}

template <class Study>
std::vector<std::vector<bool>> SignalsOfStreams(const render::StreamStudies<Study>& document) {
  return SignalsOfStreams(
      document, [](std::vector<bool>& points, const studies::Stretch& stretch, const Study& study) {
        const auto signals = SignalsOf(study);
        for (std::size_t i = 0; i < signals.size(); ++i) {
          const bool is_used = i >= stretch.points.size() || stretch.IsUsed(i);
          if (is_used) points.push_back(signals[i] != 0);
        }
      });
}

// The same of a study of a single stream without phases.
template <class Study>
std::vector<std::vector<bool>> SignalsOfOne(const Study& study) {
  const auto signals = SignalsOf(study);
  std::vector<bool> points;
  for (const auto signal : signals) points.push_back(signal != 0);
  return {points};
}

}  // namespace orvspc::cli
