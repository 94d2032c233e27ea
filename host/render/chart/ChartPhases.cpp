// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartPhases.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

constexpr double kLabelHeight = 9.5, kLabelSpace = 3.0;

bool SameStream(const StreamReport& a, const StreamReport& b) {
  return a.part == b.part && a.process == b.process && a.test == b.test;
}

std::string NameOf(const PhaseView& phase) { return phase.name.empty() ? "(none)" : phase.name; }

// "2024-02-01 00:00", or with days alone.
std::string TimeText(std::int64_t stamp) { return DayText(stamp) + " " + ClockText(stamp); }

// The limits of a graph in a phase, named as headings of numbers.
struct NamedLimit {
  const char* name;
  const std::vector<double>* values;
};
std::vector<NamedLimit> LimitsOf(const GraphView& graph) {
  return {
      {"#LCL", &graph.limits.lower}, {"#CL", &graph.limits.centre}, {"#UCL", &graph.limits.upper}};
}

// Points of a phase, from the first to the last, at which a line has one value as it is written.
struct Level {
  std::size_t first = 0, last = 0;
  std::string text;  // "UCL 12.30"
};

// Those of a line that are as wide as their text and more, each text once.
std::vector<Level> LevelsOf(const ChartView& view, std::size_t phase, const NamedLine& line,
                            const GraphView& graph, double place_width) {
  const auto& of = view.phases[phase];
  const double unit = std::pow(10.0, -graph.decimals);
  const auto text_of = [&](double value) {
    return std::string(line.name) + " " + LineText(line, value, graph);
  };
  const auto is_same = [&](double a, double b) {
    return a == b || (std::abs(a - b) < unit && text_of(a) == text_of(b));
  };
  std::vector<Level> levels;
  double value = kNaN;
  std::size_t first = 0, last = 0;
  const auto end = [&] {
    if (std::isnan(value)) return;
    const double width = place_width * static_cast<double>(last - first + 1);
    if (width < kDigit * 5.0) return;  // no room for any number
    auto text = text_of(value);
    if (width < kDigit * static_cast<double>(Width(text)) + 2.0 * kLabelSpace) return;
    if (std::ranges::find(levels, text, &Level::text) != levels.end()) return;
    levels.push_back({first, last, std::move(text)});
  };
  for (std::size_t i = of.first; i <= of.last && i < line.values.size(); ++i) {
    if (view.PhaseOf(i) != static_cast<std::int32_t>(phase) || !std::isfinite(line.values[i]))
      continue;
    if (!is_same(value, line.values[i])) {
      end();
      value = line.values[i];
      first = i;
    }
    last = i;
  }
  end();
  return levels;
}

// Whether a line, which steps from point to point, runs through a box.
bool Strikes(const std::vector<double>& values, const Box& box, const Layout& layout,
             const Panel& panel) {
  const auto point_at = [&](double x) {
    const double place = std::floor((x - layout.left) / layout.PlaceWidth());
    return static_cast<std::size_t>(std::max(place, 0.0));
  };
  double before = kNaN;
  for (auto i = point_at(box.left); i <= point_at(box.right) && i < values.size(); ++i) {
    const double y = std::isfinite(values[i]) ? panel.Y(values[i]) : kNaN;
    const double from = std::isnan(before) ? y : before;
    if (std::min(from, y) < box.bottom + 1.0 && std::max(from, y) > box.top - 1.0) return true;
    before = y;
  }
  return false;
}

bool Crosses(const Polyline& line, const Box& box) {
  for (std::size_t i = 1; i < line.size(); ++i) {
    const auto [x1, y1] = line[i - 1];
    const auto [x2, y2] = line[i];
    if (std::isnan(y1) || std::isnan(y2) || x2 < box.left || x1 > box.right || x1 == x2) continue;
    const auto at = [&, x1 = x1, x2 = x2, y1 = y1, y2 = y2](double x) {
      return y1 + (y2 - y1) * (std::clamp(x, x1, x2) - x1) / (x2 - x1);
    };
    const double a = at(box.left), b = at(box.right);
    if (std::max(a, b) > box.top && std::min(a, b) < box.bottom) return true;
  }
  return false;
}

// Point by point: a row may take over inside a phase.
std::vector<bool> OlderLimits(const ChartDocument& document) {
  std::vector<bool> older(document.limit_rows.size());
  for (std::size_t i = 0; i < older.size(); ++i) {
    const auto& phase = document.phases[static_cast<std::size_t>(document.phase_of[i])].phase;
    const auto row = document.limit_rows[i];
    if (row < 0 || phase.id == 0 || !phase.Counts()) continue;
    const auto& limits = document.chart.ctrl_lims.at(static_cast<std::size_t>(row));
    older[i] = platform::DateToTimeStamp(NumberOf(limits, "F_EFTM")) < phase.start;
  }
  return std::ranges::find(older, true) == older.end() ? std::vector<bool>() : older;
}

}  // namespace

void AddPhases(ChartView& view, const ChartDocument& document) {
  if (document.excluded.size() == view.Count()) view.excluded = document.excluded;
  if (document.phase_of.size() != view.Count()) return;
  view.phase_of = document.phase_of;
  if (document.limit_rows.size() == view.Count()) view.older_limits = OlderLimits(document);
  for (std::size_t p = 0; p < document.phases.size(); ++p) {
    const auto& read = document.phases[p];
    auto& made = view.phases.emplace_back();
    made.name = PlainText(read.phase.name);
    made.kind = read.phase.id == 0 ? "" : std::string(WordOf(read.phase.kind));
    made.is_excluded = read.phase.id != 0 && !read.phase.Counts();
    made.subgroups = static_cast<std::size_t>(read.subgroups);
    made.used = static_cast<std::size_t>(read.used);
    made.mean = read.estimates.mean;
    made.sp = read.estimates.sp;
    made.sp.name = EstimatorText(made.sp.name);
    const auto first = std::ranges::find(view.phase_of, static_cast<std::int32_t>(p));
    if (first == view.phase_of.end()) continue;
    made.first = static_cast<std::size_t>(first - view.phase_of.begin());
    made.stream = view.StreamOf(made.first);
    for (std::size_t i = made.first; i < view.Count(); ++i)
      if (view.PhaseOf(i) == static_cast<std::int32_t>(p)) made.last = i;
  }
  if (!view.excluded.empty()) return;
  for (std::size_t i = 0; i < view.Count(); ++i)
    view.excluded.push_back(view.phases[static_cast<std::size_t>(view.PhaseOf(i))].is_excluded);
}

std::optional<std::size_t> NewestIn(const ChartView& view, std::size_t phase,
                                    const std::vector<double>& line) {
  const auto& of = view.phases[phase];
  for (std::size_t i = of.last + 1; i-- > of.first;)
    if (view.PhaseOf(i) == static_cast<std::int32_t>(phase) && i < line.size() &&
        std::isfinite(line[i]))
      return i;
  return std::nullopt;
}

std::vector<std::pair<std::size_t, std::size_t>> PhaseBorders(
    const ChartView& view, const std::vector<std::size_t>& places) {
  std::vector<std::pair<std::size_t, std::size_t>> borders;
  for (std::size_t p = 1; p < view.phases.size(); ++p) {
    const auto& phase = view.phases[p];
    if (phase.stream == view.phases[p - 1].stream && places[phase.first] > 0)
      borders.emplace_back(places[phase.first], p);
  }
  return borders;
}

PhaseLabels PlacePhaseLabels(const ChartView& view, const GraphView& graph,
                             const std::vector<std::size_t>& places, std::vector<Box>& taken,
                             const std::vector<std::pair<double, double>>& points,
                             const std::vector<Polyline>& lines, const Layout& layout,
                             const Panel& panel) {
  PhaseLabels placed;
  if (view.phases.size() < 2) return placed;
  placed.all =
      view.phases.size() <= kLabelledPhases && view.stream_views.size() <= 1 && view.groups.empty();
  if (!placed.all) return placed;
  constexpr double kRadius = 4.5, kStep = 12.0;
  const auto all_lines = LinesOf(graph);
  for (std::size_t p = 0; p < view.phases.size(); ++p) {
    const bool is_last = p + 1 == view.phases.size();
    for (const auto& limit : all_lines) {
      if (limit.specification) continue;
      const auto newest = NewestIn(view, p, limit.values);
      if (!newest) continue;
      const auto newest_text =
          std::string(limit.name) + " " + LineText(limit, limit.values[*newest], graph);
      bool has_newest = is_last;  // at the right edge
      for (const auto& level : LevelsOf(view, p, limit, graph, layout.PlaceWidth())) {
        const bool is_newest = level.text == newest_text;
        if (is_last && is_newest) continue;
        const double half = layout.PlaceWidth() / 2.0, y = panel.Y(limit.values[level.first]);
        const double left = layout.X(places[level.first]) - half + kLabelSpace;
        const double right = layout.X(places[level.last]) + half - kLabelSpace;
        const double width = kDigit * static_cast<double>(Width(level.text));
        const auto free = [&](const Box& box) {
          const bool inside = box.left >= left && box.right <= right && box.top > panel.top + 1.0 &&
                              box.bottom < panel.bottom - 1.0;
          const auto meets_point = [&](const auto& point) {
            return point.first > box.left - kRadius && point.first < box.right + kRadius &&
                   point.second > box.top - kRadius && point.second < box.bottom + kRadius;
          };
          const auto meets = [&](const Box& other) { return box.Meets(other); };
          const auto strikes = [&](const NamedLine& line) {
            return Strikes(line.values, box, layout, panel);
          };
          const auto crosses = [&](const Polyline& line) { return Crosses(line, box); };
          return inside && std::ranges::none_of(taken, meets) &&
                 std::ranges::none_of(all_lines, strikes) &&
                 std::ranges::none_of(points, meets_point) && std::ranges::none_of(lines, crosses);
        };
        // Limits outside of the points have more room beyond them than between.
        const bool above_first = &limit.values != &graph.limits.lower;
        const double room = right - left - width;
        const double steps = std::max(1.0, std::floor(room / kStep));
        std::optional<Box> found;
        for (const bool above : {above_first, !above_first}) {
          const double top = above ? y - kLabelSpace - kLabelHeight : y + kLabelSpace;
          for (double s = 0.0; !found && s <= steps; ++s) {
            const double x = left + room * s / steps;
            const Box box{x, top, x + width, top + kLabelHeight};
            if (free(box)) found = box;
          }
        }
        if (!found) continue;
        has_newest = has_newest || is_newest;
        taken.push_back(*found);
        const bool centre = &limit.values == &graph.limits.centre;
        placed.labels.push_back({*found, level.text, centre ? "s" : "s ll"});
      }
      if (!has_newest) placed.all = false;
    }
  }
  return placed;
}

Table PhaseTable(const ChartView& view, bool with_estimates) {
  Table table{"Phases", {}, {}};
  const bool several = view.stream_views.size() > 1;
  for (std::size_t p = 0; p < view.phases.size(); ++p) {
    const auto& phase = view.phases[p];
    for (std::size_t g = 0; g < view.graphs.size(); ++g) {
      const auto& graph = view.graphs[g];
      std::vector<std::string> row;
      const auto cell = [&](const char* heading, const std::string& text) {
        if (table.rows.empty()) table.headings.emplace_back(heading);
        row.push_back(text);
      };
      const auto first = [&](const char* heading, const std::string& text) {
        cell(heading, g == 0 ? text : "");
      };
      const auto figure = [](double value) {
        return std::isfinite(value) ? Significant(value, 6) : std::string();
      };
      if (several) first("stream", view.stream_views[static_cast<std::size_t>(phase.stream)].name);
      const bool plain = phase.kind.empty() || phase.kind == "stage";
      first("phase", NameOf(phase) + (plain ? "" : ", " + phase.kind));
      first("@from", TimeText(view.stamps[phase.first]));
      if (with_estimates) first("@to", TimeText(view.stamps[phase.last]));
      first("#subgroups", std::to_string(phase.subgroups));
      if (with_estimates) {
        first("#used", std::to_string(phase.used));
        first("#mean", figure(phase.mean.value));
        first("#sigma", figure(phase.sp.value));
        first("estimator", phase.sp.name);
      }
      cell("graph", graph.symbol);
      for (const auto& [name, values] : LimitsOf(graph)) {
        const auto newest = NewestIn(view, p, *values);
        cell(name, newest ? Fixed((*values)[*newest], graph.decimals) : "");
      }
      table.rows.push_back(std::move(row));
    }
  }
  return table;
}

std::vector<std::string> PhaseLines(const ChartView& view) {
  std::vector<std::string> lines;
  for (std::size_t p = 0; p < view.phases.size(); ++p) {
    const auto& phase = view.phases[p];
    std::string text = NameOf(phase) + ", " + Counted(phase.subgroups, "subgroup");
    if (view.stream_views.size() > 1)
      text = StreamLetter(static_cast<std::size_t>(phase.stream)) + "  " + text;
    const char* separator = ": ";
    for (const auto& graph : view.graphs) {
      std::string limits;
      for (const auto& limit : LimitsOf(graph)) {
        const auto newest = NewestIn(view, p, *limit.values);
        if (!newest) continue;
        limits += fmt::format("{} {} {}", limits.empty() ? "" : ",", limit.name + 1,
                              Fixed((*limit.values)[*newest], graph.decimals));
      }
      if (limits.empty()) continue;
      text += separator + graph.symbol + limits;
      separator = "; ";
    }
    lines.push_back(text);
  }
  return lines;
}

void WritePhases(JsonWriter& json, const ChartDocument& document, const StreamReport& stream) {
  if (document.phases.empty()) return;
  std::vector<std::size_t> numbers;
  for (std::size_t p = 0; p < document.phases.size(); ++p)
    if (SameStream(document.phases[p].estimates, stream)) numbers.push_back(p);
  json.Objects("Phases", numbers, [&](std::size_t number) {
    const auto& report = document.phases[number];
    const auto& phase = report.phase;
    const bool given = phase.id != 0;
    json.MemberIf(given, "ID", phase.id);
    json.MemberIf(given, "Name", phase.name);
    json.MemberIf(given, "Kind", WordOf(phase.kind));
    json.MemberIf(given, "Start", IsoTime(phase.start));
    json.MemberIf(phase.finish.has_value(), "End", IsoTime(phase.finish.value_or(0)));
    json.MemberIf(given, "Reason", phase.reason);
    json.MemberIf(phase.freeze_after != 0, "FreezeAfter", phase.freeze_after);
    std::size_t first = document.phase_of.size(), last = 0;
    for (std::size_t i = 0; i < document.phase_of.size(); ++i) {
      if (document.phase_of[i] != static_cast<std::int32_t>(number)) continue;
      first = std::min(first, i);
      last = i;
    }
    json.Members("First", first, "Last", last, "Subgroups", report.subgroups, "Used", report.used,
                 "OlderLimits", report.has_older_limits);
    WriteEstimate(json, "Mean", report.estimates.mean);
    WriteEstimate(json, "SP", report.estimates.sp);
    WriteEstimate(json, "SW", report.estimates.sw);
    if (!report.estimates.gamma.name.empty()) WriteEstimate(json, "Gamma", report.estimates.gamma);
    json.Member("AverageSize", report.estimates.average_size);
    // At the newest point of the phase.
    json.Objects("Limits", document.chart.graphs, [&](const GraphRead& graph) {
      json.Member("Graph", graph.index);
      ForEachArray([&](const char* all, auto array, auto) {
        if constexpr (std::is_same_v<decltype(array), std::vector<double> GraphRead::*>) {
          const std::string_view name = all;
          if (!name.ends_with("CLs") && !name.ends_with("Cls")) return;
          const auto& values = graph.*array;
          std::string key(name.substr(0, name.size() - 1));
          if (key == "Cl") key = "CL";
          if (last < values.size()) json.Member(key, values[last]);
        }
      });
    });
  });
}

void WriteProvisional(JsonWriter& json, const ChartDocument& document, const StreamReport& stream) {
  std::vector<const ProvisionalLimits*> own;
  for (const auto& each : document.provisional)
    if (each.part == stream.part && each.process == stream.process && each.test == stream.test)
      own.push_back(&each);
  if (own.empty()) return;
  json.Objects("Provisional", own, [&](const ProvisionalLimits* limits) {
    json.Members("ID", limits->limit, "Effective", IsoTime(limits->effective), "Used", limits->used,
                 "Needed", limits->needed);
    // At the newest point.
    json.Objects("Limits", limits->lines, [&](const ProvisionalLimits::Lines& lines) {
      const auto newest = [](const std::vector<double>& values) {
        const auto found = std::ranges::find_if(values.rbegin(), values.rend(),
                                                [](double value) { return std::isfinite(value); });
        return found == values.rend() ? std::nan("") : *found;
      };
      json.Members("Graph", lines.graph, "UCL", newest(lines.upper), "CL", newest(lines.centre),
                   "LCL", newest(lines.lower));
    });
  });
}

}  // namespace orvspc::render
