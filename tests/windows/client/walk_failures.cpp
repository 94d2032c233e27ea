// SPDX-License-Identifier: Apache-2.0
// The failures of the library itself: number, trail and text.
#include "tests/windows/client/Walk.h"

namespace orvspc::windows::tests {

void WalkFailures(Walk& walk, const Object& database) {
  const Object nothing;
  const auto select = Selection(database, "Wafer");
  const auto charts = Create("CCAnalysis");
  const auto settings = Create("CCProcessing");

  walk.Section("failures -2147221504");
  walk.SayLet(select, "MaximumItems", {0});
  walk.SayLet(select, "Tsno", {-1});
  walk.SayLet(select, "DateRangeInterval", {-1});
  for (const char* type : {"DataSelect", "SubgroupData", "EventData", "CCProcessing", "CCResults",
                           "CAProcessing", "CAResults", "PAProcessing", "PAResults"}) {
    walk.Say(Create(type), "SetXML", {std::string()});
    walk.Say(Create(type), "SetXML", {std::string("<Other/>")});
    walk.Say(Create(type), "SetXML", {std::string("<unclosed")});
  }
  walk.Say(ObjectIn(Get(Create("PAResults"), "Bins")), "ID", {3});
  const auto empty_list = Create("DataSelect");
  const auto descriptor = ObjectIn(Call(ObjectIn(Get(empty_list, "Descriptors")), "Add", {0}));
  walk.Say(empty_list, "GetSubgroupData", {database});
  walk.Say(charts, "AnalyzeDataSelect", {database, empty_list, settings});
  walk.Say(Create("CAAnalysis"), "AnalyzeDataSelect",
           {database, empty_list, Create("CAProcessing")});
  walk.Say(Create("PAAnalysis"), "AnalyzeDataSelect",
           {database, empty_list, Create("PAProcessing")});
  walk.Say(Create("PSAnalysis"), "AnalyzeDataSelect",
           {database, empty_list, Create("PSProcessing")});
  walk.Say(Create("SCAnalysis"), "AnalyzeDataSelect", {database, empty_list});
  Let(descriptor, "FilterType", {7});
  walk.Say(empty_list, "GetSubgroupData", {database});

  walk.Section("failures 91");
  walk.Say(Create("CCResults"), "GraphCount");
  walk.Say(select, "GetSubgroupData", {nothing});
  walk.Say(select, "GetEventData", {nothing});
  walk.Say(charts, "AnalyzeDataSelect", {nothing, select, settings});
  walk.Say(charts, "AnalyzeDataSelect", {database, nothing, settings});
  walk.Say(charts, "AnalyzeDataSelect", {database, select, nothing});
  walk.Say(Create("CAAnalysis"), "AnalyzeDataSelect", {database, select, nothing});
  walk.Say(Create("PAAnalysis"), "AnalyzeDataSelect", {database, select, nothing});
  walk.Say(Create("PSAnalysis"), "AnalyzeDataSelect", {database, select, nothing});
  walk.Say(Create("SCAnalysis"), "AnalyzeDataSelect", {database, nothing});

  walk.Section("failures 13");
  // An object that is no database.
  walk.Say(select, "GetSubgroupData", {settings});
  walk.Say(select, "GetEventData", {select});
  walk.Say(charts, "AnalyzeDataSelect", {settings, select, settings});
  walk.Say(Create("CCProcessing"), "SetXML", {std::string("<CCProcessing GroupThreshold=\"x\"/>")});
  walk.Say(Create("DataSelect"), "SetXML", {std::string("<DataSelect MaximumItems=\"x\"/>")});

  walk.Section("failures 9");
  const auto pareto = Create("PAProcessing");
  walk.Say(pareto, "BinTypeID", {6});
  walk.SayLet(pareto, "BinTimeInterval", {-1, 3});
  walk.Say(Create("SCResults"), "PP");
  walk.Say(ObjectIn(Get(Create("PAResults"), "Bins")), "Percentage", {0});
  walk.Say(Create("EventData"), "SetXML", {std::string("<EventData/>")});

  walk.Section("failures 6");
  const auto capability = Create("CAProcessing");
  Let(capability, "WindowType", {0x7FFFFFFF});
  walk.Say(Create("CAAnalysis"), "AnalyzeDataSelect", {database, select, capability});
  walk.Say(Create("CCProcessing"), "SetXML",
           {std::string("<CCProcessing GroupThreshold=\"99999999999\"/>")});
}

}  // namespace orvspc::windows::tests
