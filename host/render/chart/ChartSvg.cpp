// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/Chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "host/render/chart/ChartLayout.h"
#include "host/render/chart/ChartPhases.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Scene.h"

namespace orvspc::render {

namespace {

constexpr double kDense = 2.5;  // width of a place below which points have no markers
constexpr double kTight = 7.0;  // below which they are small
constexpr std::size_t kManyMarks = 300;

constexpr std::size_t kMaxStreams = 16;  // in the legend
class Picture {
 public:
  Picture(const ChartView& view, bool embedded)
      : view_(view), places_(Places(view)), times_(view, places_), scene_(view, embedded) {}

  Scene Draw() {
    const double header = scene_.embedded ? 2.0 : 44.0;
    if (view_.phases.size() > 1) {
      layout_ = MakeLayout(view_, header, 0);
      for (std::size_t g = 0; g < layout_.panels.size(); ++g)
        if (!PlaceNotes(view_.graphs[g], layout_.panels[g]).phases.all) lists_phases_ = true;
    }
    const auto footer = FooterLines();
    layout_ = MakeLayout(view_, header, footer.size());
    scene_.height = layout_.height;
    if (view_.Count() == 0) scene_.NoData(layout_.axis + 24);
    for (std::size_t g = 0; g < layout_.panels.size(); ++g)
      DrawGraph(view_.graphs[g], layout_.panels[g]);
    if (!layout_.panels.empty()) DrawTimes();
    double y = layout_.footer;
    for (const auto& line : footer) {
      DrawSign(line, y);
      scene_.Text(line.symbol.empty() ? 14 : 32, y, "s", Anchor::Start,
                  FittingText(line.text, 950));
      y += 15.0;
    }
    return std::move(scene_);
  }

 private:
  struct FooterLine {
    std::string symbol;
    std::string text;
    std::int32_t stream = 0;
    std::size_t number = 0;  // of a comment
  };

  // What a line of the footer explains, on its left.
  void DrawSign(const FooterLine& line, double y) {
    if (line.symbol == "fl") return DrawFlag({14, y - 10, 26, y + 1}, line.number, {});
    if (line.symbol == "dt") return scene_.Rectangle(14, y - 9, 12, 10, "dt");
    if (!line.symbol.empty())
      scene_.Add(SymbolShape{{.style = line.symbol, .stream = line.stream}, 20, y - 4, {}});
  }

  void DrawFlag(const Box& box, std::size_t number, const std::string& tip) {
    scene_.Rectangle(box.left, box.top, box.right - box.left, box.bottom - box.top, "fl", tip);
    scene_.Text((box.left + box.right) / 2.0, box.bottom - 2.5, "fn", Anchor::Middle,
                std::to_string(number));
  }

  void DrawGraph(const GraphView& graph, const Panel& panel) {
    scene_.Add(CaptionShape{14, panel.title, FittingText(graph.title, 700.0),
                            CaptionFits(graph) ? graph.caption : ""});
    DrawDowntimes(panel);
    DrawAxis(panel);
    DrawBoundaries(panel);
    DrawPhases(panel);
    Steps(graph.specification.upper, panel, "spec", false);
    Steps(graph.specification.lower, panel, "spec", false);
    Steps(graph.specification.centre, panel, "tar", false);
    // Where points make a band, limits below it would not be seen.
    const bool dense = layout_.PlaceWidth() < kDense;
    const auto notes = PlaceNotes(graph, panel);
    for (const auto& note : notes.remarks)
      scene_.Rectangle(note.lead.left, note.lead.top, note.lead.right - note.lead.left,
                       note.lead.bottom - note.lead.top, "fp");
    if (dense) DrawLines(graph, panel);
    LimitSteps(graph.limits.centre, panel, "cl");
    LimitSteps(graph.limits.upper, panel, "lim");
    LimitSteps(graph.limits.lower, panel, "lim");
    for (const auto& each : graph.provisional) {
      Steps(each.centre, panel, "cl pv");
      Steps(each.upper, panel, "lim pv");
      Steps(each.lower, panel, "lim pv");
    }
    if (!dense) DrawLines(graph, panel);
    DrawPoints(graph, panel);
    DrawNotes(notes);
    DrawLimitLabels(graph, panel);
    scene_.Rectangle(layout_.left, panel.top, layout_.right - layout_.left,
                     panel.bottom - panel.top, "frame");
  }

  void DrawAxis(const Panel& panel) {
    const Ticks ticks = PanelTicks(panel);
    for (const double value : ticks.values) {
      const double y = panel.Y(value);
      scene_.Line(layout_.left, y, layout_.right, y, "grid");
      scene_.Text(layout_.left - 6, y + 4, "s", Anchor::End, Fixed(value, ticks.decimals));
    }
  }

  void DrawBoundaries(const Panel& panel) {
    std::vector<std::size_t> begins;  // places
    for (std::size_t g = 1; g < view_.groups.size(); ++g) begins.push_back(g);
    for (std::size_t i = 1; i < view_.Count() && view_.groups.empty(); ++i)
      if (view_.StreamOf(i) != view_.StreamOf(i - 1)) begins.push_back(i);
    if (begins.size() >= (view_.groups.empty() ? 12 : 80)) return;
    for (const std::size_t place : begins) {
      const double x = layout_.X(place) - layout_.PlaceWidth() / 2;
      scene_.Line(x, panel.top, x, panel.bottom, "b");
    }
  }

  // A line, broken where it leaves a point out.
  template <class Shown>
  void Runs(const Polyline& line, const std::string& style, Shown shown) {
    Polyline run;
    for (const auto& point : line) {
      if (shown(point.second)) {
        run.push_back(point);
        continue;
      }
      scene_.Path(Thinned(run), style);
      run.clear();
    }
    scene_.Path(Thinned(run), style);
  }

  // Specification lines may lie off the scale; those parts are left out.
  void Steps(const std::vector<double>& values, const Panel& panel, const std::string& style,
             bool breaks_at_phases = true) {
    for (const auto& line : StepLines(view_, places_, values, layout_, panel, breaks_at_phases))
      Runs(line, style, [&](double y) { return y >= panel.top - 0.5 && y <= panel.bottom + 0.5; });
  }

  // Thinner where they are older than the phase.
  void LimitSteps(const std::vector<double>& values, const Panel& panel, const std::string& style) {
    if (view_.older_limits.empty()) return Steps(values, panel, style);
    for (const bool older : {false, true}) {
      auto shown = values;
      for (std::size_t i = 0; i < shown.size(); ++i)
        if (view_.older_limits[i] != older) shown[i] = kNaN;
      Steps(shown, panel, older ? style + " old" : style);
    }
  }

  // Borders of phases with their names, as far as there is room for them.
  void DrawPhases(const Panel& panel) {
    constexpr std::size_t kMaxBorders = 80;
    constexpr double kLeastName = 20.0;
    if (view_.phases.size() < 2) return;
    auto borders = PhaseBorders(view_, places_);
    if (borders.size() > kMaxBorders) return;
    const auto left = [&](std::size_t place) {
      return layout_.X(place) - layout_.PlaceWidth() / 2.0;
    };
    for (const auto& [place, phase] : borders)
      scene_.Line(left(place), panel.top - panel.names, left(place), panel.bottom, "pb");
    if (panel.names == 0.0) return;
    if (std::ranges::none_of(borders, [](const auto& border) { return border.first == 0; }))
      borders.insert(borders.begin(), {0, 0});
    std::ranges::stable_sort(borders);
    for (std::size_t b = 0; b < borders.size(); ++b) {
      const auto& phase = view_.phases[borders[b].second];
      const double end = b + 1 < borders.size() ? left(borders[b + 1].first) : layout_.right;
      const double room = end - left(borders[b].first) - 6.0;
      if (room >= kLeastName && !phase.name.empty())
        scene_.Text(left(borders[b].first) + 4.0, panel.top - 4.0, "ph", Anchor::Start,
                    FittingText(phase.name + (phase.is_excluded ? " (excluded)" : ""), room));
    }
  }

  // Everything that is known of a point.
  std::string Tip(const GraphView& graph, std::size_t i, const PointMark* mark = nullptr) const {
    const auto texts = view_.TextsOf(i);
    std::string tip = fmt::format("{}{}  {}  {}", view_.NameOf(i),
                                  texts.label.empty() ? "" : "  subgroup " + texts.label,
                                  IsoTime(view_.stamps[i]), graph.PointText(i));
    if (i < graph.sizes.size()) tip += fmt::format("  n = {}", graph.sizes[i]);
    for (const auto& line : LinesOf(graph))
      if (i < line.values.size() && std::isfinite(line.values[i]))
        tip += fmt::format("  {} {}", line.name, LineText(line, line.values[i], graph));
    if (view_.stream_views.size() > 1)
      tip += "  " + view_.stream_views[static_cast<std::size_t>(view_.StreamOf(i))].name;
    if (!view_.phases.empty()) {
      const auto& phase = view_.phases[static_cast<std::size_t>(view_.PhaseOf(i))];
      if (!phase.name.empty()) tip += "  phase " + phase.name;
    }
    if (view_.IsExcluded(i)) tip += "  excluded";
    if (!view_.flags.empty() && view_.flags[i] != 0)
      tip += view_.flags[i] == 1 ? "  disabled" : "  incomplete";
    if (mark) tip += "; " + MarkText(*mark);
    const std::string more = TextLine(texts);
    return more.empty() ? tip : tip + "; " + more;
  }

  // Stretches without production, behind everything.
  void DrawDowntimes(const Panel& panel) {
    constexpr double kNarrowest = 3.0;
    for (const auto& down : view_.downtimes) {
      if (times_.Empty()) return;
      const double from = times_.Of(down.start), to = times_.Of(down.end);
      if (!(from <= to)) continue;
      const double middle = layout_.left + ((from + to) / 2.0 + 0.5) * layout_.PlaceWidth();
      const double width = std::max((to - from) * layout_.PlaceWidth(), kNarrowest);
      const double left = std::max(middle - width / 2.0, layout_.left);
      const double right = std::min(middle + width / 2.0, layout_.right);
      scene_.Rectangle(left, panel.top, right - left, panel.bottom - panel.top, "dt",
                       down.state + "  " + TimeText(down));
    }
  }

  // The used points of a stream, in their order; NaN where one has no value.
  Polyline DataLine(const GraphView& graph, const Panel& panel,
                    const std::vector<std::size_t>& points) const {
    Polyline line;
    for (const std::size_t i : points)
      if (i < graph.points.size() && view_.Used(i))
        line.emplace_back(layout_.X(places_[i]),
                          std::isfinite(graph.points[i]) ? panel.Y(graph.points[i]) : kNaN);
    return line;
  }
  std::vector<Polyline> DataLines(const GraphView& graph, const Panel& panel) const {
    std::vector<Polyline> lines;
    for (const auto& [stream, points] : PointsOfStreams(view_))
      lines.push_back(DataLine(graph, panel, points));
    return lines;
  }

  void DrawLines(const GraphView& graph, const Panel& panel) {
    const bool dense = layout_.PlaceWidth() < kDense;
    for (const auto& [stream, points] : PointsOfStreams(view_))
      Runs(DataLine(graph, panel, points), StreamClass(dense ? "dd" : "d", stream),
           [](double y) { return !std::isnan(y); });
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
      const auto draw = [&](const char* style, const std::string& tip) {
        scene_.Add(SymbolShape{
            {style, view_.StreamOf(i), view_.stream_views.size() > 1, size}, x, y, tip});
      };
      const bool is_hollow = !view_.Used(i) || view_.IsLeftOut(i);
      const char* const plain = is_hollow ? "pu" : "p";
      if (!mark) {
        if (!dense || is_hollow) draw(plain, Tip(graph, i));
        continue;
      }
      const std::string tip = Tip(graph, i, mark);
      if (!mark->specifications.empty()) draw("o", tip);
      draw(mark->rules.empty() ? plain : "m", tip);
      if (is_hollow && !mark->rules.empty()) draw("in", tip);
    }
  }

  // What is written into a panel: rule numbers, codes of alarms and numbers of comments.
  struct PlacedRemark {
    Box box, lead;
    std::size_t number = 0;  // of a comment; 0: of codes
    std::string text;
  };
  struct PlacedNotes {
    std::vector<PlacedTag> tags;
    std::vector<PlacedRemark> remarks;
    PhaseLabels phases;
  };

  // The graph that has the note of a point: the first one with a mark there, else the first one
  // with a value.
  bool Has(const GraphView& graph, std::size_t point, bool marked) const {
    const auto has_value = [&](const GraphView& each) {
      return point < each.points.size() && std::isfinite(each.points[point]);
    };
    const auto has_mark = [&](const GraphView& each) {
      return has_value(each) &&
             std::ranges::binary_search(each.marks, point, {}, &PointMark::point);
    };
    auto found = view_.graphs.end();
    if (marked) found = std::ranges::find_if(view_.graphs, has_mark);
    if (found == view_.graphs.end()) found = std::ranges::find_if(view_.graphs, has_value);
    return found != view_.graphs.end() && &*found == &graph;
  }

  PlacedNotes PlaceNotes(const GraphView& graph, const Panel& panel) const {
    // More are not read, and the search for room is quadratic.
    constexpr std::size_t kMaxRemarks = 200, kMaxLine = 2000;
    constexpr double kBoldDigit = 6.3, kHeight = 11.0, kMaxWidth = 150.0;
    const auto points = SortedPoints(graph, panel);
    PlacedNotes notes{PlaceRuleNumbers(graph, panel, points), {}, {}};
    std::vector<Box> taken;
    for (const auto& tag : notes.tags) taken.push_back(BoxOf(tag));
    std::vector<Polyline> lines;
    if ((!view_.codes.empty() || !view_.comments.empty() || view_.phases.size() > 1) &&
        graph.points.size() <= kMaxLine) {
      lines = DataLines(graph, panel);
    }
    notes.phases = PlacePhaseLabels(view_, graph, places_, taken, points, lines, layout_, panel);
    std::vector<Remark> wishes;
    std::vector<PlacedRemark> all;
    const auto wish = [&](const PointNote& note, std::size_t number, const std::string& text) {
      if (wishes.size() >= kMaxRemarks || !Has(graph, note.point, number == 0)) return;
      const double width =
          number == 0 ? WidthOf(text) + 2.0 : kBoldDigit * static_cast<double>(text.size()) + 4.0;
      wishes.push_back({layout_.X(places_[note.point]), panel.Y(graph.points[note.point]), width,
                        kHeight, number == 0});
      all.push_back({{}, {}, number, number == 0 ? text : note.text});
    };
    for (const auto& note : view_.codes) wish(note, 0, FittingText(note.text, kMaxWidth));
    for (std::size_t c = 0; c < view_.comments.size(); ++c)
      wish(view_.comments[c], c + 1, std::to_string(c + 1));
    const auto placed = PlaceRemarks(wishes, taken, points, lines, layout_, panel);
    for (std::size_t i = 0; i < placed.size(); ++i) {
      if (!placed[i]) continue;
      all[i].box = *placed[i];
      all[i].lead = LeadOf(wishes[i], *placed[i]);
      // Beside its point nothing leads to it.
      if (wishes[i].beside && (placed[i]->left > wishes[i].x || placed[i]->right < wishes[i].x))
        all[i].lead = {};
      notes.remarks.push_back(std::move(all[i]));
    }
    return notes;
  }

  void DrawNotes(const PlacedNotes& notes) {
    for (const auto& label : notes.phases.labels)
      scene_.Text(label.box.left, label.box.bottom - 1.5, label.style, Anchor::Start, label.text);
    for (const auto& tag : notes.tags) scene_.Text(tag.x, tag.y, "r", Anchor::Middle, tag.text);
    for (const auto& remark : notes.remarks) {
      if (remark.number != 0) {
        DrawFlag(remark.box, remark.number, remark.text);
        continue;
      }
      scene_.Text((remark.box.left + remark.box.right) / 2.0, remark.box.bottom - 2.5, "ac",
                  Anchor::Middle, remark.text);
    }
  }

  std::vector<std::pair<double, double>> SortedPoints(const GraphView& graph,
                                                      const Panel& panel) const {
    std::vector<std::pair<double, double>> points;
    if (graph.marks.empty() && view_.codes.empty() && view_.comments.empty() &&
        view_.phases.size() < 2)
      return points;
    for (std::size_t i = 0; i < graph.points.size(); ++i)
      if (std::isfinite(graph.points[i]))
        points.emplace_back(layout_.X(places_[i]), panel.Y(graph.points[i]));
    std::sort(points.begin(), points.end());
    return points;
  }

  // The low numbers first, so that where marks are close it is they that are seen: rule 1 before
  // any other. A point that breaks several rules has the first one and a plus sign, or all where
  // there is room.
  std::vector<PlacedTag> PlaceRuleNumbers(
      const GraphView& graph, const Panel& panel,
      const std::vector<std::pair<double, double>>& points) const {
    std::vector<std::pair<std::int32_t, Tag>> wishes;  // by rule
    for (const auto& mark : graph.marks) {
      const std::size_t i = mark.point;
      if (mark.rules.empty() || i >= graph.points.size() || !std::isfinite(graph.points[i]))
        continue;
      const bool below = i < graph.limits.centre.size() && graph.points[i] < graph.limits.centre[i];
      // By number, since not every source knows which rule is the most important.
      PointMark sorted = mark;
      std::ranges::stable_sort(sorted.rules, {}, &Rule::number);
      const std::int32_t first = sorted.rules.front().number;
      wishes.push_back(
          {first,
           {layout_.X(places_[i]), panel.Y(graph.points[i]),
            mark.specifications.empty() ? 8.0 : 10.0, !below,
            std::to_string(first) + (mark.rules.size() > 1 ? "+" : ""), RuleNumbers(sorted)}});
    }
    std::ranges::stable_sort(wishes, {}, &std::pair<std::int32_t, Tag>::first);
    // Nobody reads some thousand numbers, and the search for room is quadratic.
    std::vector<Tag> tags;
    for (std::size_t w = 0; w < wishes.size() && w < 2000; ++w)
      tags.push_back(std::move(wishes[w].second));
    return PlaceTags(tags, points, layout_, panel);
  }

  void DrawLimitLabels(const GraphView& graph, const Panel& panel) {
    std::vector<Label> labels;
    for (const auto& limit : LimitLabels(view_, graph)) {
      const double y = panel.Y(limit.value);
      const char* arrow = y < panel.top - 0.5      ? " \xE2\x86\x91"
                          : y > panel.bottom + 0.5 ? " \xE2\x86\x93"
                                                   : "";
      labels.push_back(
          {std::clamp(y, panel.top, panel.bottom), 0.0, limit.text + arrow, limit.style});
    }
    PushApart(labels, 12.5, panel.top + 2.0, panel.bottom);
    for (const auto& label : labels) {
      if (std::abs(label.at - label.wanted) > 2.0)
        scene_.Line(layout_.right, label.wanted, layout_.right + 9, label.at, "lead");
      scene_.Text(layout_.right + 11, label.at + 4, label.style, Anchor::Start, label.text);
    }
  }

  // "  mean 9.876, sigma 0.5955 by mean of R/d2", and the limits where the graphs name none.
  std::string StreamText(std::size_t s) const {
    const StreamView& stream = view_.stream_views[s];
    std::string text;
    if (std::isfinite(stream.mean.value)) text += ": mean " + Significant(stream.mean.value, 7);
    if (std::isfinite(stream.sp.value) && !stream.sp.name.empty())
      text += ", sigma " + Significant(stream.sp.value, 6) + " by " + stream.sp.name;
    if (view_.stream_views.size() <= kLabelledStreams) return text;
    for (const auto& graph : view_.graphs) {
      const double low = NewestValues(view_, graph.limits.lower)[s];
      const double high = NewestValues(view_, graph.limits.upper)[s];
      if (std::isfinite(low) || std::isfinite(high))
        text += fmt::format("; {} {} to {}", graph.symbol, Fixed(low, graph.decimals),
                            Fixed(high, graph.decimals));
    }
    return text;
  }

  void DrawTimes() {
    if (view_.Count() == 0) return;
    const AxisTimes times(view_);
    const double width =
        kCharacter * static_cast<double>(times.Text(view_.stamps.front()).size()) + 12.0;
    const std::size_t step = LabelStep(layout_.places, layout_.PlaceWidth(), width);
    std::size_t next = layout_.places <= step ? 0 : step - 1;
    for (std::size_t i = 0; i < view_.Count(); ++i) {
      if (places_[i] != next) continue;
      const double x = layout_.X(next);
      scene_.Line(x, layout_.axis, x, layout_.axis + 4, "tick");
      scene_.Text(x, layout_.axis + 16, "", Anchor::Middle, std::to_string(next + 1));
      scene_.Text(x, layout_.axis + 30, "s", Anchor::Middle, times.Text(view_.stamps[i]));
      next += step;
    }
    scene_.Text(kPictureWidth - 88, layout_.axis + 16, "s", Anchor::Start,
                view_.groups.empty() ? "subgroup" : "group");
    scene_.Text(kPictureWidth - 88, layout_.axis + 30, "s", Anchor::Start, "time (UTC)");
  }

  // A page that shows the picture has the notes itself.
  std::vector<FooterLine> FooterLines() const {
    std::vector<FooterLine> lines;
    const std::size_t streams = view_.stream_views.size();
    for (std::size_t s = 0; streams > 1 && s < streams && s < kMaxStreams; ++s)
      lines.push_back({"p", StreamLetter(s) + "  " + view_.stream_views[s].name + StreamText(s),
                       static_cast<std::int32_t>(s)});
    if (streams > kMaxStreams)
      lines.push_back({"", fmt::format("and {}; the tooltip of a point names its own",
                                       Counted(streams - kMaxStreams, "more stream"))});
    for (const auto& [number, broken] : RulesBroken(view_))
      lines.push_back({"m", fmt::format("rule {}{} ({})", number,
                                        broken.rule.text.empty() ? "" : ": " + broken.rule.text,
                                        Counted(broken.points, "point"))});
    bool outside = false, unused = false, several = false;
    for (const auto& graph : view_.graphs)
      for (const auto& mark : graph.marks) {
        outside = outside || !mark.specifications.empty();
        several = several || mark.rules.size() > 1;
      }
    for (std::size_t i = 0; i < view_.Count(); ++i) unused = unused || !view_.Used(i);
    if (several)
      lines.push_back({"",
                       "A number with a plus sign: the point breaks further rules, which its "
                       "tooltip names; no number: no room"});
    if (outside) lines.push_back({"o", "a value of the subgroup is beyond a specification limit"});
    const bool excluded = std::ranges::count(view_.excluded, true) != 0;
    if (unused)
      lines.push_back({"pu", excluded ? "disabled, incomplete or excluded: drawn, used for nothing"
                                      : "disabled or incomplete: drawn, used for nothing"});
    if (!view_.left_out.empty())
      lines.push_back(
          {"pu", "hollow, also inside a signal: left out of control limits; the tooltip says why"});
    if (!view_.downtimes.empty() && !times_.Empty())
      lines.push_back({"dt", "the process was not running; the tooltip says why"});
    AddComments(lines);
    if (lists_phases_)
      for (const auto& line : PhaseLines(view_)) lines.push_back({"", line});
    // What not every source can give comes behind the symbols, which then do not move.
    for (const auto& graph : view_.graphs)
      for (const auto& line : CaptionLines(graph)) lines.push_back({"", line});
    if (scene_.embedded) return lines;
    for (const auto& note : NoteLines(view_.notes)) lines.push_back({"", note});
    return lines;
  }

  // Comments by the numbers of their flags.
  void AddComments(std::vector<FooterLine>& lines) const {
    for (std::size_t c = 0; c < view_.comments.size() && c < kMaxComments; ++c) {
      const auto& comment = view_.comments[c];
      lines.push_back({"fl",
                       fmt::format("{}  {}  {}", view_.NameOf(comment.point),
                                   IsoTime(view_.stamps[comment.point]), comment.text),
                       0, c + 1});
    }
    if (view_.comments.size() > kMaxComments)
      lines.push_back({"", fmt::format("and {} more", view_.comments.size() - kMaxComments)});
  }

  const ChartView& view_;
  std::vector<std::size_t> places_;
  TimePlaces times_;
  bool lists_phases_ = false;  // below the picture
  Layout layout_;
  Scene scene_;
};

}  // namespace

Scene ChartScene(const ChartView& view, bool embedded) { return Picture(view, embedded).Draw(); }

}  // namespace orvspc::render
