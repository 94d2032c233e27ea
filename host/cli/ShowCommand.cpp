// SPDX-License-Identifier: Apache-2.0
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "frame/XMLSupport.h"
#include "host/cli/Analysis.h"
#include "host/render/capability/Capability.h"
#include "host/render/chart/Chart.h"
#include "host/render/data/DataReading.h"
#include "host/render/events/Events.h"
#include "host/render/pareto/Pareto.h"
#include "platform/FixedText.h"
#include "platform/Utf8.h"

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

// A text that was UTF-16 with the name that its declaration gives its encoding by now, so that the
// reader of the document checks the whole declaration: UTF-8 for UTF-16, and for any other name one
// that is refused.
std::string WithEncodingOfNow(std::string text) {
  constexpr std::string_view kStart = "<?xml", kBlanks = " \t\r\n", kWord = "encoding";
  const auto end = text.find("?>"), word = text.find(kWord);
  if (!text.starts_with(kStart) || kBlanks.find(text[kStart.size()]) == kBlanks.npos) return text;
  if (end == text.npos || word > end) return text;
  const auto open = text.find_first_of("\"'", word);
  const auto close = open > end ? text.npos : text.find(text[open], open + 1);
  if (close > end) return text;
  auto name = text.substr(open + 1, close - open - 1);
  for (auto& c : name)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  const bool is_utf16 = name == "utf-16" || name == "utf-16le" || name == "utf-16be";
  return text.replace(open + 1, name.size(), is_utf16 ? "UTF-8" : "UTF-16");
}

// A text of UTF-16 in UTF-8; nothing for what is no UTF-16.
std::optional<std::string> FromUtf16(std::string_view bytes, bool low_byte_first) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[low_byte_first ? i : i + 1]);
    const auto high = static_cast<unsigned char>(bytes[low_byte_first ? i + 1 : i]);
    units.push_back(static_cast<char16_t>(high << 8 | low));
  }
  std::string text = platform::ToUtf8(units);
  if (bytes.size() % 2 != 0 || platform::ToUtf16(text) != units) return std::nullopt;
  return WithEncodingOfNow(std::move(text));
}

// The text of a file in UTF-8: a host's way to write every letter may be UTF-16, which begins with
// a byte order mark.
std::string ReadXml(const std::string& file) {
  std::string text = ReadFile(file);
  const bool low_byte_first = text.starts_with("\xFF\xFE");
  if (low_byte_first || text.starts_with("\xFE\xFF")) {
    const auto read = FromUtf16(std::string_view(text).substr(2), low_byte_first);
    if (!read) throw Refusal(file + ": is no UTF-16, which its byte order mark says");
    return *read;
  }
  char32_t point = 0;
  for (std::size_t at = 0; at < text.size();)
    if (!platform::TakeUtf8(text, at, point))
      throw Refusal(file + ": is no UTF-8, and no UTF-16 with a byte order mark");
  return text;
}

int RunShowCommand(const Arguments& arguments, Console& console) {
  if (arguments.Positional().empty()) throw Misuse("which file? FILE.xml is missing");
  const std::string& file = arguments.Positional()[0];
  const std::string text = ReadXml(file);
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
              ".\nThe file is UTF-8, or UTF-16 with a byte order mark.\n"
              "Formats: text, json, xml; of results svg and html too.",
          "orvspc show chart.xml -o chart.svg",
          Together(kOutputOptions),
          RunShowCommand,
          1};
}

}  // namespace orvspc::cli
