// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/render/chart/Chart.h"
#include "host/render/chart/ChartLayout.h"

// What pictures, pages and texts of a chart say about its phases.
namespace orvspc::render {

// The phases of a view, out of its document; names are as PlainText leaves them.
void AddPhases(ChartView& view, const ChartDocument& document);

// The point with the newest value of a line inside a phase; none without any.
std::optional<std::size_t> NewestIn(const ChartView& view, std::size_t phase,
                                    const std::vector<double>& line);

// Places at which a phase begins, or ends with none after it, with its number; not the first place.
std::vector<std::pair<std::size_t, std::size_t>> PhaseBorders(
    const ChartView& view, const std::vector<std::size_t>& places);

// Above so many phases the limits of each are in a table below the picture.
inline constexpr std::size_t kLabelledPhases = 6;

// "UCL 12.30" inside a phase.
struct PhaseLabel {
  Box box;
  std::string text, style;
};
struct PhaseLabels {
  std::vector<PhaseLabel> labels;
  bool all = true;  // each newest limit of a phase has its label, here or at the right edge
};
// Those of one graph that find room: each value of a limit once in a phase, where it begins or
// further on at its level, off the points (sorted by x), the lines and what is taken already, to
// which they are added. The newest limits of the last phase are at the right edge.
PhaseLabels PlacePhaseLabels(const ChartView& view, const GraphView& graph,
                             const std::vector<std::size_t>& places, std::vector<Box>& taken,
                             const std::vector<std::pair<double, double>>& points,
                             const std::vector<Polyline>& lines, const Layout& layout,
                             const Panel& panel);

// Each phase with its first time, its subgroups and the limits of each graph; for wide tables also
// with its last time and estimates.
Table PhaseTable(const ChartView& view, bool with_estimates);
// The same as one line a phase: "Tool B, 12 subgroups: X-bar LCL 7.70, CL 10.00, UCL 12.30; ..."
std::vector<std::string> PhaseLines(const ChartView& view);

// "Phases" of a stream, for its document; nothing where no stream has any.
void WritePhases(JsonWriter& json, const ChartDocument& document, const StreamReport& stream);

// "Provisional" of a stream, for its document; nothing where it has none.
void WriteProvisional(JsonWriter& json, const ChartDocument& document, const StreamReport& stream);

}  // namespace orvspc::render
