// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartLayout.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <set>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::array<NamedLine, 6> LinesOf(const GraphView& graph) {
  const LineSet &limits = graph.limits, &specification = graph.specification;
  return {{{"UCL", limits.upper, false},
           {"CL", limits.centre, false},
           {"LCL", limits.lower, false},
           {"USL", specification.upper, true},
           {"Target", specification.centre, true},
           {"LSL", specification.lower, true}}};
}

std::string LineText(const NamedLine& line, double value, const GraphView& graph) {
  const int own = DecimalsOf(std::span(&value, 1));
  const bool plain = line.specification || value == 0.0;
  return Fixed(value, plain ? std::min(own, graph.decimals) : graph.decimals);
}

std::vector<std::size_t> Places(const ChartView& view) {
  std::vector<std::size_t> places(view.Count());
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = i;
  for (std::size_t g = 0; g < view.groups.size(); ++g)
    for (std::size_t i = view.groups[g].first; i <= view.groups[g].last && i < places.size(); ++i)
      places[i] = g;
  return places;
}

std::map<std::int32_t, std::vector<std::size_t>> PointsOfStreams(const ChartView& view) {
  std::map<std::int32_t, std::vector<std::size_t>> streams;
  for (std::size_t i = 0; i < view.Count(); ++i) streams[view.StreamOf(i)].push_back(i);
  return streams;
}

std::map<std::int32_t, RuleCount> RulesBroken(const ChartView& view) {
  std::map<std::int32_t, RuleCount> counts;
  for (const auto& graph : view.graphs)
    for (const auto& mark : graph.marks)
      for (const auto& rule : mark.rules) {
        auto& count = counts[rule.number];
        count.rule = rule;
        ++count.points;
      }
  return counts;
}

std::string GraphView::PointText(std::size_t point) const {
  return Fixed(points[point], point_decimals < 0 ? decimals : point_decimals);
}

std::string RuleNumbers(const PointMark& mark) {
  std::vector<std::string> numbers;
  for (const auto& rule : mark.rules) numbers.push_back(std::to_string(rule.number));
  return Joined(numbers, ",");
}

std::string MarkText(const PointMark& mark) {
  std::vector<std::string> texts;
  for (const auto& rule : mark.rules)
    texts.push_back(rule.text.empty() ? "rule " + std::to_string(rule.number) : rule.text);
  texts.insert(texts.end(), mark.specifications.begin(), mark.specifications.end());
  return Joined(texts, "; ");
}

std::string TimeText(const Downtime& down) {
  return IsoTime(down.start) + (down.HasEnd() ? " to " + IsoTime(down.end) : "");
}

std::string StreamLetter(std::size_t stream) {
  std::string text(1, static_cast<char>('A' + stream % 26));
  return stream < 26 ? text : StreamLetter(stream / 26 - 1) + text;
}

AxisTimes::AxisTimes(const ChartView& view) {
  if (view.Count() == 0) return;
  const auto [first, last] = std::minmax_element(view.stamps.begin(), view.stamps.end());
  const std::string start = IsoTime(*first), end = IsoTime(*last);
  if (start.substr(0, kDay) == end.substr(0, kDay)) {
    from_ = kDay + 1;
  } else if (std::ranges::all_of(view.stamps, [clock = ClockText(*first)](auto stamp) {
               return ClockText(stamp) == clock;
             })) {
    to_ = kDay;
  } else if (start.substr(0, kYear) == end.substr(0, kYear)) {
    from_ = kYear + 1;
  }
}

std::string AxisTimes::Text(std::int64_t stamp) const {
  std::string text = IsoTime(stamp).substr(from_, to_ - from_);
  std::ranges::replace(text, 'T', ' ');
  return text;
}

std::vector<double> NewestValues(const ChartView& view, const std::vector<double>& line) {
  std::vector<double> newest(std::max<std::size_t>(view.stream_views.size(), 1), kNaN);
  std::map<std::size_t, std::int32_t> phases;  // of streams, the newest
  for (std::size_t p = 0; p < view.phases.size(); ++p)
    phases[static_cast<std::size_t>(view.phases[p].stream)] = static_cast<std::int32_t>(p);
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto stream = static_cast<std::size_t>(view.StreamOf(i));
    if (!phases.empty() && view.PhaseOf(i) != phases[stream]) continue;
    if (stream < newest.size() && std::isfinite(line[i])) newest[stream] = line[i];
  }
  return newest;
}

Range AxisRange(const GraphView& graph) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const auto widen = [](Range& to, const std::vector<double>& values) {
    for (const double value : values)
      if (std::isfinite(value)) to = {std::min(to.low, value), std::max(to.high, value)};
  };
  Range range{kInfinity, -kInfinity};
  widen(range, graph.points);
  for (const auto& each : graph.provisional)
    for (const auto* line : {&each.upper, &each.centre, &each.lower}) widen(range, *line);
  Range with_specification = range;
  for (const auto& line : LinesOf(graph)) {
    if (!line.specification) widen(range, line.values);
    widen(with_specification, line.values);
  }
  const double width = range.high - range.low;
  if (!(width > 0.0) || with_specification.high - with_specification.low <= 3.0 * width)
    range = with_specification;

  if (range.low > range.high) return {0.0, 1.0};
  range = {std::clamp(range.low, -kFurthest, kFurthest),
           std::clamp(range.high, -kFurthest, kFurthest)};
  if (range.low == range.high) {
    if (graph.from_zero && range.low == 0.0) return {0.0, 1.0};
    const double margin = range.low == 0.0 ? 1.0 : std::abs(range.low) * 0.05;
    return {range.low - margin, range.high + margin};
  }
  return range;
}

Layout MakeLayout(const ChartView& view, double header, std::size_t footer_lines) {
  static constexpr double kHeights[3][3] = {{360, 0, 0}, {270, 170, 0}, {240, 140, 140}};
  constexpr double kPanelHead = 30.0;
  constexpr double kPanelGap = 14.0;
  constexpr double kPhaseNames = 15.0;

  Layout layout;
  const auto places = Places(view);
  for (const auto place : places) layout.places = std::max(layout.places, place + 1);

  const std::size_t count = std::clamp<std::size_t>(view.graphs.size(), 1, 3);
  double y = header;
  for (std::size_t g = 0; g < view.graphs.size() && g < 3; ++g) {
    Panel panel;
    panel.title = y + 21.0;
    panel.names = g == 0 && view.phases.size() > 1 ? kPhaseNames : 0.0;
    panel.top = y + kPanelHead + panel.names;
    panel.bottom = panel.top + kHeights[count - 1][g];
    panel.range = AxisRange(view.graphs[g]);
    // Room for the rule numbers above the highest and below the lowest point.
    const double margin = (panel.range.high - panel.range.low) * 24.0 / (panel.bottom - panel.top);
    const double low = panel.range.low - margin;
    panel.range = {view.graphs[g].from_zero ? std::max(low, 0.0) : low, panel.range.high + margin};
    const Ticks ticks = PanelTicks(panel);
    for (const double value : ticks.values)
      layout.left = std::max(
          layout.left, 14.0 + kDigit * static_cast<double>(Width(Fixed(value, ticks.decimals))));
    for (const auto& label : LimitLabels(view, view.graphs[g]))
      layout.right = std::min(
          layout.right, kPictureWidth - 17.0 - kDigit * static_cast<double>(Width(label.text)));
    layout.panels.push_back(panel);
    y = panel.bottom + kPanelGap;
  }
  layout.axis = layout.panels.empty() ? header : layout.panels.back().bottom;
  layout.footer = layout.axis + 58.0;
  layout.height = layout.footer + 15.0 * static_cast<double>(footer_lines) + 2.0;
  return layout;
}

Ticks PanelTicks(const Panel& panel) {
  const int count = static_cast<int>((panel.bottom - panel.top) / 34.0);
  return RoundTicks(panel.range.low, panel.range.high, std::max(count, 2));
}

bool CaptionFits(const GraphView& graph) {
  return 7.8 * static_cast<double>(Width(graph.title)) +
             kCharacter * static_cast<double>(Width(graph.caption)) <
         kPictureWidth - 40.0;
}

std::vector<std::string> CaptionLines(const GraphView& graph) {
  if (CaptionFits(graph)) return {};
  constexpr auto kRoom = static_cast<std::size_t>((kPictureWidth - 50.0) / kCharacter);
  std::vector<std::string> lines;
  std::string rest = graph.symbol + ": " + graph.caption;
  while (Width(rest) > kRoom) {
    const std::string head = Padded(rest, kRoom);
    // Rather between two statements than inside one; a word longer than the line is broken where
    // the line ends.
    const std::size_t statement = head.rfind("; ");
    const std::size_t blank = head.find_last_of(' ');
    const std::size_t cut = statement != std::string::npos             ? statement + 1
                            : blank == std::string::npos || blank == 0 ? head.size()
                                                                       : blank;
    lines.push_back(rest.substr(0, cut));
    rest.erase(0, cut);
    rest.erase(0, rest.find_first_not_of(' '));
  }
  lines.push_back(rest);
  return lines;
}

std::vector<LimitLabel> LimitLabels(const ChartView& view, const GraphView& graph) {
  std::vector<LimitLabel> labels;
  for (const auto& line : LinesOf(graph)) {
    const auto ends = NewestValues(view, line.values);
    std::vector<double> given;
    std::ranges::copy_if(ends, std::back_inserter(given),
                         [](double end) { return std::isfinite(end); });
    std::set<double> distinct(given.begin(), given.end());
    if (given.size() > kLabelledStreams && distinct.size() > 1) continue;
    const bool same = distinct.size() == 1;
    const char* style = line.specification                     ? "ls"
                        : &line.values == &graph.limits.centre ? ""
                                                               : "ll";
    for (std::size_t stream = 0; stream < ends.size(); ++stream) {
      // Streams that share a limit share its label.
      const double value = ends[stream];
      if (!std::isfinite(value) || distinct.erase(value) == 0) continue;
      const std::string text = std::string(line.name) + " " + LineText(line, value, graph);
      labels.push_back({value, same ? text : StreamLetter(stream) + " " + text, style});
    }
  }
  return labels;
}

namespace {

constexpr double kTagHeight = 9.0;

// The box of a tag's text on one side of its point, kept inside the plot sideways.
Box BoxOf(const Tag& tag, const std::string& text, bool above, const Layout& layout) {
  // Bold, and as far from the next number as a blank is wide.
  const double half = 3.7 * static_cast<double>(text.size());
  const double x = std::clamp(tag.x, layout.left + half, layout.right - half);
  const double base = above ? tag.y - tag.clear : tag.y + tag.clear + kTagHeight;
  return {x - half - 2.0, base - kTagHeight, x + half + 2.0, base};
}

// Whether another point than the one at (x, y) is that near to the box.
bool MeetsPoint(const Box& box, double x, double y,
                const std::vector<std::pair<double, double>>& points, double radius) {
  auto point =
      std::lower_bound(points.begin(), points.end(),
                       std::pair(box.left - radius, -std::numeric_limits<double>::infinity()));
  for (; point != points.end() && point->first < box.right + radius; ++point) {
    if (point->first == x && point->second == y) continue;
    if (point->second > box.top - radius && point->second < box.bottom + radius) return true;
  }
  return false;
}

constexpr double kPointRadius = 4.5;

}  // namespace

std::vector<PlacedTag> PlaceTags(const std::vector<Tag>& tags,
                                 const std::vector<std::pair<double, double>>& points,
                                 const Layout& layout, const Panel& panel) {
  struct Place {
    const Tag* tag;
    bool above;
    Box box;
  };
  std::vector<Place> places;
  const auto free = [&](const Box& box, const Tag* tag) {
    return box.top >= panel.top && box.bottom <= panel.bottom &&
           std::none_of(places.begin(), places.end(), [&](const Place& other) {
             return other.tag != tag && box.Meets(other.box);
           });
  };
  for (const auto& tag : tags) {
    std::optional<Place> found;
    for (const bool on_points : {false, true})
      for (const bool above : {tag.above, !tag.above}) {
        const Box box = BoxOf(tag, tag.text, above, layout);
        if (!found && free(box, nullptr) &&
            (on_points || !MeetsPoint(box, tag.x, tag.y, points, kPointRadius)))
          found = Place{&tag, above, box};
      }
    if (found) places.push_back(*found);
  }
  std::vector<PlacedTag> placed;
  placed.reserve(places.size());
  for (auto& place : places) {
    const Tag& tag = *place.tag;
    const Box whole = BoxOf(tag, tag.whole, place.above, layout);
    const bool all = free(whole, &tag) && !MeetsPoint(whole, tag.x, tag.y, points, kPointRadius);
    if (all) place.box = whole;
    placed.push_back(
        {(place.box.left + place.box.right) / 2.0, place.box.bottom, all ? tag.whole : tag.text});
  }
  return placed;
}

Box BoxOf(const PlacedTag& tag) {
  const double half = 3.7 * static_cast<double>(tag.text.size());
  return {tag.x - half - 2.0, tag.y - kTagHeight, tag.x + half + 2.0, tag.y};
}

Box LeadOf(const Remark& remark, const Box& box) {
  constexpr double kHalf = 0.6;
  const bool above = box.bottom <= remark.y;
  return {remark.x - kHalf, above ? box.bottom : remark.y, remark.x + kHalf,
          above ? remark.y : box.top};
}

namespace {

// Whether a line has a part inside the box.
bool Crosses(const Polyline& line, const Box& box) {
  for (std::size_t i = 1; i < line.size(); ++i) {
    const auto [x1, y1] = line[i - 1];
    const auto [x2, y2] = line[i];
    const double from = std::max(std::min(x1, x2), box.left);
    const double to = std::min(std::max(x1, x2), box.right);
    if (!(from <= to)) continue;
    const auto& start = line[i - 1];
    const auto& end = line[i];
    const auto y_at = [&](double x) {
      const auto [ax, ay] = start;
      const auto [bx, by] = end;
      return ax == bx ? ay : ay + (by - ay) * (x - ax) / (bx - ax);
    };
    const double low = x1 == x2 ? std::min(y1, y2) : std::min(y_at(from), y_at(to));
    const double high = x1 == x2 ? std::max(y1, y2) : std::max(y_at(from), y_at(to));
    if (low < box.bottom && high > box.top) return true;
  }
  return false;
}

// The boxes in which a remark may be, the best first.
std::vector<Box> Candidates(const Remark& remark, const Layout& layout, const Panel& panel) {
  constexpr double kNear = 9.0, kStep = 6.0;
  std::vector<Box> boxes;
  const double half = remark.width / 2.0;
  if (remark.beside) {
    for (const double left : {remark.x + kNear, remark.x - kNear - remark.width})
      boxes.push_back({left, remark.y - remark.height / 2.0, left + remark.width,
                       remark.y + remark.height / 2.0});
  }
  const double x = std::clamp(remark.x, layout.left + half, layout.right - half);
  for (double away = kNear; away < panel.bottom - panel.top; away += kStep) {
    for (const double top : {remark.y - away - remark.height, remark.y + away})
      boxes.push_back({x - half, top, x + half, top + remark.height});
  }
  return boxes;
}

}  // namespace

std::vector<std::optional<Box>> PlaceRemarks(const std::vector<Remark>& remarks,
                                             std::vector<Box>& taken,
                                             const std::vector<std::pair<double, double>>& points,
                                             const std::vector<Polyline>& lines,
                                             const Layout& layout, const Panel& panel) {
  constexpr double kLeadRadius = 3.5, kFrame = 1.5;
  std::vector<std::optional<Box>> placed;
  for (const auto& remark : remarks) {
    const auto free = [&](const Box& box) {
      const Box lead = LeadOf(remark, box);
      const bool inside = box.left >= layout.left && box.right <= layout.right &&
                          box.top >= panel.top + kFrame && box.bottom <= panel.bottom - kFrame;
      return inside && !MeetsPoint(box, remark.x, remark.y, points, kPointRadius) &&
             !MeetsPoint(lead, remark.x, remark.y, points, kLeadRadius) &&
             std::ranges::none_of(
                 taken, [&](const Box& other) { return box.Meets(other) || lead.Meets(other); });
    };
    // A line below it is as bad as so much farther from the point.
    constexpr double kOnLine = 30.0;
    std::optional<Box> found;
    double least = std::numeric_limits<double>::infinity();
    for (const auto& box : Candidates(remark, layout, panel)) {
      const double away = std::max({box.top - remark.y, remark.y - box.bottom, 0.0});
      if (away >= least || !free(box)) continue;
      const bool on_line =
          std::ranges::any_of(lines, [&](const Polyline& line) { return Crosses(line, box); });
      const double cost = away + (on_line ? kOnLine : 0.0);
      if (cost >= least) continue;
      least = cost;
      found = box;
    }
    placed.push_back(found);
    if (!found) continue;
    taken.push_back(*found);
    taken.push_back(LeadOf(remark, *found));
  }
  return placed;
}

TimePlaces::TimePlaces(const ChartView& view, const std::vector<std::size_t>& places) {
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i] < times_.size()) continue;
    if (!times_.empty() && view.stamps[i] < times_.back()) {
      times_.clear();
      return;
    }
    times_.push_back(view.stamps[i]);
  }
}

double TimePlaces::Of(std::int64_t time) const {
  const auto next = std::ranges::lower_bound(times_, time);
  if (next == times_.begin()) return time == *next ? 0.0 : -0.5;
  const auto place = static_cast<double>(next - times_.begin()) - 1.0;
  if (next == times_.end()) return place + 0.5;
  const auto before = *std::prev(next);
  return place + static_cast<double>(time - before) / static_cast<double>(*next - before);
}

std::vector<Polyline> StepLines(const ChartView& view, const std::vector<std::size_t>& places,
                                const std::vector<double>& values, const Layout& layout,
                                const Panel& panel, bool breaks_at_phases) {
  struct Open {
    Polyline line;
    double value = 0.0;
    std::size_t place = 0;
    std::int32_t phase = 0;
  };
  std::vector<Polyline> done;
  std::map<std::int32_t, Open> open;
  const auto close = [&](Open& run) {
    if (!run.line.empty()) done.push_back(std::move(run.line));
    run.line.clear();
  };
  const double half = layout.PlaceWidth() / 2.0;
  for (std::size_t i = 0; i < values.size() && i < places.size(); ++i) {
    Open& run = open[view.StreamOf(i)];
    const double value = values[i];
    const auto phase = breaks_at_phases ? view.PhaseOf(i) : 0;
    const bool follows = !run.line.empty() && places[i] == run.place + 1 && phase == run.phase;
    if (!std::isfinite(value) || !follows) close(run);
    if (!std::isfinite(value)) continue;
    const double x = layout.X(places[i]);
    if (run.line.empty() || value != run.value) {
      run.line.emplace_back(x - half, panel.Y(value));
      run.line.emplace_back(x + half, panel.Y(value));
    } else {
      run.line.back().first = x + half;
    }
    run.value = value;
    run.place = places[i];
    run.phase = phase;
  }
  for (auto& [stream, run] : open) close(run);
  return done;
}

}  // namespace orvspc::render
