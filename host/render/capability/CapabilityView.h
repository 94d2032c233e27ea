// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// A capability analysis as the renderers see it: plain values and finished texts. Texts are as
// PlainText leaves them.
namespace orvspc::render {

struct HistogramBar {
  double low = 0.0, high = 0.0, count = 0.0;
  double expected = 0.0;  // NaN: not known
};

// A value of the horizontal axis with its name.
struct ValueMark {
  double at = 0.0;
  std::string name;  // "USL", "mean"
  std::string text;  // "USL 74.05"
};

struct CapabilityView : View {
  std::string axis;  // what the horizontal axis shows
  std::vector<HistogramBar> bars;
  std::vector<std::pair<double, double>> curve;  // expected pieces at a value
  std::vector<ValueMark> limits;                 // of specification and of net content
  std::vector<ValueMark> targets;                // the target and the stated content
  double mean = 0.0, sigma = 0.0;                // NaN: not known; long-term
  int decimals = 4;                              // of a value
  std::vector<Table> tables;

  bool Empty() const { return bars.empty(); }
};

// The range of values that the picture shows: the bins, and limits and target as long as they leave
// the bins at least two fifths of the width.
Range ValueRange(const CapabilityView& view);

// The most pieces that a bar or the curve shows, at least 1.
double MostPieces(const CapabilityView& view);

// The histogram with fitted curve, limits, target and the marks of mean and sigma, and the tables
// that stand beside it. embedded: for use inside a page, without title lines and notes.
Scene CapabilityScene(const CapabilityView& view, bool embedded = false);
inline std::string RenderCapabilitySvg(const CapabilityView& view, bool embedded = false) {
  return WriteSvg(CapabilityScene(view, embedded));
}
std::string RenderCapabilityHtml(const CapabilityView& view);
// The histogram as bars, one line a bin, with the fitted curve as a sign in each line and limits,
// target and mean at the bins that hold them; then the tables.
std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options = {});

}  // namespace orvspc::render
