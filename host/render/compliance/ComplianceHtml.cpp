// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "host/render/compliance/ComplianceView.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMaxRows = 1000;

void WriteSamples(Page& page, const ComplianceView& view) {
  Table table{"Samples in each stay",
              {"@from (UTC)", "#minutes", "process", "part", "test", "state", "requirement",
               "#expected", "#collected", "#missed", "#percent"}};
  for (std::size_t i = 0; i < view.lines.size() && i < kMaxRows; ++i) {
    const auto& line = view.lines[i];
    table.rows.push_back({line.start, Fixed(line.minutes, 1), line.process, line.part, line.test,
                          line.state, line.requirement, std::to_string(line.count.expected),
                          std::to_string(line.count.collected), std::to_string(line.count.missed),
                          line.count.expected == 0 ? "" : Fixed(line.count.Percent(), 1)});
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
    if (line.values == 0 || ++all > kMaxRows) continue;
    table.rows.push_back({line.start, line.process, line.part, line.test,
                          std::to_string(line.values), figure(line.least, 8), figure(line.mean, 8),
                          figure(line.most, 8), figure(line.deviation, 6), figure(line.pp, 4),
                          figure(line.ppk, 4), figure(line.outside, 4)});
  }
  page.Write(table, all - table.rows.size());
}

}  // namespace

std::string RenderComplianceHtml(const ComplianceView& view) {
  Page page(view, ComplianceScene(view, true));
  WriteSamples(page, view);
  WriteValues(page, view);
  return page.Text();
}

}  // namespace orvspc::render
