// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capability/CAResults.h"
#include "host/render/core/Scene.h"
#include "host/render/data/DataReading.h"

// A capability analysis: what its result gives, read once into plain values, and how it is shown.
namespace orvspc::render {

struct FigureRead {
  std::string_view name;  // "CPs.Cp": the record and the figure
  double value;           // NaN: not known, or not defined on these data
  double held;            // what the record holds in its place, whether known or not
};

struct HistogramBar {
  double low = 0.0, high = 0.0, count = 0.0;
  double expected = 0.0;  // pieces by the fitted curve; NaN: not known
  double foot = 0.0;      // where the bar begins
};

struct CapabilityRead {
  std::shared_ptr<CAProcessing> processing;  // null in a result that was stored without
  std::shared_ptr<DataSelect> select;
  std::vector<FigureRead> figures;  // in the order of documents
  std::int32_t johnson_curve_type = 0;
  std::vector<HistogramBar> bins;
  std::vector<double> curve_x, curve_y;

  // The name must be one of capability_figures.h.
  FigureRead Find(std::string_view name) const;
  double Figure(std::string_view name) const { return Find(name).value; }
  bool Empty() const { return !(Figure("Summary.PieceCount") > 0.0); }
};

// A figure is not known when its operation says so, not defined when what it is divided by is 0 or
// when it is beyond the largest number. Short-term sigma is known as far as fit says.
// The pieces that a bin is expected to hold come from fit. Without it (null: a stored result) they
// follow from mean and long-term deviation; of a Johnson curve, whose parameters no result has,
// they are then not known.
CapabilityRead ReadCapability(CAResults& results, const CapabilityReport* fit = nullptr);

struct CapabilityDocument {
  CapabilityRead capability;
  std::optional<CapabilityReport> fit;
  std::vector<Note> notes;
};

// The document of a capability result; docs/how-to/json.md lists every key. more(json) adds
// members.
std::string CapabilityJson(const CapabilityDocument& document,
                           const std::function<void(JsonWriter&)>& more = {});

// Members of an open object.
void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing);

// A value of the horizontal axis.
struct ValueMark {
  double at = 0.0;
  std::string text;  // "USL 74.05"
};

// What is drawn: plain values and finished texts, which are as PlainText leaves them.
struct CapabilityView : View {
  std::string axis;  // what the horizontal axis shows
  std::vector<HistogramBar> bars;
  std::vector<std::pair<double, double>> curve;  // expected pieces at a value
  std::vector<ValueMark> limits;                 // of specification and of net content
  std::vector<ValueMark> targets;                // the target and the stated content
  double mean = 0.0, sigma = 0.0;                // NaN: not known; long-term
  int decimals = 4;                              // of the ends of bins
  int mean_decimals = -1;                        // -1: as of these
  std::vector<Table> tables;
  // Draws what comes below the histogram, from y on, and returns where it ends; may be empty.
  std::function<double(Scene&, double y)> below;

  bool Empty() const { return bars.empty(); }
};
CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names);

// The range of values that the picture shows: the bins, and limits and target as long as they leave
// the bins at least two fifths of the width.
Range ValueRange(const CapabilityView& view);

// The histogram with fitted curve, limits, target and the marks of mean and sigma, and the tables
// that are beside it. embedded: for use inside a page, without title lines and notes.
std::string RenderCapabilitySvg(const CapabilityView& view, bool embedded = false);
std::string RenderCapabilityHtml(const CapabilityView& view);
// The histogram as bars, one line a bin, with the fitted curve as a sign in each line and limits,
// target and mean at the bins that hold them; then the tables.
std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options = {});

}  // namespace orvspc::render
