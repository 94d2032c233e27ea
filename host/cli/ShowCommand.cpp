// SPDX-License-Identifier: Apache-2.0
#include "frame/XMLSupport.h"
#include "host/cli/CapabilityCommand.h"
#include "host/cli/ChartCommand.h"
#include "host/cli/EventsCommand.h"
#include "host/cli/ParetoCommand.h"
#include "host/render/chart/StoredChart.h"
#include "host/render/data/DataText.h"

namespace orvspc::host {

namespace {

// What was stored, and how it is to be shown.
struct Stored {
  const std::string& text;
  platform::XmlNode root;
  std::string format;
  const Arguments& arguments;
  const Console& console;
};

template <class Write>
std::string ObjectJson(const char* name, Write write) {
  JsonWriter json;
  json.BeginObject();
  json.Key(name);
  json.BeginObject();
  write(json);
  json.EndObject();
  json.EndObject();
  return json.Text();
}

std::string ShowSelect(const Stored& stored) {
  DataSelect select;
  select.SetXML(stored.text);
  if (stored.format == "xml") return select.GetXML() + "\n";
  if (stored.format == "text") return DataSelectText(select, {stored.console.columns, false});
  return ObjectJson("DataSelect", [&](JsonWriter& json) { WriteDataSelect(json, select); });
}

std::string ShowProcessing(const Stored& stored) {
  CCProcessing processing;
  processing.SetXML(stored.text);
  if (stored.format == "xml") return processing.GetXML() + "\n";
  if (stored.format == "text") return ProcessingText(processing, {stored.console.columns, false});
  return ObjectJson("Processing", [&](JsonWriter& json) { WriteProcessing(json, processing); });
}

std::string ShowData(const Stored& stored) {
  SubgroupData data;
  data.SetXML(stored.text);
  if (stored.format == "xml") return data.GetXML() + "\n";
  const auto read = ReadSubgroups(data);
  return stored.format == "text" ? DataText(read, NoNames(), {stored.console.columns, false})
                                 : DataJson(nullptr, read, NoNames(), {});
}

std::string ShowChart(const Stored& stored) {
  if (stored.format == "xml") {
    CCResults results;
    results.SetXMLNode(stored.root);
    return results.GetXML() + "\n";
  }
  return ChartText(ReadStoredChart(stored.root), NoNames(), stored.format, stored.console,
                   stored.console.out_is_terminal && !stored.arguments.Has("output"));
}

std::string ShowCapabilityResult(const Stored& stored) {
  return ShowCapability(stored.text, stored.format, stored.console,
                        stored.console.out_is_terminal && !stored.arguments.Has("output"));
}

std::string ShowCapabilitySettings(const Stored& stored) {
  return ShowCapabilityProcessing(stored.text, stored.format);
}

std::string ShowParetoResult(const Stored& stored) {
  return ShowPareto(stored.text, stored.format, stored.console,
                    stored.console.out_is_terminal && !stored.arguments.Has("output"));
}

std::string ShowBins(const Stored& stored) {
  return ShowParetoBins(stored.text, stored.format, stored.console,
                        stored.console.out_is_terminal && !stored.arguments.Has("output"));
}

std::string ShowParetoSettings(const Stored& stored) {
  return ShowParetoProcessing(stored.text, stored.format);
}

struct Kind {
  const char* root;
  bool pictures;
  std::string (*show)(const Stored&);
};
constexpr Kind kKinds[] = {
    {"CCResults", true, ShowChart},
    {"CAResults", true, ShowCapabilityResult},
    {"CAProcessing", false, ShowCapabilitySettings},
    {"PAResults", true, ShowParetoResult},
    {"PABins", true, ShowBins},
    {"PAProcessing", false, ShowParetoSettings},
    {"DataSelect", false, ShowSelect},
    {"CCProcessing", false, ShowProcessing},
    {"SubgroupData", false, ShowData},
    {"EventData", false,
     [](const Stored& stored) { return ShowEvents(stored.text, stored.format, stored.console); }},
};

int Run(const Arguments& arguments, Console& console) {
  if (arguments.Positional().empty()) throw Misuse("which file?");
  const std::string text = ReadFile(arguments.Positional()[0]);
  const auto document = XMLSupport::MakeXMLDocument();
  const auto root = document->LoadXml(text) ? document->Root() : platform::XmlNode();
  const std::string name = root ? document->Name(root) : std::string();
  for (const Kind& kind : kKinds) {
    if (name != kind.root) continue;
    std::vector<std::string> formats{"text", "json", "xml"};
    if (kind.pictures) formats.insert(formats.end(), {"svg", "html"});
    const std::string format = OutputFormat(arguments, formats);
    Deliver(arguments, console, kind.show({text, root, format, arguments, console}));
    return 0;
  }
  throw Refusal("Node does not exist!");
}

}  // namespace

Command ShowCommand() {
  Command command;
  command.name = "show";
  command.synopsis = "FILE.xml [OPTIONS]";
  command.summary = "A stored result or object, without a database";
  command.details =
      "Takes the root elements CCResults, CAResults, PAResults, PABins, DataSelect,\n"
      "CCProcessing, CAProcessing, PAProcessing, SubgroupData and EventData.\n"
      "Formats: text, json, xml; of results svg and html too.\n";
  command.example = "orvspc show chart.xml -o chart.svg";
  command.options = OutputOptions();
  command.most_positional = 1;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
