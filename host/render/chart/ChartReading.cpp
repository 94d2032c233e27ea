// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/Chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string>

#include "chart/groups.h"
#include "frame/Failure.h"
#include "frame/XMLSupport.h"
#include "host/render/chart/ChartPhases.h"
#include "host/render/core/Numbers.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
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
  const auto read = [&](const std::vector<std::int32_t>& bits, auto get) {
    BrokenRules rules{static_cast<std::size_t>(data.Count()), {}};
    for (std::size_t i = 0; i < rules.points && i < bits.size(); ++i) {
      if (bits[i] == 0) continue;
      data.MoveTo(static_cast<std::int32_t>(i) + 1);
      rules.at.emplace_hint(rules.at.end(), i, ReadRules((data.*get)().get()));
    }
    return rules;
  };
  graph.c_rules = read(graph.c_oocs, &CCGraphData::cOOCRuleDef);
  graph.rules = read(graph.oocs, &CCGraphData::OOCRuleDef);
  return graph;
}

void ReadGraphs(CCResults& results, ChartRead& chart) {
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

// Runs of points; group(i): the number and the identifier of the group of point i.
template <class Group>
std::vector<GroupView> GroupsOf(std::size_t points, Group group) {
  std::vector<GroupView> groups;
  std::int32_t open = 0;
  for (std::size_t i = 0; i < points; ++i) {
    const auto [number, id] = group(i);
    if (groups.empty() || number != open) groups.push_back({i, i, id});
    groups.back().last = i;
    open = number;
  }
  return groups;
}

// Rows of limits do not come back into the object, but their scale is in the text.
std::optional<int> DecimalsOfText(const platform::XmlNode& root) {
  std::optional<int> most;
  auto& document = XMLSupport::DocumentOf(root);
  XMLSupport::ForEachChild(document.SelectSingleNode(root, "SpecificationLimits"), "SpecLim",
                           [&](const platform::XmlNode& row) {
                             const int scale = XMLSupport::ReadInt32(row, "F_SCAL", 4);
                             most = std::max(most.value_or(scale), scale);
                           });
  return most;
}

// Groups by the rule that the analysis groups by.
void Regroup(ChartRead& chart) {
  const auto& rows = chart.subgroups.rows;
  if (rows.empty() || !chart.Grouped()) return;
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
  chart.groups = GroupsOf(rows.size(), [&](std::size_t i) { return std::pair(index[i], ids[i]); });
}

// Everything that draws relies on lists of one element a point.
void CheckLengths(const ChartRead& chart) {
  const std::size_t points = chart.subgroups.rows.size();
  for (const auto& graph : chart.graphs) {
    ForEachArray([&](const char* name, auto member, auto) {
      const auto& array = graph.*member;
      if (!array.empty() && array.size() != points)
        FailMessage(fmt::format("Graph {} has {} values in {} for {} subgroups", graph.index,
                                array.size(), name, points));
    });
  }
}

void RulesMember(JsonWriter& json, const char* key, const BrokenRules& rules) {
  json.Key(key);
  json.BeginArray(true);
  auto next = rules.at.begin();
  for (std::size_t i = 0; i < rules.points; ++i) {
    json.BeginArray(true);
    if (next != rules.at.end() && next->first == i) {
      for (const auto& rule : next->second) json.Value(rule.text);
      ++next;
    }
    json.EndArray();
  }
  json.EndArray();
}

// How a limit row shows that a time is not given: the lowest stamp is "since ever" for the time
// from which it holds, stamp 0 "none" for the times that it was made from.
bool NotGiven(const std::string& column, double date) {
  if (date == 0.0) return true;
  const std::int32_t stamp = platform::DateToTimeStamp(date);
  return column == "F_EFTM" ? stamp == INT32_MIN : stamp == 0;
}

void WriteCell(JsonWriter& json, const std::string& column, const platform::Cell& cell) {
  if (const auto* integer = std::get_if<std::int32_t>(&cell)) return json.Value(*integer);
  if (const auto* number = std::get_if<double>(&cell)) return json.Value(*number);
  if (const auto* date = std::get_if<platform::Date>(&cell))
    return NotGiven(column, date->days)
               ? json.Null()
               : json.Value(IsoTime(platform::DateToTimeStamp(date->days)));
  std::string text = platform::ToUtf8(std::get<std::u16string>(cell));
  text.erase(text.find_last_not_of(std::string_view("\0 ", 2)) + 1);
  json.Value(text);
}

// The limits of a specification: the bit that enables one and that a value beyond it sets, its
// column, and what is said of such a value.
struct SpecificationLimit {
  std::int32_t bit;
  std::string_view column;
  const char* text;
};
constexpr SpecificationLimit kSpecificationLimits[] = {
    {slfUSL, "F_USL", "a value above USL"},
    {slfLSL, "F_LSL", "a value below LSL"},
    {slfURL, "F_URL", "a value above the upper reasonable limit"},
    {slfLRL, "F_LRL", "a value below the lower reasonable limit"},
    {slfUGB, "F_UGB", "a value above the upper gage bound"},
    {slfLGB, "F_LGB", "a value below the lower gage bound"},
    {slfTAR, "F_TAR", "off target"},
    {slfUWP, "F_UWP", "a reading above the upper within-piece limit"},
    {slfLWP, "F_LWP", "a reading below the lower within-piece limit"},
    {slfUSG, "F_USG", "above the upper subgroup limit"},
    {slfLSG, "F_LSG", "below the lower subgroup limit"},
    {slfUDS, "F_UDS", "deviation above its upper limit"},
    {slfLDS, "F_LDS", "deviation below its lower limit"},
};

void WriteRows(JsonWriter& json, const char* key, const std::vector<LimitRow>& rows, bool known) {
  if (rows.empty() && !known) return json.NullMember(key);
  json.Objects(key, rows, [&](const LimitRow& row) {
    const auto enabled = static_cast<std::int32_t>(NumberOf(row, "F_EFLAG"));
    for (const auto& [column, cell] : row) {
      const auto* const limit =
          std::ranges::find(kSpecificationLimits, column, &SpecificationLimit::column);
      const bool given = limit == std::end(kSpecificationLimits) || (enabled & limit->bit) != 0;
      json.Key(column);
      if (given) {
        WriteCell(json, column, cell);
      } else {
        json.Null();
      }
    }
  });
}

void WriteGraph(JsonWriter& json, const GraphRead& graph, const ChartDocument& document) {
  const std::int32_t requested = document.requested[graph.index - 1];
  json.Member("Type", GraphWord(graph.index, graph.type));
  json.MemberIf(requested != kNotKnown, "Requested", GraphWord(graph.index, requested));
  ForEachArray([&](const std::string& key, auto array, auto) {
    const auto& values = graph.*array;
    json.MemberIf(!values.empty(), key, values);
    if (key == "SGSizes" && !document.sizes.empty()) json.Member("Sizes", document.sizes);
  });
  RulesMember(json, "cRules", graph.c_rules);
  RulesMember(json, "Rules", graph.rules);
}

void WriteStreams(JsonWriter& json, const ChartDocument& document, const Names& names) {
  std::size_t number = 0;
  json.Objects<Spread::Blocks>("Streams", document.streams, [&](const StreamReport& stream) {
    WriteItem(json, "Part", names, NameKind::Part, stream.part);
    WriteItem(json, "Prcs", names, NameKind::Process, stream.process);
    WriteItem(json, "Test", names, NameKind::Test, stream.test);
    WriteEstimate(json, "Mean", stream.mean);
    WriteEstimate(json, "SP", stream.sp);
    WriteEstimate(json, "SW", stream.sw);
    if (!stream.gamma.name.empty()) WriteEstimate(json, "Gamma", stream.gamma);
    json.Member("AverageSize", stream.average_size);
    if (number < document.options.size()) WriteOptions(json, document.options[number]);
    ++number;
    WritePhases(json, document, stream);
    WriteProvisional(json, document, stream);
  });
}

void WriteAcceptance(JsonWriter& json, const AcceptanceLimits& acceptance) {
  json.Members("AQLValue", acceptance.level, "AQLProducerRisk", acceptance.risk, "Distribution",
               acceptance.binomial ? "binomial" : "Poisson", "Numbers", acceptance.numbers, "Rates",
               acceptance.rates);
}

}  // namespace

ChartRead ReadChart(CCResults& results) {
  // Not to be deleted here.
  return ReadChart(std::shared_ptr<CCResults>(&results, [](CCResults*) {}));
}

ChartRead ReadChart(std::shared_ptr<CCResults> results) {
  ChartRead chart;
  auto subgroups = results->SubgroupData();
  chart.processing = results->Processing();
  chart.select = results->DataSelect();
  chart.mean_estimate = results->MeanEstimate();
  chart.sp_estimate = results->SPEstimate();
  chart.sw_estimate = results->SWEstimate();
  chart.spec_lims = ReadTable(results->SpecLim(), kSpecLimColumns);
  chart.ctrl_lims = ReadTable(results->CtrlLim(), kCtrlLimColumns);
  chart.def_opps = ReadTable(results->DefOpp(), kDefOppColumns);
  for (const auto& row : chart.spec_lims) {
    const int scale = static_cast<int>(NumberOf(row, "F_SCAL"));
    chart.decimals = std::max(chart.decimals.value_or(scale), scale);
  }
  // An analysis that selected nothing has no graphs, whatever was asked for.
  if (subgroups->TotalSubgroups() != 0 && chart.processing) ReadGraphs(*results, chart);
  // Each of the three takes much memory where there are many points.
  results.reset();
  chart.subgroups = ReadSubgroups(*subgroups);
  subgroups.reset();
  const auto& rows = chart.subgroups.rows;
  chart.groups = GroupsOf(
      rows.size(), [&](std::size_t i) { return std::pair(rows[i].group_index, rows[i].group_id); });
  return chart;
}

double NumberOf(const LimitRow& row, std::string_view column) {
  const auto found = std::ranges::find(row, column, &LimitRow::value_type::first);
  if (found == row.end()) return 0.0;
  if (const auto* number = std::get_if<double>(&found->second)) return *number;
  if (const auto* number = std::get_if<std::int32_t>(&found->second)) return *number;
  const auto* const date = std::get_if<platform::Date>(&found->second);
  return date == nullptr ? 0.0 : date->days;
}

std::vector<std::string> SpecificationTexts(std::int32_t flags) {
  std::vector<std::string> texts;
  for (const auto& limit : kSpecificationLimits)
    if ((flags & limit.bit) != 0) texts.emplace_back(limit.text);
  return texts;
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
  chart.decimals = DecimalsOfText(root);
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

void WriteProcessing(JsonWriter& json, const CCProcessing& processing) {
  json.Members("Graph1Type", processing.Graph1Type(), "Graph2Type", processing.Graph2Type(),
               "Graph3Type", processing.Graph3Type(), "ProcessingType", processing.ProcessingType(),
               "Individuals", processing.Individuals(), "GroupBy", processing.GroupBy(),
               "GroupThreshold", processing.GroupThreshold(), "Cusum", processing.Cusum(), "EWMA",
               processing.EWMA(), "EWMAWeight", processing.EWMAWeight(), "Economic",
               processing.Economic(), "AQLValue", processing.AQLValue(), "AQLProducerRisk",
               processing.AQLProducerRisk());
}

void WriteGraphs(JsonWriter& json, const ChartDocument& document) {
  json.Objects<Spread::Blocks>("Graphs", document.chart.graphs,
                               [&](const GraphRead& graph) { WriteGraph(json, graph, document); });
}

std::string ProcessingText(const CCProcessing& processing, const TextOptions& options) {
  return SettingsText("CCProcessing",
                      JsonDocument([&](auto& json) { WriteProcessing(json, processing); }),
                      options);
}

std::string ChartJson(const ChartDocument& document, const Names& names) {
  const ChartRead& chart = document.chart;
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "Processing", chart.processing.get(), WriteProcessing);
    ObjectMember(json, "DataSelect", chart.select.get(), WriteDataSelect);
    json.Members("TotalSubgroups", chart.subgroups.total_subgroups, "TotalGroups",
                 chart.subgroups.total_groups, "MeanEstimate", chart.mean_estimate, "SPEstimate",
                 chart.sp_estimate, "SWEstimate", chart.sw_estimate);
    WriteSubgroups(json, chart.subgroups, names);
    WriteGraphs(json, document);
    const bool known = chart.tables_known;
    WriteRows(json, "SpecLims", chart.spec_lims, known);
    WriteRows(json, "CtrlLims", chart.ctrl_lims, known);
    WriteRows(json, "DefOpps", chart.def_opps, known);
    if (known) {
      json.Objects("Groups", chart.groups, [&](const GroupView& group) {
        json.Members("First", group.first, "Last", group.last, "ID", group.id);
      });
      WriteStreams(json, document, names);
    } else {
      json.NullMember("Groups");
      json.NullMember("Streams");
    }
    ObjectMember(json, "AcceptanceLimits", document.acceptance ? &*document.acceptance : nullptr,
                 WriteAcceptance);
    WriteNotes(json, document.notes);
  });
}

}  // namespace orvspc::render
