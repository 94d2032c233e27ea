// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "host/render/chart/Chart.h"
#include "host/render/chart/ChartLayout.h"
#include "host/render/chart/ChartPhases.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMaxMarks = 40;  // listed below the picture
constexpr std::size_t kMinPlot = 16;   // columns of points that leave room for limits beside them

// One character cell; more important things replace less important ones.
enum Layer : int { kEmpty, kSpecification, kLimit, kCentre, kUnused, kPoint, kMarked };

struct Cell {
  Layer layer = kEmpty;
  std::string_view text = " ";
};

constexpr std::string_view kBorder = "\xE2\x94\x8A";  // of a phase

constexpr const char* kColours[] = {nullptr,   "\x1b[35m",   "\x1b[31m",  nullptr,
                                    "\x1b[2m", "\x1b[1;34m", "\x1b[1;31m"};  // by layer

// "cause: Worn tool (Ann); action: Reset"
std::string CodesText(const SubgroupTexts& texts) {
  return Joined({texts.cause.empty() ? "" : "cause: " + texts.cause,
                 texts.action.empty() ? "" : "action: " + texts.action},
                "; ");
}

class Plot {
 public:
  Plot(const ChartView& view, const TextOptions& options)
      : view_(view), out_(options), places_(Places(view)), width_(out_.Columns()) {
    for (const auto place : places_) place_count_ = std::max(place_count_, place + 1);
  }

  std::string Write() {
    out_.Head(view_, view_.Count() == 0);
    if (view_.Count() != 0) {
      for (std::size_t g = 0; g < view_.graphs.size(); ++g)
        DrawGraph(view_.graphs[g], g == 0 ? 15 : 9);
      Times();
      Signs();
      Limits();
      Phases();
      Streams();
      Marks();
      Comments();
      Downtimes();
    }
    out_.Notes(view_);
    return out_.Take();
  }

 private:
  std::size_t Column(std::size_t place) const {
    if (place_count_ <= 1) return plot_ / 2;
    // Few points are whole columns apart, many share columns.
    const std::size_t step = std::min<std::size_t>((plot_ - 1) / (place_count_ - 1), 4);
    if (step >= 1) return place * step;
    return place * (plot_ - 1) / (place_count_ - 1);
  }

  // The row of a value, from 0 at the top; rows beyond the picture are those of values beyond it.
  double RowOf(double value) const {
    return (1.0 - (value - range_.low) / (range_.high - range_.low)) * LastRow();
  }
  std::size_t NearestRow(double value) const {
    return static_cast<std::size_t>(std::lround(std::clamp(RowOf(value), 0.0, LastRow())));
  }
  double LastRow() const { return static_cast<double>(rows_ - 1); }

  void Put(std::size_t column, double value, Layer layer, std::string_view text) {
    const double share = RowOf(value) / LastRow();
    if (!(share >= -1e-9 && share <= 1.0 + 1e-9)) return;
    Cell& cell = cells_[NearestRow(value) * plot_ + column];
    if (layer >= cell.layer) cell = {layer, text};
  }

  // A limit fills the columns up to the next point of its stream.
  void PutLine(const std::vector<double>& values, Layer layer, std::string_view text) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::size_t column = Column(places_[i]);
      std::size_t end = column + 1;
      if (places_[i] + 1 < place_count_) end = std::max(end, Column(places_[i] + 1));
      for (std::size_t c = column; c < end && c < plot_; ++c) Put(c, values[i], layer, text);
    }
  }

  // Where many points share a column, a bar from the lowest to the highest of them.
  void PutBands(const GraphView& graph) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::vector<Range> bands(plot_, Range{kInfinity, -kInfinity});
    for (std::size_t i = 0; i < graph.points.size(); ++i) {
      if (!std::isfinite(graph.points[i]) || !view_.Used(i)) continue;
      Range& band = bands[Column(places_[i])];
      band = {std::min(band.low, graph.points[i]), std::max(band.high, graph.points[i])};
    }
    const double step = (range_.high - range_.low) / static_cast<double>(rows_ - 1);
    for (std::size_t c = 0; c < plot_; ++c) {
      // Counted, since a step may be too small to change a large value.
      for (std::size_t s = 0; s < rows_; ++s) {
        const double value = bands[c].low + static_cast<double>(s) * step;
        if (!(value < bands[c].high)) break;
        Put(c, value, kPoint, "\xE2\x94\x82");
      }
      if (bands[c].low <= bands[c].high) Put(c, bands[c].high, kPoint, "\xE2\x94\x82");
    }
  }

  // Room for the limits' values on the right.
  static std::size_t Gutter(const GraphView& graph) {
    std::size_t widest = 8;
    for (const auto& [name, values, specification] : LinesOf(graph))
      if (!values.empty()) widest = std::max(widest, Width(Fixed(values.back(), graph.decimals)));
    return widest + 9;
  }

  void DrawGraph(const GraphView& graph, std::size_t rows) {
    rows_ = rows;
    range_ = AxisRange(graph);
    const Ticks ticks = RoundTicks(range_.low, range_.high, static_cast<int>(rows) / 3);
    std::size_t label = 0;
    for (const double tick : ticks.values)
      label = std::max(label, Width(Fixed(tick, ticks.decimals)));
    left_ = label + 2;
    // In a narrow terminal the values of the limits are below the points.
    const std::size_t gutter = Gutter(graph);
    const bool beside = left_ + gutter + kMinPlot <= width_;
    plot_ = width_ - left_ - (beside ? gutter : 0);
    plot_ = std::min(plot_, Column(place_count_ - 1) + 4);
    cells_.assign(rows_ * plot_, Cell{});

    PutLine(graph.specification.upper, kSpecification, "=");
    PutLine(graph.specification.lower, kSpecification, "=");
    PutLine(graph.specification.centre, kSpecification, ":");
    for (const auto& [place, phase] : PhaseBorders(view_, places_))
      for (std::size_t row = 0; row < rows_; ++row)
        cells_[row * plot_ + Column(place)] = {kSpecification, kBorder};
    PutLine(graph.limits.upper, kLimit, "-");
    PutLine(graph.limits.lower, kLimit, "-");
    PutLine(graph.limits.centre, kCentre, "\xC2\xB7");
    const bool dense = place_count_ > 2 * plot_;
    if (dense) PutBands(graph);
    for (std::size_t i = 0; i < graph.points.size() && !dense; ++i)
      Put(Column(places_[i]), graph.points[i], view_.Used(i) ? kPoint : kUnused,
          view_.Used(i) ? SignOf(view_.StreamOf(i)) : "x");
    for (const auto& mark : graph.marks)
      Put(Column(places_[mark.point]), graph.points[mark.point], kMarked,
          mark.rules.empty() ? "S" : "#");

    // The caption goes on a line of its own where it does not fit.
    out_.Blank();
    if (Width(graph.title) + 3 + Width(graph.caption) <= width_) {
      out_.Line(graph.title + (graph.caption.empty() ? "" : "   ") + graph.caption);
    } else {
      out_.Line(graph.title);
      out_.Line("  " + graph.caption);
    }
    const auto limits = LimitTexts(graph);
    WriteRows(ticks, beside ? limits : std::vector<Label>());
    std::vector<std::string> below;
    for (const auto& limit : limits) below.push_back(limit.text);
    if (!beside && !below.empty()) out_.Line(Joined(below, ", "));
  }

  // The newest value of each limit, of phases the newest one's, wanted at its row.
  std::vector<Label> LimitTexts(const GraphView& graph) const {
    std::vector<Label> labels;
    for (const auto& [name, values, specification] : LinesOf(graph)) {
      if (!specification && view_.stream_views.size() > 1) continue;
      auto newest = std::find_if(values.rbegin(), values.rend(),
                                 [](double value) { return std::isfinite(value); });
      if (view_.phases.size() > 1) {
        const auto at = NewestIn(view_, view_.phases.size() - 1, values);
        newest =
            at ? std::make_reverse_iterator(values.begin() + static_cast<std::ptrdiff_t>(*at) + 1)
               : values.rend();
      }
      if (newest == values.rend()) continue;
      const int decimals =
          specification ? std::min(DecimalsOf(values), graph.decimals) : graph.decimals;
      const double row = RowOf(*newest);
      const char* const beyond = row < -0.5 ? " ^" : row > LastRow() + 0.5 ? " v" : "";
      labels.push_back({std::round(std::clamp(row, 0.0, LastRow())), 0,
                        fmt::format("{} {}{}", name, Fixed(*newest, decimals), beyond), ""});
    }
    return labels;
  }

  void WriteRows(const Ticks& ticks, std::vector<Label> labels) {
    std::vector<std::string> left(rows_), right(rows_);
    for (const double tick : ticks.values) left[NearestRow(tick)] = Fixed(tick, ticks.decimals);
    PushApart(labels, 1.0, 0.0, LastRow());
    for (const auto& label : labels)
      right[static_cast<std::size_t>(std::max(0.0, label.at))] = label.text;

    for (std::size_t row = 0; row < rows_; ++row) {
      std::string line = Padded(left[row], left_ - 2, true) + " |";
      const std::size_t last = right[row].empty() ? LastUsed(row) : plot_;
      for (std::size_t c = 0; c < last; ++c) {
        const Cell& cell = cells_[row * plot_ + c];
        line += out_.InColour(kColours[cell.layer], std::string(cell.text));
      }
      if (!right[row].empty()) line += " " + right[row];
      out_.Painted(line);
    }
  }

  std::size_t LastUsed(std::size_t row) const {
    std::size_t last = plot_;
    while (last > 0 && cells_[row * plot_ + last - 1].layer == kEmpty) --last;
    return last;
  }

  void Times() {
    std::string numbers(left_, ' '), times(left_, ' ');
    std::size_t wanted = 0;
    const AxisTimes axis(view_);
    for (std::size_t i = 0; i < view_.Count(); ++i) {
      const std::size_t column = left_ + Column(places_[i]);
      if (column < wanted) continue;
      const std::string time = axis.Text(view_.stamps[i]);
      if (column + time.size() > width_) break;
      numbers.resize(std::max(numbers.size(), column), ' ');
      times.resize(std::max(times.size(), column), ' ');
      numbers += std::to_string(places_[i] + 1);
      times += time;
      wanted = column + std::max<std::size_t>(time.size() + 3, plot_ / 6);
    }
    out_.Painted(numbers);
    out_.Painted(times);
  }

  // Of several streams each has a letter.
  std::string_view SignOf(std::int32_t stream) const {
    static constexpr std::string_view kLetters = "abcdefghijklmnpqrstuvwyz";
    const auto number = static_cast<std::size_t>(stream);
    if (view_.stream_views.size() <= 1 || number >= kLetters.size()) return "o";
    return kLetters.substr(number, 1);
  }

  // What the characters of the pictures mean, as far as they occur.
  void Signs() {
    bool unused = false, rules = false, outside = false, limits = false, specification = false,
         target = false;
    for (std::size_t i = 0; i < view_.Count(); ++i) unused = unused || !view_.Used(i);
    for (const auto& graph : view_.graphs) {
      for (const auto& mark : graph.marks) {
        rules = rules || !mark.rules.empty();
        outside = outside || mark.rules.empty();
      }
      limits = limits || !graph.limits.Empty();
      specification =
          specification || !graph.specification.upper.empty() || !graph.specification.lower.empty();
      target = target || !graph.specification.centre.empty();
    }
    const std::vector<std::string> texts = {
        view_.stream_views.size() > 1 ? "letter: point of that stream" : "o point",
        rules ? "# breaks a rule" : "",
        outside ? "S beyond a specification limit" : "",
        unused ? std::ranges::count(view_.excluded, true) != 0
                     ? "x disabled, incomplete or excluded"
                     : "x disabled or incomplete"
               : "",
        limits ? "- control limit   \xC2\xB7 centre" : "",
        specification ? "= specification limit" : "",
        target ? ": target" : "",
        view_.phases.size() > 1 ? std::string(kBorder) + " border of a phase" : ""};
    out_.Blank();
    out_.Line(Joined(texts, "   "), 0);
  }

  // The limits at the newest point of each of several streams; of a single one they are beside
  // the picture.
  void Limits() {
    if (view_.stream_views.size() <= 1) return;
    Table table{"", {"", "stream", "graph", "#LCL", "#CL", "#UCL"}, {}};
    std::vector<std::array<std::vector<double>, 3>> newest;
    for (const auto& graph : view_.graphs)
      newest.push_back({NewestValues(view_, graph.limits.lower),
                        NewestValues(view_, graph.limits.centre),
                        NewestValues(view_, graph.limits.upper)});
    for (std::size_t s = 0; s < view_.stream_views.size(); ++s)
      for (std::size_t g = 0; g < view_.graphs.size(); ++g) {
        std::vector<std::string> row = {
            g == 0 ? std::string(SignOf(static_cast<std::int32_t>(s))) : "",
            g == 0 ? view_.stream_views[s].name : "", view_.graphs[g].symbol};
        for (const auto& limits : newest[g])
          row.push_back(Fixed(limits[s], view_.graphs[g].decimals));
        table.rows.push_back(std::move(row));
      }
    out_.Blank();
    out_.Line("limits at the newest point of each stream:");
    out_.Write(table);
  }

  void Phases() {
    if (view_.phases.empty()) return;
    out_.Blank();
    out_.Line("phases, with the limits at the newest point of each:");
    auto table = PhaseTable(view_, false);
    table.title.clear();
    out_.Write(table);
  }

  void Streams() {
    if (!view_.phases.empty()) return EstimatesOfPhases();
    if (std::ranges::none_of(view_.stream_views, [](const StreamView& stream) {
          return std::isfinite(stream.mean.value);
        }))
      return;
    out_.Blank();
    out_.Line("estimates from these points:");
    for (const auto& stream : view_.stream_views) {
      if (view_.stream_views.size() > 1) out_.Line(stream.name);
      WriteEstimate("mean", stream.mean);
      WriteEstimate("sigma", stream.sp);
      if (stream.sw.value != stream.sp.value) WriteEstimate("sigma within", stream.sw);
    }
  }

  void EstimatesOfPhases() {
    out_.Blank();
    out_.Line("estimates from the points of each phase:");
    for (const auto& phase : view_.phases) {
      out_.Line(phase.name.empty() ? "(none)" : phase.name);
      WriteEstimate("mean", phase.mean);
      WriteEstimate("sigma", phase.sp);
    }
  }

  void WriteEstimate(const std::string& name, const Estimate& estimate) {
    if (!std::isfinite(estimate.value)) return;
    std::string text = "  " + Padded(name, 13) + Significant(estimate.value, 7);
    if (!estimate.name.empty()) text += "   by " + estimate.name;
    out_.Line(text + BasisText(estimate), 15);
  }

  // With a blank at its end, and never cut.
  std::string NameOf(std::size_t point) const {
    constexpr std::size_t kUsual = 6;
    auto name = view_.NameOf(point);
    name.resize(std::max(name.size() + 1, kUsual), ' ');
    return name;
  }

  void Marks() {
    std::size_t total = 0, shown = 0;
    for (const auto& graph : view_.graphs) total += graph.marks.size();
    out_.Blank();
    out_.Line(total == 0 ? "no signals, no values out of specification"
                         : "signals and values out of specification:");
    for (const auto& graph : view_.graphs)
      for (const auto& mark : graph.marks) {
        if (shown++ >= kMaxMarks) continue;
        const bool named =
            std::ranges::any_of(mark.rules, [](const Rule& rule) { return !rule.text.empty(); });
        const auto stream = static_cast<std::size_t>(view_.StreamOf(mark.point));
        out_.Line(
            fmt::format("  {} {}{}  {}  {}{}{}", Padded(graph.symbol, 6), NameOf(mark.point),
                        IsoTime(view_.stamps[mark.point]), graph.PointText(mark.point),
                        view_.stream_views.size() > 1 ? view_.stream_views[stream].name + "  " : "",
                        named ? "rule " + RuleNumbers(mark) + ": " : "",
                        Joined({MarkText(mark), CodesText(view_.TextsOf(mark.point))}, "; ")),
            16);
      }
    if (total > kMaxMarks) out_.Line("  ... and " + std::to_string(total - kMaxMarks) + " more");
  }

  void Comments() {
    if (view_.comments.empty()) return;
    out_.Blank();
    out_.Line("comments:");
    List(view_.comments.size(), kMaxMarks, [&](std::size_t c) {
      const auto& comment = view_.comments[c];
      return fmt::format(
          "  {}  {}  {}", NameOf(comment.point), IsoTime(view_.stamps[comment.point]),
          (comment.id == 0 ? "" : "comment ") + NumberedText({comment.id, comment.text}));
    });
  }

  void Downtimes() {
    if (view_.downtimes.empty()) return;
    out_.Blank();
    out_.Line("not running:");
    List(view_.downtimes.size(), kMaxComments, [&](std::size_t d) {
      const auto& down = view_.downtimes[d];
      return "  " + TimeText(down) + "  " + down.state;
    });
  }

  template <class Text>
  void List(std::size_t count, std::size_t most, Text text) {
    for (std::size_t i = 0; i < count && i < most; ++i) out_.Line(text(i), 10);
    if (count > most) out_.Line("  ... and " + std::to_string(count - most) + " more");
  }

  const ChartView& view_;
  TextWriter out_;
  std::vector<std::size_t> places_;
  std::size_t width_, place_count_ = 0, left_ = 10, plot_ = 70, rows_ = 15;
  Range range_;
  std::vector<Cell> cells_;
};

// A column of the table of points: its heading, and what a point has there.
struct PointColumn {
  std::string heading;
  std::function<std::string(std::size_t, const SubgroupTexts&)> cell;
  bool used = false;
};

// The point with what is drawn of it: values, limits, and rules in words.
void AddGraphColumns(std::vector<PointColumn>& columns, const GraphView& graph) {
  columns.push_back({"#" + graph.symbol, [&](std::size_t i, const SubgroupTexts&) {
                       return i < graph.points.size() ? graph.PointText(i) : "";
                     }});
  for (const auto& line : LinesOf(graph))
    columns.push_back(
        {"#" + std::string(line.name), [&graph, line](std::size_t i, const SubgroupTexts&) {
           return i < line.values.size() && std::isfinite(line.values[i])
                      ? LineText(line, line.values[i], graph)
                      : "";
         }});
  columns.push_back({"breaks", [&](std::size_t i, const SubgroupTexts&) {
                       const auto mark =
                           std::ranges::lower_bound(graph.marks, i, {}, &PointMark::point);
                       return mark == graph.marks.end() || mark->point != i ? "" : MarkText(*mark);
                     }});
}

// "#4711"; empty: not known.
std::string SubgroupNumber(const ChartView& view, std::size_t point) {
  return view.HasNumber(point) ? view.NameOf(point) : std::string();
}

// Every point with what is drawn of it and what was typed. Columns without any text are left out.
void WritePoints(Page& page, const ChartView& view) {
  using Texts = SubgroupTexts;
  std::vector<PointColumn> columns = {
      {"#point", [](std::size_t i, const Texts&) { return std::to_string(i + 1); }},
      {"#number", [&](std::size_t i, const Texts&) { return SubgroupNumber(view, i); }},
      {"subgroup", [](std::size_t, const Texts& texts) { return texts.label; }},
      {"@time (UTC)", [&](std::size_t i, const Texts&) { return IsoTime(view.stamps[i]); }},
      {"stream",
       [&](std::size_t i, const Texts&) {
         return view.stream_views.size() < 2
                    ? ""
                    : view.stream_views[static_cast<std::size_t>(view.StreamOf(i))].name;
       }},
      {"state",
       [&](std::size_t i, const Texts&) {
         if (!view.flags.empty() && view.flags[i] != 0)
           return view.flags[i] == 1 ? "disabled" : "incomplete";
         return view.IsExcluded(i) ? "excluded" : "";
       }},
      {"#n", [&](std::size_t i, const Texts&) {
         const bool given = !view.graphs.empty() && i < view.graphs[0].sizes.size();
         return given ? std::to_string(view.graphs[0].sizes[i]) : "";
       }}};
  for (const auto& graph : view.graphs) AddGraphColumns(columns, graph);
  for (const auto word : ItemWords())
    columns.push_back({std::string(word), [word](std::size_t, const Texts& texts) {
                         for (const auto& [name, text] : texts.items)
                           if (name == word) return text;
                         return std::string();
                       }});
  columns.push_back({"phase", [&](std::size_t i, const Texts&) {
                       if (view.phases.empty()) return std::string();
                       return view.phases[static_cast<std::size_t>(view.PhaseOf(i))].name;
                     }});
  columns.push_back({"comment", [](std::size_t, const Texts& texts) {
                       std::vector<std::string> comments;
                       for (const auto& comment : texts.comments)
                         comments.push_back(NumberedText(comment));
                       return Joined(comments, "; ");
                     }});
  columns.push_back({"cause", [](std::size_t, const Texts& texts) { return texts.cause; }});
  columns.push_back({"action", [](std::size_t, const Texts& texts) { return texts.action; }});
  columns.push_back(
      {"edited", [](std::size_t, const Texts& texts) { return texts.edited ? "yes" : ""; }});
  columns.push_back(
      {"left out of limits", [](std::size_t, const Texts& texts) { return texts.left_out; }});

  for (std::size_t i = 0; i < view.Count(); ++i) {
    const auto texts = view.TextsOf(i);
    for (auto& column : columns) column.used = column.used || !column.cell(i, texts).empty();
  }
  std::erase_if(columns, [](const PointColumn& column) { return !column.used; });
  std::vector<std::string> headings;
  for (const auto& column : columns) headings.push_back(column.heading);
  page.Add("<div class=\"wide\">\n");
  page.Write("Points", headings, view.Count(), [&](std::size_t i) {
    const auto texts = view.TextsOf(i);
    std::vector<std::string> row;
    for (const auto& column : columns) row.push_back(column.cell(i, texts));
    return row;
  });
  page.Add("</div>\n");
}

void WriteDowntimes(Page& page, const ChartView& view) {
  Table table{"Not running", {"@from (UTC)", "@to (UTC)", "state"}};
  for (const auto& down : view.downtimes)
    table.rows.push_back({IsoTime(down.start), down.HasEnd() ? IsoTime(down.end) : "", down.state});
  page.Write(table);
}

void WriteEstimates(Page& page, const ChartView& view) {
  Table table{"Estimates", {"stream", "estimate", "#value", "estimator", "#constant", "#used"}};
  const auto add = [&](const std::string& stream, const char* what, const Estimate& estimate) {
    if (estimate.name.empty() && !std::isfinite(estimate.value)) return;
    const bool constant = std::isfinite(estimate.constant) && estimate.constant != 0.0;
    table.rows.push_back({stream, what, Significant(estimate.value, 8), estimate.name,
                          constant ? Significant(estimate.constant, 8) : "",
                          estimate.used > 0 ? std::to_string(estimate.used) : ""});
  };
  for (const auto& stream : view.stream_views) {
    add(stream.name, "mean", stream.mean);
    add(stream.name, "sigma of one piece (SP)", stream.sp);
    add(stream.name, "sigma within (SW)", stream.sw);
  }
  page.Write(table);
}

void WriteMarks(Page& page, const ChartView& view) {
  Table table{"Marked points",
              {"graph", "#point", "time (UTC)", "stream", "#value", "rule", "what it means",
               "cause and action"}};
  for (const auto& graph : view.graphs)
    for (const auto& mark : graph.marks)
      table.rows.push_back(
          {graph.symbol,
           view.HasNumber(mark.point) ? view.NameOf(mark.point) : std::to_string(mark.point + 1),
           IsoTime(view.stamps[mark.point]),
           view.stream_views.empty()
               ? ""
               : view.stream_views[static_cast<std::size_t>(view.StreamOf(mark.point))].name,
           graph.PointText(mark.point), RuleNumbers(mark), MarkText(mark),
           CodesText(view.TextsOf(mark.point))});
  if (view.codes.empty()) {
    table.headings.pop_back();
    for (auto& row : table.rows) row.pop_back();
  }
  page.Write(table);
  if (!table.rows.empty()) return;
  page.Heading(table.title);
  page.Paragraph("sub", "No point breaks a run rule or a specification limit.");
}

}  // namespace

std::string RenderChartText(const ChartView& view, const TextOptions& options) {
  return Plot(view, options).Write();
}

std::string RenderChartHtml(const ChartView& view) {
  Page page(view, ChartScene(view, true));
  if (view.Count() == 0) return page.Text();
  if (!view.phases.empty()) page.Write(PhaseTable(view, true));
  WriteEstimates(page, view);
  WriteMarks(page, view);
  WriteDowntimes(page, view);
  WritePoints(page, view);
  return page.Text();
}

}  // namespace orvspc::render
