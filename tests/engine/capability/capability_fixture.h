// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Embedded.h"
#include "engine/capability/CapabilityRun.h"
#include "platform/Enumerations.h"
#include "tests/engine/charts/FakeStore.h"

// Capability analyses over a store in memory.
namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;
using namespace capability;

// A host's word for a limit that it does not give.
inline constexpr double kNotGiven = std::numeric_limits<double>::max();
inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

struct CapabilityStore : FakeStore {
  using FakeStore::FakeStore;
  std::vector<API_CANccLim8> NetContents(std::int32_t part, std::int32_t test) override {
    std::vector<API_CANccLim8> found;
    for (const auto& row : net_contents) {
      if (row.Head[3] == part && row.Head[4] == test) found.push_back(row);
    }
    return found;
  }
  std::vector<API_CANccLim8> net_contents;
};

struct Settings {
  std::int32_t bins = 21, curve = 80;
  std::int32_t normalize = caNormalizeNone, window = caWindowTypeWindowSD;
  std::int32_t short_term = caShortTermSigmaAuto;
  double window_sd = 0.0, minimum = 0.0, maximum = 0.0;
  bool overriding = false;
  double usl = kNotGiven, target = kNotGiven, lsl = kNotGiven;

  API_CAOptions Options() const {
    API_CAOptions options{};
    options.WindowMinimum = minimum;
    options.WindowMaximum = maximum;
    options.WindowSD = window_sd;
    options.BinCount = bins;
    options.CurveCount = curve;
    options.OverrideUSL = usl;
    options.OverrideTarget = target;
    options.OverrideLSL = lsl;
    options.Flags = normalize | (overriding ? 16 : 0) | (window * 256) | (short_term * 4096);
    return options;
  }
};

// Everything that the two calls write.
struct Capability {
  bool done = false;
  std::int32_t johnson = -1;
  API_CASummary summary{};
  API_CACPs cps{};
  API_CAPPs pps{};
  API_CAMoments moments{};
  API_CAChiSq chi_square{};
  API_CAAnova anova{};
  API_CASpecLim8 limits{};
  API_CASpecResults results{};
  API_CANccLim8 net_limits{};
  API_CANccResults net_results{};
  std::vector<API_CABin> bins;
  std::vector<double> x, y;
  CapabilityReport report;
  std::vector<Note> notes;

  FitOutput FittedOutput() { return {x, y, bins, summary, pps, chi_square, limits, results}; }
  CapabilityOutput Output() {
    return {FittedOutput(), cps, moments, anova, net_limits, net_results};
  }
  bool HasNote(std::string_view code) const {
    return std::any_of(notes.begin(), notes.end(),
                       [&](const Note& note) { return note.code == code; });
  }
};

inline Capability Analyse(Store& store, const Settings& settings = {}, bool johnson = false,
                          std::int32_t status = 0) {
  Capability made;
  made.bins.resize(static_cast<std::size_t>(std::max(settings.bins, 0)));
  made.x.resize(static_cast<std::size_t>(std::max(settings.curve, 0)));
  made.y.resize(made.x.size());
  API_DSInfo info{};
  info.Status = status;
  TakeNotes();
  CapabilityRun run;
  made.done = run.Process(store, info, {}, settings.Options(), made.Output());
  if (made.done && johnson) made.johnson = run.FitJohnson(made.FittedOutput());
  made.report = run.Report();
  made.notes = TakeNotes();
  return made;
}

inline Capability Analyse(const Groups& groups, const Settings& settings = {},
                          bool johnson = false) {
  CapabilityStore store;
  for (const auto& pieces : groups) store.Add({pieces});
  return Analyse(store, settings, johnson);
}

// Every double of every record, for what must hold of all of them.
inline std::vector<double> AllFigures(const Capability& made) {
  std::vector<double> figures;
  const auto take = [&](const auto& record, std::size_t from, std::size_t to) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
    for (auto at = from; at + sizeof(double) <= to; at += sizeof(double)) {
      double value = 0.0;
      std::memcpy(&value, bytes + at, sizeof value);
      figures.push_back(value);
    }
  };
  take(made.summary, 8, sizeof made.summary);
  take(made.cps, 0, sizeof made.cps);
  take(made.pps, 0, sizeof made.pps);
  take(made.moments, 0, sizeof made.moments);
  take(made.chi_square, 4, sizeof made.chi_square);
  take(made.anova, 4, 20);
  take(made.anova, 24, 40);
  take(made.anova, 44, sizeof made.anova);
  take(made.limits, offsetof(API_CASpecLim8, Usl), offsetof(API_CASpecLim8, EFlag));
  take(made.results, 0, sizeof made.results);
  take(made.net_limits, offsetof(API_CANccLim8, Lsc), offsetof(API_CANccLim8, EFlag));
  take(made.net_results, 0, sizeof made.net_results);
  for (const auto& bin : made.bins) take(bin, 0, sizeof bin);
  figures.insert(figures.end(), made.x.begin(), made.x.end());
  figures.insert(figures.end(), made.y.begin(), made.y.end());
  figures.insert(figures.end(), made.report.expected.begin(), made.report.expected.end());
  return figures;
}

inline void ExpectNumbers(const Capability& made, const std::string& reason) {
  const auto figures = AllFigures(made);
  for (std::size_t i = 0; i < figures.size(); ++i) {
    EXPECT_TRUE(std::isfinite(figures[i])) << reason << ", figure " << i;
  }
}

}  // namespace orvspc::engine::test
