// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Catalogue.h"
#include "host/cli/Command.h"
#include "host/cli/Settings.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Text.h"

namespace orvspc::host {

namespace {

using engine::catalogue::ItemKind;

Table ItemsTable(EmbeddedDatabase& database, ItemKind kind) {
  Table table{
      "",
      {"#id", std::string(engine::catalogue::WordOf(kind)), "#subgroups", "@first", "@last"},
      {}};
  for (const auto& item : engine::store::ListItems(database, kind)) {
    const bool used = item.subgroups > 0;
    table.rows.push_back({std::to_string(item.id), PlainText(item.name),
                          std::to_string(item.subgroups), used ? IsoTime(item.first) : "",
                          used ? IsoTime(item.last) : ""});
  }
  if (table.rows.empty()) table.rows.push_back({"", "(none)", "", "", ""});
  return table;
}

void ItemsJson(JsonWriter& json, EmbeddedDatabase& database, ItemKind kind) {
  json.BeginArray();
  for (const auto& item : engine::store::ListItems(database, kind)) {
    json.BeginObject(true);
    json.Member("ID", item.id);
    json.Member("Name", item.name);
    if (kind == ItemKind::Test) json.Member("TestType", item.test_type);
    json.Member("Subgroups", item.subgroups);
    if (item.subgroups > 0) {
      json.Member("First", IsoTime(item.first));
      json.Member("Last", IsoTime(item.last));
    } else {
      json.NullMember("First");
      json.NullMember("Last");
    }
    json.EndObject();
  }
  json.EndArray();
}

Table DescriptorsTable(EmbeddedDatabase& database) {
  Table table{"", {"#id", "descriptor"}, {}};
  for (const auto& descriptor : engine::store::ListDescriptors(database))
    table.rows.push_back(
        {std::to_string(descriptor.id), PlainText(descriptor.group_name + "=" + descriptor.name)});
  return table;
}

Table GroupsTable(EmbeddedDatabase& database) {
  Table table{"", {"#id", "kind", "group and members"}, {}};
  for (int k = 0; k < engine::catalogue::kItemKinds; ++k) {
    const auto kind = static_cast<ItemKind>(k);
    for (const auto& group : engine::store::ListGroups(database, kind)) {
      std::string text = group.name + ":";
      for (const auto member : group.members)
        text += " " + engine::store::ItemName(database, kind, member) +
                (member == group.members.back() ? "" : ",");
      table.rows.push_back({std::to_string(group.id), std::string(engine::catalogue::WordOf(kind)),
                            PlainText(text)});
    }
  }
  return table;
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json"});
  const std::string word = arguments.Positional().empty() ? "" : arguments.Positional()[0];
  const auto kind = engine::catalogue::ItemKindFromWord(word);
  const bool other =
      word == "descriptors" || word == "groups" || word == "rule-sets" || word == "settings";
  if (!word.empty() && !kind && !other) {
    std::vector<std::string> words;
    words.reserve(engine::catalogue::kItemKinds + 4);
    for (int k = 0; k < engine::catalogue::kItemKinds; ++k)
      words.emplace_back(engine::catalogue::WordOf(static_cast<ItemKind>(k)));
    words.insert(words.end(), {"descriptors", "groups", "rule-sets", "settings"});
    throw Misuse("nothing called \"" + word + "\" can be listed, only " + Joined(words));
  }
  if (other && format != "text") throw Misuse("a list of " + word + " has the format text alone");
  const auto database = OpenQualityDatabase(arguments);
  const std::vector<ItemKind> kinds =
      kind ? std::vector<ItemKind>{*kind}
           : std::vector<ItemKind>{ItemKind::Part, ItemKind::Process, ItemKind::Test};
  if (format == "json") {
    JsonWriter json;
    json.BeginObject();
    for (const auto one : kinds) {
      json.Key(engine::catalogue::WordOf(one));
      ItemsJson(json, *database, one);
    }
    json.EndObject();
    Deliver(arguments, console, json.Text());
    return 0;
  }
  TextWriter text({console.columns, false});
  if (word == "descriptors") {
    text.Write(DescriptorsTable(*database));
  } else if (word == "groups") {
    text.Write(GroupsTable(*database));
  } else if (word == "rule-sets") {
    for (const auto& name : engine::store::RuleSetNames(*database)) text.Line(PlainText(name));
  } else if (word == "settings") {
    text.Write(SettingsTable(*database));
  } else {
    for (const auto one : kinds) {
      if (one != kinds.front()) text.Blank();
      text.Write(ItemsTable(*database, one));
    }
  }
  Deliver(arguments, console, text.Take());
  return 0;
}

}  // namespace

Command ListCommand() {
  Command command;
  command.name = "list";
  command.synopsis = "--db FILE [WHAT]";
  command.summary =
      "What a database holds: identifier, name, count of subgroups, first and last time";
  command.details =
      "WHAT is parts, processes, tests (these three without it), revisions, workstations, gages,\n"
      "jobs, lots, shifts, employees, defects, serials, descriptors, groups, rule-sets or "
      "settings.\n"
      "Formats: text, json.\n";
  command.example = "orvspc list --db q.db tests";
  command.options = {{"db", "FILE", "the quality database"}};
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.most_positional = 1;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
