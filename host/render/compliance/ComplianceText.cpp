// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>

#include "host/render/compliance/Compliance.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMaxWorst = 15;

// A row of a table whose last four columns are counts.
std::vector<std::string> RowOf(std::vector<std::string> texts, const SampleCount& count) {
  for (const auto number : {count.expected, count.collected, count.missed})
    texts.push_back(std::to_string(number));
  texts.push_back(Fixed(count.Percent(), 1));
  return texts;
}

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

Table RequirementsTable(const ComplianceView& view) {
  Table table{
      "",
      {"process", "part", "test", "requirement", "#expected", "#collected", "#missed", "#percent"},
      {}};
  for (const auto& line : view.requirements) table.rows.push_back(RowOf(line.texts, line.count));
  return table;
}

std::string RenderComplianceText(const ComplianceView& view, const TextOptions& options) {
  TextWriter out(options);
  if (view.Empty()) {
    out.Line("no data selected");
  } else {
    out.Head(view);
    out.Blank();
    out.Write(RequirementsTable(view));
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
  Page page(view, ComplianceScene(view, true));
  WriteSamples(page, view);
  WriteValues(page, view);
  return page.Text();
}

}  // namespace orvspc::render
