// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/StoredChart.h"

#include <algorithm>
#include <string>

#include "chart/groups.h"
#include "frame/Failure.h"
#include "frame/XMLSupport.h"

namespace orvspc::render {

namespace {

// Rows of limits do not come back into the object, but their scale stands in the text.
std::optional<int> DecimalsOfText(const platform::XmlNode& root) {
  std::optional<int> least;
  auto& document = XMLSupport::DocumentOf(root);
  XMLSupport::ForEachChild(document.SelectSingleNode(root, "SpecificationLimits"), "SpecLim",
                           [&](const platform::XmlNode& row) {
                             const int scale = XMLSupport::ReadInt32(row, "F_SCAL", 4);
                             least = std::min(least.value_or(scale), scale);
                           });
  return least;
}

// Groups by the rule that the analysis groups by.
void Regroup(ChartRead& chart) {
  const auto& rows = chart.subgroups.rows;
  if (rows.empty() || chart.group_of.empty()) return;
  API_CCResults record;
  const auto count = static_cast<std::int32_t>(rows.size());
  record.Totals.SubgroupCount = count;
  record.Subgroups.Dimension(0, count - 1);
  for (std::int32_t i = 0; i < count; ++i) {
    const SubgroupRow& row = rows[static_cast<std::size_t>(i)];
    API_SubgroupData& made = record.Subgroups[i];
    made.Sgrp = row.sgrp;
    made.Part = row.part;
    made.Prcs = row.prcs;
    made.Test = row.test;
    made.Sgtm = static_cast<std::int32_t>(row.stamp);
  }
  groups::BuildGroupInformation(*chart.processing, record);
  const auto index = record.GroupIndex.Elements(), ids = record.GroupIDs.Elements();
  chart.group_of.assign(index.begin(), index.end());
  chart.group_ids.assign(ids.begin(), ids.end());
}

// Everything that draws relies on lists of one element a point.
void CheckLengths(const ChartRead& chart) {
  const std::size_t points = chart.subgroups.rows.size();
  for (const auto& graph : chart.graphs) {
    ForEachArray(graph, [&](const char* name, const auto& array) {
      if (!array.empty() && array.size() != points)
        FailMessage("Graph " + std::to_string(graph.index) + " has " +
                    std::to_string(array.size()) + " values in " + name + " for " +
                    std::to_string(points) + " subgroups");
    });
  }
}

}  // namespace

ChartDocument ReadStoredChart(const platform::XmlNode& root) {
  CCResults results;
  results.SetXMLNode(root);
  ChartDocument document;
  ChartRead& chart = document.chart;
  chart = ReadChart(results);
  chart.tables_known = false;
  if (const auto decimals = DecimalsOfText(root))
    chart.decimals = std::min(chart.decimals.value_or(*decimals), *decimals);
  CheckLengths(chart);
  Regroup(chart);
  std::fill(std::begin(document.requested), std::end(document.requested), kNotKnown);
  document.notes.push_back(
      {"stored", "Read from XML, which keeps no names, rule texts, groups and tables.", ""});
  if (!chart.processing && !chart.subgroups.rows.empty())
    document.notes.push_back(
        {"no-settings", "The XML has no CCProcessing, so its graphs are not known.", ""});
  return document;
}

}  // namespace orvspc::render
