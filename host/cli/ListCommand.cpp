// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Catalogue.h"
#include "host/cli/Command.h"
#include "host/cli/Settings.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::host {

namespace {

using engine::catalogue::ItemKind;

constexpr int kNarrow = 26;  // columns of a name; longer ones push the rest aside

std::string ItemsText(EmbeddedDatabase& database, ItemKind kind) {
  const auto items = engine::store::ListItems(database, kind);
  std::string text = Padded("id", 6, true) + "  " +
                     Padded(engine::catalogue::WordOf(kind), kNarrow) +
                     Padded("subgroups", 9, true) + "  " + Padded("first", 21) + "last\n";
  for (const auto& item : items) {
    const std::string name = PlainText(item.name);
    text += Padded(std::to_string(item.id), 6, true) + "  " +
            (Width(name) < kNarrow ? Padded(name, kNarrow) : name + "  ") +
            Padded(std::to_string(item.subgroups), 9, true);
    if (item.subgroups > 0) text += "  " + Padded(IsoTime(item.first), 21) + IsoTime(item.last);
    text += "\n";
  }
  return items.empty() ? text + "  (none)\n" : text;
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

std::string DescriptorsText(EmbeddedDatabase& database) {
  std::string text = Padded("id", 6, true) + "  descriptor\n";
  for (const auto& descriptor : engine::store::ListDescriptors(database))
    text += Padded(std::to_string(descriptor.id), 6, true) + "  " +
            PlainText(descriptor.group_name + "=" + descriptor.name) + "\n";
  return text;
}

std::string GroupsText(EmbeddedDatabase& database) {
  std::string text = Padded("id", 6, true) + "  " + Padded("kind", 12) + "group and members\n";
  for (int k = 0; k < engine::catalogue::kItemKinds; ++k) {
    const auto kind = static_cast<ItemKind>(k);
    for (const auto& group : engine::store::ListGroups(database, kind)) {
      text += Padded(std::to_string(group.id), 6, true) + "  " +
              Padded(engine::catalogue::WordOf(kind), 12) + PlainText(group.name) + ":";
      for (const auto member : group.members)
        text += " " + PlainText(engine::store::ItemName(database, kind, member)) +
                (member == group.members.back() ? "" : ",");
      text += "\n";
    }
  }
  return text;
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
  std::string text;
  if (word == "descriptors") {
    text = DescriptorsText(*database);
  } else if (word == "groups") {
    text = GroupsText(*database);
  } else if (word == "rule-sets") {
    for (const auto& name : engine::store::RuleSetNames(*database)) text += PlainText(name) + "\n";
  } else if (word == "settings") {
    text = SettingsText(*database);
  } else {
    for (const auto one : kinds) text += (text.empty() ? "" : "\n") + ItemsText(*database, one);
  }
  Deliver(arguments, console, text);
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
