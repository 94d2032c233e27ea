// SPDX-License-Identifier: Apache-2.0
// The five analyses and the two retrievals over the sample database: every row of every result.
#include "tests/windows/client/Walk.h"

namespace orvspc::windows::tests {

namespace {

constexpr std::int32_t kProcess = 1;
// Days since 1899-12-30.
constexpr double k20240318 = 45369.0, k20240325 = 45376.0;
constexpr double k20240408 = 45390.0, k20240413 = 45395.0;

constexpr const char* kSpecColumns[] = {"F_PART", "F_TEST", "Name",  "F_SCAL",  "F_USL",
                                        "F_TAR",  "F_LSL",  "F_UGB", "F_LGB",   "F_URL",
                                        "F_LRL",  "F_CP",   "F_CPK", "F_EFLAG", "F_AFLAG"};
constexpr const char* kCtrlColumns[] = {"F_PART", "F_PRCS", "F_TEST", "F_EFTM", "F_MEAN",
                                        "F_SP",   "F_SPL",  "F_SW",   "F_STTM", "F_FNTM"};
constexpr const char* kOppsColumns[] = {"F_PART", "F_TEST", "F_OPPS", "Stamp4"};

template <std::size_t N>
void LimitRows(Walk& walk, const Object& table, const char* const (&columns)[N]) {
  if (!table) return;
  const auto moved = [](const Value& value) {
    const auto* answer = std::get_if<bool>(&value);
    return answer != nullptr && *answer;
  };
  for (auto there = walk.Say(table, "MoveFirst"); moved(there); there = walk.Say(table, "MoveNext"))
    for (const char* column : columns) walk.Say(table, "Value", {std::string(column)});
}

// The settings and the selection that a result holds.
void Origins(Walk& walk, const Object& results, const std::string& title) {
  walk.Section(title);
  walk.Reads(results);
  for (const char* name : {"Processing", "DataSelect"}) {
    Object held;
    for (const auto& member : Members())
      if (member.type == results.type && member.name == name) held = ObjectIn(Get(results, name));
    if (!held) continue;
    walk.Note(std::string(results.type) + "." + name + " is the same",
              Same(held, ObjectIn(Get(results, name))));
    walk.Reads(held);
  }
}

void Subgroups(Walk& walk, const Object& data, const std::string& title, bool slices) {
  walk.Rows(data, title);
  if (!data) return;
  for (const std::int32_t test : {0, 1, 999}) walk.Say(data, "HasDefects", {test});
  if (!slices) return;
  for (std::int32_t row = 1; std::get<bool>(Call(data, "MoveTo", {row})); ++row)
    for (const char* name : {"TestData", "DescriptorData", "CommentData"}) {
      const auto slice = ObjectIn(Get(data, name));
      walk.Rows(slice, title + " " + std::to_string(row) + ", " + name);
      walk.Note(std::string("SubgroupData.") + name + " is the same",
                Same(slice, ObjectIn(Get(data, name))));
    }
}

struct Chart {
  const char* part;
  std::int32_t graph1, graph2, graph3, group_by;
};

constexpr Chart kCharts[] = {
    {"Wafer", 1, 1, 0, 0},         {"Reactor feed", 3, 3, 0, 0},    {"Piston ring", 1, 2, 2, 0},
    {"Ring", 1, 1, 0, 2},          {"Purchase order", 12, 0, 0, 0}, {"Circuit board", 13, 0, 0, 0},
    {"Circuit board", 8, 0, 0, 0}, {"Radiator", 14, 0, 0, 0},       {"Flour 500 g", 5, 0, 0, 0},
    {"Flour 500 g", 0, 0, 0, 0},   {"Flour 500 g", 2, 1, 1, 0},
};

void Graph(Walk& walk, const Object& graph, const std::string& title) {
  walk.Section(title);
  if (!graph) return;
  walk.Reads(graph);
  const auto data = ObjectIn(Get(graph, "GraphData"));
  walk.Note("CCGraph.GraphData is the same", Same(data, ObjectIn(Get(graph, "GraphData"))));
  walk.Rows(data, title + ", points");
  walk.Section(title + ", rules");
  for (std::int32_t row = 1; std::get<bool>(Call(data, "MoveTo", {row})); ++row)
    for (const char* name : {"cOOCRuleDef", "OOCRuleDef"}) {
      const auto rules = ObjectIn(Get(data, name));
      walk.Note(std::string("CCGraphData.") + name + " is the same",
                Same(rules, ObjectIn(Get(data, name))));
      walk.List(rules);
    }
}

void Drawn(Walk& walk, const Object& results, const std::string& title) {
  Origins(walk, results, title);
  for (std::int32_t index = 0; index <= 4; ++index) {
    const auto graph = walk.SayObject(results, "Graphs", {index});
    if (graph)
      walk.Note("CCResults.Graphs is the same",
                Same(graph, ObjectIn(Get(results, "Graphs", {index}))));
    Graph(walk, graph, title + ", graph " + std::to_string(index));
  }
  Subgroups(walk, ObjectIn(Get(results, "SubgroupData")), title + ", subgroups", false);
  walk.Section(title + ", tables");
  walk.List(ObjectIn(Get(results, "RuleDef")));
  LimitRows(walk, ObjectIn(Get(results, "SpecLim")), kSpecColumns);
  LimitRows(walk, ObjectIn(Get(results, "CtrlLim")), kCtrlColumns);
  LimitRows(walk, ObjectIn(Get(results, "DefOpp")), kOppsColumns);
}

void Capability(Walk& walk, const Object& results, const std::string& title) {
  Origins(walk, results, title);
  walk.Section(title + ", statistics");
  const auto statistics = ObjectIn(Get(results, "Statistics"));
  walk.Reads(statistics);
  for (const auto& member : Members())
    if (member.type == "CAStatistics" && member.arguments == 1)
      walk.SayChanged(statistics, member.name, 0);
  walk.Rows(ObjectIn(Get(results, "Bins")), title + ", bins");
  walk.Rows(ObjectIn(Get(results, "Curve")), title + ", curve");
}

void Bins(Walk& walk, const Object& bins, const std::string& title) {
  walk.Rows(bins, title);
  if (!bins) return;
  walk.Section(title + ", levels");
  for (std::int32_t level = -1; level <= 3; ++level) walk.Say(bins, "ID", {level});
  for (std::int32_t level = -1; level <= 6; ++level) walk.Say(bins, "Percentage", {level});
}

struct Pareto {
  const char* part;
  std::int32_t resource, type0, type1, processing;
};

constexpr Pareto kParetos[] = {
    {"Door panel", 0, 13, 0, 0},  {"Door panel", 0, 13, 4, 1}, {"Door panel", 0, 2, 0, 2},
    {"Door panel", 1, 15, 0, 11}, {"", 2, 23, 4, 11},
};

}  // namespace

void WalkData(Walk& walk, const Object& database) {
  const auto select = Selection(database, "Flour 500 g");
  walk.Section("data");
  const auto data = walk.SayObject(select, "GetSubgroupData", {database});
  walk.Reads(select);
  Subgroups(walk, data, "data, subgroups", true);
  walk.Section("data, stored");
  walk.Stored(data);
  const auto events = Selection(database, "Door panel");
  walk.Section("events");
  const auto found = walk.SayObject(events, "GetEventData", {database});
  walk.Reads(events);
  walk.Rows(found, "events, rows");
  walk.Section("events, stored");
  walk.Stored(found);
  walk.Section("no data");
  Let(select, "Tsno", {99});
  Subgroups(walk, walk.SayObject(select, "GetSubgroupData", {database}), "no data, subgroups",
            false);
  Let(events, "IncludeVariableTests", {false});
  SetRange(events, 1000.0, 1001.0);
  walk.Rows(ObjectIn(Call(events, "GetEventData", {database})), "no data, events");
  for (const char* type : {"SubgroupData", "EventData"})
    walk.Rows(Create(type), std::string(type) + ", new");
}

void WalkCharts(Walk& walk, const Object& database) {
  const auto analysis = Create("CCAnalysis");
  walk.Section("CCResults, new");
  walk.Reads(Create("CCResults"));
  int number = 0;
  for (const auto& chart : kCharts) {
    const std::string title = "chart " + std::to_string(++number);
    const auto processing = Create("CCProcessing");
    Let(processing, "Graph1Type", {chart.graph1});
    Let(processing, "Graph2Type", {chart.graph2});
    Let(processing, "Graph3Type", {chart.graph3});
    Let(processing, "GroupBy", {chart.group_by});
    const auto select = Selection(database, chart.part);
    const auto results =
        ObjectIn(Call(analysis, "AnalyzeDataSelect", {database, select, processing}));
    Drawn(walk, results, title);
    walk.Section(title + ", stored");
    // Of a result that was read, and of one that was not.
    walk.Say(results, "GetXML");
    const auto unread =
        ObjectIn(Call(analysis, "AnalyzeDataSelect", {database, select, processing}));
    const auto text = walk.Say(unread, "GetXML");
    const auto again = Create("CCResults");
    walk.Note("CCResults.SetXML", Call(again, "SetXML", {text}));
    Drawn(walk, again, title + ", read back");
    if (number > 1) continue;
    walk.Section(title + ", read from a node");
    const auto by_node = Create("CCResults");
    walk.Note("CCResults.SetXMLNode", Call(by_node, "SetXMLNode", {text}));
    walk.Reads(by_node);
  }
}

void WalkCapability(Walk& walk, const Object& database) {
  const auto analysis = Create("CAAnalysis");
  Capability(walk, Create("CAResults"), "CAResults, new");
  for (const char* part : {"Ring", "Bottle", "Shaft", "Flour 500 g"}) {
    const std::string title = std::string("capability ") + part;
    const auto processing = Create("CAProcessing");
    Let(processing, "FitType", {part == std::string_view("Shaft") ? 1 : 0});
    const auto results = ObjectIn(
        Call(analysis, "AnalyzeDataSelect", {database, Selection(database, part), processing}));
    Capability(walk, results, title);
    walk.Section(title + ", stored");
    const auto text = walk.Say(results, "GetXML");
    const auto again = Create("CAResults");
    walk.Note("CAResults.SetXML", Call(again, "SetXML", {text}));
    Capability(walk, again, title + ", read back");
  }
}

void WalkPareto(Walk& walk, const Object& database) {
  const auto analysis = Create("PAAnalysis");
  Origins(walk, Create("PAResults"), "PAResults, new");
  Bins(walk, ObjectIn(Get(Create("PAResults"), "Bins")), "PAResults, new bins");
  int number = 0;
  for (const auto& pareto : kParetos) {
    const std::string title = "pareto " + std::to_string(++number);
    const auto processing = Create("PAProcessing");
    Let(processing, "ResourceType", {pareto.resource});
    Let(processing, "ProcessingType", {pareto.processing});
    Let(processing, "BinType", {0, pareto.type0});
    Let(processing, "BinType", {1, pareto.type1});
    const auto select = Selection(database, pareto.part);
    if (pareto.resource == 1) SetRange(select, k20240318, k20240325);
    if (pareto.resource == 2) SetRange(select, k20240408, k20240413);
    const auto results =
        ObjectIn(Call(analysis, "AnalyzeDataSelect", {database, select, processing}));
    Origins(walk, results, title);
    const auto bins = ObjectIn(Get(results, "Bins"));
    Bins(walk, bins, title + ", bins");
    walk.Section(title + ", stored");
    const auto stored = walk.Say(bins, "GetXML");
    const auto again = ObjectIn(Get(Create("PAResults"), "Bins"));
    walk.Note("PABins.SetXML", Call(again, "SetXML", {stored}));
    Bins(walk, again, title + ", bins read back");
    walk.Section(title + ", result stored");
    walk.Stored(results);
  }
}

void WalkStates(Walk& walk, const Object& database) {
  const auto analysis = Create("PSAnalysis");
  walk.Section("PSResults, new");
  walk.Reads(Create("PSResults"));
  for (const char* process : {"Capper", "Filler 1"}) {
    const std::string title = std::string("states ") + process;
    const auto select = Selection(database, "");
    AddItem(database, select, kProcess, "process", process);
    SetRange(select, k20240408, k20240413);
    const auto results =
        ObjectIn(Call(analysis, "AnalyzeDataSelect", {database, select, Create("PSProcessing")}));
    Origins(walk, results, title);
    Subgroups(walk, ObjectIn(Get(results, "SubgroupData")), title + ", subgroups", false);
    walk.Rows(ObjectIn(Get(results, "EventData")), title + ", events");
    walk.Section(title + ", log");
    walk.List(ObjectIn(Get(results, "PrcsStateLog")));
  }
}

void WalkCompliance(Walk& walk, const Object& database) {
  const auto analysis = Create("SCAnalysis");
  walk.Section("SCResults, new");
  walk.Reads(Create("SCResults"));
  const auto select = Selection(database, "");
  for (const char* process : {"Capper", "Filler 1", "Filler 2"})
    AddItem(database, select, kProcess, "process", process);
  SetRange(select, k20240408, k20240413);
  const auto results = ObjectIn(Call(analysis, "AnalyzeDataSelect", {database, select}));
  Origins(walk, results, "compliance");
  walk.Rows(results, "compliance, rows");
}

}  // namespace orvspc::windows::tests
