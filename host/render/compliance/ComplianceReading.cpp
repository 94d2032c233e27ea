// SPDX-License-Identifier: Apache-2.0
#include "host/render/compliance/ComplianceReading.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// The engine writes 0 where a figure cannot be worked out; which those are follows from the others.
void TakeAwayUndefined(ComplianceRow& row) {
  if (row.test_count < 2) row.deviation = kNaN;
  // With one limit PP is the index of that side.
  if (!(row.deviation > 0.0) || (std::isnan(row.above_usl) && std::isnan(row.below_lsl)))
    row.pp = row.ppk = kNaN;
}

void WriteRow(JsonWriter& json, const ComplianceRow& row) {
  json.Members("ResultType", row.result_type, "Part", row.part, "Process", row.process, "Test",
               row.test, "StateType", row.state_type, "State", row.state, "SmplReq",
               row.requirement);
  if (row.result_type == kDetail) {
    json.Member("StartTime", IsoTime(row.start));
  } else {
    json.NullMember("StartTime");
  }
  json.Members("Duration", row.duration, "SamplesCollected", row.collected, "SamplesMissed",
               row.missed, "SamplesExpected", row.expected, "PercentComplete", row.percent_complete,
               "TestCount", row.test_count, "MinimumValue", row.minimum, "MaximumValue",
               row.maximum, "AverageValue", row.average, "StandardDeviation", row.deviation, "PP",
               row.pp, "PPK", row.ppk, "PercentAboveUSL", row.above_usl, "PercentBelowLSL",
               row.below_lsl, "PercentOOS", row.oos, "PPM", row.ppm, "PercentAboveLSC",
               row.above_lsc, "PercentBelowLSC", row.below_lsc, "PercentBelowMAVL", row.below_mavl,
               "PercentBelowT1L", row.below_t1l, "PercentBelowT2L", row.below_t2l,
               "PercentAboveMAVU", row.above_mavu, "PercentAboveT1U", row.above_t1u,
               "PercentAboveT2U", row.above_t2u);
}

SampleCount CountOf(const ComplianceRow& row) { return {row.expected, row.collected, row.missed}; }

std::vector<RequirementLine> Requirements(const std::vector<ComplianceRow>& rows) {
  std::vector<RequirementLine> lines;
  std::map<std::tuple<std::string, std::string, std::string, std::string>, std::size_t> places;
  for (const auto& row : rows) {
    if (row.result_type != kDetail) continue;
    const auto key = std::tuple(row.process, row.part, row.test, row.requirement);
    const auto [found, is_new] = places.try_emplace(key, lines.size());
    if (is_new)
      lines.push_back({PlainText(row.process),
                       PlainText(row.part),
                       PlainText(row.test),
                       row.requirement.empty() ? "(no requirement)" : PlainText(row.requirement),
                       {}});
    lines[found->second].count.Add(CountOf(row));
  }
  return lines;
}

std::vector<HeatMap> HeatMaps(const std::vector<ShiftRow>& rows) {
  std::vector<HeatMap> maps;
  std::vector<std::string> shifts, days;
  for (const auto& row : rows) {
    shifts.push_back(row.shift);
    days.push_back(row.day);
  }
  for (auto* const words : {&shifts, &days}) {
    std::sort(words->begin(), words->end());
    words->erase(std::unique(words->begin(), words->end()), words->end());
  }
  const auto place = [](const std::vector<std::string>& words, const std::string& word) {
    return static_cast<std::size_t>(std::lower_bound(words.begin(), words.end(), word) -
                                    words.begin());
  };
  for (const auto& row : rows) {
    const std::string process = PlainText(row.process);
    auto map = std::find_if(maps.begin(), maps.end(),
                            [&](const HeatMap& each) { return each.process == process; });
    if (map == maps.end()) {
      maps.push_back({process, shifts, days, {}});
      map = maps.end() - 1;
      map->cells.resize(shifts.size() * days.size());
    }
    if (row.count.expected == 0 && row.count.collected == 0) continue;
    map->cells[place(shifts, row.shift) * days.size() + place(days, row.day)] = row.count;
  }
  return maps;
}

}  // namespace

void SampleCount::Add(const SampleCount& other) {
  expected += other.expected;
  collected += other.collected;
  missed += other.missed;
}

double SampleCount::Percent() const {
  return expected == 0 ? 100.0
                       : 100.0 * static_cast<double>(collected) / static_cast<double>(expected);
}

std::string CountText(const SampleCount& count) {
  return std::to_string(count.collected) + " of " + std::to_string(count.expected) +
         " expected samples, " + std::to_string(count.missed) + " missed, " +
         Fixed(count.Percent(), 1) + " %";
}

std::vector<ComplianceRow> ReadCompliance(SCResults& results) {
  std::vector<ComplianceRow> rows;
  for (bool found = results.MoveFirst(); found; found = results.MoveNext()) {
    ComplianceRow row{results.ResultType(),
                      results.StateType(),
                      results.Part(),
                      results.Process(),
                      results.Test(),
                      results.State(),
                      results.SmplReq(),
                      platform::DateToTimeStamp(results.StartTime()),
                      results.Duration(),
                      results.SamplesCollected(),
                      results.SamplesMissed(),
                      results.SamplesExpected(),
                      results.PercentComplete(),
                      results.TestCount(),
                      results.MinimumValue(),
                      results.MaximumValue(),
                      results.AverageValue(),
                      results.StandardDeviation(),
                      results.PP(),
                      results.PPK(),
                      results.PercentAboveUSL(),
                      results.PercentBelowLSL(),
                      results.PercentOOS(),
                      results.PPM(),
                      results.PercentAboveLSC(),
                      results.PercentBelowLSC(),
                      results.PercentBelowMAVL(),
                      results.PercentBelowT1L(),
                      results.PercentBelowT2L(),
                      results.PercentAboveMAVU(),
                      results.PercentAboveT1U(),
                      results.PercentAboveT2U()};
    TakeAwayUndefined(row);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string ComplianceJson(const ComplianceDocument& document) {
  return JsonDocument([&](JsonWriter& json) {
    json.Object("DataSelect", [&] { WriteDataSelect(json, *document.select); });
    json.Objects("Rows", document.rows, [&](const ComplianceRow& row) { WriteRow(json, row); });
    json.Objects("Shifts", document.shifts, [&](const ShiftRow& row) {
      json.Members("Process", row.process, "Day", row.day, "Shift", row.shift, "Start",
                   IsoTime(row.start), "End", IsoTime(row.end), "SamplesCollected",
                   row.count.collected, "SamplesMissed", row.count.missed, "SamplesExpected",
                   row.count.expected);
    });
    WriteNotes(json, document.notes);
  });
}

ComplianceView MakeComplianceView(const ComplianceDocument& document) {
  ComplianceView view;
  view.title = "Sampling compliance";
  std::int64_t start = INT64_MAX, end = INT64_MIN;
  for (const auto& row : document.rows) {
    if (row.result_type == kWhole) view.total = CountOf(row);
    if (row.result_type != kDetail) continue;
    start = std::min(start, row.start);
    end = std::max(end, row.start + std::int64_t{std::llround(row.duration * 60.0)});
    view.lines.push_back({IsoTime(row.start), row.duration, PlainText(row.process),
                          PlainText(row.part), PlainText(row.test), PlainText(row.state),
                          PlainText(row.requirement), CountOf(row), row.test_count, row.minimum,
                          row.average, row.maximum, row.deviation, row.pp, row.ppk, row.oos});
  }
  if (!view.Empty())
    view.subtitle = IsoTime(start) + " to " + IsoTime(end) + " UTC: " + CountText(view.total);
  view.requirements = Requirements(document.rows);
  view.maps = HeatMaps(document.shifts);
  view.notes = PlainNotes(document.notes);
  return view;
}

}  // namespace orvspc::render
