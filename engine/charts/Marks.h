// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/PointTable.h"
#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"

namespace orvspc::engine::charts {

// The database's rules as the rule engine takes them; one that it cannot run is left out. Texts
// stay behind, since marks are bits.
void ConvertRules(std::span<const store::StoredRule> stored,
                  std::vector<statistics::RunRule>& rules);

// Which of the rules have a meaning on a graph. Counts have no zones of known probability, so that
// limits, sides, trends and alternation are left on their charts. Points of the other charts and of
// cusum and EWMA (weighted) are skewed or depend on each other: only a limit says something there.
void SelectForGraph(std::span<const statistics::RunRule> rules, ChartKind kind, bool weighted,
                    std::vector<statistics::RunRule>& selected);

// One stream on one graph in one of the two forms.
struct MarkInput {
  std::span<const double> points;
  std::span<const std::uint8_t> used;  // empty: all
  std::function<statistics::PointLimits(std::size_t)>
      lines;  // called in ascending order, a few times a point
  const statistics::PointLimits* constant =
      nullptr;                               // the lines of every point, instead of the above
  std::function<bool(std::size_t)> restart;  // nothing runs across; empty: never
};

// Marks of the points from..to by the rules, at their places among those of the whole stream. Works
// in stretches, so that centre, sigma and limits of a long stream are never held at once. Parts of
// one stream may be worked through at the same time, each with an input of its own.
void EvaluateMarks(const MarkInput& input, std::span<const statistics::RunRule> rules,
                   std::span<std::uint32_t> marks, std::size_t from, std::size_t to);

// Pre-control of one stream: each piece is judged by the specification limits in force at its
// subgroup.
struct PreControlInput {
  const store::DataSet& data;
  const PointTable& table;
  const ChartStream& stream;
  std::span<const API_CCSpecLim> specs;
  std::span<const statistics::RunRule> rules;  // zone rules alone
};

// Writes the points of the stream, each the piece farthest from the target, and their marks, both
// in columns of the table. False when the stream has no lines at any point; its points are then
// NaN.
bool FillPreControl(const PreControlInput& input, std::span<double> points,
                    std::span<std::uint32_t> marks);

}  // namespace orvspc::engine::charts
