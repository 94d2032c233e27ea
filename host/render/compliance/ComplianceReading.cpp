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

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// The engine writes 0 where a figure cannot be worked out; which those are follows from the others.
void TakeAwayUndefined(ComplianceRow& row) {
  if (row.test_count < 2) row.deviation = kNone;
  // With one limit PP is the index of that side.
  if (!(row.deviation > 0.0) || (std::isnan(row.above_usl) && std::isnan(row.below_lsl)))
    row.pp = row.ppk = kNone;
}

void WriteRow(JsonWriter& json, const ComplianceRow& row) {
  json.Member("ResultType", row.result_type);
  json.Member("Part", row.part);
  json.Member("Process", row.process);
  json.Member("Test", row.test);
  json.Member("StateType", row.state_type);
  json.Member("State", row.state);
  json.Member("SmplReq", row.requirement);
  if (row.result_type == kDetail) {
    json.Member("StartTime", IsoTime(row.start));
  } else {
    json.NullMember("StartTime");
  }
  json.Member("Duration", row.duration);
  json.Member("SamplesCollected", row.collected);
  json.Member("SamplesMissed", row.missed);
  json.Member("SamplesExpected", row.expected);
  json.Member("PercentComplete", row.percent_complete);
  json.Member("TestCount", row.test_count);
  json.Member("MinimumValue", row.minimum);
  json.Member("MaximumValue", row.maximum);
  json.Member("AverageValue", row.average);
  json.Member("StandardDeviation", row.deviation);
  json.Member("PP", row.pp);
  json.Member("PPK", row.ppk);
  json.Member("PercentAboveUSL", row.above_usl);
  json.Member("PercentBelowLSL", row.below_lsl);
  json.Member("PercentOOS", row.oos);
  json.Member("PPM", row.ppm);
  json.Member("PercentAboveLSC", row.above_lsc);
  json.Member("PercentBelowLSC", row.below_lsc);
  json.Member("PercentBelowMAVL", row.below_mavl);
  json.Member("PercentBelowT1L", row.below_t1l);
  json.Member("PercentBelowT2L", row.below_t2l);
  json.Member("PercentAboveMAVU", row.above_mavu);
  json.Member("PercentAboveT1U", row.above_t1u);
  json.Member("PercentAboveT2U", row.above_t2u);
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
    ComplianceRow row;
    row.result_type = results.ResultType();
    row.state_type = results.StateType();
    row.part = results.Part();
    row.process = results.Process();
    row.test = results.Test();
    row.state = results.State();
    row.requirement = results.SmplReq();
    row.start = platform::DateToTimeStamp(results.StartTime());
    row.duration = results.Duration();
    row.collected = results.SamplesCollected();
    row.missed = results.SamplesMissed();
    row.expected = results.SamplesExpected();
    row.percent_complete = results.PercentComplete();
    row.test_count = results.TestCount();
    row.minimum = results.MinimumValue();
    row.maximum = results.MaximumValue();
    row.average = results.AverageValue();
    row.deviation = results.StandardDeviation();
    row.pp = results.PP();
    row.ppk = results.PPK();
    row.above_usl = results.PercentAboveUSL();
    row.below_lsl = results.PercentBelowLSL();
    row.oos = results.PercentOOS();
    row.ppm = results.PPM();
    row.above_lsc = results.PercentAboveLSC();
    row.below_lsc = results.PercentBelowLSC();
    row.below_mavl = results.PercentBelowMAVL();
    row.below_t1l = results.PercentBelowT1L();
    row.below_t2l = results.PercentBelowT2L();
    row.above_mavu = results.PercentAboveMAVU();
    row.above_t1u = results.PercentAboveT1U();
    row.above_t2u = results.PercentAboveT2U();
    TakeAwayUndefined(row);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string ComplianceJson(const ComplianceDocument& document) {
  JsonWriter json;
  json.BeginObject();
  json.Key("DataSelect");
  json.BeginObject();
  WriteDataSelect(json, *document.select);
  json.EndObject();
  json.Key("Rows");
  json.BeginArray();
  for (const auto& row : document.rows) {
    json.BeginObject(true);
    WriteRow(json, row);
    json.EndObject();
  }
  json.EndArray();
  json.Key("Shifts");
  json.BeginArray();
  for (const auto& row : document.shifts) {
    json.BeginObject(true);
    json.Member("Process", row.process);
    json.Member("Day", row.day);
    json.Member("Shift", row.shift);
    json.Member("Start", IsoTime(row.start));
    json.Member("End", IsoTime(row.end));
    json.Member("SamplesCollected", row.count.collected);
    json.Member("SamplesMissed", row.count.missed);
    json.Member("SamplesExpected", row.count.expected);
    json.EndObject();
  }
  json.EndArray();
  WriteNotes(json, document.notes);
  json.EndObject();
  return json.Text();
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
