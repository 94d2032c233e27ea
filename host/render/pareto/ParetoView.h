// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// A Pareto as the renderers see it: plain values and finished texts. Texts are as PlainText leaves
// them.
namespace orvspc::render {

struct ParetoBar {
  std::string name;         // below its group: of the further levels
  std::string tip;          // everything about the bin
  double value = 0.0;       // in the unit of the axis
  double share = 0.0;       // percent of everything
  double cumulative = 0.0;  // the shares up to this one
  bool empty = false, open = false;
};

// The bars of one bin of the first level.
struct ParetoGroup {
  std::string name;
  // Of the whole item, bars that are not shown included; of those that are shown alone where values
  // do not add up.
  double value = 0.0;
  double share = 0.0;    // percent of everything, of what value speaks of
  bool is_part = false;  // of the bars that are shown, and there are more
  std::size_t first = 0, last = 0;
};

struct ParetoView : View {
  std::string axis;  // what a value counts
  bool chronological = false;
  std::vector<ParetoBar> bars;
  std::vector<ParetoGroup> groups;    // empty with a single level
  std::optional<std::size_t> eighty;  // the bar that reaches 80 percent; none in order of time
  double other = 0.0;                 // percent of what is not shown
  double whole = 0.0;                 // the value of 100 percent; NaN where values do not add up
  Table table;

  bool Empty() const { return bars.empty(); }
  double MostValue() const;  // of a bar or group, at least what is above 0
};

// "124", "0.0351"
std::string ParetoValue(double value);
// "12.5 %"
std::string Percent(double share);

// Bars, the cumulative line and the 80 percent mark; with further levels the bars stand in front of
// a wide one for the bin of the first level. embedded: for use inside a page, without title lines
// and notes.
Scene ParetoScene(const ParetoView& view, bool embedded = false);
inline std::string RenderParetoSvg(const ParetoView& view, bool embedded = false) {
  return WriteSvg(ParetoScene(view, embedded));
}
std::string RenderParetoHtml(const ParetoView& view);
// Bars drawn with characters, beside each its value, its share and the shares up to it. Bins of
// further levels stand indented below the bin of the first one.
std::string RenderParetoText(const ParetoView& view, const TextOptions& options = {});

}  // namespace orvspc::render
