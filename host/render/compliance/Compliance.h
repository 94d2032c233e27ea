// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/data/DataReading.h"
#include "summary/SCResults.h"

// How well samples were taken: what an analysis gives, read once into plain values, and how it is
// shown.
namespace orvspc::render {

struct SampleCount {
  std::int64_t expected = 0, collected = 0, missed = 0;

  void Add(const SampleCount& other);
  // Of what was expected; 100 when nothing was.
  double Percent() const;
};

// One row; a figure that it does not have is NaN, the start of a subtotal 0.
struct ComplianceRow {
  std::int32_t result_type = 0, state_type = 0;
  std::string part, process, test, state, requirement;
  std::int64_t start = 0;
  double duration = 0.0;  // minutes
  SampleCount count = {};
  double percent_complete = 0.0;
  std::int32_t test_count = 0;
  double minimum = 0.0, maximum = 0.0, average = 0.0, deviation = 0.0, pp = 0.0, ppk = 0.0;
  double above_usl = 0.0, below_lsl = 0.0, oos = 0.0, ppm = 0.0;
  double above_lsc = 0.0, below_lsc = 0.0, below_mavl = 0.0, below_t1l = 0.0, below_t2l = 0.0;
  double above_mavu = 0.0, above_t1u = 0.0, above_t2u = 0.0;
};
std::vector<ComplianceRow> ReadCompliance(SCResults& results);

// Kinds of row.
inline constexpr std::int32_t kDetail = 0, kWhole = rt_Summary;

// What fell due in one shift of a process.
struct ShiftRow {
  std::string process, day, shift;  // "2024-03-04", "06:00": when the shift begins, local time
  std::int64_t start = 0, end = 0;  // the end is not part of it
  SampleCount count;
};

// What fell due while a phase held; outside of any where it has no name.
struct PhaseSamples {
  std::string phase;
  SampleCount count;
};

struct ComplianceDocument {
  std::shared_ptr<DataSelect> select;  // with the range that was really used
  std::vector<ComplianceRow> rows;
  std::vector<ShiftRow> shifts;
  std::vector<Note> notes;
  std::optional<std::vector<PhaseSamples>> phases = {};  // where they were asked for
};

std::string ComplianceJson(const ComplianceDocument& document);

// Shifts by days, of one process. An empty cell: no sample fell due and none was taken.
struct HeatMap {
  std::string process;
  std::vector<std::string> shifts, days;
  std::vector<std::optional<SampleCount>> cells;  // shift by shift

  const std::optional<SampleCount>& At(std::size_t shift, std::size_t day) const {
    return cells[shift * days.size() + day];
  }
};

// One requirement over the whole range.
struct RequirementLine {
  std::vector<std::string> texts;  // process, part, test, requirement
  SampleCount count;
};

struct ComplianceView : View {
  std::vector<RequirementLine> requirements;
  std::vector<HeatMap> maps;
  std::vector<PhaseSamples> phases;  // the one outside of any last
  std::vector<ComplianceRow> lines;  // of the stays; texts are as PlainText leaves them

  bool Empty() const { return lines.empty(); }
};
ComplianceView MakeComplianceView(const ComplianceDocument& document);

// "8 of 10 expected samples, 2 missed, 80.0 %"
std::string CountText(const SampleCount& count);

// embedded: for use inside a page, without title line and notes.
std::string RenderComplianceSvg(const ComplianceView& view, bool embedded = false);
// The picture and every row.
std::string RenderComplianceHtml(const ComplianceView& view);
// The requirements, the shifts, and where most samples were missed.
std::string RenderComplianceText(const ComplianceView& view, const TextOptions& options = {});

}  // namespace orvspc::render
