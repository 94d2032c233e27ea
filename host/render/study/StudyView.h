// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// What is shown of a study, whichever it is: plots, tables and notes, as plain values and finished
// texts, and how they become a picture, a page and a text.
namespace orvspc::render {

// A line through points; a y that is no number breaks it.
struct PlotLine {
  std::string style;  // classes of assets/picture.css and assets/study.css: "d", "cl", "lim"
  std::vector<double> x = {}, y = {};
  bool steps = false;      // each value from half a place before its x to half a place after
  std::string label = {};  // at the right end
};

// The area between two lines.
struct PlotBand {
  std::string style;
  std::vector<double> x, low, high;
};

struct PlotSymbols {
  SymbolLook look = {};
  std::vector<double> x = {}, y = {};
  std::vector<std::string> tips = {};    // of the points, or empty
  std::vector<std::string> labels = {};  // bold above the points, or empty
};

struct PlotBar {
  double left = 0.0, right = 0.0, low = 0.0, high = 0.0;
  std::string style = "bar", tip = {};
};

// A vertical line through the whole plot with a text at its top, or above the frame, where no point
// is.
struct PlotBorder {
  double x = 0.0;
  std::string text = {}, style = "pb";
  bool is_above = false;
};

struct PlotText {
  double x = 0.0, y = 0.0;  // in the units of the axes
  std::string text, style = {};
  Anchor anchor = Anchor::Start;
  double below = 0.0, beside = 0.0;  // its place, in the units of the picture
};

// An axis. Without ticks of its own it has round ones; without a range it shows all that is drawn.
struct PlotAxis {
  std::string title = {};
  bool logarithmic = false;
  std::optional<Range> range = {};
  std::vector<std::pair<double, std::string>> ticks = {};
};

struct Plot {
  std::string title, caption = {};
  PlotAxis x = {}, y = {};
  std::vector<PlotBand> bands = {};
  std::vector<PlotBar> bars = {};
  std::vector<PlotLine> lines = {};
  std::vector<PlotSymbols> symbols = {};
  std::vector<PlotBorder> borders = {};
  std::vector<PlotText> texts = {};
  double height = 230.0;
  bool has_key = false;  // labels of lines from the top down, each with a piece of its line
};

struct StudyView : View {
  std::vector<Plot> plots = {};
  std::size_t columns = 1;  // of plots side by side
  std::vector<Table> tables = {};
  bool empty = false;  // nothing was selected
};

// Draws plots side by side in so many columns, from y on; returns the base line for what follows.
double DrawPlots(Scene& scene, const std::vector<Plot>& plots, std::size_t columns, double y);

std::string RenderStudySvg(const StudyView& view, bool embedded = false);
std::string RenderStudyHtml(const StudyView& view);
std::string RenderStudyText(const StudyView& view, const TextOptions& options = {});

}  // namespace orvspc::render
