// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartReading.h"

#include <map>

#include "host/render/core/Numbers.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

void RulesMember(JsonWriter& json, const char* key, const std::vector<std::vector<Rule>>& points) {
  json.Key(key);
  json.BeginArray(true);
  for (const auto& rules : points) {
    json.BeginArray(true);
    for (const auto& rule : rules) json.Value(rule.text);
    json.EndArray();
  }
  json.EndArray();
}

// How a limit row tells that a time is not given: the lowest stamp is "since ever" for the time
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
  while (!text.empty() && (text.back() == '\0' || text.back() == ' ')) text.pop_back();
  json.Value(text);
}

// The enabling bit of a limit's column; 0 for columns that are always given.
std::int32_t EnableBit(const std::string& column) {
  static const std::map<std::string, std::int32_t> kBits = {
      {"F_URL", slfURL}, {"F_USL", slfUSL}, {"F_UGB", slfUGB}, {"F_TAR", slfTAR}, {"F_LGB", slfLGB},
      {"F_LSL", slfLSL}, {"F_LRL", slfLRL}, {"F_UWP", slfUWP}, {"F_LWP", slfLWP}, {"F_USG", slfUSG},
      {"F_LSG", slfLSG}, {"F_UDS", slfUDS}, {"F_LDS", slfLDS}};
  const auto found = kBits.find(column);
  return found == kBits.end() ? 0 : found->second;
}

void WriteRows(JsonWriter& json, const char* key, const std::vector<LimitRow>& rows, bool known) {
  if (rows.empty() && !known) return json.NullMember(key);
  json.Objects(key, rows, [&](const LimitRow& row) {
    const auto enabled = static_cast<std::int32_t>(NumberOf(CellOf(row, "F_EFLAG")));
    for (const auto& [column, cell] : row) {
      json.Key(column);
      const std::int32_t bit = EnableBit(column);
      bit != 0 && (enabled & bit) == 0 ? json.Null() : WriteCell(json, column, cell);
    }
  });
}

void WriteGraph(JsonWriter& json, const GraphRead& graph, const ChartDocument& document) {
  const std::int32_t requested = document.requested[graph.index - 1];
  json.BeginObject();
  json.Member("Type", GraphWord(graph.index, graph.type));
  if (requested == kNotKnown) {
    json.NullMember("Requested");
  } else {
    json.Member("Requested", GraphWord(graph.index, requested));
  }
  ForEachArray([&](const std::string& key, auto array, auto) {
    const auto& values = graph.*array;
    values.empty() ? json.NullMember(key) : json.Member(key, values);
    if (key == "SGSizes" && !document.sizes.empty()) json.Member("Sizes", document.sizes);
  });
  RulesMember(json, "cRules", graph.c_rules);
  RulesMember(json, "Rules", graph.rules);
  json.EndObject();
}

void WriteGroups(JsonWriter& json, const std::vector<SubgroupRow>& rows) {
  struct Group {
    std::size_t first, last;
  };
  std::vector<Group> groups;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i > 0 && rows[i].group_index == rows[i - 1].group_index) {
      groups.back().last = i;
    } else {
      groups.push_back({i, i});
    }
  }
  json.Objects("Groups", groups, [&](const Group& group) {
    json.Members("First", group.first, "Last", group.last, "ID", rows[group.first].group_id);
  });
}

void WriteStreams(JsonWriter& json, const std::vector<StreamReport>& streams, const Names& names) {
  json.Key("Streams");
  json.BeginArray();
  for (const auto& stream : streams) {
    json.BeginObject();
    WriteItem(json, "Part", names, NameKind::Part, stream.part);
    WriteItem(json, "Prcs", names, NameKind::Process, stream.process);
    WriteItem(json, "Test", names, NameKind::Test, stream.test);
    WriteEstimate(json, "Mean", stream.mean);
    WriteEstimate(json, "SP", stream.sp);
    WriteEstimate(json, "SW", stream.sw);
    json.Member("AverageSize", stream.average_size);
    json.EndObject();
  }
  json.EndArray();
}

void WriteAcceptance(JsonWriter& json, const AcceptanceLimits& acceptance) {
  json.Members("AQLValue", acceptance.level, "AQLProducerRisk", acceptance.risk, "Distribution",
               acceptance.binomial ? "binomial" : "Poisson", "Numbers", acceptance.numbers, "Rates",
               acceptance.rates);
}

}  // namespace

void WriteProcessing(JsonWriter& json, const CCProcessing& processing) {
  json.Members("Graph1Type", processing.Graph1Type(), "Graph2Type", processing.Graph2Type(),
               "Graph3Type", processing.Graph3Type(), "ProcessingType", processing.ProcessingType(),
               "Individuals", processing.Individuals(), "GroupBy", processing.GroupBy(),
               "GroupThreshold", processing.GroupThreshold(), "Cusum", processing.Cusum(), "EWMA",
               processing.EWMA(), "EWMAWeight", processing.EWMAWeight(), "Economic",
               processing.Economic(), "AQLValue", processing.AQLValue(), "AQLProducerRisk",
               processing.AQLProducerRisk());
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
    WriteSubgroups(json, chart.subgroups.rows, names);
    json.Key("Graphs");
    json.BeginArray();
    for (const auto& graph : chart.graphs) WriteGraph(json, graph, document);
    json.EndArray();
    const bool known = chart.tables_known;
    WriteRows(json, "SpecLims", chart.spec_lims, known);
    WriteRows(json, "CtrlLims", chart.ctrl_lims, known);
    WriteRows(json, "DefOpps", chart.def_opps, known);
    if (known) {
      WriteGroups(json, chart.subgroups.rows);
      WriteStreams(json, document.streams, names);
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
