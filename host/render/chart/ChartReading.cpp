// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartReading.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string>

#include "chart/groups.h"
#include "frame/Failure.h"
#include "frame/XMLSupport.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

std::vector<Rule> ReadRules(platform::RuleDef* list) {
  if (list == nullptr) return {};
  return ReadRows(*list, [&] { return Rule{list->Number(), list->Text()}; });
}

GraphRead ReadGraph(CCGraphData& data, std::int32_t index, std::int32_t type) {
  GraphRead graph;
  graph.index = index;
  graph.type = type;
  ForEachArray([&](const char*, auto array, auto get) {
    if (auto values = (data.*get)()) graph.*array = std::move(*values);
  });
  const auto count = static_cast<std::size_t>(data.Count());
  graph.c_rules.resize(count);
  graph.rules.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const bool calculated = i < graph.c_oocs.size() && graph.c_oocs[i] != 0;
    const bool in_force = i < graph.oocs.size() && graph.oocs[i] != 0;
    if (!calculated && !in_force) continue;
    data.MoveTo(static_cast<std::int32_t>(i) + 1);
    if (calculated) graph.c_rules[i] = ReadRules(data.cOOCRuleDef().get());
    if (in_force) graph.rules[i] = ReadRules(data.OOCRuleDef().get());
  }
  return graph;
}

constexpr const char* kSpecLimColumns[] = {
    "Word0",   "Stamp4",    "Stamp8",  "F_PART",  "F_TEST",  "Word20",  "Word24",
    "Word28",  "Word32",    "Name",    "Word552", "F_SCAL",  "F_USL",   "F_TAR",
    "F_LSL",   "F_UGB",     "F_LGB",   "F_URL",   "F_LRL",   "F_UWP",   "F_LWP",
    "F_USG",   "F_LSG",     "F_UDS",   "F_LDS",   "F_CP",    "F_CPK",   "F_RRMAR",
    "F_RRMAX", "Double712", "F_EFLAG", "F_AFLAG", "Word728", "Word732", "Word736"};
constexpr const char* kCtrlLimColumns[] = {
    "Word0", "Stamp4", "Stamp8", "F_PART", "F_PRCS",   "F_TEST", "F_EFTM", "F_MEAN", "F_SP",
    "F_SPL", "F_SW",   "F_STTM", "F_FNTM", "Double76", "Word84", "Word88", "Word92"};
constexpr const char* kDefOppColumns[] = {"Word0",  "Stamp4", "Stamp8", "F_PART", "F_TEST",
                                          "F_OPPS", "Word24", "Word28", "Word32"};

template <class Table>
std::vector<LimitRow> ReadTable(const std::shared_ptr<Table>& object,
                                std::span<const char* const> columns) {
  const auto table = std::dynamic_pointer_cast<platform::LimitTable>(object);
  if (!table) return {};
  return ReadRows(*table, [&] {
    LimitRow row;
    for (const auto* column : columns) row.emplace_back(column, table->Get(column));
    return row;
  });
}

void ReadGroups(ChartRead& chart) {
  if (!chart.processing || chart.processing->GroupBy() == ccGroupByNone) return;
  for (const auto& row : chart.subgroups.rows) {
    chart.group_of.push_back(row.group_index);
    chart.group_ids.push_back(row.group_id);
  }
}

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
    ForEachArray([&](const char* name, auto member, auto) {
      const auto& array = graph.*member;
      if (!array.empty() && array.size() != points)
        FailMessage("Graph " + std::to_string(graph.index) + " has " +
                    std::to_string(array.size()) + " values in " + name + " for " +
                    std::to_string(points) + " subgroups");
    });
  }
}

}  // namespace

ChartRead ReadChart(CCResults& results) {
  ChartRead chart;
  chart.processing = results.Processing();
  chart.select = results.DataSelect();
  chart.subgroups = ReadSubgroups(*results.SubgroupData());
  chart.mean_estimate = results.MeanEstimate();
  chart.sp_estimate = results.SPEstimate();
  chart.sw_estimate = results.SWEstimate();
  chart.spec_lims = ReadTable(results.SpecLim(), kSpecLimColumns);
  chart.ctrl_lims = ReadTable(results.CtrlLim(), kCtrlLimColumns);
  chart.def_opps = ReadTable(results.DefOpp(), kDefOppColumns);
  for (const auto& row : chart.spec_lims) {
    const int scale = static_cast<int>(NumberOf(CellOf(row, "F_SCAL")));
    chart.decimals = std::min(chart.decimals.value_or(scale), scale);
  }
  ReadGroups(chart);
  // An analysis that selected nothing has no graphs, whatever was asked for.
  if (chart.subgroups.total_subgroups == 0 || !chart.processing) return chart;
  const std::int32_t types[] = {chart.processing->Graph1Type(), chart.processing->Graph2Type(),
                                chart.processing->Graph3Type()};
  const std::int32_t count = results.GraphCount();
  for (std::int32_t g = 1; g <= count && g <= 3; ++g) {
    const auto graph = results.Graphs(static_cast<ccGraphTypes>(g));
    if (!graph) continue;
    const auto data = graph->GraphData();
    if (!data || data->Count() == 0) continue;
    chart.graphs.push_back(ReadGraph(*data, g, types[g - 1]));
  }
  return chart;
}

platform::Cell CellOf(const LimitRow& row, const std::string& column) {
  for (const auto& [name, cell] : row)
    if (name == column) return cell;
  return std::int32_t{0};
}

double NumberOf(const platform::Cell& cell) {
  if (const auto* number = std::get_if<double>(&cell)) return *number;
  if (const auto* number = std::get_if<std::int32_t>(&cell)) return *number;
  if (const auto* date = std::get_if<platform::Date>(&cell)) return date->days;
  return 0.0;
}

std::string GraphWord(std::int32_t graph, std::int32_t type) {
  const WordTable words[] = {kGraph1Words, kGraph2Words, kGraph3Words};
  return WordOrNumber(words[std::clamp(graph, 1, 3) - 1], type);
}

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
