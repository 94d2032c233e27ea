// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartJson.h"

#include <limits>
#include <map>

#include "host/render/core/Numbers.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

std::string DateIso(double date) {
  // Date 0 is "not given" and lies before the first stamp.
  return date == 0.0 ? std::string() : IsoTime(platform::DateToTimeStamp(date));
}

void DateMember(JsonWriter& json, const char* key, double date) {
  if (date == 0.0) return json.NullMember(key);
  json.Member(key, DateIso(date));
}

// null where there is no object.
template <class Object>
void ObjectMember(JsonWriter& json, const char* key, const Object* object,
                  void (*write)(JsonWriter&, const Object&)) {
  if (object == nullptr) return json.NullMember(key);
  json.Key(key);
  json.BeginObject();
  write(json, *object);
  json.EndObject();
}

template <class Element>
void ArrayMember(JsonWriter& json, const char* key, const std::vector<Element>& values) {
  if (values.empty()) return json.NullMember(key);
  json.Member(key, values);
}

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

void WriteTests(JsonWriter& json, const std::vector<TestRow>& tests) {
  json.Key("Tests");
  json.BeginArray(true);
  for (const auto& test : tests) {
    json.BeginObject(true);
    json.Member("Sn", test.sn);
    json.Member("Tsno", test.tsno);
    json.Member("Sbno", test.sbno);
    json.Member("Def", test.def);
    json.Member("Gage", test.gage);
    json.Member("Val", test.value);
    json.EndObject();
  }
  json.EndArray();
}

// Members of one subgroup, in an open object.
void WriteSubgroup(JsonWriter& json, const SubgroupRow& row, const Names& names) {
  json.Member("Sgrp", row.sgrp);
  json.Member("Part", row.part);
  json.Member("PartName", names(NameKind::Part, row.part));
  json.Member("Prcs", row.prcs);
  json.Member("PrcsName", names(NameKind::Process, row.prcs));
  json.Member("Test", row.test);
  json.Member("TestName", names(NameKind::Test, row.test));
  json.Member("Wkst", row.wkst);
  json.Member("Job", row.job);
  json.Member("Lot", row.lot);
  json.Member("Shft", row.shft);
  json.Member("Ptrv", row.ptrv);
  json.Member("Empl", row.empl);
  json.Member("Sgtm", IsoTime(row.stamp));
  json.Member("Size", row.size);
  json.Member("Flag", row.flag);
  json.Member("GroupIndex", row.group_index);
  json.Member("GroupID", row.group_id);
  WriteTests(json, row.tests);
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
    return NotGiven(column, date->days) ? json.Null() : json.Value(DateIso(date->days));
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
  json.Key(key);
  json.BeginArray();
  for (const auto& row : rows) {
    const auto enabled = static_cast<std::int32_t>(NumberOf(CellOf(row, "F_EFLAG")));
    json.BeginObject(true);
    for (const auto& [column, cell] : row) {
      json.Key(column);
      const std::int32_t bit = EnableBit(column);
      if (bit != 0 && (enabled & bit) == 0) {
        json.Null();
      } else {
        WriteCell(json, column, cell);
      }
    }
    json.EndObject();
  }
  json.EndArray();
}

void WriteGraph(JsonWriter& json, const GraphRead& graph, std::int32_t requested) {
  json.BeginObject();
  json.Member("Type", GraphWord(graph.index, graph.type));
  if (requested == kNotKnown) {
    json.NullMember("Requested");
  } else {
    json.Member("Requested", GraphWord(graph.index, requested));
  }
  ArrayMember(json, "SGSizes", graph.sg_sizes);
  ArrayMember(json, "Points", graph.points);
  ArrayMember(json, "cOOCs", graph.c_oocs);
  ArrayMember(json, "OOCs", graph.oocs);
  ArrayMember(json, "OOSs", graph.ooss);
  ArrayMember(json, "AFlags", graph.a_flags);
  ArrayMember(json, "EFlags", graph.e_flags);
  ArrayMember(json, "USLs", graph.usls);
  ArrayMember(json, "Targets", graph.targets);
  ArrayMember(json, "LSLs", graph.lsls);
  ArrayMember(json, "cUCLs", graph.c_ucls);
  ArrayMember(json, "cCLs", graph.c_cls);
  ArrayMember(json, "cLCLs", graph.c_lcls);
  ArrayMember(json, "UCLs", graph.ucls);
  ArrayMember(json, "Cls", graph.cls);
  ArrayMember(json, "LCLs", graph.lcls);
  RulesMember(json, "cRules", graph.c_rules);
  RulesMember(json, "Rules", graph.rules);
  json.EndObject();
}

void WriteGroups(JsonWriter& json, const std::vector<SubgroupRow>& rows) {
  json.Key("Groups");
  json.BeginArray();
  for (std::size_t first = 0; first < rows.size();) {
    std::size_t last = first;
    while (last + 1 < rows.size() && rows[last + 1].group_index == rows[first].group_index) ++last;
    json.BeginObject(true);
    json.Member("First", first);
    json.Member("Last", last);
    json.Member("ID", rows[first].group_id);
    json.EndObject();
    first = last + 1;
  }
  json.EndArray();
}

void WriteStreams(JsonWriter& json, const std::vector<StreamReport>& streams, const Names& names) {
  json.Key("Streams");
  json.BeginArray();
  for (const auto& stream : streams) {
    json.BeginObject();
    json.Member("Part", stream.part);
    json.Member("PartName", names(NameKind::Part, stream.part));
    json.Member("Prcs", stream.process);
    json.Member("PrcsName", names(NameKind::Process, stream.process));
    json.Member("Test", stream.test);
    json.Member("TestName", names(NameKind::Test, stream.test));
    WriteEstimate(json, "Mean", stream.mean);
    WriteEstimate(json, "SP", stream.sp);
    WriteEstimate(json, "SW", stream.sw);
    if (!stream.gamma.name.empty()) WriteEstimate(json, "Gamma", stream.gamma);
    json.Member("AverageSize", stream.average_size);
    json.EndObject();
  }
  json.EndArray();
}

void WriteAcceptance(JsonWriter& json, const AcceptanceLimits& acceptance) {
  json.Member("AQLValue", acceptance.level);
  json.Member("AQLProducerRisk", acceptance.risk);
  json.Member("Distribution", acceptance.binomial ? "binomial" : "Poisson");
  json.Member("Numbers", acceptance.numbers);
  json.Member("Rates", acceptance.rates);
}

}  // namespace

void WriteEstimate(JsonWriter& json, const char* key, const Estimate& estimate) {
  json.Key(key);
  json.BeginObject(true);
  json.Member("Value", estimate.value);
  json.Member("Estimator", estimate.name);
  // No constant goes into a mean, and none is single where sizes differ.
  json.Member("Constant", estimate.constant == 0.0 ? std::numeric_limits<double>::quiet_NaN()
                                                   : estimate.constant);
  json.Member("Used", estimate.used);
  json.Member("LeastSize", estimate.least_size);
  json.Member("LargestSize", estimate.largest_size);
  json.EndObject();
}

void WriteNotes(JsonWriter& json, const std::vector<Note>& notes) {
  json.Key("Notes");
  json.BeginArray();
  for (const auto& note : notes) {
    json.BeginObject(true);
    json.Member("Code", note.code);
    json.Member("Text", note.text);
    json.Member("Stream", note.stream);
    json.EndObject();
  }
  json.EndArray();
}

void WriteProcessing(JsonWriter& json, const CCProcessing& processing) {
  const auto number = [](auto value) { return static_cast<std::int32_t>(value); };
  json.Member("Graph1Type", number(processing.Graph1Type()));
  json.Member("Graph2Type", number(processing.Graph2Type()));
  json.Member("Graph3Type", number(processing.Graph3Type()));
  json.Member("ProcessingType", number(processing.ProcessingType()));
  json.Member("Individuals", processing.Individuals());
  json.Member("GroupBy", number(processing.GroupBy()));
  json.Member("GroupThreshold", processing.GroupThreshold());
  json.Member("Cusum", number(processing.Cusum()));
  json.Member("EWMA", number(processing.EWMA()));
  json.Member("EWMAWeight", processing.EWMAWeight());
  json.Member("Economic", processing.Economic());
  json.Member("AQLValue", processing.AQLValue());
  json.Member("AQLProducerRisk", processing.AQLProducerRisk());
}

void WriteDataSelect(JsonWriter& json, const DataSelect& select) {
  const auto number = [](auto value) { return static_cast<std::int32_t>(value); };
  json.Member("IncludeEnabled", select.IncludeEnabled());
  json.Member("IncludeIncomplete", select.IncludeIncomplete());
  json.Member("IncludeDisabled", select.IncludeDisabled());
  json.Member("MaximumItems", select.MaximumItems());
  json.Member("Tsno", select.Tsno());
  json.Member("DateRangeTimeType", number(select.DateRangeTimeType()));
  json.Member("DateRangeInterval", select.DateRangeInterval());
  json.Member("DateRangePeriod", number(select.DateRangePeriod()));
  DateMember(json, "DateRangeStart", select.DateRangeStart());
  DateMember(json, "DateRangeEnd", select.DateRangeEnd());
  json.Member("IncludeVariableTests", select.IncludeVariableTests());
  json.Member("IncludeDefectTests", select.IncludeDefectTests());
  json.Member("IncludeDefectiveTests", select.IncludeDefectiveTests());
  json.Key("Descriptors");
  json.BeginArray();
  const auto descriptors = select.Descriptors();
  for (std::int32_t i = 0; i < descriptors->Count(); ++i) {
    const auto descriptor = descriptors->Item(i);
    json.BeginObject(true);
    json.Member("Type", number(descriptor->DescriptorType()));
    json.Member("Filter", number(descriptor->FilterType()));
    json.Member("Group", descriptor->GroupID());
    json.Key("Items");
    json.BeginArray(true);
    for (std::int32_t item = 1; item <= descriptor->ItemCount(); ++item)
      json.Value(descriptor->ItemID(item));
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
}

void WriteSubgroups(JsonWriter& json, const std::vector<SubgroupRow>& rows, const Names& names) {
  json.Key("Subgroups");
  json.BeginArray();
  for (const auto& row : rows) {
    json.BeginObject(true);
    WriteSubgroup(json, row, names);
    json.EndObject();
  }
  json.EndArray();
}

std::string ChartJson(const ChartDocument& document, const Names& names) {
  const ChartRead& chart = document.chart;
  JsonWriter json;
  json.BeginObject();
  ObjectMember(json, "Processing", chart.processing.get(), WriteProcessing);
  ObjectMember(json, "DataSelect", chart.select.get(), WriteDataSelect);
  json.Member("TotalSubgroups", chart.subgroups.total_subgroups);
  json.Member("TotalGroups", chart.subgroups.total_groups);
  json.Member("MeanEstimate", chart.mean_estimate);
  json.Member("SPEstimate", chart.sp_estimate);
  json.Member("SWEstimate", chart.sw_estimate);
  WriteSubgroups(json, chart.subgroups.rows, names);
  json.Key("Graphs");
  json.BeginArray();
  for (const auto& graph : chart.graphs)
    WriteGraph(json, graph, document.requested[graph.index - 1]);
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
  json.EndObject();
  return json.Text();
}

std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes) {
  JsonWriter json;
  json.BeginObject();
  ObjectMember(json, "DataSelect", select, WriteDataSelect);
  json.Member("TotalSubgroups", data.total_subgroups);
  json.Member("TotalGroups", data.total_groups);
  json.Member("TotalTests", data.total_tests);
  json.Member("TotalDescriptors", data.total_descriptors);
  json.Key("Subgroups");
  json.BeginArray();
  for (const auto& row : data.rows) {
    json.BeginObject(true);
    WriteSubgroup(json, row, names);
    json.Key("Descriptors");
    json.BeginArray(true);
    for (const auto& descriptor : row.descriptors) {
      json.BeginObject(true);
      json.Member("Dsgp", descriptor.group);
      json.Member("Desc", descriptor.descriptor);
      json.Member("Tsno", descriptor.tsno);
      json.EndObject();
    }
    json.EndArray();
    json.Key("Comments");
    json.BeginArray(true);
    for (const auto& comment : row.comments) {
      json.BeginObject(true);
      json.Member("Empl", comment.employee);
      json.Member("Note", comment.note);
      json.Member("Test", comment.test);
      json.Member("Tsno", comment.tsno);
      DateMember(json, "Edtm", comment.edited);
      json.EndObject();
    }
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
  WriteNotes(json, notes);
  json.EndObject();
  return json.Text();
}

}  // namespace orvspc::render
