// SPDX-License-Identifier: Apache-2.0
#include "frame/XMLSupport.h"
#include "host/cli/Analysis.h"
#include "host/render/capability/Capability.h"
#include "host/render/chart/ChartReading.h"
#include "host/render/data/DataReading.h"
#include "host/render/events/Events.h"
#include "host/render/pareto/Pareto.h"

namespace orvspc::cli {

namespace {

using render::JsonWriter;

// What was stored, and how it is to be shown.
struct Stored {
  const std::string& text;
  platform::XmlNode root;
  std::string format;
  render::TextOptions options;
};

// An object that reads the text, with what writes it for people and as JSON.
template <class Object, class Text, class Json>
std::string Shown(const Stored& stored, Text text, Json json) {
  Object object;
  object.SetXML(stored.text);
  if (stored.format == "xml") return object.GetXML() + "\n";
  return stored.format == "text" ? text(object) : json(object);
}

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

// A stored text again. The objects would write it without what they do not read: the levels, the
// bins of a result.
std::string Again(const Stored& stored, const char* root) {
  const auto found = XMLSupport::GetXMLSingleNode(stored.text, root);
  return found.document->Xml(found.node) + "\n";
}

std::string ShowSelect(const Stored& stored) {
  return Shown<DataSelect>(
      stored, [&](const auto& select) { return render::DataSelectText(select, stored.options); },
      [](const auto& select) {
        return ObjectJson("DataSelect", [&](auto& json) { render::WriteDataSelect(json, select); });
      });
}

std::string ShowChartSettings(const Stored& stored) {
  return Shown<CCProcessing>(
      stored,
      [&](const auto& settings) { return render::ProcessingText(settings, stored.options); },
      [](const auto& settings) {
        return ObjectJson("Processing",
                          [&](auto& json) { render::WriteProcessing(json, settings); });
      });
}

std::string ShowCapabilitySettings(const Stored& stored) {
  return Shown<CAProcessing>(
      stored, [&](const auto& settings) { return SettingsText(settings, stored.options); },
      [](const auto& settings) {
        return ObjectJson("Processing",
                          [&](auto& json) { render::WriteCapabilityProcessing(json, settings); });
      });
}

std::string ShowParetoSettings(const Stored& stored) {
  PAProcessing settings;
  settings.SetXML(stored.text);
  if (stored.format == "xml") return Again(stored, "PAProcessing");
  if (stored.format == "text") return SettingsText(settings, stored.options);
  return ObjectJson("Processing",
                    [&](auto& json) { render::WriteParetoProcessing(json, settings, false); });
}

std::string ShowData(const Stored& stored) {
  return Shown<SubgroupData>(
      stored,
      [&](auto& data) {
        return render::DataText(render::ReadSubgroups(data), NoNames(), stored.options);
      },
      [](auto& data) {
        return render::DataJson(nullptr, render::ReadSubgroups(data), NoNames(), {});
      });
}

// Fails with 9, "Subscript out of range", on a set without events, which no reader takes.
std::string ShowEvents(const Stored& stored) {
  return Shown<EventData>(
      stored,
      [&](auto& events) {
        return render::EventsText(render::ReadEvents(events), NoNames(), stored.options);
      },
      [](auto& events) {
        return render::EventsJson({nullptr, render::ReadEvents(events), {}}, NoNames());
      });
}

std::string ShowChart(const Stored& stored) {
  if (stored.format == "xml") {
    CCResults results;
    results.SetXMLNode(stored.root);
    return results.GetXML() + "\n";
  }
  return Formatted(render::ReadStoredChart(stored.root), NoNames(), stored.format, stored.options);
}

std::string ShowCapability(const Stored& stored) {
  CAResults results;
  results.SetXML(stored.text);
  if (stored.format == "xml") return results.GetXML() + "\n";
  const render::CapabilityDocument document{render::ReadCapability(results), {}, {}};
  return Formatted(document, NoNames(), stored.format, stored.options);
}

std::string ShowPareto(const Stored& stored) {
  const render::ParetoDocument document{render::ReadStoredPareto(stored.text), {}};
  if (stored.format == "xml") return Again(stored, "PAResults");
  return Formatted(document, NoNames(), stored.format, stored.options);
}

std::string ShowBins(const Stored& stored) {
  const render::ParetoDocument document{render::ReadStoredBins(stored.text), {}};
  if (stored.format == "xml") return Again(stored, "PABins");
  return Formatted(document, NoNames(), stored.format, stored.options);
}

struct Kind {
  const char* root;
  const Formats& formats;
  std::string (*show)(const Stored&);
};
const Kind kKinds[] = {
    {"CCResults", kDrawnAndStored, ShowChart},
    {"CAResults", kDrawnAndStored, ShowCapability},
    {"PAResults", kDrawnAndStored, ShowPareto},
    {"PABins", kDrawnAndStored, ShowBins},
    {"DataSelect", kStored, ShowSelect},
    {"CCProcessing", kStored, ShowChartSettings},
    {"CAProcessing", kStored, ShowCapabilitySettings},
    {"PAProcessing", kStored, ShowParetoSettings},
    {"SubgroupData", kStored, ShowData},
    {"EventData", kStored, ShowEvents},
};

int Run(const Arguments& arguments, Console& console) {
  if (arguments.Positional().empty()) throw Misuse("which file? FILE.xml is missing");
  const std::string text = ReadFile(arguments.Positional()[0]);
  const auto document = XMLSupport::MakeXMLDocument();
  const auto root = document->LoadXml(text) ? document->Root() : platform::XmlNode();
  const std::string name = root ? document->Name(root) : std::string();
  for (const Kind& kind : kKinds) {
    if (name != kind.root) continue;
    const std::string format = OutputFormat(arguments, kind.formats);
    Deliver(arguments, console, kind.show({text, root, format, TextOptionsOf(arguments, console)}));
    return 0;
  }
  throw Refusal("Node does not exist!");
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
