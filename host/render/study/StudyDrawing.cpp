// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/study/StudyView.h"

namespace orvspc::render {

namespace {

constexpr double kMargin = 14.0;
constexpr double kLeft = 62.0;                       // beside a plot, for the labels of its axis
constexpr double kRight = 20.0, kMostRight = 130.0;  // and for those of its lines
constexpr double kAbove = 30.0, kBelow = 44.0;       // for title and axis
constexpr double kLineGap = 12.0;                    // between labels
constexpr double kLabel = 12.0;                      // of a point, above it
constexpr double kLabelGap = 8.0;                    // left and right of one of a line
constexpr double kSample = 28.0;                     // a piece of the line before its label
constexpr double kStrip = 14.0;                      // above the frame, for names of borders

// Where the values of an axis are in the picture.
class Scale {
 public:
  Scale(const PlotAxis& axis, Range shown, double from, double to)
      : logarithmic_(axis.logarithmic), range_(shown), from_(from), to_(to) {
    if (!logarithmic_) return;
    range_ = {std::log10(shown.low), std::log10(shown.high)};
  }
  double operator()(double value) const {
    const double at = logarithmic_ ? std::log10(value) : value;
    return from_ + (at - range_.low) / (range_.high - range_.low) * (to_ - from_);
  }
  bool Shows(double value) const {
    const double at = (*this)(value);
    return at >= std::min(from_, to_) - 0.5 && at <= std::max(from_, to_) + 0.5;
  }

 private:
  bool logarithmic_;
  Range range_;
  double from_, to_;
};

// The values of one axis that are drawn.
class Extent {
 public:
  explicit Extent(const PlotAxis& axis) : axis_(axis) {}

  void Add(double value) {
    if (!std::isfinite(value) || std::abs(value) > kFurthest) return;
    if (axis_.logarithmic && !(value > 0.0)) return;
    low_ = std::min(low_, value);
    high_ = std::max(high_, value);
  }
  void Add(const std::vector<double>& values) {
    for (const double value : values) Add(value);
  }
  // What the axis shows: as given, or everything with some room.
  Range Shown(double room) const {
    if (axis_.range) return *axis_.range;
    if (!(low_ <= high_)) return axis_.logarithmic ? Range{1.0, 10.0} : Range{0.0, 1.0};
    if (axis_.logarithmic) {
      const double factor = low_ == high_ ? 2.0 : std::pow(high_ / low_, room);
      return {low_ / factor, high_ * factor};
    }
    const double wide = high_ - low_;
    const double more = wide > 0.0 ? wide * room : std::max(std::abs(low_) * 0.1, 0.5);
    return {low_ - more, high_ + more};
  }

 private:
  const PlotAxis& axis_;
  double low_ = std::numeric_limits<double>::infinity();
  double high_ = -std::numeric_limits<double>::infinity();
};

std::vector<std::pair<double, std::string>> TicksOf(const PlotAxis& axis, const Range& shown,
                                                    int count) {
  if (!axis.ticks.empty()) return axis.ticks;
  std::vector<std::pair<double, std::string>> ticks;
  if (axis.logarithmic) {
    const double decades = std::log10(shown.high / shown.low);
    for (double decade = std::floor(std::log10(shown.low)); decade <= std::log10(shown.high);
         ++decade) {
      for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor != 1.0 && decades > 4.0) continue;
        const double value = factor * std::pow(10.0, decade);
        if (value >= shown.low && value <= shown.high) {
          ticks.emplace_back(value, Significant(value, 4));
        }
      }
    }
    return ticks;
  }
  const auto round = RoundTicks(shown.low, shown.high, count);
  for (const double value : round.values) ticks.emplace_back(value, Fixed(value, round.decimals));
  return ticks;
}

// Above the frame of a plot, less its title.
double StripOf(const Plot& plot) {
  return std::ranges::any_of(plot.borders, &PlotBorder::is_above) ? kStrip : 0.0;
}

class Painter {
 public:
  explicit Painter(Scene& scene) : scene_(scene) {}

  // right_room: beside it, for the labels of its lines
  void DrawPlot(const Plot& plot, double left_edge, double top_edge, double width,
                double right_room) {
    const double strip = StripOf(plot);
    const double left = left_edge + kLeft - kMargin, top = top_edge + kAbove + strip;
    const double right = left_edge + width - right_room;
    const double bottom = top + plot.height;
    const double room = right - left;
    Extent across(plot.x), up(plot.y);
    Measure(plot, across, up);
    const auto shown_x = across.Shown(0.02);
    auto shown_y = up.Shown(0.06);
    if (HasLabelsAbove(plot)) shown_y.high += (shown_y.high - shown_y.low) * kLabel / plot.height;
    const Scale x(plot.x, shown_x, left, right), y(plot.y, shown_y, bottom, top);

    scene_.Add(CaptionShape{left_edge, top - strip - 12.0, FittingText(plot.title, width - 20.0),
                            FittingText(plot.caption, width - WidthOf(plot.title) * 1.25 - 40.0)});
    Axes(plot, {left, right, top, bottom}, x, y, shown_x, shown_y);
    for (const auto& band : plot.bands) Band(band, x, y);
    for (const auto& bar : plot.bars) {
      const double from = x(bar.left), to = x(bar.right);
      const double low = std::clamp(y(bar.low), top, bottom);
      const double high = std::clamp(y(bar.high), top, bottom);
      scene_.Rectangle(from, high, to - from, low - high, bar.style, bar.tip);
    }
    for (const auto& border : plot.borders) {
      if (!x.Shows(border.x)) continue;
      const double above = border.is_above ? strip : 0.0;
      scene_.Line(x(border.x), top - above, x(border.x), bottom, border.style);
      // A name ends where the next border is; one that has hardly any room is left out.
      double free = std::min(room / 3.0, right - x(border.x));
      for (const auto& next : plot.borders) {
        if (next.x > border.x) free = std::min(free, x(next.x) - x(border.x) - 6.0);
      }
      if (!border.text.empty() && free > 12.0) {
        scene_.Text(x(border.x) + 4.0, border.is_above ? top - 4.0 : top + 12.0, "ph",
                    Anchor::Start, FittingText(border.text, free));
      }
    }
    std::vector<Label> labels;
    for (const auto& line : plot.lines) Line(line, x, y, labels);
    if (plot.has_key) {
      Key(plot, right + 5.0, top + 6.0, right_room);
    } else {
      PushApart(labels, kLineGap, top + 6.0, bottom);
      for (const auto& label : labels) {
        scene_.Text(right + 5.0, label.at + 4.0, label.style, Anchor::Start,
                    FittingText(label.text, right_room - kLabelGap));
      }
    }
    for (const auto& symbols : plot.symbols) Symbols(symbols, x, y);
    for (const auto& text : plot.texts) {
      scene_.Text(x(text.x) + text.beside, y(text.y) + text.below, text.style, text.anchor,
                  text.text);
    }
    scene_.Rectangle(left, top, room, plot.height, "frame");
  }

  // Whether the axis is to have room for labels of points at its end.
  static bool HasLabelsAbove(const Plot& plot) {
    return !plot.y.range && !plot.y.logarithmic &&
           std::ranges::any_of(plot.symbols,
                               [](const auto& symbols) { return !symbols.labels.empty(); });
  }

  static void Measure(const Plot& plot, Extent& across, Extent& up) {
    for (const auto& line : plot.lines) {
      across.Add(line.x);
      if (line.steps && !line.x.empty()) {
        across.Add(line.x.front() - 0.5);
        across.Add(line.x.back() + 0.5);
      }
      up.Add(line.y);
    }
    for (const auto& symbols : plot.symbols) {
      across.Add(symbols.x);
      up.Add(symbols.y);
    }
    for (const auto& band : plot.bands) {
      across.Add(band.x);
      up.Add(band.low);
      up.Add(band.high);
    }
    for (const auto& bar : plot.bars) {
      for (const double value : {bar.left, bar.right}) across.Add(value);
      for (const double value : {bar.low, bar.high}) up.Add(value);
    }
  }

 private:
  struct Frame {
    double left, right, top, bottom;
  };

  void Axes(const Plot& plot, const Frame& frame, const Scale& x, const Scale& y,
            const Range& shown_x, const Range& shown_y) {
    const double wide = frame.right - frame.left;
    for (const auto& [value, text] :
         TicksOf(plot.y, shown_y, std::max(static_cast<int>(plot.height / 40.0), 3))) {
      if (!y.Shows(value)) continue;
      scene_.Line(frame.left, y(value), frame.right, y(value), "grid");
      scene_.Text(frame.left - 6.0, y(value) + 4.0, "s", Anchor::End, FittingText(text, kLeft));
    }
    double free_from = frame.left - 30.0, free_below = free_from;  // labels may not touch
    const bool has_second_row = !plot.x.ticks.empty() && plot.x.title.empty();
    for (const auto& [value, text] :
         TicksOf(plot.x, shown_x, std::max(static_cast<int>(wide / 90.0), 3))) {
      if (!x.Shows(value)) continue;
      scene_.Line(x(value), frame.bottom, x(value), frame.bottom + 4.0, "tick");
      const double half = WidthOf(text) / 2.0;
      const bool fits = x(value) - half >= free_from;
      if (!fits && (!has_second_row || x(value) - half < free_below)) continue;
      scene_.Text(x(value), frame.bottom + (fits ? 16.0 : 30.0), "s", Anchor::Middle, text);
      (fits ? free_from : free_below) = x(value) + half + 6.0;
    }
    if (!plot.x.title.empty()) {
      scene_.Text((frame.left + frame.right) / 2.0, frame.bottom + 30.0, "s", Anchor::Middle,
                  FittingText(plot.x.title, wide));
    }
    if (!plot.y.title.empty()) {
      scene_.Text(frame.left - 46.0, (frame.top + frame.bottom) / 2.0, "s", Anchor::Middle,
                  FittingText(plot.y.title, plot.height), Turn::Up);
    }
  }

  // One polygon for each stretch in which both lines exist.
  void Band(const PlotBand& band, const Scale& x, const Scale& y) {
    Polyline upper, lower;
    const auto close = [&] {
      Polyline outline = upper;
      outline.insert(outline.end(), lower.rbegin(), lower.rend());
      scene_.Path(outline, band.style);
      upper.clear();
      lower.clear();
    };
    for (std::size_t i = 0; i < band.x.size(); ++i) {
      const double high = y(band.high[i]), low = y(band.low[i]);
      if (!std::isfinite(high) || !std::isfinite(low)) {
        close();
        continue;
      }
      upper.emplace_back(x(band.x[i]), high);
      lower.emplace_back(x(band.x[i]), low);
    }
    close();
  }

  void Line(const PlotLine& line, const Scale& x, const Scale& y, std::vector<Label>& labels) {
    Polyline path;
    const auto end = [&] {
      scene_.Path(Thinned(path), line.style);
      path.clear();
    };
    for (std::size_t i = 0; i < line.x.size(); ++i) {
      const double at = y(line.y[i]);
      if (!std::isfinite(at)) {
        end();
        continue;
      }
      if (line.steps) {
        path.emplace_back(x(line.x[i] - 0.5), at);
        path.emplace_back(x(line.x[i] + 0.5), at);
      } else {
        path.emplace_back(x(line.x[i]), at);
      }
    }
    if (!line.label.empty() && !path.empty()) {
      labels.push_back({path.back().second, 0.0, line.label, "s"});
    }
    end();
  }

  // What each line is, where lines end too close to each other for labels of their own.
  void Key(const Plot& plot, double left, double y, double room) {
    for (const auto& line : plot.lines) {
      if (line.label.empty()) continue;
      scene_.Line(left, y, left + kSample - 6.0, y, line.style);
      scene_.Text(left + kSample, y + 4.0, "s", Anchor::Start,
                  FittingText(line.label, room - kSample - kLabelGap));
      y += kLineGap + 4.0;
    }
  }

  void Symbols(const PlotSymbols& symbols, const Scale& x, const Scale& y) {
    for (std::size_t i = 0; i < symbols.x.size(); ++i) {
      const double left = x(symbols.x[i]), at = y(symbols.y[i]);
      if (!x.Shows(symbols.x[i]) || !std::isfinite(at)) continue;
      scene_.Add(SymbolShape{symbols.look, left, at,
                             i < symbols.tips.size() ? symbols.tips[i] : std::string()});
      if (i < symbols.labels.size() && !symbols.labels[i].empty()) {
        scene_.Text(left, at - 9.0, "r", Anchor::Middle, symbols.labels[i]);
      }
    }
  }

  Scene& scene_;
};

Scene Draw(const StudyView& view, bool embedded) {
  Scene scene(view, embedded, "study");
  const double header = embedded ? 2.0 : 48.0;
  if (view.empty) {
    scene.NoData(header + 24);
    scene.height = scene.Notes(header + 46) - 6.0;
    return scene;
  }
  scene.height = scene.Notes(DrawPlots(scene, view.plots, view.columns, header)) - 6.0;
  return scene;
}

}  // namespace

double DrawPlots(Scene& scene, const std::vector<Plot>& plots, std::size_t columns, double y) {
  Painter painter(scene);
  const double width = (kPictureWidth - 2 * kMargin) / static_cast<double>(columns);
  // Plots below each other have one horizontal axis.
  std::vector<double> rooms(columns, kRight);
  for (std::size_t i = 0; i < plots.size(); ++i) {
    for (const auto& line : plots[i].lines) {
      if (line.label.empty()) continue;
      auto& room = rooms[i % columns];
      const double sample = plots[i].has_key ? kSample : 0.0;
      room = std::clamp(sample + WidthOf(line.label) + kLabelGap, room, kMostRight);
    }
  }
  for (std::size_t first = 0; first < plots.size(); first += columns) {
    const auto last = std::min(first + columns, plots.size());
    double height = 0.0;
    for (std::size_t i = first; i < last; ++i) {
      painter.DrawPlot(plots[i], kMargin + width * static_cast<double>(i - first), y, width,
                       rooms[i - first]);
      height = std::max(height, StripOf(plots[i]) + plots[i].height);
    }
    y += kAbove + height + kBelow;
  }
  return y + 12.0;
}

std::string RenderStudySvg(const StudyView& view, bool embedded) {
  return WriteSvg(Draw(view, embedded));
}

std::string RenderStudyHtml(const StudyView& view) {
  Page page(view, Draw(view, true));
  for (const auto& table : view.tables) page.Write(table);
  return page.Text();
}

std::string RenderStudyText(const StudyView& view, const TextOptions& options) {
  TextWriter out(options);
  out.Head(view, view.empty);
  for (const auto& table : view.tables) out.Section(table);
  out.Notes(view);
  return out.Take();
}

}  // namespace orvspc::render
