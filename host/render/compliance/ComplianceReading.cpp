// SPDX-License-Identifier: Apache-2.0
#include "host/render/compliance/Compliance.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// The figures of a row in the order of documents.
struct Figure {
  const char* key;
  double ComplianceRow::*member;
  double (SCResults::*get)() const;
};
constexpr Figure kFigures[] = {
    {"MinimumValue", &ComplianceRow::minimum, &SCResults::MinimumValue},
    {"MaximumValue", &ComplianceRow::maximum, &SCResults::MaximumValue},
    {"AverageValue", &ComplianceRow::average, &SCResults::AverageValue},
    {"StandardDeviation", &ComplianceRow::deviation, &SCResults::StandardDeviation},
    {"PP", &ComplianceRow::pp, &SCResults::PP},
    {"PPK", &ComplianceRow::ppk, &SCResults::PPK},
    {"PercentAboveUSL", &ComplianceRow::above_usl, &SCResults::PercentAboveUSL},
    {"PercentBelowLSL", &ComplianceRow::below_lsl, &SCResults::PercentBelowLSL},
    {"PercentOOS", &ComplianceRow::oos, &SCResults::PercentOOS},
    {"PPM", &ComplianceRow::ppm, &SCResults::PPM},
    {"PercentAboveLSC", &ComplianceRow::above_lsc, &SCResults::PercentAboveLSC},
    {"PercentBelowLSC", &ComplianceRow::below_lsc, &SCResults::PercentBelowLSC},
    {"PercentBelowMAVL", &ComplianceRow::below_mavl, &SCResults::PercentBelowMAVL},
    {"PercentBelowT1L", &ComplianceRow::below_t1l, &SCResults::PercentBelowT1L},
    {"PercentBelowT2L", &ComplianceRow::below_t2l, &SCResults::PercentBelowT2L},
    {"PercentAboveMAVU", &ComplianceRow::above_mavu, &SCResults::PercentAboveMAVU},
    {"PercentAboveT1U", &ComplianceRow::above_t1u, &SCResults::PercentAboveT1U},
    {"PercentAboveT2U", &ComplianceRow::above_t2u, &SCResults::PercentAboveT2U},
};

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
  json.MemberIf(row.result_type == kDetail, "StartTime", IsoTime(row.start));
  json.Members("Duration", row.duration, "SamplesCollected", row.count.collected, "SamplesMissed",
               row.count.missed, "SamplesExpected", row.count.expected, "PercentComplete",
               row.percent_complete, "TestCount", row.test_count);
  for (const auto& figure : kFigures) json.Member(figure.key, row.*figure.member);
}

std::vector<RequirementLine> Requirements(const std::vector<ComplianceRow>& rows) {
  std::vector<RequirementLine> lines;
  std::map<std::vector<std::string>, std::size_t> places;
  for (const auto& row : rows) {
    if (row.result_type != kDetail) continue;
    std::vector<std::string> texts = {row.process, row.part, row.test, row.requirement};
    const auto [found, is_new] = places.try_emplace(texts, lines.size());
    if (is_new) {
      if (row.requirement.empty()) texts.back() = "(no requirement)";
      std::transform(texts.begin(), texts.end(), texts.begin(), PlainText);
      lines.push_back({std::move(texts), {}});
    }
    lines[found->second].count.Add(row.count);
  }
  return lines;
}

std::vector<HeatMap> HeatMaps(const std::vector<ShiftRow>& rows) {
  std::vector<HeatMap> maps;
  const auto sorted = [&](std::string ShiftRow::*member) {
    std::vector<std::string> words;
    for (const auto& row : rows) words.push_back(row.*member);
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
  };
  const auto shifts = sorted(&ShiftRow::shift), days = sorted(&ShiftRow::day);
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
  return fmt::format("{} of {} expected samples, {} missed, {} %", count.collected, count.expected,
                     count.missed, Fixed(count.Percent(), 1));
}

std::vector<ComplianceRow> ReadCompliance(SCResults& results) {
  return ReadRows(results, [&] {
    ComplianceRow row{
        results.ResultType(),
        results.StateType(),
        results.Part(),
        results.Process(),
        results.Test(),
        results.State(),
        results.SmplReq(),
        platform::DateToTimeStamp(results.StartTime()),
        results.Duration(),
        {results.SamplesExpected(), results.SamplesCollected(), results.SamplesMissed()},
        results.PercentComplete(),
        results.TestCount()};
    for (const auto& figure : kFigures) row.*figure.member = (results.*figure.get)();
    TakeAwayUndefined(row);
    return row;
  });
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
    if (document.phases) {
      json.Objects("Phases", *document.phases, [&](const PhaseSamples& row) {
        json.MemberIf(!row.phase.empty(), "Phase", row.phase);
        json.Members("SamplesCollected", row.count.collected, "SamplesMissed", row.count.missed,
                     "SamplesExpected", row.count.expected);
      });
    }
    WriteNotes(json, document.notes);
  });
}

ComplianceView MakeComplianceView(const ComplianceDocument& document) {
  ComplianceView view;
  view.title = "Sampling compliance";
  std::int64_t start = INT64_MAX, end = INT64_MIN;
  SampleCount total;
  for (const auto& row : document.rows) {
    if (row.result_type == kWhole) total = row.count;
    if (row.result_type != kDetail) continue;
    start = std::min(start, row.start);
    end = std::max(end, row.start + std::int64_t{std::llround(row.duration * 60.0)});
    ComplianceRow& line = view.lines.emplace_back(row);
    for (auto* const text : {&line.process, &line.part, &line.test, &line.state, &line.requirement})
      *text = PlainText(*text);
  }
  if (!view.Empty())
    view.subtitle = IsoTime(start) + " to " + IsoTime(end) + " UTC: " + CountText(total);
  view.requirements = Requirements(document.rows);
  view.maps = HeatMaps(document.shifts);
  if (document.phases) view.phases = *document.phases;
  for (auto& each : view.phases) each.phase = PlainText(each.phase);
  view.notes = PlainNotes(document.notes);
  return view;
}

}  // namespace orvspc::render
