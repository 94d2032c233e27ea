// SPDX-License-Identifier: Apache-2.0
#include "frame/Failure.h"
#include "host/cli/Command.h"
#include "host/cli/DataText.h"
#include "platform/Platform.h"

namespace orvspc::host {

namespace {

// The name of the root element; empty when the text is malformed.
std::string RootName(const std::string& text) {
  const auto platform = platform::Current();
  if (!platform) FailMessage("No platform is installed");
  const auto document = platform->MakeXmlDocument();
  if (!document->LoadXml(text)) return {};
  const auto root = document->Root();
  return root ? document->Name(root) : std::string();
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

std::string ShowSelect(const std::string& text, const std::string& format) {
  DataSelect select;
  select.SetXML(text);
  if (format == "xml") return select.GetXML() + "\n";
  if (format == "text") return DataSelectText(select);
  return ObjectJson("DataSelect", [&](JsonWriter& json) { WriteDataSelect(json, select); });
}

std::string ShowProcessing(const std::string& text, const std::string& format) {
  CCProcessing processing;
  processing.SetXML(text);
  if (format == "xml") return processing.GetXML() + "\n";
  if (format == "text") return ProcessingText(processing);
  return ObjectJson("Processing", [&](JsonWriter& json) { WriteProcessing(json, processing); });
}

std::string ShowData(const std::string& text, const std::string& format) {
  SubgroupData data;
  data.SetXML(text);
  if (format == "xml") return data.GetXML() + "\n";
  const auto read = ReadSubgroups(data);
  return format == "text" ? DataText(read, NoNames()) : DataJson(nullptr, read, NoNames(), {});
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml"});
  if (arguments.Positional().empty()) throw Misuse("which file?");
  const std::string text = ReadFile(arguments.Positional()[0]);
  const std::string root = RootName(text);
  std::string shown;
  if (root == "DataSelect") {
    shown = ShowSelect(text, format);
  } else if (root == "CCProcessing") {
    shown = ShowProcessing(text, format);
  } else if (root == "SubgroupData") {
    shown = ShowData(text, format);
  } else {
    throw Refusal("Node does not exist!");
  }
  Deliver(arguments, console, shown);
  return 0;
}

}  // namespace

Command ShowCommand() {
  Command command;
  command.name = "show";
  command.synopsis = "FILE.xml [OPTIONS]";
  command.summary = "A stored object, without a database";
  command.details =
      "Takes the root elements DataSelect, CCProcessing and SubgroupData.\n"
      "Formats: text, json, xml.\n";
  command.example = "orvspc show d.xml --format json";
  command.options = OutputOptions();
  command.most_positional = 1;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
