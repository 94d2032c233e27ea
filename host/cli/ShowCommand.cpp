// SPDX-License-Identifier: Apache-2.0
#include "frame/XMLSupport.h"
#include "host/cli/Analysis.h"
#include "host/render/capability/Capability.h"
#include "host/render/chart/Chart.h"
#include "host/render/data/DataReading.h"
#include "host/render/events/Events.h"
#include "host/render/pareto/Pareto.h"

namespace orvspc::cli {

namespace {

using render::JsonWriter;

// What was stored, and how it is to be shown.
struct Stored : Presentation {
  const std::string& xml;
  platform::XmlNode root;
};

// A stored text again. The objects would write it without what they do not read: the levels, the
// bins of a result.
std::string Again(const Stored& stored) { return stored.root.document->Xml(stored.root) + "\n"; }

void WriteParetoSettings(JsonWriter& json, const PAProcessing& settings) {
  render::WriteParetoProcessing(json, settings, false);
}

// An object with what writes it for people and as JSON.
template <class Object, std::string (*kText)(const Object&, const render::TextOptions&),
          void (*kWrite)(JsonWriter&, const Object&)>
std::string ShowObject(const Stored& stored) {
  Object object;
  object.SetXML(stored.xml);
  if (stored.format == "text") return kText(object, stored.text);
  if (stored.format == "xml")
    return std::is_same_v<Object, PAProcessing> ? Again(stored) : object.GetXML() + "\n";
  const char* const name = std::is_same_v<Object, DataSelect> ? "DataSelect" : "Processing";
  return render::JsonDocument(
      [&](JsonWriter& json) { json.Object(name, [&] { kWrite(json, object); }); });
}

std::string ShowData(const Stored& stored) {
  SubgroupData data;
  data.SetXML(stored.xml);
  if (stored.format == "xml") return data.GetXML() + "\n";
  const auto read = render::ReadSubgroups(data);
  return stored.format == "text" ? render::DataText(read, stored.names, stored.text)
                                 : render::DataJson(nullptr, read, stored.names, {});
}

// Fails with 9, "Subscript out of range", on a set without events, which no reader takes.
std::string ShowEvents(const Stored& stored) {
  EventData events;
  events.SetXML(stored.xml);
  if (stored.format == "xml") return events.GetXML() + "\n";
  const auto read = render::ReadEvents(events);
  return stored.format == "text" ? render::EventsText(read, stored.names, stored.text)
                                 : render::EventsJson({nullptr, read, {}}, stored.names);
}

std::string ShowChart(const Stored& stored) {
  if (stored.format != "xml") return Formatted(render::ReadStoredChart(stored.root), stored);
  CCResults results;
  results.SetXMLNode(stored.root);
  return results.GetXML() + "\n";
}

std::string ShowCapability(const Stored& stored) {
  CAResults results;
  results.SetXML(stored.xml);
  if (stored.format == "xml") return results.GetXML() + "\n";
  return Formatted(render::CapabilityDocument{render::ReadCapability(results), {}, {}}, stored);
}

// A Pareto result, or its bins alone.
template <render::ParetoRead (*kRead)(const std::string&)>
std::string ShowPareto(const Stored& stored) {
  const render::ParetoDocument document{kRead(stored.xml), {}};
  return stored.format == "xml" ? Again(stored) : Formatted(document, stored);
}

struct Kind {
  const char* root;
  const Formats& formats;
  std::string (*show)(const Stored&);
};
const Kind kKinds[] = {
    {"CCResults", kDrawnAndStored, ShowChart},
    {"CAResults", kDrawnAndStored, ShowCapability},
    {"PAResults", kDrawnAndStored, ShowPareto<render::ReadStoredPareto>},
    {"PABins", kDrawnAndStored, ShowPareto<render::ReadStoredBins>},
    {"DataSelect", kStored,
     ShowObject<DataSelect, render::DataSelectText, render::WriteDataSelect>},
    {"CCProcessing", kStored,
     ShowObject<CCProcessing, render::ProcessingText, render::WriteProcessing>},
    {"CAProcessing", kStored,
     ShowObject<CAProcessing, SettingsText, render::WriteCapabilityProcessing>},
    {"PAProcessing", kStored, ShowObject<PAProcessing, SettingsText, WriteParetoSettings>},
    {"SubgroupData", kStored, ShowData},
    {"EventData", kStored, ShowEvents},
};

int Run(const Arguments& arguments, Console& console) {
  if (arguments.Positional().empty()) throw Misuse("which file? FILE.xml is missing");
  const std::string& file = arguments.Positional()[0];
  const std::string text = ReadFile(file);
  const auto document = XMLSupport::MakeXMLDocument();
  const auto root = document->LoadXml(text) ? document->Root() : platform::XmlNode();
  const std::string name = root ? document->Name(root) : std::string();
  for (const Kind& kind : kKinds) {
    if (name != kind.root) continue;
    const std::string format = OutputFormat(arguments, kind.formats);
    Deliver(arguments, console,
            kind.show({{NoNames(), format, TextOptionsOf(arguments, console)}, text, root}));
    return 0;
  }
  throw Refusal(file + ": is no result kept as XML, such as chart -o FILE.xml writes (" +
                (root ? "its root is <" + name + ">: " : "") + "Node does not exist!)");
}

}  // namespace

Command ShowCommand() {
  std::vector<std::string> roots;
  for (const Kind& kind : kKinds) roots.emplace_back(kind.root);
  return {"show",
          "FILE.xml [OPTIONS]",
          "A stored result or object, without a database",
          "Takes the root elements " + Joined(roots) +
              ".\nFormats: text, json, xml; of results svg and html too.",
          "orvspc show chart.xml -o chart.svg",
          Together(kOutputOptions),
          Run,
          1};
}

}  // namespace orvspc::cli
