// SPDX-License-Identifier: Apache-2.0
#include "host/render/Svg.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "host/render/Numbers.h"
#include "host/render/SvgLayout.h"

namespace orvspc::host {

std::string EscapeMarkup(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
  }
  return out;
}

namespace {

constexpr double kCharacter = 6.1;  // mean width of a character at 11 units
constexpr double kDense = 2.5;      // width of a place below which points have no markers
constexpr double kTight = 7.0;      // below which they are small
constexpr std::size_t kManyMarks = 300;

constexpr const char* kStyle =
    "text{font-family:Helvetica,Arial,'DejaVu Sans',sans-serif;font-size:11px;fill:#222}"
    ".h{font-size:17px;font-weight:bold}.s{fill:#555}.t{font-size:13px;font-weight:bold}"
    ".frame{fill:none;stroke:#888;stroke-width:.8}.grid{stroke:#e4e4e4;stroke-width:.7}"
    ".tick{stroke:#888;stroke-width:.8}"
    ".d{fill:none;stroke:#1f4e79;stroke-width:1.3;stroke-linejoin:round}"
    ".dd{fill:none;stroke:#1f4e79;stroke-width:.7;stroke-linejoin:round}"
    ".p{fill:#1f4e79;stroke:#fff;stroke-width:.6}.pu{fill:#fff;stroke:#777;stroke-width:1.1}"
    ".cl{fill:none;stroke:#333;stroke-width:1.1}"
    ".lim{fill:none;stroke:#b02a1a;stroke-width:1.3;stroke-dasharray:7 3}"
    ".spec{fill:none;stroke:#6a3d9a;stroke-width:1.4;stroke-dasharray:12 3 2 3}"
    ".tar{fill:none;stroke:#6a3d9a;stroke-width:1;stroke-dasharray:2 3}"
    ".m{fill:#c8102e;stroke:#fff;stroke-width:.8}"
    ".o{fill:none;stroke:#6a3d9a;stroke-width:1.5}"
    ".r{font-weight:bold;fill:#c8102e;stroke:#fff;stroke-width:2.5;paint-order:stroke}"
    ".lead{stroke:#999;stroke-width:.6}.b{stroke:#bbb;stroke-width:.8;stroke-dasharray:2 2}"
    ".ll{fill:#b02a1a}.ls{fill:#6a3d9a}";

std::string N(double value) {
  const double rounded = std::round(value * 100.0) / 100.0;
  return Shortest(rounded == 0.0 ? 0.0 : rounded);
}

// Text that fits into so many units at 11 pixels, else cut with an ellipsis.
std::string Fitting(std::string_view text, double units) {
  const auto room = static_cast<std::size_t>(std::max(units / kCharacter, 1.0));
  if (Width(text) <= room) return std::string(text);
  return Padded(text, room - 1) + "\xE2\x80\xA6";
}

class Picture {
 public:
  explicit Picture(const ChartView& view) : view_(view), places_(Places(view)) {}

  std::string Write(bool embedded) {
    const auto footer = FooterLines();
    layout_ = MakeLayout(view_, embedded ? 2.0 : 44.0, footer.size());
    const std::string height = N(layout_.height);
    if (!embedded) out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out_ += "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1000 " + height +
            "\" width=\"1000\" height=\"" + height + "\" role=\"img\">\n<title>" +
            EscapeMarkup(view_.title) + "</title>\n<style>" + kStyle +
            "</style>\n<rect width=\"1000\" height=\"" + height + "\" fill=\"#fff\"/>\n";
    if (!embedded) {
      Text(14, 22, "h", "start", Fitting(view_.title, 640));
      Text(14, 38, "s", "start", Fitting(view_.subtitle, 960));
    }
    if (view_.Count() == 0) Text(14, layout_.axis + 24, "t", "start", "No data selected");
    for (std::size_t g = 0; g < layout_.panels.size(); ++g)
      DrawGraph(view_.graphs[g], layout_.panels[g]);
    if (!layout_.panels.empty()) DrawTimes();
    double y = layout_.footer;
    for (const auto& line : footer) {
      out_ += line.symbol.empty() ? "" : Symbol(line.symbol, 20, y - 4, line.stream);
      Text(line.symbol.empty() ? 14 : 32, y, "s", "start", Fitting(line.text, 950));
      y += 15.0;
    }
    return out_ + "</svg>\n";
  }

 private:
  struct FooterLine {
    std::string symbol;
    std::string text;
    std::int32_t stream = 0;
  };

  void Text(double x, double y, const char* style, const char* anchor, std::string_view text) {
    out_ += "<text x=\"" + N(x) + "\" y=\"" + N(y) + "\" class=\"" + style + "\"";
    if (std::string_view(anchor) != "start") out_ += std::string(" text-anchor=\"") + anchor + "\"";
    out_ += ">" + EscapeMarkup(text) + "</text>\n";
  }

  void Line(double x1, double y1, double x2, double y2, const char* style) {
    out_ += "<path class=\"" + std::string(style) + "\" d=\"M" + N(x1) + " " + N(y1) + "L" + N(x2) +
            " " + N(y2) + "\"/>\n";
  }

  void Path(const Polyline& line, const char* style) {
    if (line.size() < 2) return;
    out_ += "<path class=\"" + std::string(style) + "\" d=\"M";
    for (std::size_t i = 0; i < line.size(); ++i)
      out_ += (i == 0 ? "" : i == 1 ? "L" : " ") + N(line[i].first) + " " + N(line[i].second);
    out_ += "\"/>\n";
  }

  // A point's symbol; streams differ in shape.
  static std::string Symbol(const std::string& style, double x, double y, std::int32_t stream,
                            const std::string& tip = {}, double size = 3.2) {
    std::string shape;
    const auto path = [&](const std::string& d) {
      return "<path class=\"" + style + "\" d=\"" + d;
    };
    const double s = size;
    std::string end = "\"";
    if (style == "m") {
      const double r = s < 1.0 ? 1.8 : s + 2.4;
      shape = path("M" + N(x) + " " + N(y - r) + "L" + N(x + r) + " " + N(y) + " " + N(x) + " " +
                   N(y + r) + " " + N(x - r) + " " + N(y) + "Z");
    } else if (style == "o") {
      const double r = s < 1.0 ? 3.0 : s + 4.0;
      shape = path("M" + N(x - r) + " " + N(y - r) + "H" + N(x + r) + "V" + N(y + r) + "H" +
                   N(x - r) + "Z");
    } else if (stream % 4 == 1) {
      shape = path("M" + N(x - s) + " " + N(y - s) + "H" + N(x + s) + "V" + N(y + s) + "H" +
                   N(x - s) + "Z");
    } else if (stream % 4 == 2) {
      shape = path("M" + N(x) + " " + N(y - s * 1.3) + "L" + N(x + s * 1.2) + " " + N(y + s) + " " +
                   N(x - s * 1.2) + " " + N(y + s) + "Z");
    } else if (stream % 4 == 3) {
      shape = path("M" + N(x) + " " + N(y + s * 1.3) + "L" + N(x + s * 1.2) + " " + N(y - s) + " " +
                   N(x - s * 1.2) + " " + N(y - s) + "Z");
    } else {
      shape = "<circle class=\"" + style + "\" cx=\"" + N(x) + "\" cy=\"" + N(y) + "\" r=\"" + N(s);
    }
    if (tip.empty()) return shape + end + "/>\n";
    const std::string tag = shape.substr(1, shape.find(' ') - 1);
    return shape + end + "><title>" + EscapeMarkup(tip) + "</title></" + tag + ">\n";
  }

  void DrawGraph(const GraphView& graph, const Panel& panel) {
    const double room = kPictureWidth - 30.0;
    out_ +=
        "<text x=\"14\" y=\"" + N(panel.top - 9) + "\"><tspan class=\"t\">" +
        EscapeMarkup(Fitting(graph.title, room)) + "</tspan><tspan class=\"s\" dx=\"12\">" +
        EscapeMarkup(Fitting(graph.caption, room - 7.8 * static_cast<double>(Width(graph.title)))) +
        "</tspan></text>\n";
    DrawAxis(panel);
    DrawBoundaries(panel);
    Steps(graph.specification.upper, panel, "spec");
    Steps(graph.specification.lower, panel, "spec");
    Steps(graph.specification.centre, panel, "tar");
    // Where points make a band, limits below it would not be seen.
    const bool dense = layout_.PlaceWidth() < kDense;
    if (dense) DrawLines(graph, panel);
    Steps(graph.limits.centre, panel, "cl");
    Steps(graph.limits.upper, panel, "lim");
    Steps(graph.limits.lower, panel, "lim");
    if (!dense) DrawLines(graph, panel);
    DrawPoints(graph, panel);
    DrawLimitLabels(graph, panel);
    out_ += "<rect class=\"frame\" x=\"" + N(kPlotLeft) + "\" y=\"" + N(panel.top) + "\" width=\"" +
            N(kPlotRight - kPlotLeft) + "\" height=\"" + N(panel.bottom - panel.top) + "\"/>\n";
  }

  void DrawAxis(const Panel& panel) {
    const int count = static_cast<int>((panel.bottom - panel.top) / 34.0);
    const Ticks ticks = RoundTicks(panel.range.low, panel.range.high, std::max(count, 2));
    for (const double value : ticks.values) {
      const double y = panel.Y(value);
      Line(kPlotLeft, y, kPlotRight, y, "grid");
      Text(kPlotLeft - 6, y + 4, "s", "end", Fixed(value, ticks.decimals));
    }
  }

  void DrawBoundaries(const Panel& panel) {
    if (view_.groups.size() > 1 && view_.groups.size() <= 80)
      for (std::size_t g = 1; g < view_.groups.size(); ++g)
        Line(layout_.X(g) - layout_.PlaceWidth() / 2, panel.top,
             layout_.X(g) - layout_.PlaceWidth() / 2, panel.bottom, "b");
    if (!view_.groups.empty() || view_.streams.empty()) return;
    std::size_t changes = 0;
    for (std::size_t i = 1; i < view_.Count(); ++i)
      changes += view_.streams[i] != view_.streams[i - 1];
    if (changes == 0 || changes >= 12) return;
    for (std::size_t i = 1; i < view_.Count(); ++i)
      if (view_.streams[i] != view_.streams[i - 1])
        Line(layout_.X(i) - layout_.PlaceWidth() / 2, panel.top,
             layout_.X(i) - layout_.PlaceWidth() / 2, panel.bottom, "b");
  }

  // Specification lines may lie off the scale; those parts are left out.
  void Steps(const std::vector<double>& values, const Panel& panel, const char* style) {
    for (const auto& line : StepLines(view_, places_, values, layout_, panel)) {
      Polyline inside;
      for (const auto& point : line) {
        if (point.second >= panel.top - 0.5 && point.second <= panel.bottom + 0.5) {
          inside.push_back(point);
        } else {
          Path(Thinned(inside), style);
          inside.clear();
        }
      }
      Path(Thinned(inside), style);
    }
  }

  std::string Tip(const GraphView& graph, std::size_t i) const {
    std::string tip = "#" + std::to_string(i + 1) + "  " + IsoTime(view_.stamps[i]) + "  " +
                      Fixed(graph.points[i], graph.decimals);
    if (i < graph.sizes.size()) tip += "  n = " + std::to_string(graph.sizes[i]);
    if (view_.stream_views.size() > 1)
      tip += "  " + view_.stream_views[static_cast<std::size_t>(view_.StreamOf(i))].name;
    if (!view_.Used(i)) tip += view_.flags[i] == 1 ? "  disabled" : "  incomplete";
    return tip;
  }

  void DrawLines(const GraphView& graph, const Panel& panel) {
    const bool dense = layout_.PlaceWidth() < kDense;
    std::set<std::int32_t> streams(view_.streams.begin(), view_.streams.end());
    if (streams.empty()) streams.insert(0);
    for (const auto stream : streams) {
      Polyline line;
      for (std::size_t i = 0; i < graph.points.size(); ++i) {
        if (view_.StreamOf(i) != stream || !view_.Used(i)) continue;
        if (std::isfinite(graph.points[i])) {
          line.emplace_back(layout_.X(places_[i]), panel.Y(graph.points[i]));
          continue;
        }
        Path(Thinned(line), dense ? "dd" : "d");
        line.clear();
      }
      Path(Thinned(line), dense ? "dd" : "d");
    }
  }

  void DrawPoints(const GraphView& graph, const Panel& panel) {
    const bool dense = layout_.PlaceWidth() < kDense;
    const bool tight = layout_.PlaceWidth() < kTight;
    std::vector<const PointMark*> marks(graph.points.size(), nullptr);
    for (const auto& mark : graph.marks)
      if (mark.point < marks.size()) marks[mark.point] = &mark;
    const double size = graph.marks.size() > kManyMarks && dense ? 0.8
                        : dense                                  ? 1.4
                        : tight                                  ? 2.2
                                                                 : 3.2;
    for (std::size_t i = 0; i < graph.points.size(); ++i) {
      if (!std::isfinite(graph.points[i])) continue;
      const double x = layout_.X(places_[i]);
      const double y = panel.Y(graph.points[i]);
      const PointMark* mark = marks[i];
      if (!mark) {
        if (!dense || !view_.Used(i))
          out_ += Symbol(view_.Used(i) ? "p" : "pu", x, y, view_.StreamOf(i), Tip(graph, i), size);
        continue;
      }
      const std::string tip = Tip(graph, i) + "\n" + MarkText(*mark);
      if (!mark->specifications.empty()) out_ += Symbol("o", x, y, 0, tip, size);
      if (mark->rules.empty()) {
        out_ += Symbol(view_.Used(i) ? "p" : "pu", x, y, view_.StreamOf(i), tip, size);
        continue;
      }
      out_ += Symbol("m", x, y, 0, tip, size);
    }
    DrawRuleNumbers(graph, panel);
  }

  // The important rules first, so that where marks stand close it is their numbers that are seen. A
  // point that breaks several rules has the first one and a plus sign, or all where there is room.
  void DrawRuleNumbers(const GraphView& graph, const Panel& panel) {
    struct Number {
      const PointMark* mark;
      double x, y;
      bool above;
      std::string text;
      double Half() const { return 3.4 * static_cast<double>(text.size()); }
    };
    std::vector<Number> numbers;
    for (const auto& mark : graph.marks) {
      const std::size_t i = mark.point;
      if (mark.rules.empty() || i >= graph.points.size() || !std::isfinite(graph.points[i]))
        continue;
      const double y = panel.Y(graph.points[i]);
      const bool below = i < graph.limits.centre.size() && graph.points[i] < graph.limits.centre[i];
      numbers.push_back(
          {&mark, layout_.X(places_[i]), y, !below && y - panel.top > 16.0,
           std::to_string(mark.rules.front().number) + (mark.rules.size() > 1 ? "+" : "")});
    }
    std::stable_sort(numbers.begin(), numbers.end(), [](const Number& a, const Number& b) {
      return a.mark->rules.front().number < b.mark->rules.front().number;
    });
    // Nobody reads some thousand numbers, and the search for room is quadratic.
    if (numbers.size() > 2000) numbers.resize(2000);

    std::vector<Number> placed;
    const auto fits = [&](const Number& number) {
      return std::none_of(placed.begin(), placed.end(), [&](const Number& other) {
        return other.mark != number.mark && other.above == number.above &&
               std::abs(other.x - number.x) < other.Half() + number.Half() + 2.0;
      });
    };
    for (const auto& number : numbers)
      if (fits(number)) placed.push_back(number);
    for (auto& number : placed) {
      Number whole = number;
      whole.text = RuleNumbers(*number.mark);
      if (fits(whole)) number.text = whole.text;
      const double space = number.mark->specifications.empty() ? 8.0 : 10.0;
      const double y =
          number.above ? number.y - space : std::min(number.y + space + 9.0, panel.bottom - 2.0);
      Text(number.x, y, "r", "middle", number.text);
    }
  }

  // Values of the lines where they end, for each stream while there are few.
  void DrawLimitLabels(const GraphView& graph, const Panel& panel) {
    struct Kind {
      const char* name;
      const std::vector<double>& values;
      const char* style;
    };
    const Kind kinds[] = {{"UCL", graph.limits.upper, "ll"},
                          {"CL", graph.limits.centre, ""},
                          {"LCL", graph.limits.lower, "ll"},
                          {"USL", graph.specification.upper, "ls"},
                          {"Target", graph.specification.centre, "ls"},
                          {"LSL", graph.specification.lower, "ls"}};
    std::vector<Label> labels;
    for (const auto& kind : kinds) {
      const auto ends = LastValues(kind.values);
      if (ends.size() > 3) continue;
      std::set<double> distinct;
      for (const auto& [stream, value] : ends) distinct.insert(value);
      for (const auto& [stream, value] : ends) {
        // Streams that share a limit share its label.
        if (distinct.erase(value) == 0) continue;
        const double y = panel.Y(value);
        const bool specification = kind.style == std::string_view("ls");
        const int own = DecimalsOf(std::span(&value, 1));
        std::string text =
            std::string(kind.name) + " " +
            Fixed(value,
                  specification || value == 0.0 ? std::min(own, graph.decimals) : graph.decimals);
        if (y < panel.top - 0.5) text += " \xE2\x86\x91";
        if (y > panel.bottom + 0.5) text += " \xE2\x86\x93";
        if (!Same(ends)) text = Letter(stream) + " " + text;
        labels.push_back({std::clamp(y, panel.top, panel.bottom), 0.0, text, kind.style});
      }
    }
    PushApart(labels, 12.5, panel.top + 2.0, panel.bottom);
    for (const auto& label : labels) {
      if (std::abs(label.at - label.wanted) > 2.0)
        Line(kPlotRight, label.wanted, kPlotRight + 9, label.at, "lead");
      Text(kPlotRight + 11, label.at + 4, label.style.c_str(), "start", label.text);
    }
  }

  // For each stream the last value of a line.
  std::map<std::int32_t, double> LastValues(const std::vector<double>& values) const {
    std::map<std::int32_t, double> last;
    for (std::size_t i = 0; i < values.size(); ++i)
      if (std::isfinite(values[i])) last[view_.StreamOf(i)] = values[i];
    return last;
  }

  static std::string StreamText(const StreamView& stream) {
    std::string text;
    if (std::isfinite(stream.mean.value)) text += ": mean " + Significant(stream.mean.value, 7);
    if (std::isfinite(stream.sp.value) && !stream.sp.name.empty())
      text += ", sigma " + Significant(stream.sp.value, 6) + " by " + stream.sp.name;
    return text;
  }

  static bool Same(const std::map<std::int32_t, double>& values) {
    return std::all_of(values.begin(), values.end(),
                       [&](const auto& entry) { return entry.second == values.begin()->second; });
  }

  static std::string Letter(std::int32_t stream) {
    return std::string(1, static_cast<char>('A' + stream % 26));
  }

  void DrawTimes() {
    bool same_day = true, same_clock = true;
    for (const auto stamp : view_.stamps) {
      same_day = same_day && DayText(stamp) == DayText(view_.stamps.front());
      same_clock = same_clock && ClockText(stamp) == ClockText(view_.stamps.front());
    }
    const auto text = [&](std::int64_t stamp) {
      if (same_day) return ClockText(stamp);
      if (same_clock) return DayText(stamp);
      return DayText(stamp).substr(5) + " " + ClockText(stamp);
    };
    if (view_.Count() == 0) return;
    const double width = kCharacter * static_cast<double>(text(view_.stamps.front()).size()) + 12.0;
    const std::size_t step = LabelStep(layout_.places, layout_.PlaceWidth(), width);
    std::size_t next = step == 1 ? 0 : step - 1;
    if (layout_.places <= step) next = 0;
    for (std::size_t i = 0; i < view_.Count(); ++i) {
      if (places_[i] != next) continue;
      const double x = layout_.X(next);
      Line(x, layout_.axis, x, layout_.axis + 4, "tick");
      Text(x, layout_.axis + 16, "", "middle", std::to_string(next + 1));
      Text(x, layout_.axis + 30, "s", "middle", text(view_.stamps[i]));
      next += step;
    }
    Text(kPlotRight + 40, layout_.axis + 16, "s", "start",
         view_.groups.empty() ? "subgroup" : "group");
    Text(kPlotRight + 40, layout_.axis + 30, "s", "start", "time (UTC)");
  }

  std::vector<FooterLine> FooterLines() const {
    std::vector<FooterLine> lines;
    if (view_.stream_views.size() > 1)
      for (std::size_t s = 0; s < view_.stream_views.size() && s < 8; ++s)
        lines.push_back({"p",
                         Letter(static_cast<std::int32_t>(s)) + "  " + view_.stream_views[s].name +
                             StreamText(view_.stream_views[s]),
                         static_cast<std::int32_t>(s)});
    for (const auto& broken : RulesBroken(view_))
      lines.push_back({"m", "rule " + std::to_string(broken.rule.number) + ": " + broken.rule.text +
                                " (" + std::to_string(broken.points) +
                                (broken.points == 1 ? " point)" : " points)")});
    bool outside = false, unused = false;
    for (const auto& graph : view_.graphs)
      for (const auto& mark : graph.marks) outside = outside || !mark.specifications.empty();
    for (std::size_t i = 0; i < view_.Count(); ++i) unused = unused || !view_.Used(i);
    if (outside) lines.push_back({"o", "a value of the subgroup is outside the specification"});
    if (unused) lines.push_back({"pu", "disabled or incomplete: drawn, used for nothing"});
    for (std::size_t n = 0; n < view_.notes.size() && n < 4; ++n)
      lines.push_back({"", "Note: " + view_.notes[n].text});
    return lines;
  }

  const ChartView& view_;
  std::vector<std::size_t> places_;
  Layout layout_;
  std::string out_;
};

}  // namespace

std::string RenderSvg(const ChartView& view, bool embedded) {
  return Picture(view).Write(embedded);
}

}  // namespace orvspc::host
