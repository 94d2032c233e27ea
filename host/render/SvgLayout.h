// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/render/ChartView.h"

// Where things stand in the picture; kept apart from the writing of markup so that it can be
// tested.
namespace orvspc::host {

inline constexpr double kPictureWidth = 1000.0;
inline constexpr double kPlotLeft = 72.0;
inline constexpr double kPlotRight = 872.0;

// One graph's rectangle and its axis.
struct Panel {
  double top = 0.0, bottom = 0.0;
  Range range;

  double Y(double value) const {
    return bottom - (value - range.low) / (range.high - range.low) * (bottom - top);
  }
};

struct Layout {
  double height = 0.0;
  double axis = 0.0;    // y of the horizontal axis below the last panel
  double footer = 0.0;  // y of the first footer line
  std::size_t places = 0;
  std::vector<Panel> panels;

  double PlaceWidth() const {
    return (kPlotRight - kPlotLeft) / static_cast<double>(places == 0 ? 1 : places);
  }
  double X(std::size_t place) const {
    return kPlotLeft + (static_cast<double>(place) + 0.5) * PlaceWidth();
  }
};

Layout MakeLayout(const ChartView& view, double header, std::size_t footer_lines);

// A label that wants to stand at `wanted`; PushApart gives it `at`, at least `gap` from the next
// one and inside [low, high] as long as there is room.
struct Label {
  double wanted = 0.0;
  double at = 0.0;
  std::string text;
  std::string style;
};
void PushApart(std::vector<Label>& labels, double gap, double low, double high);

// Every how many places the horizontal axis carries a label of that width: 1, 2, 5, 10, 20, ...
std::size_t LabelStep(std::size_t places, double place_width, double label_width);

// A line of more than about four points a unit is cut to the first, lowest, highest and last point
// of each half unit; its look stays the same.
using Polyline = std::vector<std::pair<double, double>>;
Polyline Thinned(const Polyline& line);

// Runs of a limit line: it goes on level over a point's place, steps to the next point's value if
// that point follows directly in the same stream, and ends where a value is missing.
std::vector<Polyline> StepLines(const ChartView& view, const std::vector<std::size_t>& places,
                                const std::vector<double>& values, const Layout& layout,
                                const Panel& panel);

}  // namespace orvspc::host
