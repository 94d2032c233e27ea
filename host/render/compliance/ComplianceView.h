// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// How well samples were taken, as a plain model that tables and pictures are drawn from.
namespace orvspc::render {

struct SampleCount {
  std::int64_t expected = 0, collected = 0, missed = 0;

  void Add(const SampleCount& other);
  // Of what was expected; 100 when nothing was.
  double Percent() const;
};

// One requirement over the whole range.
struct RequirementLine {
  std::string process, part, test, requirement;
  SampleCount count;
};

// Shifts by days, of one process. An empty cell: no sample fell due and none was taken.
struct HeatMap {
  std::string process;
  std::vector<std::string> shifts, days;
  std::vector<std::optional<SampleCount>> cells;  // shift by shift

  const std::optional<SampleCount>& At(std::size_t shift, std::size_t day) const {
    return cells[shift * days.size() + day];
  }
};

// One stay in a state, as the analysis tells it; figures that it does not have are NaN.
struct ComplianceLine {
  std::string start;
  double minutes = 0.0;
  std::string process, part, test, state, requirement;
  SampleCount count;
  std::int32_t values = 0;
  double least = 0.0, mean = 0.0, most = 0.0, deviation = 0.0, pp = 0.0, ppk = 0.0, outside = 0.0;
};

struct ComplianceView : View {
  SampleCount total;
  std::vector<RequirementLine> requirements;
  std::vector<HeatMap> maps;
  std::vector<ComplianceLine> lines;

  bool Empty() const { return lines.empty(); }
};

// "8 of 10 expected samples, 2 missed, 80.0 %"
std::string CountText(const SampleCount& count);

// embedded: for use inside a page, without title line and notes.
Scene ComplianceScene(const ComplianceView& view, bool embedded = false);
inline std::string RenderComplianceSvg(const ComplianceView& view, bool embedded = false) {
  return WriteSvg(ComplianceScene(view, embedded));
}
// The picture and every row.
std::string RenderComplianceHtml(const ComplianceView& view);
// The requirements, the shifts, and where most samples were missed.
std::string RenderComplianceText(const ComplianceView& view, const TextOptions& options = {});

}  // namespace orvspc::render
