// SPDX-License-Identifier: Apache-2.0
#include "host/cli/ComplianceCommand.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <ostream>
#include <tuple>
#include <utility>

#include "engine/store/Catalogue.h"
#include "engine/store/calendar.h"
#include "host/cli/Selection.h"
#include "host/render/Numbers.h"
#include "platform/TimeStamp.h"
#include "summary/SCAnalysis.h"

namespace orvspc::host {

namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::size_t kMostShifts = 200;
constexpr const char* kUsualShifts = "06:00 14:00 22:00";

std::shared_ptr<SCResults> Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                                   const std::shared_ptr<DataSelect>& select) {
  auto results = SCAnalysis().AnalyzeDataSelect(database, select);
  CheckEngine(*database);
  return results;
}

struct Period {
  std::int64_t start = 0, end = 0;
};

// From the first stay to the end of the last one.
Period RangeOf(const std::vector<ComplianceRow>& rows) {
  Period range{INT64_MAX, INT64_MIN};
  for (const auto& row : rows) {
    if (row.result_type != kDetail) continue;
    range.start = std::min(range.start, row.start);
    range.end = std::max(range.end, row.start + std::int64_t{std::llround(row.duration * 60.0)});
  }
  return range;
}

struct Shift {
  std::int64_t nominal = 0;  // when it begins, in or before the range
  Period period;             // as far as it lies in the range
};

std::vector<Shift> ShiftsIn(const Period& range, const std::vector<std::int32_t>& starts,
                            std::int64_t offset) {
  std::vector<std::int64_t> bounds;
  const std::int64_t first = (range.start + offset) / kDay * kDay - kDay - offset;
  for (std::int64_t day = first; day < range.end + kDay; day += kDay)
    for (const std::int32_t time : starts) bounds.push_back(day + time);
  std::vector<Shift> shifts;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i)
    if (bounds[i] < range.end && bounds[i + 1] > range.start)
      shifts.push_back(
          {bounds[i], {std::max(bounds[i], range.start), std::min(bounds[i + 1], range.end)}});
  return shifts;
}

// Counts of one requirement, by process and what else tells rows apart.
using Key = std::tuple<std::string, std::string, std::string, std::string>;
using Counts = std::map<Key, SampleCount>;

Counts ByRequirement(const std::vector<ComplianceRow>& rows) {
  Counts counts;
  for (const auto& row : rows)
    if (row.result_type == kDetail)
      counts[{row.process, row.requirement, row.part, row.test}].Add(
          {row.expected, row.collected, row.missed});
  return counts;
}

// What the same range gives when it ends earlier.
Counts CountsUntil(const std::shared_ptr<EmbeddedDatabase>& database, const DataSelect& select,
                   const Period& range) {
  const auto part = select.Clone();
  part->DateRangeTimeType(drttStatic);
  part->DateRangeStart(platform::TimeStampToDate(static_cast<std::int32_t>(range.start)));
  part->DateRangeEnd(platform::TimeStampToDate(static_cast<std::int32_t>(range.end - 1)));
  return ByRequirement(ReadCompliance(*Analyse(database, part)));
}

// A sample that comes later than its shift counts where it was asked for: the rest of a lot, or
// what a grace allows. What a shift has beyond its own goes back to the nearest one that lacks it.
void CountWhereAsked(std::vector<SampleCount>& shifts) {
  for (std::size_t i = 0; i < shifts.size(); ++i)
    for (std::size_t back = i; back-- > 0 && shifts[i].missed < 0;) {
      const std::int64_t moved = std::min(-shifts[i].missed, shifts[back].missed);
      if (moved <= 0) continue;
      shifts[i].missed += moved;
      shifts[i].collected -= moved;
      shifts[back].missed -= moved;
      shifts[back].collected += moved;
    }
}

// Rows of an analysis belong to stays in a state, which may last for days. What fell due in one
// shift is the difference between the range that ends with it and the range that ends before it, so
// that the shifts add up to the whole.
void AddShifts(const std::shared_ptr<EmbeddedDatabase>& database, const DataSelect& select,
               ComplianceDocument& document) {
  const Period range = RangeOf(document.rows);
  if (range.start >= range.end) return;
  const auto settings = engine::ListSettings(*database);
  const auto setting = [&](const char* key, const char* fallback) {
    const auto found = settings.find(key);
    return found == settings.end() ? std::string(fallback) : found->second;
  };
  const std::int64_t offset = engine::ZoneOffset(setting("time_zone", "UTC")).value_or(0);
  const auto starts = engine::ParseTimesOfDay(setting("shift_starts", kUsualShifts));
  auto shifts = ShiftsIn(range, starts.value_or(std::vector<std::int32_t>{0}), offset);
  if (shifts.size() > kMostShifts) shifts = ShiftsIn(range, {0}, offset);
  if (shifts.size() > kMostShifts) {
    document.notes.push_back({"no-shifts",
                              "The range is too long for a map of shifts; --since and --until "
                              "make it shorter.",
                              ""});
    return;
  }
  const Counts whole = ByRequirement(document.rows);
  std::map<Key, std::vector<SampleCount>> due;
  Counts before;
  for (std::size_t i = 0; i < shifts.size(); ++i) {
    Counts until = i + 1 == shifts.size()
                       ? whole
                       : CountsUntil(database, select, {range.start, shifts[i].period.end});
    for (const auto& [key, all] : whole) {
      const SampleCount &now = until[key], &earlier = before[key];
      due[key].push_back({now.expected - earlier.expected, now.collected - earlier.collected,
                          now.missed - earlier.missed});
    }
    before = std::move(until);
  }
  std::map<std::string, std::vector<SampleCount>> processes;
  for (auto& [key, counts] : due) {
    CountWhereAsked(counts);
    auto& sums = processes[std::get<0>(key)];
    sums.resize(shifts.size());
    for (std::size_t i = 0; i < shifts.size(); ++i) sums[i].Add(counts[i]);
  }
  for (const auto& [process, counts] : processes)
    for (std::size_t i = 0; i < shifts.size(); ++i) {
      const Shift& shift = shifts[i];
      document.shifts.push_back({process, DayText(shift.nominal + offset),
                                 ClockText(shift.nominal + offset), shift.period.start,
                                 shift.period.end, counts[i]});
    }
  // Each of these analyses told the same again.
  NotesRead();
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "svg", "html"});
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, std::numeric_limits<std::int32_t>::max());
  select->IncludeDefectTests(true);
  select->IncludeDefectiveTests(true);
  const ComplianceDocument document = RunCompliance(database, select);
  if (document.rows.empty() && format != "text") console.err << kNoData << "\n";
  Deliver(arguments, console, ComplianceText(document, format, console));
  return 0;
}

}  // namespace

ComplianceDocument RunCompliance(const std::shared_ptr<EmbeddedDatabase>& database,
                                 const std::shared_ptr<DataSelect>& select) {
  ComplianceDocument document;
  NotesRead();  // those of earlier calls are not this analysis's
  const auto results = Analyse(database, select);
  document.notes = NotesRead();
  document.select = results->DataSelect();
  document.rows = ReadCompliance(*results);
  AddShifts(database, *select, document);
  return document;
}

std::string ComplianceText(const ComplianceDocument& document, const std::string& format,
                           const Console& console) {
  if (format == "json") return ComplianceJson(document);
  const ComplianceView view = MakeComplianceView(document);
  if (format == "svg") return RenderComplianceSvg(view);
  if (format == "html") return RenderComplianceHtml(view);
  return RenderComplianceText(view, {console.columns, false});
}

Command ComplianceCommand() {
  Command command;
  command.name = "compliance";
  command.synopsis = "--db FILE [OPTIONS]";
  command.summary = "How many of the required samples were taken, by requirement, shift and day";
  command.details =
      "Requirements are imported (orvspc import FILE --kind requirements) and ask for samples\n"
      "while their process runs. --max bounds nothing here.\n"
      "Formats: text, json, svg, html.\n";
  command.example =
      "orvspc compliance --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html";
  command.options = SelectionOptions();
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
