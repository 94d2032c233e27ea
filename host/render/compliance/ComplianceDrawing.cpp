// SPDX-License-Identifier: Apache-2.0
#include "host/render/compliance/Compliance.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <vector>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

// The fewer samples were taken, the darker; numbers in the cells say the same without colours.
struct Step {
  double from;  // percent
  const char* style;
  const char* text;
};
constexpr Step kSteps[] = {{100.0, "h1", "all"},
                           {90.0, "h2", "90 % and more"},
                           {75.0, "h3", "75 %"},
                           {50.0, "h4", "50 %"},
                           {-1.0, "h5", "less"}};

const Step& StepOf(double percent) {
  return *std::find_if(std::begin(kSteps), std::end(kSteps) - 1,
                       [percent](const Step& step) { return percent >= step.from; });
}

constexpr std::size_t kMaxLines = 30;  // requirements
constexpr std::size_t kMaxMaps = 16, kMaxDays = 100;

// A row of a table whose last four columns are counts.
std::vector<std::string> RowOf(std::vector<std::string> texts, const SampleCount& count) {
  for (const auto number : {count.expected, count.collected, count.missed})
    texts.push_back(std::to_string(number));
  texts.push_back(Fixed(count.Percent(), 1));
  return texts;
}

// Four texts and four counts for each requirement.
Table RequirementsTable(const ComplianceView& view) {
  Table table{
      "",
      {"process", "part", "test", "requirement", "#expected", "#collected", "#missed", "#percent"},
      {}};
  for (const auto& line : view.requirements) table.rows.push_back(RowOf(line.texts, line.count));
  return table;
}

Table PhasesTable(const ComplianceView& view) {
  Table table{"Samples by phase", {"phase", "#expected", "#collected", "#missed", "#percent"}, {}};
  for (const auto& each : view.phases)
    table.rows.push_back(RowOf({each.phase.empty() ? "(none)" : each.phase}, each.count));
  return table;
}

// The requirements as a table with bars, and a map of shifts by days for each process.
class Picture {
 public:
  Picture(const ComplianceView& view, bool embedded)
      : view_(view), scene_(view, embedded, "compliance") {}

  Scene Draw() {
    double y = scene_.embedded ? 10.0 : 62.0;
    if (view_.Empty()) {
      scene_.NoData(y + 14);
      y += 40.0;
    } else {
      y = Rows(RequirementsTable(view_), CountsOf(view_.requirements), y + 4.0);
      // A page has them as a table.
      if (!view_.phases.empty() && !scene_.embedded)
        y = Rows(PhasesTable(view_), CountsOf(view_.phases), y + 30.0);
      const std::size_t maps = view_.maps.size(), days = maps == 0 ? 0 : view_.maps[0].days.size();
      for (std::size_t m = 0; m < maps && m < kMaxMaps; ++m) y = Map(view_.maps[m], y + 30.0);
      if (maps != 0) y = Legend(y + 20.0);
      // What the maps leave out, so that the picture can be drawn.
      const auto line = [&](const std::string& text) {
        y += 18.0;
        scene_.Text(14, y, "s", Anchor::Start, text);
      };
      if (days > kMaxDays)
        line(fmt::format("the newest {} of {} days; a range of time shows others", kMaxDays, days));
      if (maps > kMaxMaps)
        line(fmt::format("and {}; a selection shows {}",
                         Counted(maps - kMaxMaps, "more process", "more processes"),
                         maps - kMaxMaps == 1 ? "it" : "them"));
    }
    scene_.height = (scene_.embedded ? y : scene_.Notes(y + 21.0) - 15.0) + 8.0;
    return std::move(scene_);
  }

 private:
  // Places of the texts and of the end of the last, wide enough for what they hold as far as there
  // is room.
  static std::vector<double> TextPlaces(const Table& table, std::size_t texts) {
    constexpr double kFirst = 14.0, kRoom = 582.0;
    std::vector<double> widths(texts);
    for (std::size_t c = 0; c < texts; ++c) {
      widths[c] = WidthOf(table.headings[c]) + 18.0;
      for (const auto& row : table.rows) widths[c] = std::max(widths[c], WidthOf(row[c]) + 18.0);
    }
    double sum = std::accumulate(widths.begin(), widths.end(), 0.0);
    for (; sum > kRoom; --sum) --*std::max_element(widths.begin(), widths.end());
    std::vector<double> places{kFirst};
    for (const double width : widths) places.push_back(places.back() + width);
    return places;
  }

  // A table whose last four columns are the counts, with a bar for each row.
  double Rows(const Table& table, const std::vector<SampleCount>& counts, double y) {
    constexpr double kNumbers[] = {650, 720, 780, 846};
    const std::size_t texts = table.headings.size() - std::size(kNumbers);
    const auto places = TextPlaces(table, texts);
    for (std::size_t c = 0; c < std::size(kNumbers); ++c) {
      if (c < texts) scene_.Text(places[c], y, "th", Anchor::Start, table.headings[c]);
      scene_.Text(kNumbers[c], y, "th", Anchor::End, table.headings[texts + c].substr(1));
    }
    y += 6.0;
    scene_.Line(14, y, 986, y, "tick");
    const std::size_t shown = std::min(table.rows.size(), kMaxLines);
    for (std::size_t i = 0; i < shown; ++i) {
      const auto& row = table.rows[i];
      y += 18.0;
      for (std::size_t c = 0; c < std::size(kNumbers); ++c) {
        if (c < texts)
          scene_.Text(places[c], y - 4, "", Anchor::Start,
                      FittingText(row[c], places[c + 1] - places[c] - 10.0));
        scene_.Text(kNumbers[c], y - 4, "", Anchor::End, row[texts + c]);
      }
      const SampleCount& count = counts[i];
      if (count.expected != 0) {
        scene_.Rectangle(860, y - 13, 126, 10, "not");
        scene_.Rectangle(860, y - 13, 126 * (std::clamp(count.Percent(), 0.0, 100.0) / 100.0), 10,
                         "got", CountText(count));
      }
      scene_.Line(14, y, 986, y, "grid");
    }
    if (shown < table.rows.size()) {
      y += 16.0;
      scene_.Text(14, y - 2, "s", Anchor::Start,
                  "and " + std::to_string(table.rows.size() - shown) + " more");
    }
    return y;
  }

  template <class Line>
  static std::vector<SampleCount> CountsOf(const std::vector<Line>& lines) {
    std::vector<SampleCount> counts;
    for (const auto& line : lines) counts.push_back(line.count);
    return counts;
  }

  double Map(const HeatMap& map, double y) {
    constexpr double kLeft = 70.0, kHeight = 24.0;
    scene_.Text(14, y, "t", Anchor::Start, FittingText(map.process, 900.0));
    y += 20.0;
    const std::size_t days = std::min(map.days.size(), kMaxDays), first = map.days.size() - days;
    const double width =
        std::min((986.0 - kLeft) / static_cast<double>(std::max<std::size_t>(days, 1)), 96.0);
    const std::size_t step = LabelStep(days, width, 5 * kDigit + 8.0);
    for (std::size_t day = 0; day < days; day += step) {
      const std::string& text = map.days[first + day];
      // The year where there is room for it.
      const bool whole = width * static_cast<double>(step) > 10 * kDigit + 8.0;
      scene_.Text(kLeft + width * (static_cast<double>(day) + 0.5), y, "s", Anchor::Middle,
                  whole || text.size() < 10 ? text : text.substr(5));
    }
    y += 5.0;
    for (std::size_t shift = 0; shift < map.shifts.size(); ++shift, y += kHeight) {
      scene_.Text(kLeft - 8, y + kHeight / 2 + 4, "s", Anchor::End, map.shifts[shift]);
      for (std::size_t day = 0; day < days; ++day)
        Cell(map, shift, first + day, kLeft + width * static_cast<double>(day), y, width, kHeight);
    }
    return y;
  }

  void Cell(const HeatMap& map, std::size_t shift, std::size_t day, double x, double y,
            double width, double height) {
    const auto& cell = map.At(shift, day);
    const std::string where = map.process + ", " + map.days[day] + " from " + map.shifts[shift];
    if (!cell || cell->expected == 0) {
      scene_.Rectangle(x + 0.5, y + 0.5, width - 1, height - 1, "h0", where + ": nothing expected");
      return;
    }
    const Step& step = StepOf(cell->Percent());
    scene_.Rectangle(x, y, width, height, step.style, where + ": " + CountText(*cell));
    const std::string text = Fixed(cell->Percent(), 0);
    if (kDigit * static_cast<double>(text.size()) + 4.0 > width) return;
    const bool dark = step.from < 75.0;
    scene_.Text(x + width / 2, y + height / 2 + 4, dark ? "v" : "", Anchor::Middle, text);
  }

  double Legend(double y) {
    double x = 14.0;
    const auto entry = [&](const char* style, const std::string& text) {
      scene_.Rectangle(x, y - 10, 16, 12, style);
      scene_.Text(x + 22, y, "s", Anchor::Start, text);
      x += 40.0 + WidthOf(text);
    };
    scene_.Text(x, y, "s", Anchor::Start, "percent collected of what fell due in the shift:");
    x += 300.0;
    for (const auto& step : kSteps) entry(step.style, step.text);
    entry("h0", "nothing expected");
    return y + 4.0;
  }

  const ComplianceView& view_;
  Scene scene_;
};

constexpr std::size_t kMaxWorst = 15;

// As many days at once as the line has room for.
void WriteShifts(TextWriter& out, const HeatMap& map) {
  constexpr std::size_t kDay = 7, kShift = 8;
  const std::size_t at_once = (out.Columns() - kShift) / kDay;
  out.Blank();
  out.Line(map.process);
  for (std::size_t first = 0; first < map.days.size(); first += at_once) {
    const std::size_t last = std::min(first + at_once, map.days.size());
    std::string line(kShift, ' ');
    // Month and day; the subtitle has the year.
    for (std::size_t day = first; day < last; ++day)
      line += Padded(map.days[day].substr(map.days[day].size() - 5), kDay, true);
    out.Line(line);
    for (std::size_t shift = 0; shift < map.shifts.size(); ++shift) {
      line = Padded(map.shifts[shift], kShift);
      for (std::size_t day = first; day < last; ++day) {
        const auto& cell = map.At(shift, day);
        line += Padded(!cell                 ? ""
                       : cell->expected == 0 ? "--"
                                             : Fixed(cell->Percent(), 0),
                       kDay, true);
      }
      out.Line(line);
    }
  }
}

void WriteWorst(TextWriter& out, const ComplianceView& view) {
  std::vector<const ComplianceRow*> lines;
  for (const auto& line : view.lines)
    if (line.count.missed > 0) lines.push_back(&line);
  out.Blank();
  if (lines.empty()) return out.Line("no sample was missed");
  std::stable_sort(lines.begin(), lines.end(),
                   [](const auto* a, const auto* b) { return a->count.missed > b->count.missed; });
  std::string title = "where most samples were missed";
  if (lines.size() > kMaxWorst) {
    title += " (" + std::to_string(kMaxWorst) + " of " + std::to_string(lines.size()) + ")";
    lines.resize(kMaxWorst);
  }
  Table table{title,
              {"@from (UTC)", "process", "state", "requirement", "#expected", "#collected",
               "#missed", "#percent"},
              {}};
  for (const auto* line : lines)
    table.rows.push_back(
        RowOf({IsoTime(line->start).substr(0, 16), line->process, line->state, line->requirement},
              line->count));
  out.Write(table);
}

constexpr std::size_t kMaxRows = 1000;

void WriteSamples(Page& page, const ComplianceView& view) {
  Table table{"Samples in each stay",
              {"@from (UTC)", "#minutes", "process", "part", "test", "state", "requirement",
               "#expected", "#collected", "#missed", "#percent"}};
  for (std::size_t i = 0; i < view.lines.size() && i < kMaxRows; ++i) {
    const auto& line = view.lines[i];
    table.rows.push_back(RowOf({IsoTime(line.start), Fixed(line.duration, 1), line.process,
                                line.part, line.test, line.state, line.requirement},
                               line.count));
    if (line.count.expected == 0) table.rows.back().back().clear();
  }
  page.Write(table, view.lines.size() - table.rows.size());
}

void WriteValues(Page& page, const ComplianceView& view) {
  Table table{"Values in each stay",
              {"@from (UTC)", "process", "part", "test", "#values", "#least", "#mean", "#most",
               "#deviation", "#Pp", "#Ppk", "#% out of specification"}};
  std::size_t all = 0;
  const auto figure = [](double value, int digits) {
    return std::isfinite(value) ? Significant(value, digits) : std::string();
  };
  for (const auto& line : view.lines) {
    if (line.test_count == 0 || ++all > kMaxRows) continue;
    table.rows.push_back(
        {IsoTime(line.start), line.process, line.part, line.test, std::to_string(line.test_count),
         figure(line.minimum, 8), figure(line.average, 8), figure(line.maximum, 8),
         figure(line.deviation, 6), figure(line.pp, 4), figure(line.ppk, 4), figure(line.oos, 4)});
  }
  page.Write(table, all - table.rows.size());
}

}  // namespace

std::string RenderComplianceSvg(const ComplianceView& view, bool embedded) {
  return WriteSvg(Picture(view, embedded).Draw());
}

std::string RenderComplianceText(const ComplianceView& view, const TextOptions& options) {
  TextWriter out(options);
  if (view.Empty()) {
    out.Line("no data selected");
  } else {
    out.Head(view);
    out.Section(RequirementsTable(view));
    if (!view.phases.empty()) out.Section(PhasesTable(view));
    for (const auto& map : view.maps) WriteShifts(out, map);
    if (!view.maps.empty()) {
      out.Blank();
      out.Line("percent collected of what fell due in each shift; -- nothing expected");
    }
    WriteWorst(out, view);
  }
  out.Notes(view);
  return out.Take();
}

std::string RenderComplianceHtml(const ComplianceView& view) {
  Page page(view, Picture(view, true).Draw());
  if (!view.phases.empty()) page.Write(PhasesTable(view));
  WriteSamples(page, view);
  WriteValues(page, view);
  return page.Text();
}

}  // namespace orvspc::render
